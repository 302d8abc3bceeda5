// Steps of 16 samples or eight 2 x 2 blocks, under the same names for both sample widths.
#pragma once

#include "neon/Blocks.h"

namespace huevance::neon {

inline Floats16 loadLevels(const unsigned char* samples) { return toFloats(vld1q_u8(samples)); }
inline Floats16 loadLevels(const unsigned short* samples) {
    const Floats8 low = toFloats(vld1q_u16(samples));
    const Floats8 high = toFloats(vld1q_u16(samples + 8));
    return {{low.low, low.high, high.low, high.high}};
}

// Toward zero; values in the range of the samples.
inline void storeInRange(unsigned char* samples, const Floats16& a) { vst1q_u8(samples, toBytes(a)); }
inline void storeInRange(unsigned short* samples, const Floats16& a) {
    vst1q_u16(samples, packShorts(toInts(a.quarter[0]), toInts(a.quarter[1])));
    vst1q_u16(samples + 8, packShorts(toInts(a.quarter[2]), toInts(a.quarter[3])));
}

// Toward zero, to the range of the samples; not-a-number becomes 0.
inline void storeSaturated(unsigned char* samples, const Floats16& a) {
    vst1q_u8(samples, toBytesSaturated(a));
}
inline void storeSaturated(unsigned short* samples, const Floats16& a) {
    vst1q_u16(samples, toShortsSaturated(a.quarter[0], a.quarter[1]));
    vst1q_u16(samples + 8, toShortsSaturated(a.quarter[2], a.quarter[3]));
}

inline FloatPairs8 loadPairs(const unsigned char* pairs) { return toFloatPairs(vld1q_u8(pairs)); }
inline FloatPairs8 loadPairs(const unsigned short* pairs) {
    const FloatPairs4 low = splitPairs(vld1q_u16(pairs));
    const FloatPairs4 high = splitPairs(vld1q_u16(pairs + 8));
    return {{low.first, high.first}, {low.second, high.second}};
}

// Toward zero; values in the range of the samples.
inline void storePairs(unsigned char* pairs, const FloatPairs8& a) {
    const uint16x8_t first = packShorts(toInts(a.first.low), toInts(a.first.high));
    const uint16x8_t second = packShorts(toInts(a.second.low), toInts(a.second.high));
    vst1q_u8(pairs, vreinterpretq_u8_u16(vorrq_u16(first, vshlq_n_u16(second, 8))));
}
inline void storePairs(unsigned short* pairs, const FloatPairs8& a) {
    vst1q_u16(pairs, joinPairs(a.first.low, a.second.low));
    vst1q_u16(pairs + 8, joinPairs(a.first.high, a.second.high));
}

// One vector of samples.
template <typename T>
inline constexpr int kVector = 16 / sizeof(T);
inline uint8x16_t loadVector(const unsigned char* samples) { return vld1q_u8(samples); }
inline uint16x8_t loadVector(const unsigned short* samples) { return vld1q_u16(samples); }
inline uint8x16_t repeat(unsigned char sample) { return vdupq_n_u8(sample); }
inline uint16x8_t repeat(unsigned short sample) { return vdupq_n_u16(sample); }
inline uint8x16_t distance(uint8x16_t a, uint8x16_t b) { return vabdq_u8(a, b); }
inline uint16x8_t distance(uint16x8_t a, uint16x8_t b) { return vabdq_u16(a, b); }
inline uint8x16_t largest(uint8x16_t a, uint8x16_t b) { return vmaxq_u8(a, b); }
inline uint16x8_t largest(uint16x8_t a, uint16x8_t b) { return vmaxq_u16(a, b); }
inline int largestLane(uint8x16_t a) { return vmaxvq_u8(a); }
inline int largestLane(uint16x8_t a) { return vmaxvq_u16(a); }

// Sums of the four luma samples of eight blocks.
inline uint16x8_t blockSums(const unsigned char* top, const unsigned char* bottom) {
    return addSumPairs(sumPairs(vld1q_u8(top)), vld1q_u8(bottom));
}
struct LongSums {
    uint32x4_t low, high;
};
inline LongSums blockSums(const unsigned short* top, const unsigned short* bottom) {
    return {vaddq_u32(sumPairs(vld1q_u16(top)), sumPairs(vld1q_u16(bottom))),
            vaddq_u32(sumPairs(vld1q_u16(top + 8)), sumPairs(vld1q_u16(bottom + 8)))};
}
inline Floats8 toFloats(const LongSums& a) { return {toFloats(a.low), toFloats(a.high)}; }

// The means that colour correction compares, rounded down.
inline Floats8 wholeMeans(uint16x8_t sums) { return toFloats(vshrq_n_u16(sums, 2)); }
inline Floats8 wholeMeans(const LongSums& sums) {
    return {toFloats(vshrq_n_u32(sums.low, 2)), toFloats(vshrq_n_u32(sums.high, 2))};
}

// 16 samples, narrowed to 8 bits.
inline uint8x16_t narrow(const unsigned char* samples, int /*shift*/) { return vld1q_u8(samples); }
inline uint8x16_t narrow(const unsigned short* samples, int shift) {
    return packLowBytes(shiftRight(vld1q_u16(samples), shift), shiftRight(vld1q_u16(samples + 8), shift));
}

}  // namespace huevance::neon
