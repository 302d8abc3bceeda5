// The bilinear blend of the CLAHE mapping for columns between the same two tile centres.
#pragma once

#include "core/Clahe.h"
#include "neon/Blocks.h"

namespace huevance::neon {

// Columns of room that tables of column weights need behind their last entry.
inline constexpr int kColumnSlack = 8;
inline constexpr int kWeightFloats = 4;

// Weights of the tiles before and after a position: {1 - w, w, 1 - w, w}.
inline void packWeights(const TileAxis::Position& position, float* weights) {
    weights[0] = weights[2] = 1.0F - position.weight;
    weights[1] = weights[3] = position.weight;
}

inline void storeLevels(unsigned char* out, float32x4_t low, float32x4_t high, float /*max*/) {
    const uint8x16_t bytes = toBytesSaturated({{low, high, low, high}});
    std::memcpy(out, &bytes, 8);
}

inline void storeLevels(unsigned short* out, float32x4_t low, float32x4_t high, float max) {
    const uint16x8_t top = vdupq_n_u16(static_cast<std::uint16_t>(max));
    vst1q_u16(out, vminq_u16(toShortsSaturated(low, high), top));
}

// kRows rows that share their columns. corners.locate(samples, places) says where the curve values of
// kClaheStep samples are, corners.at(row, place) reads those of one: {upper left, upper right, lower left,
// lower right}.
inline constexpr int kClaheStep = 8;

// kScaled, of 8 bits alone: the rows' weights are multiplied by kScale, which is exact unless a product is
// too large for a float. No curve value may exceed kMaxScaledLevel.
inline constexpr float kMaxScaledLevel = 1e30F;

template <typename T, int kRows, typename Corners, bool kScaled = false>
class ClaheColumns {
public:
    ClaheColumns(const Corners& corners, const TileAxis::Position (&rows)[kRows], float max)
        : m_corners(corners), m_max(max) {
        for (int r = 0; r < kRows; ++r) {
            float weights[kWeightFloats];
            packWeights(rows[r], weights);
            m_rowWeights[r] = vld1q_f32(weights);
            if constexpr (kScaled) {
                m_rowWeights[r] = vmulq_f32(m_rowWeights[r], vdupq_n_f32(kScale));
            }
        }
    }

    // Maps n columns. `out` must not overlap `in`; `weights` holds those of n + kColumnSlack columns.
    void map(const T* const (&in)[kRows], T* const (&out)[kRows], const float* weights, int n) const {
        if (n < kClaheStep) {
            mapFew(in, out, weights, n);
            return;
        }
        int x = 0;
        for (; x + kClaheStep <= n; x += kClaheStep) {
            mapStep(in, out, weights, x);
        }
        if (x < n) {
            mapStep(in, out, weights,
                    n - kClaheStep);  // again a few columns that are done: nothing was overwritten
        }
    }

private:
    using Place = typename Corners::Place;

    void mapFew(const T* const (&in)[kRows], T* const (&out)[kRows], const float* weights, int n) const {
        T padded[kRows][kClaheStep] = {};
        T mapped[kRows][kClaheStep];
        const T* paddedRows[kRows];
        T* mappedRows[kRows];
        for (int r = 0; r < kRows; ++r) {
            std::copy_n(in[r], n, padded[r]);
            paddedRows[r] = padded[r];
            mappedRows[r] = mapped[r];
        }
        mapStep(paddedRows, mappedRows, weights, 0);
        for (int r = 0; r < kRows; ++r) {
            std::copy_n(mapped[r], n, out[r]);
        }
    }

    void mapStep(const T* const (&in)[kRows], T* const (&out)[kRows], const float* weights, int x) const {
        Place places[kRows][kClaheStep];
        for (int r = 0; r < kRows; ++r) {
            m_corners.locate(in[r] + x, places[r]);
        }
        float32x4_t low[kRows];
        float32x4_t high[kRows];
        mapFour<0>(places, weights + kWeightFloats * x, low);
        mapFour<4>(places, weights + kWeightFloats * x, high);
        for (int r = 0; r < kRows; ++r) {
            if constexpr (kScaled) {
                storeRoundedScaled(out[r] + x, low[r], high[r]);
            } else {
                const float32x4_t half = vdupq_n_f32(0.5F);
                storeLevels(out[r] + x, vaddq_f32(low[r], half), vaddq_f32(high[r], half), m_max);
            }
        }
    }

    // Four columns from kFirst on.
    template <int kFirst>
    void mapFour(const Place (&places)[kRows][kClaheStep], const float* weights,
                 float32x4_t (&result)[kRows]) const {
        float32x4_t w[4];
        for (int i = 0; i < 4; ++i) {
            w[i] = vld1q_f32(weights + kWeightFloats * (kFirst + i));
        }
        for (int r = 0; r < kRows; ++r) {
            const auto weighted = [&](int i) {
                return vmulq_f32(m_corners.at(r, places[r][kFirst + i]), w[i]);
            };
            // {top, bottom} of two columns each, then the blend of top and bottom.
            const float32x4_t left = addPairs(weighted(0), weighted(1));
            const float32x4_t right = addPairs(weighted(2), weighted(3));
            result[r] = addPairs(vmulq_f32(left, m_rowWeights[r]), vmulq_f32(right, m_rowWeights[r]));
        }
    }

    Corners m_corners;
    float m_max;
    float32x4_t m_rowWeights[kRows];
};

}  // namespace huevance::neon
