#include "neon/FusedStrips.h"

#include "neon/ClaheColumns.h"
#include "neon/Lattice.h"

namespace huevance::neon {

namespace {

struct PackedCorners {
    const float* cell[2];  // of each row

    using Place = TableOffset;  // bytes into the cell

    void locate(const unsigned char* samples, Place (&places)[kClaheStep]) const {
        vectorOffsets(samples, places);
    }
    float32x4_t at(int row, Place place) const { return vld1q_f32(addBytes(cell[row], place)); }
};

// Sums of the four luma samples of eight blocks.
uint16x8_t blockSums(const unsigned char* top, const unsigned char* bottom) {
    return vaddq_u16(sumPairs(vld1q_u8(top)), sumPairs(vld1q_u8(bottom)));
}

Floats16 spread(const float* blocks) {
    const Floats8 low = twice(vld1q_f32(blocks));
    const Floats8 high = twice(vld1q_f32(blocks + 4));
    return {{low.low, low.high, high.low, high.high}};
}

// Without the stage a preview has no curves.
ToneTable tonesOf(const HostEngine& engine, const Buffer<float>& curve) {
    return engine.stages().curve ? ToneTable(curve.get(), kBins8) : ToneTable();
}

template <int kBlock>
float32x4_t along(float32x4_t lower, float32x4_t upper, float32x4_t rest, float32x4_t weight) {
    return mix(lower, upper, repeatLane<kBlock>(rest), repeatLane<kBlock>(weight));
}

}  // namespace

FusedStrips::Mask FusedStrips::maskOf(const HostEngine& engine) {
    if (!engine.stages().portraitProtect) {
        return Mask::kNone;
    }
    switch (engine.m_iMaskSource) {
        case kMaskHost:
            return Mask::kHost;
        case kMaskSkin:
            return Mask::kSkin;
        default:
            return Mask::kNone;
    }
}

FusedStrips::FusedStrips(const FusedTables& tables, const HostEngine& engine)
    : m_tables(tables),
      m_on(engine.stages()),
      m_mask(maskOf(engine)),
      m_uFirst(engine.m_eYuvType == IMAGE_FORMAT_TYPE_NV12),
      m_strength(engine.m_fColorStrength),
      m_tileColumns(engine.m_iGridWidth),
      m_lumaPlane(lumaPlane(engine.m_pucImage8, engine.m_stRoi8)),
      m_chromaPlane(chromaPlane(engine.m_pucImage8, engine.m_stRoi8)),
      m_hostMask(maskPlane(static_cast<const float*>(engine.m_pfMask), engine.m_stMaskRoi)),
      m_vertical(engine.m_iGridHeight, engine.m_stTile.tileHeight),
      m_yLevels(tonesOf(engine, engine.m_yCurve)),
      m_uvLevels(tonesOf(engine, engine.m_uvCurve)) {}

void FusedStrips::run() {
    for (int j = 0; j < m_chromaPlane.height; ++j) {
        blockRow(j);
    }
    m_tileColumn = 0;
    for (int x = 0; m_lumaPlane.height % 2 == 1 && x < m_lumaPlane.width; x += kChunk) {
        singleRow(m_lumaPlane.height - 1, x, std::min(kChunk, m_lumaPlane.width - x));
    }
}

void FusedStrips::blockRow(int j) {
    m_y = 2 * j;
    m_tileColumn = 0;
    const Rows<unsigned char> frame = {{m_lumaPlane.row(m_y), m_lumaPlane.row(m_y + 1)},
                                       m_chromaPlane.row(j)};
    const int last = m_lumaPlane.width / 2 * 2;
    for (int x = 0; x < last; x += kChunk) {
        chunk({{frame.luma[0] + x, frame.luma[1] + x}, frame.pairs + x}, x, std::min(kChunk, last - x));
    }
    if (last < m_lumaPlane.width) {  // a column that belongs to no block
        singleRow(m_y, last, 1);
        singleRow(m_y + 1, last, 1);
        if (m_on.curve) {
            frame.pairs[last] = m_uvLevels.get()[frame.pairs[last]];
        }
    }
}

// Luma that belongs to no block: at most a chunk of one row.
void FusedStrips::singleRow(int y, int x, int columns) {
    unsigned char* row = m_lumaPlane.row(y) + x;
    unsigned char* toned = m_toned[0];
    std::copy_n(row, columns, toned);
    if (m_tables.cells != nullptr) {
        mapClahe<1>({row}, {toned}, x, columns, {m_vertical.at(y)});
    }
    if (m_on.curve) {
        std::transform(toned, toned + columns, toned, [this](unsigned char v) { return m_yLevels.get()[v]; });
    }
    if (m_mask == Mask::kHost) {
        protectRow(static_cast<const unsigned char*>(row), toned, m_hostMask.row(y) + x, columns);
    }  // skin detection leaves such cells at 0: no protection
    std::copy_n(toned, columns, row);
}

void FusedStrips::chunk(const Rows<unsigned char>& frame, int x, int columns) {
    m_filled = (columns + 15) / 16 * 16;
    const bool full = columns == m_filled;
    const Rows<const unsigned char> in =
        full ? Rows<const unsigned char>{{frame.luma[0], frame.luma[1]}, frame.pairs}
             : filledInput(frame, columns);
    const Rows<unsigned char> out =
        full ? frame : Rows<unsigned char>{{m_output[0], m_output[1]}, m_output[2]};
    switch (m_mask) {
        case Mask::kHost:
            fillMask(x, columns);
            break;
        case Mask::kSkin:
            readSkin(in.pairs);
            break;
        case Mask::kNone:
            break;
    }
    const Rows<const unsigned char> toned = mapTones(in, x, columns);
    unpackChroma(toned.pairs);
    if (m_on.colorCorrect) {
        correct(in, toned);
    }
    if (m_on.colorMap) {
        prepareLookUps(toned);
        lookUp();
    }
    switch (m_mask) {
        case Mask::kNone:
            write<Mask::kNone>(in, toned, out);
            break;
        case Mask::kHost:
            write<Mask::kHost>(in, toned, out);
            break;
        case Mask::kSkin:
            write<Mask::kSkin>(in, toned, out);
            break;
    }
    if (!full) {
        std::copy_n(out.luma[0], columns, frame.luma[0]);
        std::copy_n(out.luma[1], columns, frame.luma[1]);
        std::copy_n(out.pairs, columns, frame.pairs);
    }
}

FusedStrips::Rows<const unsigned char> FusedStrips::filledInput(const Rows<unsigned char>& frame,
                                                                int columns) {
    std::copy_n(frame.luma[0], columns, m_input[0]);
    std::copy_n(frame.luma[1], columns, m_input[1]);
    std::copy_n(frame.pairs, columns, m_input[2]);
    return {{m_input[0], m_input[1]}, m_input[2]};
}

void FusedStrips::fillMask(int x, int columns) {
    for (int r = 0; r < 2; ++r) {
        m_maskRow[r] = m_hostMask.row(m_y + r) + x;
        if (columns != m_filled) {
            std::copy_n(m_maskRow[r], columns, m_maskCopy[r]);
            m_maskRow[r] = m_maskCopy[r];
        }
    }
}

template <int kRows>
void FusedStrips::mapClahe(const unsigned char* const (&in)[kRows], unsigned char* const (&out)[kRows], int x,
                           int columns, const TileAxis::Position (&rows)[kRows]) {
    for (int done = 0; done < columns;) {
        while (m_tables.segmentEnds[m_tileColumn] <= x + done) {
            ++m_tileColumn;
        }
        const int length = std::min(columns - done, m_tables.segmentEnds[m_tileColumn] - (x + done));
        PackedCorners corners = {};
        const unsigned char* from[kRows];
        unsigned char* to[kRows];
        for (int r = 0; r < kRows; ++r) {
            corners.cell[r] = m_tables.cells + (rows[r].index * m_tileColumns + m_tileColumn) * kCellFloats;
            from[r] = in[r] + done;
            to[r] = out[r] + done;
        }
        const ClaheColumns<unsigned char, kRows, PackedCorners> cells(corners, rows, 255.0F);
        cells.map(from, to, m_tables.columnWeights + std::ptrdiff_t{kWeightFloats} * (x + done), length);
        done += length;
    }
}

// CLAHE and curves: the rows that the later stages read.
FusedStrips::Rows<const unsigned char> FusedStrips::mapTones(const Rows<const unsigned char>& in, int x,
                                                             int columns) {
    Rows<const unsigned char> toned = in;
    if (m_tables.cells != nullptr) {
        mapClahe<2>(in.luma, {m_toned[0], m_toned[1]}, x, columns,
                    {m_vertical.at(m_y), m_vertical.at(m_y + 1)});
        toned = {{m_toned[0], m_toned[1]}, in.pairs};
    }
    if (m_on.curve) {
        const ByteTable luma(m_yLevels.get());
        for (int i = 0; i < m_filled; i += 16) {
            luma.map(toned.luma[0] + i, m_toned[0] + i);
            luma.map(toned.luma[1] + i, m_toned[1] + i);
        }
        const ByteTable chroma(m_uvLevels.get());
        for (int i = 0; i < m_filled; i += 16) {
            chroma.map(in.pairs + i, m_toned[2] + i);
        }
        toned = {{m_toned[0], m_toned[1]}, m_toned[2]};
    }
    return toned;
}

// From the input's chroma.
void FusedStrips::readSkin(const unsigned char* pairs) {
    const float* skin = m_tables.skin;
    for (int x = 0; x < m_filled; x += 16) {
        const uint8x16_t bytes = vld1q_u8(pairs + x);
        std::uint16_t index[8];
        vst1q_u16(index, vreinterpretq_u16_u8(m_uFirst ? bytes : vrev16q_u8(bytes)));
        for (int i = 0; i < 8; ++i) {
            m_skinMask[x / 2 + i] = skin[index[i]];
        }
    }
}

void FusedStrips::unpackChroma(const unsigned char* pairs) {
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        const FloatPairs8 chroma = toFloatPairs(vld1q_u8(pairs + 2 * i));
        vst1q_f32(m_base.first + i, chroma.first.low);
        vst1q_f32(m_base.first + i + 4, chroma.first.high);
        vst1q_f32(m_base.second + i, chroma.second.low);
        vst1q_f32(m_base.second + i + 4, chroma.second.high);
    }
    m_chroma = &m_base;
}

void FusedStrips::correct(const Rows<const unsigned char>& in, const Rows<const unsigned char>& toned) {
    constexpr float kHalf = 128.0F;
    const auto four = [this](int i, float32x4_t before, float32x4_t after) {
        const float32x4_t neutral = vdupq_n_f32(kHalf);
        const float32x4_t u = vsubq_f32(vld1q_f32(m_base.first + i), neutral);
        const float32x4_t v = vsubq_f32(vld1q_f32(m_base.second + i), neutral);
        const FloatPairs4 corrected = correctChroma(u, v, before, after, kHalf);
        vst1q_f32(m_corrected.first + i, truncate(corrected.first));
        vst1q_f32(m_corrected.second + i, truncate(corrected.second));
    };
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        const Floats8 before = toFloats(vshrq_n_u16(blockSums(in.luma[0] + 2 * i, in.luma[1] + 2 * i), 2));
        const Floats8 after =
            toFloats(vshrq_n_u16(blockSums(toned.luma[0] + 2 * i, toned.luma[1] + 2 * i), 2));
        four(i, before.low, after.low);
        four(i + 4, before.high, after.high);
    }
    m_chroma = &m_corrected;
}

// Coordinates of the colour look-ups. Axis A is U.
void FusedStrips::prepareLookUps(const Rows<const unsigned char>& toned) {
    const float* axisA = m_uFirst ? m_chroma->first : m_chroma->second;
    const float* axisB = m_uFirst ? m_chroma->second : m_chroma->first;
    constexpr float kPointBytes = sizeof(float);
    const float32x4_t s = vdupq_n_f32(static_cast<float>(kLatticeSize - 1) / static_cast<float>(kBins8 - 1));
    const auto four = [=, this](int i, float32x4_t sums) {
        const float32x4_t mean = vmulq_f32(vdupq_n_f32(0.25F), sums);
        const float32x4_t y = vmulq_f32(s, mean);
        const float32x4_t a = vmulq_f32(s, vld1q_f32(axisA + i));
        const float32x4_t indexY = truncate(y);
        const float32x4_t indexA = truncate(a);
        const float32x4_t slab = vmulq_f32(vld1q_f32(axisB + i), vdupq_n_f32(kPointBytes * kPointB));
        const float32x4_t row = vmulq_f32(indexA, vdupq_n_f32(kPointBytes * kPointA));
        const float32x4_t point = vmulq_f32(indexY, vdupq_n_f32(kPointBytes * kPointY));
        vst1q_s32(m_corner + i, toInts(vaddq_f32(vaddq_f32(slab, row), point)));  // below 2^24: exact
        vst1q_f32(m_mean + i, mean);
        vst1q_f32(m_weightY + i, vsubq_f32(y, indexY));
        vst1q_f32(m_weightA + i, vsubq_f32(a, indexA));
    };
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        const Floats8 sums = toFloats(blockSums(toned.luma[0] + 2 * i, toned.luma[1] + 2 * i));
        four(i, sums.low);
        four(i + 4, sums.high);
    }
}

void FusedStrips::lookUp() {
    const float* axisA = m_uFirst ? m_chroma->first : m_chroma->second;
    const float* axisB = m_uFirst ? m_chroma->second : m_chroma->first;
    float* newA = m_uFirst ? m_corrected.first : m_corrected.second;
    float* newB = m_uFirst ? m_corrected.second : m_corrected.first;
    const float* slabs = m_tables.slabs;
    const float strength = m_strength;
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 4) {
        const float32x4_t weightY = vld1q_f32(m_weightY + i);
        const float32x4_t weightA = vld1q_f32(m_weightA + i);
        const float32x4_t restY = oneMinus(weightY);
        const float32x4_t restA = oneMinus(weightA);
        // Along axis A, then Y; axis B is done.
        const auto block = [&]<int kBlock>(std::integral_constant<int, kBlock>) {
            const float* lower = addBytes(slabs, m_corner[i + kBlock]) + kSlabsBegin;
            const float* upper = lower + kPointA;
            const float32x4_t before = along<kBlock>(vld1q_f32(lower), vld1q_f32(upper), restA, weightA);
            const float32x4_t after =
                along<kBlock>(vld1q_f32(lower + kPointY), vld1q_f32(upper + kPointY), restA, weightA);
            return along<kBlock>(before, after, restY, weightY);
        };
        const Mapped4 mapped =
            transpose({block(std::integral_constant<int, 0>()), block(std::integral_constant<int, 1>()),
                       block(std::integral_constant<int, 2>()), block(std::integral_constant<int, 3>())});
        const float32x4_t moved = vsubq_f32(mapped.y, vld1q_f32(m_mean + i));
        vst1q_f32(m_delta + i, vmulq_f32(vdupq_n_f32(strength), moved));
        vst1q_f32(newA + i, truncate(blendChroma(vld1q_f32(axisA + i), mapped.a, strength, 255.0F)));
        vst1q_f32(newB + i, truncate(blendChroma(vld1q_f32(axisB + i), mapped.b, strength, 255.0F)));
    }
    m_chroma = &m_corrected;
}

// The offset of the colour look-up, and protection.
template <bool kColor, FusedStrips::Mask kMask>
void FusedStrips::writeLuma(const Rows<const unsigned char>& in, const Rows<const unsigned char>& toned,
                            const Rows<unsigned char>& out) const {
    const int filled = m_filled;
    for (int x = 0; x < filled; x += 16) {
        const Floats16 delta = kColor ? spread(m_delta + x / 2) : Floats16{};
        const Floats16 skin = kMask == Mask::kSkin ? spread(m_skinMask + x / 2) : Floats16{};
        for (int r = 0; r < 2; ++r) {
            Floats16 luma = toFloats(vld1q_u8(toned.luma[r] + x));
            for (int q = 0; kColor && q < 4; ++q) {
                luma.quarter[q] = truncate(offsetLuma(luma.quarter[q], delta.quarter[q], 255.0F));
            }
            const Floats16 backup = kMask == Mask::kNone ? Floats16{} : toFloats(vld1q_u8(in.luma[r] + x));
            for (int q = 0; kMask != Mask::kNone && q < 4; ++q) {
                const float32x4_t mask =
                    kMask == Mask::kSkin ? skin.quarter[q] : vld1q_f32(m_maskRow[r] + x + 4 * q);
                luma.quarter[q] = protect(backup.quarter[q], luma.quarter[q], mask);
            }
            // The host's mask may hold values outside 0 .. 1.
            vst1q_u8(out.luma[r] + x, kMask == Mask::kHost ? toBytesSaturated(luma) : toBytes(luma));
        }
    }
}

template <FusedStrips::Mask kMask>
void FusedStrips::writePairs(unsigned char* out) const {
    const auto level = [&](const float* base, const float* processed, int i) {
        const float32x4_t value = vld1q_f32(processed + i);
        if constexpr (kMask == Mask::kNone) {
            return toInts(value);
        } else if constexpr (kMask == Mask::kSkin) {
            return toInts(protect(vld1q_f32(base + i), value, vld1q_f32(m_skinMask + i)));
        } else {
            const float* mask = m_maskRow[0] + 2 * i;  // of each block, the first column's
            const float32x4_t m = vuzp1q_f32(vld1q_f32(mask), vld1q_f32(mask + 4));
            return toInts(clampLevels(protect(vld1q_f32(base + i), value, m), vdupq_n_f32(255.0F)));
        }
    };
    const auto eight = [&](const float* base, const float* processed, int i) {
        return packShorts(level(base, processed, i), level(base, processed, i + 4));
    };
    const Chroma& chroma = *m_chroma;
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        const uint16x8_t first = eight(m_base.first, chroma.first, i);
        const uint16x8_t second = eight(m_base.second, chroma.second, i);
        vst1q_u8(out + 2 * i, vreinterpretq_u8_u16(vorrq_u16(first, vshlq_n_u16(second, 8))));
    }
}

template <FusedStrips::Mask kMask>
void FusedStrips::write(const Rows<const unsigned char>& in, const Rows<const unsigned char>& toned,
                        const Rows<unsigned char>& out) const {
    const auto copy = [this](const unsigned char* from, unsigned char* to) {
        if (from != to) {
            std::copy_n(from, m_filled, to);
        }
    };
    if (kMask == Mask::kNone && m_chroma == &m_base) {
        copy(toned.pairs, out.pairs);
    } else {
        writePairs<kMask>(out.pairs);
    }
    if (m_on.colorMap) {
        writeLuma<true, kMask>(in, toned, out);
    } else if (kMask == Mask::kNone) {
        copy(toned.luma[0], out.luma[0]);
        copy(toned.luma[1], out.luma[1]);
    } else {
        writeLuma<false, kMask>(in, toned, out);
    }
}

}  // namespace huevance::neon
