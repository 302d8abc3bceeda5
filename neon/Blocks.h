// The arithmetic of the stages on vectors of four or eight samples, in the order of operations of the
// reference: every lane computes what core/ computes for one sample or block. Eight samples of a row are four
// 2 x 2 blocks wide.
#pragma once

#include <algorithm>
#include <limits>

#include "core/Portrait.h"
#include "neon/NeonIntrinsics.h"

namespace huevance::neon {

// --- Rows in steps of eight samples; the last step may have fewer, and touches no more ---

template <typename T>
inline uint16x8_t loadUpTo8(const T* samples, int count) {
    if (count == 8) {
        return load8(samples);
    }
    T padded[8] = {};
    std::copy_n(samples, count, padded);
    return load8(padded);
}

template <typename T>
inline void storeUpTo8(T* samples, uint16x8_t a, int count) {
    if (count == 8) {
        store8(samples, a);
        return;
    }
    T padded[8];
    store8(padded, a);
    std::copy_n(padded, count, samples);
}

inline Floats8 loadUpTo8(const float* values, int count) {
    if (count == 8) {
        return {vld1q_f32(values), vld1q_f32(values + 4)};
    }
    float padded[8] = {};
    std::copy_n(values, count, padded);
    return {vld1q_f32(padded), vld1q_f32(padded + 4)};
}

inline void storeUpTo8(float* values, const Floats8& a, int count) {
    float padded[8];
    float* out = count == 8 ? values : padded;
    vst1q_f32(out, a.low);
    vst1q_f32(out + 4, a.high);
    if (count != 8) {
        std::copy_n(padded, count, values);
    }
}

inline float32x4_t loadUpTo4(const float* values, int count) {
    if (count == 4) {
        return vld1q_f32(values);
    }
    float padded[4] = {};
    std::copy_n(values, count, padded);
    return vld1q_f32(padded);
}

inline void storeUpTo4(float* values, float32x4_t a, int count) {
    if (count == 4) {
        vst1q_f32(values, a);
        return;
    }
    float padded[4];
    vst1q_f32(padded, a);
    std::copy_n(padded, count, values);
}

// Calls step(x, n) for the samples x .. x + n - 1, n = 8 but for the last.
template <typename Step>
inline void forEachEight(int samples, Step step) {
    int x = 0;
    for (; x + 8 <= samples; x += 8) {
        step(x, 8);
    }
    if (x < samples) {
        step(x, samples - x);
    }
}

// --- Four chroma pairs in eight samples ---

struct FloatPairs4 {
    float32x4_t first, second;
};
inline FloatPairs4 splitPairs(uint16x8_t pairs) {
    const uint32x4_t both = vreinterpretq_u32_u16(pairs);
    return {toFloats(vandq_u32(both, vdupq_n_u32(0xFFFF))), toFloats(vshrq_n_u32(both, 16))};
}

// Toward zero; values of 0 .. 65535.
inline uint16x8_t joinPairs(float32x4_t first, float32x4_t second) {
    const uint32x4_t low = vreinterpretq_u32_s32(toInts(first));
    const uint32x4_t high = vreinterpretq_u32_s32(toInts(second));
    return vreinterpretq_u16_u32(vorrq_u32(low, vshlq_n_u32(high, 16)));
}

// The value of each block for its two columns.
inline Floats8 twice(float32x4_t blocks) { return {vzip1q_f32(blocks, blocks), vzip2q_f32(blocks, blocks)}; }

// --- Stages ---

inline float32x4_t mix(float32x4_t lower, float32x4_t upper, float32x4_t rest, float32x4_t weight) {
    return vaddq_f32(vmulq_f32(rest, lower), vmulq_f32(weight, upper));
}

inline float32x4_t oneMinus(float32x4_t weight) { return vsubq_f32(vdupq_n_f32(1.0F), weight); }

// Colour correction: the chroma (u, v), relative to neutral, of four blocks whose mean luma went from
// `before` to `after`. No clamp is needed: the gain's own limit keeps |u| and |v| below `half`. kLimited:
// that limit may act; without, |u| and |v| are at most (half - 1) / 2.
template <bool kLimited = true>
inline FloatPairs4 correctChroma(float32x4_t u, float32x4_t v, float32x4_t before, float32x4_t after,
                                 float half) {
    const float32x4_t tiny = vdupq_n_f32(1e-16F);
    const float32x4_t chroma = squareRoot(vaddq_f32(vmulq_f32(u, u), vmulq_f32(v, v)));
    const float32x4_t target = divide(vmulq_f32(chroma, before), vaddq_f32(after, tiny));
    const float32x4_t numerator = vaddq_f32(vmulq_f32(after, after), vmulq_f32(target, target));
    const float32x4_t denominator =
        vaddq_f32(vaddq_f32(vmulq_f32(before, before), vmulq_f32(chroma, chroma)), tiny);
    const float32x4_t root = squareRoot(divide(numerator, denominator));
    const float32x4_t gain = smallest(largest(root, vdupq_n_f32(0.5F)), vdupq_n_f32(2.0F));
    float32x4_t scale = gain;
    if constexpr (kLimited) {
        const float32x4_t limit =
            divide(vdupq_n_f32(half - 1.0F), vaddq_f32(largest(vabsq_f32(u), vabsq_f32(v)), tiny));
        scale = smallest(gain, limit);
    }
    const float32x4_t neutral = vdupq_n_f32(half);
    return {vaddq_f32(vmulq_f32(u, scale), neutral), vaddq_f32(vmulq_f32(v, scale), neutral)};
}

// One sample of chroma blended with its mapped value, before truncation.
inline float32x4_t blendChroma(float32x4_t sample, float32x4_t mapped, float strength, float max) {
    const float32x4_t kept = vmulq_f32(vdupq_n_f32(1.0F - strength), sample);
    const float32x4_t added = vmulq_f32(vdupq_n_f32(strength), mapped);
    return clampLevels(vaddq_f32(vaddq_f32(kept, added), vdupq_n_f32(0.5F)), vdupq_n_f32(max));
}

// Luma moved by its block's offset, before truncation.
inline float32x4_t offsetLuma(float32x4_t sample, float32x4_t delta, float max) {
    return clampLevels(vaddq_f32(vaddq_f32(sample, delta), vdupq_n_f32(0.5F)), vdupq_n_f32(max));
}

// Portrait protection, before truncation.
inline float32x4_t protect(float32x4_t backup, float32x4_t processed, float32x4_t mask) {
    return mix(processed, backup, oneMinus(mask), mask);
}

inline float32x4_t distance(float32x4_t u, float32x4_t v, const ChromaPoint& point) {
    const float32x4_t du = vsubq_f32(u, vdupq_n_f32(point.u));
    const float32x4_t dv = vsubq_f32(v, vdupq_n_f32(point.v));
    return squareRoot(vaddq_f32(vmulq_f32(du, du), vmulq_f32(dv, dv)));
}

// Skin probabilities of four chroma pairs, 0 .. 255.
inline float32x4_t skinProbabilities(float32x4_t uSample, float32x4_t vSample) {
    const float32x4_t white = vdupq_n_f32(255.0F);
    const float32x4_t u = divide(uSample, white);
    const float32x4_t v = divide(vSample, white);
    const float32x4_t d1 = distance(u, v, kSkinPoints[0]);
    const float32x4_t d2 = distance(u, v, kSkinPoints[1]);
    const float32x4_t sum = vaddq_f32(vaddq_f32(d1, d2), vdupq_n_f32(1e-16F));
    return smallest(divide(vdupq_n_f32(kSkinReach), sum), vdupq_n_f32(1.0F));
}

// Luma of a row, in place; the mask holds one value per sample.
template <typename T>
inline void protectRow(const T* backup, T* processed, const float* mask, int samples) {
    const float32x4_t max = vdupq_n_f32(static_cast<float>(std::numeric_limits<T>::max()));
    forEachEight(samples, [=](int x, int n) {
        const Floats8 from = toFloats(loadUpTo8(backup + x, n));
        const Floats8 to = toFloats(loadUpTo8(processed + x, n));
        const Floats8 m = loadUpTo8(mask + x, n);
        const float32x4_t low = clampLevels(protect(from.low, to.low, m.low), max);
        const float32x4_t high = clampLevels(protect(from.high, to.high, m.high), max);
        storeUpTo8(processed + x, packShorts(toInts(low), toInts(high)), n);
    });
}

}  // namespace huevance::neon
