#include "neon/FusedStrips.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <type_traits>

#include "core/RowWalks.h"
#include "core/Sample.h"
#include "neon/ClaheCells.h"
#include "neon/Lattice.h"
#include "neon/Samples.h"

namespace huevance::neon {

namespace {

Floats16 spread(const float* blocks) {
    const Floats8 low = twice(vld1q_f32(blocks));
    const Floats8 high = twice(vld1q_f32(blocks + 4));
    return {{low.low, low.high, high.low, high.high}};
}

// Weights of four look-ups along an axis.
struct AxisWeights {
    explicit AxisWeights(float32x4_t upper) : weight(upper), rest(oneMinus(upper)) {}
    float32x4_t weight, rest;
};

// One look-up of the four. Compilers do not take these in by themselves where they stand eight times.
template <int kBlock>
[[gnu::always_inline]] inline float32x4_t along(const AxisWeights& axis, float32x4_t lower,
                                                float32x4_t upper) {
    return mix(lower, upper, repeatLane<kBlock>(axis.rest), repeatLane<kBlock>(axis.weight));
}
template <int kBlock>
[[gnu::always_inline]] inline float32x4_t slabColor(const float* point, const AxisWeights& y,
                                                    const AxisWeights& a) {
    const float32x4_t lower = along<kBlock>(a, vld1q_f32(point), vld1q_f32(point + kPointA));
    point += kPointY;
    return along<kBlock>(y, lower, along<kBlock>(a, vld1q_f32(point), vld1q_f32(point + kPointA)));
}
template <int kBlock>
[[gnu::always_inline]] inline float32x4_t alongB(const float* point, const AxisWeights& b) {
    return along<kBlock>(b, vld1q_f32(point), vld1q_f32(point + kPointB));
}
template <int kBlock>
[[gnu::always_inline]] inline float32x4_t latticeColor(const float* point, const AxisWeights& y,
                                                       const AxisWeights& a, const AxisWeights& b) {
    const float32x4_t lower = along<kBlock>(a, alongB<kBlock>(point, b), alongB<kBlock>(point + kPointA, b));
    point += kPointY;
    return along<kBlock>(y, lower,
                         along<kBlock>(a, alongB<kBlock>(point, b), alongB<kBlock>(point + kPointA, b)));
}

// Calls call(std::true_type()) or call(std::false_type()).
template <typename Call>
void withConstant(bool value, Call call) {
    if (value) {
        call(std::true_type());
    } else {
        call(std::false_type());
    }
}

// The frame of the engine, of whose depth T is.
template <typename T>
T* imageOf(const HostEngine& engine) {
    if constexpr (sizeof(T) > 1) {
        return engine.m_pusImage16;
    } else {
        return engine.m_pucImage8;
    }
}

// The stages that are on and take frames of the engine's format.
template <typename T>
StageSwitches stagesOf(const HostEngine& engine) {
    StageSwitches on = engine.stages();
    on.colorCorrect = on.colorCorrect && isCorrected<T>(engine.m_eYuvType);
    // The look-up takes every format of 16 bits, and of 8 bits those that are corrected.
    on.colorMap = on.colorMap && (sizeof(T) > 1 || isCorrected<T>(engine.m_eYuvType));
    return on;
}

}  // namespace

template <typename T>
typename FusedStrips<T>::Mask FusedStrips<T>::maskOf(const HostEngine& engine) {
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

template <typename T>
FusedStrips<T>::FusedStrips(const FusedTables<T>& tables, const HostEngine& engine)
    : m_tables(tables),
      m_on(stagesOf<T>(engine)),
      m_mask(maskOf(engine)),
      m_uFirst(skinPlaceOfU(engine.m_eYuvType) == 0),
      m_aFirst(kWide || m_uFirst),
      m_range(kWide ? engine.bins16() : kBins8),
      m_shift(kWide ? engine.m_iDataBit - 8 : 0),
      m_strength(engine.m_fColorStrength),
      m_tileColumns(engine.m_iGridWidth),
      m_lumaPlane(lumaPlane(imageOf<T>(engine), engine.frameRoi())),
      m_chromaPlane(chromaPlane(imageOf<T>(engine), engine.frameRoi())),
      m_hostMask(maskPlane(static_cast<const float*>(engine.m_pfMask), engine.m_stMaskRoi)),
      m_vertical(engine.m_iGridHeight, engine.m_stTile.tileHeight) {}

template <typename T>
void FusedStrips<T>::run() {
    for (int j = 0; j < m_chromaPlane.height; ++j) {
        blockRow(j);
    }
    m_tileColumn = 0;
    for (int x = 0; m_lumaPlane.height % 2 == 1 && x < m_lumaPlane.width; x += kChunk) {
        singleRow(m_lumaPlane.height - 1, x, std::min(kChunk, m_lumaPlane.width - x));
    }
}

template <typename T>
void FusedStrips<T>::blockRow(int j) {
    m_y = 2 * j;
    m_tileColumn = 0;
    const Rows<T> frame = {{m_lumaPlane.row(m_y), m_lumaPlane.row(m_y + 1)}, m_chromaPlane.row(j)};
    const int last = m_lumaPlane.width / 2 * 2;
    for (int x = 0; x < last; x += kChunk) {
        chunk({{frame.luma[0] + x, frame.luma[1] + x}, frame.pairs + x}, x, std::min(kChunk, last - x));
    }
    if (last < m_lumaPlane.width) {  // a column that belongs to no block
        singleRow(m_y, last, 1);
        singleRow(m_y + 1, last, 1);
        if (m_on.curve) {
            frame.pairs[last] = m_tables.uvLevels[frame.pairs[last]];
        }
    }
}

// Luma that belongs to no block: at most a chunk of one row.
template <typename T>
void FusedStrips<T>::singleRow(int y, int x, int columns) {
    T* row = m_lumaPlane.row(y) + x;
    T* toned = m_toned[0];
    std::copy_n(row, columns, toned);
    if (m_tables.cells != nullptr) {
        mapClahe<1>({row}, {toned}, x, columns, {m_vertical.at(y)});
    }
    if (m_on.curve) {
        std::transform(toned, toned + columns, toned, [this](T v) { return m_tables.yLevels[v]; });
    }
    if (m_mask == Mask::kHost) {
        protectRow(static_cast<const T*>(row), toned, m_hostMask.row(y) + x, columns);
    }  // skin detection leaves such cells at 0: no protection
    std::copy_n(toned, columns, row);
}

template <typename T>
void FusedStrips<T>::chunk(const Rows<T>& frame, int x, int columns) {
    m_filled = (columns + 15) / 16 * 16;
    const bool full = columns == m_filled;
    const Rows<const T> in =
        full ? Rows<const T>{{frame.luma[0], frame.luma[1]}, frame.pairs} : filledInput(frame, columns);
    const Rows<T> out = full ? frame : Rows<T>{{m_output[0], m_output[1]}, m_output[2]};
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
    const Rows<const T> toned = mapTones(in, x, columns);
    if (!m_on.colorMap) {
        prepare<Table::kNone>(in, toned);
    } else if (m_tables.slabs != nullptr) {
        prepare<Table::kSlabs>(in, toned);
    } else {
        prepare<Table::kLattice>(in, toned);
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

template <typename T>
typename FusedStrips<T>::template Rows<const T> FusedStrips<T>::filledInput(const Rows<T>& frame,
                                                                            int columns) {
    std::copy_n(frame.luma[0], columns, m_input[0]);
    std::copy_n(frame.luma[1], columns, m_input[1]);
    std::copy_n(frame.pairs, columns, m_input[2]);
    return {{m_input[0], m_input[1]}, m_input[2]};
}

template <typename T>
void FusedStrips<T>::fillMask(int x, int columns) {
    for (int r = 0; r < 2; ++r) {
        m_maskRow[r] = m_hostMask.row(m_y + r) + x;
        if (columns != m_filled) {
            std::copy_n(m_maskRow[r], columns, m_maskCopy[r]);
            m_maskRow[r] = m_maskCopy[r];
        }
    }
}

template <typename T>
template <bool kScaled, typename Corners, int kRows>
void FusedStrips<T>::mapCell(const Corners& corners, const T* const (&in)[kRows], T* const (&out)[kRows],
                             int x, int columns, const TileAxis::Position (&rows)[kRows]) const {
    const ClaheColumns<T, kRows, Corners, kScaled> cells(corners, rows, static_cast<float>(m_range - 1));
    cells.map(in, out, m_tables.columnWeights + std::ptrdiff_t{kWeightFloats} * x, columns);
}

template <typename T>
template <int kRows>
void FusedStrips<T>::mapClahe(const T* const (&in)[kRows], T* const (&out)[kRows], int x, int columns,
                              const TileAxis::Position (&rows)[kRows]) {
    for (int done = 0; done < columns;) {
        while (m_tables.segmentEnds[m_tileColumn] <= x + done) {
            ++m_tileColumn;
        }
        const int length = std::min(columns - done, m_tables.segmentEnds[m_tileColumn] - (x + done));
        const float* cell[2] = {};
        const T* from[kRows];
        T* to[kRows];
        for (int r = 0; r < kRows; ++r) {
            cell[r] = m_tables.cells + (rows[r].index * m_tileColumns + m_tileColumn) * m_tables.cellFloats;
            from[r] = in[r] + done;
            to[r] = out[r] + done;
        }
        if constexpr (kRows == 1) {
            cell[1] = cell[0];  // never read, but offsets are added to it
        }
        if constexpr (kWide) {
            if (m_tables.widenCells) {
                mapCell<false>(WidenedCorners(cell, m_range), from, to, x + done, length, rows);
            } else {
                mapCell<false>(PackedCorners{{cell[0], cell[1]}, m_range - 1}, from, to, x + done, length,
                               rows);
            }
        } else {
            const PackedCorners corners = {{cell[0], cell[1]}, m_range - 1};
            if (kRoundsScaled && m_tables.mildCells) {
                mapCell<kRoundsScaled>(corners, from, to, x + done, length, rows);
            } else {
                mapCell<false>(corners, from, to, x + done, length, rows);
            }
        }
        done += length;
    }
}

template <typename T>
void FusedStrips<T>::mapCurves(const T* in, T* out, const T* levels) const {
    if constexpr (kWide) {
        for (int i = 0; i < m_filled; ++i) {
            out[i] = levels[in[i]];
        }
    } else {
        ByteTable(levels).map(in, out, m_filled);
    }
}

// CLAHE and curves: the rows that the later stages read.
template <typename T>
typename FusedStrips<T>::template Rows<const T> FusedStrips<T>::mapTones(const Rows<const T>& in, int x,
                                                                         int columns) {
    Rows<const T> toned = in;
    if (m_tables.cells != nullptr) {
        mapClahe<2>(in.luma, {m_toned[0], m_toned[1]}, x, columns,
                    {m_vertical.at(m_y), m_vertical.at(m_y + 1)});
        toned = {{m_toned[0], m_toned[1]}, in.pairs};
    }
    if (m_on.curve) {
        mapCurves(toned.luma[0], m_toned[0], m_tables.yLevels);
        mapCurves(toned.luma[1], m_toned[1], m_tables.yLevels);
        mapCurves(in.pairs, m_toned[2], m_tables.uvLevels);
        toned = {{m_toned[0], m_toned[1]}, m_toned[2]};
    }
    return toned;
}

// From the input's chroma.
template <typename T>
void FusedStrips<T>::readSkin(const T* pairs) {
    const float* skin = m_tables.skin;
    for (int x = 0; x < m_filled; x += 16) {
        const uint8x16_t bytes = narrow(pairs + x, m_shift);
        std::uint16_t index[8];
        vst1q_u16(index, vreinterpretq_u16_u8(m_uFirst ? bytes : vrev16q_u8(bytes)));
        for (int i = 0; i < 8; ++i) {
            m_skinMask[x / 2 + i] = skin[index[i]];
        }
    }
}

// Whether the limit of colour correction's gain acts on no block: where |chroma - half| <= (half - 1) / 2
// everywhere, it is 2 or more, and the gain ends at 2.
template <typename T>
bool FusedStrips<T>::chromaIsMild(const T* pairs) const {
    using Vector = decltype(loadVector(pairs));
    const Vector half = repeat(static_cast<T>(m_range / 2));
    Vector farthest = distance(loadVector(pairs), half);
    for (int i = kVector<T>; i < m_filled; i += kVector<T>) {
        farthest = largest(farthest, distance(loadVector(pairs + i), half));
    }
    return largestLane(farthest) <= (m_range / 2 - 1) / 2;
}

// What happens to whole blocks, in one loop that shares their sums: chroma after the curves, after colour
// correction, and the coordinates of the colour look-up. Axis A of 8-bit frames is U.
template <typename T>
template <bool kCorrect, bool kLimited, typename FusedStrips<T>::Table kTable, bool kAFirst>
void FusedStrips<T>::prepareBlocks(const Rows<const T> in, const Rows<const T> toned) {
    Chroma& chroma = kCorrect ? m_corrected : m_base;
    m_chroma = &chroma;
    const float half = static_cast<float>(m_range / 2);
    const float32x4_t s = vdupq_n_f32(static_cast<float>(kLatticeSize - 1) / static_cast<float>(m_range - 1));
    const auto bytes = [](float32x4_t index, int floats) {
        return vmulq_f32(index, vdupq_n_f32(static_cast<float>(floats) * sizeof(float)));
    };
    const auto correct = [&](int i, float32x4_t& first, float32x4_t& second, float32x4_t before,
                             float32x4_t after) {
        const float32x4_t neutral = vdupq_n_f32(half);
        const FloatPairs4 corrected = correctChroma<kLimited>(
            vsubq_f32(first, neutral), vsubq_f32(second, neutral), before, after, half);
        first = truncate(corrected.first);
        second = truncate(corrected.second);
        vst1q_f32(m_corrected.first + i, first);
        vst1q_f32(m_corrected.second + i, second);
    };
    const auto place = [&](int i, float32x4_t first, float32x4_t second, float32x4_t sums) {
        const float32x4_t mean = vmulq_f32(vdupq_n_f32(0.25F), sums);
        const LatticeAxis4 y = latticeAxis<kWide>(vmulq_f32(s, mean));
        const LatticeAxis4 a = latticeAxis<kWide>(vmulq_f32(s, kAFirst ? first : second));
        float32x4_t b = kAFirst ? second : first;
        if constexpr (kTable == Table::kLattice) {
            const LatticeAxis4 axis = latticeAxis<kWide>(vmulq_f32(s, b));
            vst1q_f32(m_weightB + i, axis.weight);
            b = axis.index;
        }
        // Whole numbers below 2^24: exact.
        const float32x4_t corner =
            vaddq_f32(vaddq_f32(bytes(b, kPointB), bytes(a.index, kPointA)), bytes(y.index, kPointY));
        vst1q_s32(m_corner + i, toInts(corner));
        vst1q_f32(m_mean + i, mean);
        vst1q_f32(m_weightY + i, y.weight);
        vst1q_f32(m_weightA + i, a.weight);
    };
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        FloatPairs8 pairs = loadPairs(toned.pairs + 2 * i);
        vst1q_f32(m_base.first + i, pairs.first.low);
        vst1q_f32(m_base.first + i + 4, pairs.first.high);
        vst1q_f32(m_base.second + i, pairs.second.low);
        vst1q_f32(m_base.second + i + 4, pairs.second.high);
        const auto sums = blockSums(toned.luma[0] + 2 * i, toned.luma[1] + 2 * i);
        if constexpr (kCorrect) {
            const Floats8 before = wholeMeans(blockSums(in.luma[0] + 2 * i, in.luma[1] + 2 * i));
            const Floats8 after = wholeMeans(sums);
            correct(i, pairs.first.low, pairs.second.low, before.low, after.low);
            correct(i + 4, pairs.first.high, pairs.second.high, before.high, after.high);
        }
        if constexpr (kTable != Table::kNone) {
            const Floats8 floats = toFloats(sums);
            place(i, pairs.first.low, pairs.second.low, floats.low);
            place(i + 4, pairs.first.high, pairs.second.high, floats.high);
        }
    }
}

template <typename T>
template <typename FusedStrips<T>::Table kTable>
void FusedStrips<T>::prepare(const Rows<const T>& in, const Rows<const T>& toned) {
    withConstant(m_aFirst, [&]<bool kAFirst>(std::bool_constant<kAFirst>) {
        if (!m_on.colorCorrect) {
            prepareBlocks<false, false, kTable, kAFirst>(in, toned);
        } else if (chromaIsMild(toned.pairs)) {
            prepareBlocks<true, false, kTable, kAFirst>(in, toned);
        } else {
            prepareBlocks<true, true, kTable, kAFirst>(in, toned);
        }
    });
}

// What the colour table holds for four blocks: along axis B, which is done in slabs, then A, then Y.
template <typename T>
template <typename FusedStrips<T>::Table kTable>
inline Mapped4 FusedStrips<T>::mappedColors(const float* table, int i) const {
    const AxisWeights y(vld1q_f32(m_weightY + i));
    const AxisWeights a(vld1q_f32(m_weightA + i));
    if constexpr (kTable == Table::kSlabs) {
        const auto block = [&](int n) { return opaque(addBytes(table, m_corner[i + n])); };
        return transpose({slabColor<0>(block(0), y, a), slabColor<1>(block(1), y, a),
                          slabColor<2>(block(2), y, a), slabColor<3>(block(3), y, a)});
    } else {
        const AxisWeights b(vld1q_f32(m_weightB + i));
        const auto block = [&](int n) { return opaque(addBytes(table, m_corner[i + n])); };
        return transpose({latticeColor<0>(block(0), y, a, b), latticeColor<1>(block(1), y, a, b),
                          latticeColor<2>(block(2), y, a, b), latticeColor<3>(block(3), y, a, b)});
    }
}

// Offsets of luma and new chroma, for every table and strength.
template <typename T>
template <typename FusedStrips<T>::Table kTable>
void FusedStrips<T>::lookUp() {
    const float max = static_cast<float>(m_range - 1);
    const float strength = m_strength;
    const float* table = kTable == Table::kSlabs ? m_tables.slabs : m_tables.lattice;
    const float* levelsA = axisA();
    const float* levelsB = axisB();
    float* newA = m_aFirst ? m_corrected.first : m_corrected.second;
    float* newB = m_aFirst ? m_corrected.second : m_corrected.first;
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 4) {
        const Mapped4 mapped = mappedColors<kTable>(table, i);
        const float32x4_t moved = vsubq_f32(mapped.y, vld1q_f32(m_mean + i));
        vst1q_f32(m_delta + i, vmulq_f32(vdupq_n_f32(strength), moved));
        vst1q_f32(newA + i, truncate(blendChroma(vld1q_f32(levelsA + i), mapped.a, strength, max)));
        vst1q_f32(newB + i, truncate(blendChroma(vld1q_f32(levelsB + i), mapped.b, strength, max)));
    }
    m_chroma = &m_corrected;
}

// The same with mild colours, and the pairs written at once. Chroma needs no clamp: of levels and strengths
// in range, rounding apart, a blend is in range, and 0.5 more is below 256.
//
// The look-up moves a sample p by d: the truncation of (p + d) + 0.5, held in 0 .. 255. With f the whole
// levels of d + 0.5 that is p + f, held there, unless rounding carries a sum over a whole level. Rounding
// errors: for |p + d| below 256 each of the two sums is off by at most 2^-17 (beyond, both ways end at 255 or
// 0), d + 0.5 itself by 2^-18. In units of 2^-16, truncated to whole ones, f is therefore safe when the units
// above its whole level are 3 .. 65533. If those of a block are not, it is unsettled; the answer is
// whether one is.
template <typename T>
template <typename FusedStrips<T>::Table kTable, typename FusedStrips<T>::Mask kMask, bool kAFirst>
bool FusedStrips<T>::lookUpMild(T* out) {
    const float32x4_t half = vdupq_n_f32(0.5F);
    const float32x4_t strength = vdupq_n_f32(m_strength);
    const float32x4_t rest = vdupq_n_f32(1.0F - m_strength);
    const float* table = kTable == Table::kSlabs ? m_tables.slabs : m_tables.lattice;
    const float* first = m_chroma->first;
    const float* second = m_chroma->second;
    const auto offsets = [&](int i, const Mapped4& mapped) {
        const float32x4_t delta = vmulq_f32(strength, vsubq_f32(mapped.y, vld1q_f32(m_mean + i)));
        vst1q_f32(m_delta + i, delta);
        return vreinterpretq_u16_s32(toFixed16(vaddq_f32(delta, half)));
    };
    const auto level = [&](const float* base, const float* sample, int i, float32x4_t mapped) {
        const float32x4_t kept = vmulq_f32(rest, vld1q_f32(sample + i));
        const float32x4_t value = vaddq_f32(vaddq_f32(kept, vmulq_f32(strength, mapped)), half);
        return kMask == Mask::kNone ? value : protectLevel<kMask>(base, truncate(value), i);
    };
    uint16x8_t nearest = vdupq_n_u16(0xFFFF);
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        const Mapped4 low = mappedColors<kTable>(table, i);
        const Mapped4 high = mappedColors<kTable>(table, i + 4);
        const uint16x8_t lowOffsets = offsets(i, low);
        const uint16x8_t highOffsets = offsets(i + 4, high);
        const uint16x8_t units = vaddq_u16(vuzp1q_u16(lowOffsets, highOffsets), vdupq_n_u16(2));
        vst1q_u16(m_units + i, units);
        nearest = vminq_u16(nearest, units);
        const int8x16_t levels = vreinterpretq_s8_u16(vuzp2q_u16(lowOffsets, highOffsets));
        vst1q_s8(m_wholeDelta + 2 * i, vtrn1q_s8(levels, levels));
        storePairs(out + 2 * i, {{level(m_base.first, first, i, kAFirst ? low.a : low.b),
                                  level(m_base.first, first, i + 4, kAFirst ? high.a : high.b)},
                                 {level(m_base.second, second, i, kAFirst ? low.b : low.a),
                                  level(m_base.second, second, i + 4, kAFirst ? high.b : high.a)}});
    }
    return vminvq_u16(nearest) < kSettledUnits;
}

// Moves the luma of unsettled blocks by the float sums, and takes their offset away.
template <typename T>
typename FusedStrips<T>::template Rows<const T> FusedStrips<T>::settle(const Rows<const T>& toned) {
    const float max = static_cast<float>(m_range - 1);
    for (int r = 0; r < 2; ++r) {
        if (toned.luma[r] != m_toned[r]) {
            std::copy_n(toned.luma[r], m_filled, m_toned[r]);
        }
    }
    const auto settleBlock = [&](int block) {
        for (T* row : {m_toned[0], m_toned[1]}) {
            for (T* sample : {row + 2 * block, row + 2 * block + 1}) {
                *sample = toSample<T>(static_cast<float>(*sample) + m_delta[block] + 0.5F, max);
            }
        }
        m_wholeDelta[2 * block] = m_wholeDelta[2 * block + 1] = 0;
    };
    for (int i = 0; i < m_filled / 2; i += 8) {
        const bool settled = vminvq_u16(vld1q_u16(m_units + i)) >= kSettledUnits;
        for (int block = i; !settled && block < i + 8; ++block) {
            if (m_units[block] < kSettledUnits) {
                settleBlock(block);
            }
        }
    }
    return {{m_toned[0], m_toned[1]}, toned.pairs};
}

// A sample of four chroma pairs, blended with the input's.
template <typename T>
template <typename FusedStrips<T>::Mask kMask>
float32x4_t FusedStrips<T>::protectLevel(const float* base, float32x4_t value, int i) const {
    if constexpr (kMask == Mask::kSkin) {
        return protect(vld1q_f32(base + i), value, vld1q_f32(m_skinMask + i));
    } else {
        const float* mask = m_maskRow[0] + 2 * i;  // of each block, the first column's
        const float32x4_t m = vuzp1q_f32(vld1q_f32(mask), vld1q_f32(mask + 4));
        const float32x4_t max = vdupq_n_f32(static_cast<float>(std::numeric_limits<T>::max()));
        return clampLevels(protect(vld1q_f32(base + i), value, m), max);
    }
}

// The offset of the colour look-up, and protection.
template <typename T>
template <typename FusedStrips<T>::Offset kOffset, typename FusedStrips<T>::Mask kMask>
void FusedStrips<T>::writeLuma(const Rows<const T> in, const Rows<const T> toned, const Rows<T> out) const {
    const int filled = m_filled;
    const float max = static_cast<float>(m_range - 1);
    for (int x = 0; x < filled; x += 16) {
        const Floats16 delta = kOffset == Offset::kExact ? spread(m_delta + x / 2) : Floats16{};
        const Floats16 skin = kMask == Mask::kSkin ? spread(m_skinMask + x / 2) : Floats16{};
        for (int r = 0; r < 2; ++r) {
            Floats16 luma;
            if constexpr (kOffset == Offset::kWhole) {
                const uint8x16_t moved =
                    addSaturated(vld1q_u8(toned.luma[r] + x), vld1q_s8(m_wholeDelta + x));
                if constexpr (kMask == Mask::kNone) {
                    vst1q_u8(out.luma[r] + x, moved);
                    continue;
                }
                luma = toFloats(moved);
            } else {
                luma = loadLevels(toned.luma[r] + x);
            }
            for (int q = 0; kOffset == Offset::kExact && q < 4; ++q) {
                luma.quarter[q] = truncate(offsetLuma(luma.quarter[q], delta.quarter[q], max));
            }
            const Floats16 backup = kMask == Mask::kNone ? Floats16{} : loadLevels(in.luma[r] + x);
            for (int q = 0; kMask != Mask::kNone && q < 4; ++q) {
                const float32x4_t mask =
                    kMask == Mask::kSkin ? skin.quarter[q] : vld1q_f32(m_maskRow[r] + x + 4 * q);
                luma.quarter[q] = protect(backup.quarter[q], luma.quarter[q], mask);
            }
            if constexpr (kMask == Mask::kHost) {  // may hold values outside 0 .. 1
                storeSaturated(out.luma[r] + x, luma);
            } else {
                storeInRange(out.luma[r] + x, luma);
            }
        }
    }
}

template <typename T>
template <typename FusedStrips<T>::Mask kMask>
void FusedStrips<T>::writePairs(T* out) const {
    const auto level = [&](const float* base, const float* processed, int i) {
        const float32x4_t value = vld1q_f32(processed + i);
        return kMask == Mask::kNone ? value : protectLevel<kMask>(base, value, i);
    };
    const auto eight = [&](const float* base, const float* processed, int i) {
        return Floats8{level(base, processed, i), level(base, processed, i + 4)};
    };
    const Chroma& chroma = *m_chroma;
    const int blocks = m_filled / 2;
    for (int i = 0; i < blocks; i += 8) {
        storePairs(out + 2 * i,
                   {eight(m_base.first, chroma.first, i), eight(m_base.second, chroma.second, i)});
    }
}

template <typename T>
template <typename FusedStrips<T>::Table kTable, typename FusedStrips<T>::Mask kMask>
void FusedStrips<T>::writeColors(const Rows<const T>& in, const Rows<const T>& toned, const Rows<T>& out) {
    if constexpr (!kWide) {
        if (m_tables.mildColors) {
            const bool unsettled = m_aFirst ? lookUpMild<kTable, kMask, true>(out.pairs)
                                            : lookUpMild<kTable, kMask, false>(out.pairs);
            writeLuma<Offset::kWhole, kMask>(in, unsettled ? settle(toned) : toned, out);
            return;
        }
    }
    lookUp<kTable>();
    writePairs<kMask>(out.pairs);
    writeLuma<Offset::kExact, kMask>(in, toned, out);
}

template <typename T>
template <typename FusedStrips<T>::Mask kMask>
void FusedStrips<T>::write(const Rows<const T>& in, const Rows<const T>& toned, const Rows<T>& out) {
    if (m_on.colorMap) {
        if (m_tables.slabs != nullptr) {
            writeColors<Table::kSlabs, kMask>(in, toned, out);
        } else {
            writeColors<Table::kLattice, kMask>(in, toned, out);
        }
        return;
    }
    const auto copy = [this](const T* from, T* to) {
        if (from != to) {
            std::copy_n(from, m_filled, to);
        }
    };
    if (kMask == Mask::kNone && m_chroma == &m_base) {
        copy(toned.pairs, out.pairs);
    } else {
        writePairs<kMask>(out.pairs);
    }
    if (kMask == Mask::kNone) {
        copy(toned.luma[0], out.luma[0]);
        copy(toned.luma[1], out.luma[1]);
    } else {
        writeLuma<Offset::kNone, kMask>(in, toned, out);
    }
}

template class FusedStrips<unsigned char>;
template class FusedStrips<unsigned short>;

}  // namespace huevance::neon
