// The bilinear blend of the CLAHE mapping for columns between the same two tile centres.
#pragma once

#include "core/Clahe.h"
#include "neon/Blocks.h"

namespace huevance::neon {

// Room that tables of column weights need behind their last entry.
inline constexpr int kColumnSlack = 8;

inline double packWeight(const TileAxis::Position& position) {
    return packPair(1.0F - position.weight, position.weight);
}

// {1 - w, w, 1 - w, w}
inline float32x4_t rowWeights(const TileAxis::Position& position) {
    const double packed = packWeight(position);
    return loadPairTwice(&packed);
}

inline void storeLevels(unsigned char* out, float32x4_t low, float32x4_t high, float /*max*/) {
    const uint8x16_t bytes = toBytesSaturated({{low, high, low, high}});
    std::memcpy(out, &bytes, 8);
}

inline void storeLevels(unsigned short* out, float32x4_t low, float32x4_t high, float max) {
    const float32x4_t top = vdupq_n_f32(max);
    vst1q_u16(out, packShorts(toInts(clampLevels(low, top)), toInts(clampLevels(high, top))));
}

// kRows rows that share their columns. corners(row, sample) gives the curve values {upper left, upper right, lower left,
// lower right} of a sample.
template <typename T, int kRows, typename Corners>
class ClaheColumns {
public:
    ClaheColumns(const Corners& corners, const TileAxis::Position (&rows)[kRows], float max)
        : m_corners(corners), m_max(max) {
        for (int r = 0; r < kRows; ++r) {
            m_rowWeights[r] = rowWeights(rows[r]);
        }
    }

    // Maps n columns. `out` must not overlap `in`; `weights` holds n + kColumnSlack packed column weights.
    void map(const T* const (&in)[kRows], T* const (&out)[kRows], const double* weights, int n) const {
        if (n < kStep) {
            mapFew(in, out, weights, n);
            return;
        }
        int x = 0;
        for (; x + kStep <= n; x += kStep) {
            mapStep(in, out, weights, x);
        }
        if (x < n) {
            mapStep(in, out, weights, n - kStep);  // again a few columns that are done: nothing was overwritten
        }
    }

private:
    static constexpr int kStep = 8;

    void mapFew(const T* const (&in)[kRows], T* const (&out)[kRows], const double* weights, int n) const {
        T padded[kRows][kStep] = {};
        T mapped[kRows][kStep];
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

    void mapStep(const T* const (&in)[kRows], T* const (&out)[kRows], const double* weights, int x) const {
        float32x4_t low[kRows];
        float32x4_t high[kRows];
        mapFour(in, weights, x, low);
        mapFour(in, weights, x + 4, high);
        for (int r = 0; r < kRows; ++r) {
            storeLevels(out[r] + x, low[r], high[r], m_max);
        }
    }

    void mapFour(const T* const (&in)[kRows], const double* weights, int x, float32x4_t (&result)[kRows]) const {
        const float32x4_t w0 = loadPairTwice(weights + x);
        const float32x4_t w1 = loadPairTwice(weights + x + 1);
        const float32x4_t w2 = loadPairTwice(weights + x + 2);
        const float32x4_t w3 = loadPairTwice(weights + x + 3);
        for (int r = 0; r < kRows; ++r) {
            const T* samples = in[r] + x;
            // {top, bottom} of two columns each, then the blend of top and bottom.
            const float32x4_t left = addPairs(vmulq_f32(m_corners(r, samples[0]), w0),
                                              vmulq_f32(m_corners(r, samples[1]), w1));
            const float32x4_t right = addPairs(vmulq_f32(m_corners(r, samples[2]), w2),
                                               vmulq_f32(m_corners(r, samples[3]), w3));
            const float32x4_t level =
                addPairs(vmulq_f32(left, m_rowWeights[r]), vmulq_f32(right, m_rowWeights[r]));
            result[r] = vaddq_f32(level, vdupq_n_f32(0.5F));
        }
    }

    Corners m_corners;
    float m_max;
    float32x4_t m_rowWeights[kRows];
};

}  // namespace huevance::neon
