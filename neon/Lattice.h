// The colour lattice as the vector code reads it: {Y, A, B, 0} per point, 17 points a side with the last
// plane repeated, so that every point has an upper neighbour and one load fetches a corner.
#pragma once

#include "core/ColorLut.h"
#include "neon/Blocks.h"

namespace huevance::neon {

inline constexpr int kLatticeSide = kLatticeSize + 1;
inline constexpr int kPointY = 4;  // floats to the next point of axis Y, A, B
inline constexpr int kPointA = kLatticeSide * kPointY;
inline constexpr int kPointB = kLatticeSide * kPointA;
inline constexpr int kLatticeFloats = kLatticeSide * kPointB;

// `lut` is kColorLutFloats in three planes, `padded` kLatticeFloats.
inline void packLattice(const float* lut, float* padded) {
    constexpr int kPoints = kLatticeSize * kLatticeSize * kLatticeSize;
    constexpr int kLast = kLatticeSize - 1;
    for (int b = 0; b < kLatticeSide; ++b) {
        for (int a = 0; a < kLatticeSide; ++a) {
            const int row = (std::min(b, kLast) * kLatticeSize + std::min(a, kLast)) * kLatticeSize;
            for (int y = 0; y < kLatticeSide; ++y, padded += kPointY) {
                const float* point = lut + row + std::min(y, kLast);
                padded[0] = point[0];
                padded[1] = point[kPoints];
                padded[2] = point[2 * kPoints];
                padded[3] = 0.0F;
            }
        }
    }
}

// One axis of four look-ups: the point at or below, as a float, and the weight of the point above. Samples
// above the range use the last point; kAboveRange says whether there can be any.
struct LatticeAxis4 {
    float32x4_t index, weight;
};
template <bool kAboveRange = true>
inline LatticeAxis4 latticeAxis(float32x4_t coordinate) {
    const float32x4_t whole = truncate(coordinate);
    if constexpr (!kAboveRange) {
        return {whole, vsubq_f32(coordinate, whole)};
    }
    const float32x4_t index = smallest(whole, vdupq_n_f32(static_cast<float>(kLatticeSize - 1)));
    return {index, smallest(vsubq_f32(coordinate, index), vdupq_n_f32(1.0F))};
}

// The mapped values of four blocks.
struct Mapped4 {
    float32x4_t y, a, b;
};
// From {Y, A, B, 0} of each block.
inline Mapped4 transpose(const float32x4_t (&block)[4]) {
    const float32x4_t even = vzip1q_f32(block[0], block[2]);
    const float32x4_t odd = vzip1q_f32(block[1], block[3]);
    const float32x4_t evenB = vzip2q_f32(block[0], block[2]);
    const float32x4_t oddB = vzip2q_f32(block[1], block[3]);
    return {vzip1q_f32(even, odd), vzip2q_f32(even, odd), vzip1q_f32(evenB, oddB)};
}

}  // namespace huevance::neon
