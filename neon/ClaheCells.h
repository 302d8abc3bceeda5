// Packed CLAHE tables: for each tile row and column a cell that holds, for each level, the four curve values
// around it, {upper left, upper right, lower left, lower right}.
#pragma once

#include "neon/ClaheColumns.h"

namespace huevance::neon {

// Floats of a cell of 256 levels.
inline constexpr int kCellFloats = 4 * kBins8;

// From a cell with an entry for every level.
struct PackedCorners {
    const float* cell[2];  // of each row
    int last;              // level

    using Place = TableOffset;  // bytes into the cell

    void locate(const unsigned char* samples, Place (&places)[kClaheStep]) const {
        vectorOffsets(samples, places);
    }
    void locate(const unsigned short* samples, Place (&places)[kClaheStep]) const {
        vectorOffsets(samples, last, places);
    }
    float32x4_t at(int row, Place place) const { return vld1q_f32(addBytes(cell[row], place)); }
};

// From a cell of 256 levels, which are widened to those of the samples as LutWidening does it.
struct WidenedCorners {
    const float* cell[2];
    int last;
    float scale;    // from the samples' levels to those of the cell
    float rescale;  // and back

    WidenedCorners(const float* const (&cells)[2], int levels)
        : cell{cells[0], cells[1]},
          last(levels - 1),
          scale(static_cast<float>(kBins8 - 1) / static_cast<float>(last)),
          rescale(1.0F / scale) {}

    struct Place {
        const float* lower[2];
        float weight;  // of the entry behind `lower`
    };

    void locate(const unsigned short* samples, Place (&places)[kClaheStep]) const {
        const uint16x8_t levels =
            vminq_u16(vld1q_u16(samples), vdupq_n_u16(static_cast<std::uint16_t>(last)));
        const Floats8 floats = toFloats(levels);
        float weights[kClaheStep];
        std::int32_t offsets[kClaheStep];
        for (int half = 0; half < 2; ++half) {
            const float32x4_t f = vmulq_f32(vdupq_n_f32(scale), half == 0 ? floats.low : floats.high);
            const float32x4_t lower = smallest(truncate(f), vdupq_n_f32(static_cast<float>(kBins8 - 1)));
            vst1q_f32(weights + 4 * half, vsubq_f32(f, lower));
            vst1q_s32(offsets + 4 * half, toInts(lower));
        }
        for (int i = 0; i < kClaheStep; ++i) {
            places[i] = {{cell[0] + 4 * offsets[i], cell[1] + 4 * offsets[i]}, weights[i]};
        }
    }
    float32x4_t at(int row, const Place& place) const {
        const float* lower = place.lower[row];
        const float32x4_t weight = vdupq_n_f32(place.weight);
        return vmulq_f32(vdupq_n_f32(rescale),
                         mix(vld1q_f32(lower), vld1q_f32(lower + 4), oneMinus(weight), weight));
    }
};

}  // namespace huevance::neon
