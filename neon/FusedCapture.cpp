#include "neon/FusedCapture.h"

#include <algorithm>
#include <bitset>
#include <cmath>

#include "core/Geometry.h"
#include "core/Portrait.h"
#include "core/RowWalks.h"
#include "core/Sample.h"
#include "core/ToneTable.h"
#include "neon/ClaheCells.h"
#include "neon/FusedStrips.h"
#include "neon/Lattice.h"
#include "neon/NeonKernels.h"

namespace huevance::neon {

namespace {

// Packed levels of all cells together: 4 MiB.
constexpr std::size_t kMaxPackedLevels = 1024 * 256;
// A cell's offsets are 16 bits wide.
constexpr int kMaxCellLevels = 4096;
constexpr int kSkinPairs = 256 * 256;
constexpr int kValues16 = 65536;  // of a 16-bit sample, in range or not

bool claheFits(const HostEngine& engine) {
    return engine.stages().clahe && engine.m_stTile.tileWidth >= 1 && engine.m_stTile.tileHeight >= 1;
}

// Levels of a packed cell: those of the samples, or, when these would be too many, the 256 that they are
// widened from and the last again.
int cellLevels(const HostEngine& engine) {
    if (!engine.is16Bit()) {
        return kBins8;
    }
    const bool fit =
        engine.bins16() <= kMaxCellLevels &&
        elementCount(engine.m_iGridWidth, engine.m_iGridHeight, engine.bins16()) <= kMaxPackedLevels;
    return fit ? engine.bins16() : kBins8 + 1;
}

}  // namespace

// --- Set-up ---

FusedCapture::Key::Key(const HostEngine& engine)
    : dataBit(engine.m_iDataBit),
      width(engine.m_stRoi8.width),
      gridWidth(engine.m_iGridWidth),
      gridHeight(engine.m_iGridHeight),
      tileWidth(engine.m_stTile.tileWidth),
      clahe(claheFits(engine)),
      curve(engine.stages().curve),
      colorMap(engine.stages().colorMap),
      skin(engine.stages().portraitProtect && engine.m_iMaskSource == kMaskSkin) {}

int FusedCapture::allocate(const HostEngine& engine) {
    release();
    m_key = Key(engine);
    if (m_key.clahe && elementCount(m_key.gridWidth, m_key.gridHeight, kBins8) > kMaxPackedLevels) {
        return 0;
    }
    m_usable = (!m_key.clahe || allocateClahe(engine)) && (!m_key.curve || allocateTones()) &&
               (!m_key.colorMap || allocateColors()) && (!m_key.skin || allocateSkin());
    if (!m_usable) {
        release();
        return -1;
    }
    return 0;
}

void FusedCapture::release() {
    m_usable = false;
    m_cells.release();
    m_columnWeights.release();
    m_segmentEnds.release();
    m_widening.release();
    m_levels.release();
    m_slabs.release();
    m_lattice.release();
    m_skin.release();
}

bool FusedCapture::usable(const HostEngine& engine) const {
    const bool isKnown = engine.is16Bit() || isCorrected<unsigned char>(engine.m_eYuvType);
    const bool hasMask = !m_key.skin || skinPlaceOfU(engine.m_eYuvType);
    return m_usable && m_key == Key(engine) && isKnown && hasMask;
}

bool FusedCapture::allocateClahe(const HostEngine& engine) {
    const int width = engine.m_stRoi8.width;
    m_cellLevels = cellLevels(engine);
    const bool widened = m_cellLevels > kBins8 + 1;
    if (!m_cells.allocate(elementCount(engine.m_iGridWidth, engine.m_iGridHeight, 4LL * m_cellLevels)) ||
        !m_columnWeights.allocate(elementCount(width + kColumnSlack, kWeightFloats)) ||
        !m_segmentEnds.allocate(elementCount(engine.m_iGridWidth, 1)) ||
        !m_widening.allocate(elementCount(widened ? m_cellLevels : 0, 1))) {
        return false;
    }
    const LutWidening widening(kBins8, std::max(m_cellLevels, kBins8));
    for (int i = 0; widened && i < m_cellLevels; ++i) {
        m_widening.get()[i] = widening.at(i);
    }
    const TileAxis axis(engine.m_iGridWidth, engine.m_stTile.tileWidth);
    for (int x = 0; x < width; ++x) {
        const TileAxis::Position position = axis.at(x);
        packWeights(position, m_columnWeights.get() + std::ptrdiff_t{kWeightFloats} * x);
        for (int i = position.index; i < engine.m_iGridWidth; ++i) {
            m_segmentEnds.get()[i] = x + 1;
        }
    }
    return true;
}

bool FusedCapture::allocateTones() {
    return m_levels.allocate(elementCount(m_key.dataBit == 8 ? 0 : 2, kValues16));
}

bool FusedCapture::allocateColors() {
    return m_lattice.allocate(kLatticeFloats) &&
           m_slabs.allocate(m_key.dataBit == 8 ? std::size_t{kBins8} * kPointB : 0);
}

bool FusedCapture::allocateSkin() {
    if (!m_skin.allocate(kSkinPairs)) {
        return false;
    }
    const float first[4] = {0.0F, 1.0F, 2.0F, 3.0F};
    for (int pair = 0; pair < kSkinPairs; pair += 4) {
        const float32x4_t u = vaddq_f32(vld1q_f32(first), vdupq_n_f32(static_cast<float>(pair % 256)));
        const float32x4_t v = vdupq_n_f32(static_cast<float>(pair / 256));
        vst1q_f32(m_skin.get() + pair, skinProbabilities(u, v));
    }
    return true;
}

// --- Tables of one capture ---

namespace {

// The curve values around a cell, for 256 levels.
void packCell(const HostEngine& engine, int cell, float* corners) {
    const int width = engine.m_iGridWidth;
    const std::ptrdiff_t tiles = std::ptrdiff_t{width} * engine.m_iGridHeight;
    const float* upper = engine.m_gridLut.get() + cell;
    const std::ptrdiff_t right = cell % width + 1 < width ? 1 : 0;
    const std::ptrdiff_t down = cell / width + 1 < engine.m_iGridHeight ? width : 0;
    for (int b = 0; b < kBins8; ++b, upper += tiles, corners += 4) {
        corners[0] = upper[0];
        corners[1] = upper[right];
        corners[2] = upper[down];
        corners[3] = upper[down + right];
    }
}

// The same for more levels: each lane as resizeClaheLut computes one tile's.
void widenCell(const float* narrow, const LutWidening::Bin* bins, int levels, float* corners) {
    const float32x4_t rescale = vdupq_n_f32(LutWidening(kBins8, levels).rescale());
    for (int i = 0; i < levels; ++i, corners += 4) {
        const float32x4_t weight = vdupq_n_f32(bins[i].weight);
        const float32x4_t level = mix(vld1q_f32(narrow + 4 * bins[i].lower),
                                      vld1q_f32(narrow + 4 * bins[i].upper), oneMinus(weight), weight);
        vst1q_f32(corners, vmulq_f32(rescale, level));
    }
}

// Where a tone curve of `bins` levels leads every 16-bit value.
void roundCurve(const float* curve, int bins, unsigned short* levels) {
    const float top = static_cast<float>(bins - 1);
    for (int i = 0; i < bins; ++i) {
        levels[i] = toSample<unsigned short>(curve[i] + 0.5F, top);
    }
    std::fill(levels + bins, levels + kValues16, levels[bins - 1]);
}

}  // namespace

void FusedCapture::packCells(const HostEngine& engine) {
    const int cells = engine.m_iGridWidth * engine.m_iGridHeight;
    float* out = m_cells.get();
    for (int cell = 0; cell < cells; ++cell, out += 4 * std::ptrdiff_t{m_cellLevels}) {
        if (!m_widening.empty()) {
            float narrow[kCellFloats];
            packCell(engine, cell, narrow);
            widenCell(narrow, m_widening.get(), m_cellLevels, out);
            continue;
        }
        packCell(engine, cell, out);
        if (m_cellLevels > kBins8) {
            std::copy_n(out + kCellFloats - 4, 4, out + kCellFloats);
        }
    }
}

// The first step of the trilinear look-up, along axis B, depends on one byte of the pair alone.
void FusedCapture::packSlabs() {
    const float* lattice = m_lattice.get();
    const float s = static_cast<float>(kLatticeSize - 1) / static_cast<float>(kBins8 - 1);
    float* out = m_slabs.get();
    for (int b = 0; b < kBins8; ++b) {
        const LatticeAxis axis(s * static_cast<float>(b), kLatticeSize);
        const float32x4_t weight = vdupq_n_f32(axis.weight);
        const float32x4_t rest = oneMinus(weight);
        const float* lower = lattice + axis.lower * kPointB;
        const float* upper = lattice + axis.upper * kPointB;
        for (int i = 0; i < kPointB; i += kPointY, out += kPointY) {
            vst1q_f32(out, mix(vld1q_f32(lower + i), vld1q_f32(upper + i), rest, weight));
        }
    }
}

namespace {

// Whether the chroma of an 8-bit frame meets so few rows of the slabs that these stay in a second-level
// cache: a row of 272 bytes for each level of axis B and step of axis A. Pictures meet some hundreds of the
// 4096, noise all. Looked at are at most 64 x 128 pairs of the input, spread over the frame.
bool chromaIsGathered(const HostEngine& engine) {
    constexpr int kMostRows = 1024;
    const PlaneView<const unsigned char> chroma =
        chromaPlane(static_cast<const unsigned char*>(engine.m_pucImage8), engine.m_stRoi8);
    const int rowStep = chroma.height / 64 + 1;
    const int pairStep = chroma.width / 2 / 128 + 1;
    const int axisB = engine.m_eYuvType == IMAGE_FORMAT_TYPE_NV12 ? 1 : 0;
    std::bitset<kBins8 * kLatticeSize> met;
    for (int y = 0; y < chroma.height; y += rowStep) {
        const unsigned char* row = chroma.row(y);
        for (int x = 0; x + 1 < chroma.width; x += 2 * pairStep) {
            met.set(row[x + axisB] * std::size_t{kLatticeSize} + row[x + 1 - axisB] / kLatticeSize);
        }
    }
    return met.count() <= kMostRows;
}

// Whether FusedTables::mildCells holds.
bool levelsAreMild(const Buffer<float>& levels) {
    bool mild = true;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        mild = mild & (std::abs(levels.get()[i]) <= kMaxScaledLevel);
    }
    return mild;
}

// Whether FusedTables::mildColors holds for 8-bit frames: false for any not-a-number. The offset of a block
// is a blend of those at the points around it.
bool colorsAreMild(const float* lut, float strength) {
    constexpr float kMax = static_cast<float>(kBins8 - 1);
    constexpr float kStep = kMax / static_cast<float>(kLatticeSize - 1);  // levels between points
    bool mild = strength >= 0.0F && strength <= 1.0F;
    for (int i = 0; i < kColorLutFloats; ++i) {
        mild = mild & (lut[i] >= 0.0F) & (lut[i] <= kMax);
    }
    for (int i = 0; i < kColorLutFloats / 3; ++i) {
        const float offset = lut[i] - kStep * static_cast<float>(i % kLatticeSize);
        mild = mild & (std::abs(offset) * strength <= kMaxMildOffset);
    }
    return mild;
}

}  // namespace

template <typename T>
void FusedCapture::runStrips(const HostEngine& engine, const T* yLevels, const T* uvLevels) {
    const StageSwitches on = engine.stages();
    const bool clahe = on.clahe && engine.claheUsable();
    if (clahe) {
        packCells(engine);
    }
    if (on.colorMap) {
        packLattice(sizeof(T) > 1 ? engine.m_colorLut16.get() : engine.m_colorLut.get(), m_lattice.get());
    }
    const bool slabs = on.colorMap && !m_slabs.empty() && chromaIsGathered(engine);
    if (slabs) {
        packSlabs();
    }
    const bool mild =
        sizeof(T) == 1 && on.colorMap && colorsAreMild(engine.m_colorLut.get(), engine.m_fColorStrength);
    const FusedTables<T> tables = {.cells = clahe ? m_cells.get() : nullptr,
                                   .cellFloats = 4 * std::ptrdiff_t{m_cellLevels},
                                   .mildCells = sizeof(T) == 1 && clahe && levelsAreMild(engine.m_gridLut),
                                   .widenCells = sizeof(T) > 1 && m_cellLevels == kBins8 + 1,
                                   .columnWeights = m_columnWeights.get(),
                                   .segmentEnds = m_segmentEnds.get(),
                                   .yLevels = yLevels,
                                   .uvLevels = uvLevels,
                                   .slabs = slabs ? m_slabs.get() : nullptr,
                                   .lattice = m_lattice.get(),
                                   .mildColors = mild,
                                   .skin = m_skin.get()};
    FusedStrips<T>(tables, engine).run();
}

int FusedCapture::claheLut(HostEngine& engine) {
    return computeClaheLut_16u_neon(engine.m_pusImage16, engine.m_stRoi16, engine.m_iDataBit - 8,
                                    engine.m_gridHist.get(), engine.m_gridLut.get(), engine.m_iSampRate,
                                    engine.m_iGridWidth, engine.m_iGridHeight, engine.m_stTile.tileWidth,
                                    engine.m_stTile.tileHeight, engine.m_fClaheStrength);
}

void FusedCapture::run(const HostEngine& engine) {
    if (!engine.is16Bit()) {
        // Without the stage a preview has no curves.
        const bool curve = engine.stages().curve;
        const ToneTable y = curve ? ToneTable(engine.m_yCurve.get(), kBins8) : ToneTable();
        const ToneTable uv = curve ? ToneTable(engine.m_uvCurve.get(), kBins8) : ToneTable();
        runStrips(engine, y.get(), uv.get());
        return;
    }
    if (!engine.stages().curve) {
        runStrips<unsigned short>(engine, nullptr, nullptr);
        return;
    }
    unsigned short* y = m_levels.get();
    unsigned short* uv = y + kValues16;
    roundCurve(engine.m_yCurve16.get(), engine.bins16(), y);
    roundCurve(engine.m_uvCurve16.get(), engine.bins16(), uv);
    runStrips<unsigned short>(engine, y, uv);
}

}  // namespace huevance::neon
