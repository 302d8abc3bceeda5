#include "neon/FusedCapture.h"

#include <algorithm>

#include "core/Geometry.h"
#include "core/Portrait.h"
#include "neon/ClaheColumns.h"
#include "neon/FusedStrips.h"
#include "neon/Lattice.h"

namespace huevance::neon {

namespace {

constexpr int kMaxPackedTiles = 1024;
constexpr int kSkinPairs = 256 * 256;

bool claheFits(const HostEngine& engine) {
    return engine.stages().clahe && engine.m_stTile.tileWidth >= 1 && engine.m_stTile.tileHeight >= 1;
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
      colorMap(engine.stages().colorMap),
      skin(engine.stages().portraitProtect && engine.m_iMaskSource == kMaskSkin) {}

int FusedCapture::allocate(const HostEngine& engine) {
    release();
    m_key = Key(engine);
    if (engine.is16Bit() ||
        (m_key.clahe && elementCount(m_key.gridWidth, m_key.gridHeight) > kMaxPackedTiles)) {
        return 0;
    }
    m_usable = (!m_key.clahe || allocateClahe(engine)) &&
               (!m_key.colorMap || m_slabs.allocate(kSlabsBegin + std::size_t{kBins8} * kPointB)) &&
               (!m_key.skin || allocateSkin());
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
    m_slabs.release();
    m_skin.release();
}

bool FusedCapture::usable(const HostEngine& engine) const {
    const bool isKnown =
        engine.m_eYuvType == IMAGE_FORMAT_TYPE_NV12 || engine.m_eYuvType == IMAGE_FORMAT_TYPE_NV21;
    return m_usable && m_key == Key(engine) && isKnown;
}

bool FusedCapture::allocateClahe(const HostEngine& engine) {
    const int width = engine.m_stRoi8.width;
    if (!m_cells.allocate(elementCount(engine.m_iGridWidth, engine.m_iGridHeight, kCellFloats)) ||
        !m_columnWeights.allocate(elementCount(width + kColumnSlack, kWeightFloats)) ||
        !m_segmentEnds.allocate(elementCount(engine.m_iGridWidth, 1))) {
        return false;
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

void FusedCapture::packCells(const HostEngine& engine) {
    const int width = engine.m_iGridWidth;
    const int height = engine.m_iGridHeight;
    const std::ptrdiff_t tiles = std::ptrdiff_t{width} * height;
    float* corners = m_cells.get();
    for (int cell = 0; cell < tiles; ++cell) {
        const int r = cell / width;
        const int c = cell % width;
        const float* upper = engine.m_gridLut.get() + cell;
        const std::ptrdiff_t right = c + 1 < width ? 1 : 0;
        const std::ptrdiff_t down = r + 1 < height ? width : 0;
        for (int b = 0; b < kBins8; ++b, upper += tiles, corners += 4) {
            corners[0] = upper[0];
            corners[1] = upper[right];
            corners[2] = upper[down];
            corners[3] = upper[down + right];
        }
    }
}

// The first step of the trilinear look-up, along axis B, depends on one byte of the pair alone.
void FusedCapture::packColors(const float* lut) {
    float lattice[kLatticeFloats];
    packLattice(lut, lattice);
    const float s = static_cast<float>(kLatticeSize - 1) / static_cast<float>(kBins8 - 1);
    float* out = m_slabs.get() + kSlabsBegin;
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

void FusedCapture::run(const HostEngine& engine) {
    const StageSwitches on = engine.stages();
    const bool clahe = on.clahe && engine.claheUsable();
    if (clahe) {
        packCells(engine);
    }
    if (on.colorMap) {
        packColors(engine.m_colorLut.get());
    }
    const FusedTables tables = {clahe ? m_cells.get() : nullptr, m_columnWeights.get(), m_segmentEnds.get(),
                                m_slabs.get(), m_skin.get()};
    FusedStrips(tables, engine).run();
}

}  // namespace huevance::neon
