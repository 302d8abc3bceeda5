// The vector instructions of this back end: AArch64's own, or their emulation on the other machines that
// build and test the library. The only file that includes either. The emulation lacks division, square roots
// and more, and emulates some instructions slowly: everything that is not a plain lane-wise operation is
// wrapped here, with one meaning everywhere.
//
// Bytes must not depend on the machine: there are no estimates and no fused multiply-adds, and a product that
// is added to something is vmulq, then vaddq.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__aarch64__)
#include <arm_neon.h>
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#include <simde/x86/sse4.1.h>
#endif

namespace huevance::neon {

#if !defined(__aarch64__)
// Between the emulation's integer vectors and the machine's one.
template <typename Vector>
inline simde__m128i bits(Vector a) {
    return std::bit_cast<simde__m128i>(a);
}
template <typename Vector>
inline Vector as(simde__m128i a) {
    return std::bit_cast<Vector>(a);
}
#endif

inline float32x4_t divide(float32x4_t a, float32x4_t b) {
#if defined(__aarch64__)
    return vdivq_f32(a, b);
#else
    return simde_mm_div_ps(a, b);
#endif
}

inline float32x4_t squareRoot(float32x4_t a) {
#if defined(__aarch64__)
    return vsqrtq_f32(a);
#else
    return simde_mm_sqrt_ps(a);
#endif
}

// Toward zero, as floats.
inline float32x4_t truncate(float32x4_t a) {
#if defined(__aarch64__)
    return vrndq_f32(a);
#else
    return simde_mm_round_ps(a, SIMDE_MM_FROUND_TO_ZERO);
#endif
}

// Toward zero. Values must fit an int.
inline int32x4_t toInts(float32x4_t a) {
#if defined(__aarch64__)
    return vcvtq_s32_f32(a);
#else
    return as<int32x4_t>(simde_mm_cvttps_epi32(a));
#endif
}

inline float32x4_t smallest(float32x4_t a, float32x4_t b) {
#if defined(__aarch64__)
    return vminq_f32(a, b);
#else
    return simde_mm_min_ps(a, b);
#endif
}

inline float32x4_t largest(float32x4_t a, float32x4_t b) {
#if defined(__aarch64__)
    return vmaxq_f32(a, b);
#else
    return simde_mm_max_ps(a, b);
#endif
}

// To 0 .. max; not-a-number becomes 0.
inline float32x4_t clampLevels(float32x4_t a, float32x4_t max) {
#if defined(__aarch64__)
    return vminq_f32(vmaxnmq_f32(a, vdupq_n_f32(0.0F)), max);
#else
    return simde_mm_min_ps(simde_mm_max_ps(a, simde_mm_setzero_ps()),
                           max);  // of a not-a-number, max_ps takes the other
#endif
}

// {a0 + a1, a2 + a3, b0 + b1, b2 + b3}
inline float32x4_t addPairs(float32x4_t a, float32x4_t b) {
#if defined(__aarch64__)
    return vpaddq_f32(a, b);
#else
    return simde_mm_add_ps(simde_mm_shuffle_ps(a, b, 0x88), simde_mm_shuffle_ps(a, b, 0xDD));
#endif
}

// {a[0], a[1], b[0], b[1]}
inline float32x4_t loadTwoPairs(const float* a, const float* b) {
#if defined(__aarch64__)
    return vcombine_f32(vld1_f32(a), vld1_f32(b));
#else
    double low;
    double high;
    std::memcpy(&low, a, sizeof(low));
    std::memcpy(&high, b, sizeof(high));
    return simde_mm_castpd_ps(simde_mm_set_pd(high, low));
#endif
}

// All lanes lane `kLane` of `a`.
template <int kLane>
inline float32x4_t repeatLane(float32x4_t a) {
#if defined(__aarch64__)
    return vdupq_laneq_f32(a, kLane);
#else
    return simde_mm_castsi128_ps(simde_mm_shuffle_epi32(simde_mm_castps_si128(a), kLane * 0x55));
#endif
}

// The same pointer, of which the compiler does not know where it comes from: it then pairs loads at small
// offsets, instead of adding up an address for each.
template <typename T>
inline T* opaque(T* pointer) {
    asm("" : "+r"(pointer));
    return pointer;
}

// --- Integers to floats ---

inline float32x4_t toFloats(uint32x4_t a) { return vcvtq_f32_s32(vreinterpretq_s32_u32(a)); }  // below 2^31

struct Floats8 {
    float32x4_t low, high;
};
inline Floats8 toFloats(uint16x8_t a) {
    const uint16x8_t zero = vdupq_n_u16(0);
    return {toFloats(vreinterpretq_u32_u16(vzip1q_u16(a, zero))),
            toFloats(vreinterpretq_u32_u16(vzip2q_u16(a, zero)))};
}

#if defined(__aarch64__)
// Every kStep-th of the bytes from kFirst on, four in all, as floats: one table look-up spreads them over the
// lanes; an index out of range gives 0.
template <std::uint32_t kFirst, std::uint32_t kStep>
inline float32x4_t spreadBytes(uint8x16_t a) {
    constexpr std::uint32_t kIndex = 0xFFFFFF00U + kFirst;
    const uint32x4_t lanes = {kIndex, kIndex + kStep, kIndex + 2 * kStep, kIndex + 3 * kStep};
    return vcvtq_f32_u32(vreinterpretq_u32_u8(vqtbl1q_u8(a, vreinterpretq_u8_u32(lanes))));
}
#endif

struct Floats16 {
    float32x4_t quarter[4];
};
inline Floats16 toFloats(uint8x16_t a) {
#if defined(__aarch64__)
    return {{spreadBytes<0, 1>(a), spreadBytes<4, 1>(a), spreadBytes<8, 1>(a), spreadBytes<12, 1>(a)}};
#else
    const uint8x16_t zero = vdupq_n_u8(0);
    const Floats8 low = toFloats(vreinterpretq_u16_u8(vzip1q_u8(a, zero)));
    const Floats8 high = toFloats(vreinterpretq_u16_u8(vzip2q_u8(a, zero)));
    return {{low.low, low.high, high.low, high.high}};
#endif
}

// The even and the odd samples of 16 bytes, as floats.
struct FloatPairs8 {
    Floats8 first, second;
};
inline FloatPairs8 toFloatPairs(uint8x16_t a) {
#if defined(__aarch64__)
    return {{spreadBytes<0, 2>(a), spreadBytes<8, 2>(a)}, {spreadBytes<1, 2>(a), spreadBytes<9, 2>(a)}};
#else
    const uint16x8_t pairs = vreinterpretq_u16_u8(a);
    return {toFloats(vandq_u16(pairs, vdupq_n_u16(0xFF))), toFloats(vshrq_n_u16(pairs, 8))};
#endif
}

// Sums of neighbouring samples: 0 + 1, 2 + 3, ...
inline uint16x8_t sumPairs(uint8x16_t a) { return vpaddlq_u8(a); }
inline uint16x8_t addSumPairs(uint16x8_t sums, uint8x16_t a) { return vpadalq_u8(sums, a); }
inline uint32x4_t sumPairs(uint16x8_t a) {
#if defined(__aarch64__)
    return vpaddlq_u16(a);
#else
    const uint32x4_t pairs = vreinterpretq_u32_u16(a);
    return vaddq_u32(vandq_u32(pairs, vdupq_n_u32(0xFFFF)), vshrq_n_u32(pairs, 16));
#endif
}

// --- Narrowing ---

// Values of 0 .. 65535.
inline uint16x8_t packShorts(int32x4_t a, int32x4_t b) {
#if defined(__aarch64__)
    return vuzp1q_u16(vreinterpretq_u16_s32(a), vreinterpretq_u16_s32(b));
#else
    return as<uint16x8_t>(simde_mm_packus_epi32(bits(a), bits(b)));
#endif
}

// Values of 0 .. 255.
inline uint8x16_t packBytes(uint16x8_t a, uint16x8_t b) {
#if defined(__aarch64__)
    return vuzp1q_u8(vreinterpretq_u8_u16(a), vreinterpretq_u8_u16(b));
#else
    return as<uint8x16_t>(simde_mm_packus_epi16(bits(a), bits(b)));
#endif
}

// The low 8 bits of each sample.
inline uint8x16_t packLowBytes(uint16x8_t a, uint16x8_t b) {
    return packBytes(vandq_u16(a, vdupq_n_u16(0xFF)), vandq_u16(b, vdupq_n_u16(0xFF)));
}

// Toward zero. Values must be above -1 and below 256.
inline uint8x16_t toBytes(const Floats16& a) {
    const auto& q = a.quarter;
    return packBytes(packShorts(toInts(q[0]), toInts(q[1])), packShorts(toInts(q[2]), toInts(q[3])));
}

// Toward zero, to 0 .. 255; not-a-number becomes 0.
inline uint8x16_t toBytesSaturated(const Floats16& a) {
    const auto& q = a.quarter;
#if defined(__aarch64__)
    const auto shorts = [](float32x4_t low, float32x4_t high) {
        return vqmovun_high_s32(vqmovun_s32(vcvtq_s32_f32(low)), vcvtq_s32_f32(high));
    };
    return vqmovn_high_u16(vqmovn_u16(shorts(q[0], q[1])), shorts(q[2], q[3]));
#else
    const float32x4_t max = vdupq_n_f32(255.0F);
    // A not-a-number stays one and becomes the smallest int, which the packs saturate to 0.
    const auto ints = [max](float32x4_t x) { return simde_mm_cvttps_epi32(simde_mm_min_ps(max, x)); };
    return as<uint8x16_t>(simde_mm_packus_epi16(simde_mm_packs_epi32(ints(q[0]), ints(q[1])),
                                                simde_mm_packs_epi32(ints(q[2]), ints(q[3]))));
#endif
}

// Whether there is storeRoundedScaled(): the emulation has no such conversion.
#if defined(__aarch64__)
inline constexpr bool kRoundsScaled = true;
#else
inline constexpr bool kRoundsScaled = false;
#endif

// Eight levels, multiplied by kScale, rounded as the truncation of level + 0.5 in float does it, and held in
// 0 .. 255; not-a-number becomes 0. The conversion rounds the level to a whole number of 2^-24, ties to even.
// Below 0.5 a float's last place is 2^-25 or less, and the sum with 0.5 rounds to 2^-24 in the same way: of
// the floats below 0.5 only the last becomes 1 in both. From 0.5 on, levels are whole numbers of 2^-24, the
// conversion is exact, and level + 0.5 crosses no whole level by rounding. Dropping 16 bits then keeps what
// decides.
inline constexpr float kScale = 16777216.0F;
#if defined(__aarch64__)
inline void storeRoundedScaled(unsigned char* out, float32x4_t low, float32x4_t high) {
    const uint16x8_t shorts =
        vuzp2q_u16(vreinterpretq_u16_u32(vcvtnq_u32_f32(low)), vreinterpretq_u16_u32(vcvtnq_u32_f32(high)));
    vst1_u8(out, vqrshrn_n_u16(shorts, 8));
}
#endif

// Toward zero, to 0 .. 65535; not-a-number becomes 0.
inline uint16x8_t toShortsSaturated(float32x4_t low, float32x4_t high) {
#if defined(__aarch64__)
    return vqmovn_high_u32(vqmovn_u32(vcvtq_u32_f32(low)), vcvtq_u32_f32(high));
#else
    const float32x4_t max = vdupq_n_f32(65535.0F);
    return packShorts(toInts(clampLevels(low, max)), toInts(clampLevels(high, max)));
#endif
}

// --- Bytes moved by whole levels ---

// Toward zero, in units of 2^-16; |a| < 2^15.
inline int32x4_t toFixed16(float32x4_t a) {
#if defined(__aarch64__)
    return vcvtq_n_s32_f32(a, 16);
#else
    return toInts(vmulq_f32(a, vdupq_n_f32(65536.0F)));
#endif
}

// a + b, to 0 .. 255.
inline uint8x16_t addSaturated(uint8x16_t a, int8x16_t b) {
#if defined(__aarch64__)
    return vsqaddq_u8(a, b);
#else
    const simde__m128i zero = simde_mm_setzero_si128();
    const simde__m128i up = simde_mm_max_epi8(bits(b), zero);
    const simde__m128i down = simde_mm_sub_epi8(up, bits(b));  // of -128 too, as a byte without sign
    return as<uint8x16_t>(simde_mm_subs_epu8(simde_mm_adds_epu8(bits(a), up), down));
#endif
}

// --- Eight samples of either depth, widened to 16 bits ---

inline uint16x8_t load8(const unsigned char* samples) {
#if defined(__aarch64__)
    return vmovl_u8(vld1_u8(samples));
#else
    return as<uint16x8_t>(simde_mm_unpacklo_epi8(
        simde_mm_loadl_epi64(reinterpret_cast<const simde__m128i*>(samples)), simde_mm_setzero_si128()));
#endif
}
inline uint16x8_t load8(const unsigned short* samples) { return vld1q_u16(samples); }

// Values of 0 .. 255.
inline void store8(unsigned char* samples, uint16x8_t a) {
#if defined(__aarch64__)
    vst1_u8(samples, vmovn_u16(a));
#else
    simde_mm_storel_epi64(reinterpret_cast<simde__m128i*>(samples), simde_mm_packus_epi16(bits(a), bits(a)));
#endif
}
inline void store8(unsigned short* samples, uint16x8_t a) { vst1q_u16(samples, a); }

// --- Shifts of 16-bit samples by 0 .. 15 ---

inline uint16x8_t shiftLeft(uint16x8_t a, int shift) {
#if defined(__aarch64__)
    return vshlq_u16(a, vdupq_n_s16(static_cast<std::int16_t>(shift)));
#else
    return as<uint16x8_t>(simde_mm_sll_epi16(bits(a), simde_mm_cvtsi32_si128(shift)));
#endif
}

inline uint16x8_t shiftRight(uint16x8_t a, int shift) {
#if defined(__aarch64__)
    return vshlq_u16(a, vdupq_n_s16(static_cast<std::int16_t>(-shift)));
#else
    return as<uint16x8_t>(simde_mm_srl_epi16(bits(a), simde_mm_cvtsi32_si128(shift)));
#endif
}

// --- Tables ---

// Where eight entries of four floats stand in a table of at most 4096, in bytes. Entries above `last` are it.
#if defined(__aarch64__)
using TableOffset = std::uint16_t;
inline void vectorOffsets(const unsigned char* entries, TableOffset (&offsets)[8]) {
    vst1q_u16(offsets, vshll_n_u8(vld1_u8(entries), 4));
}
inline void vectorOffsets(const unsigned short* entries, int last, TableOffset (&offsets)[8]) {
    const uint16x8_t top = vdupq_n_u16(static_cast<std::uint16_t>(last));
    vst1q_u16(offsets, vshlq_n_u16(vminq_u16(vld1q_u16(entries), top), 4));
}
#else
using TableOffset = std::uint64_t;  // a load widens for nothing
inline void vectorOffsets(const unsigned char* entries, TableOffset (&offsets)[8]) {
    for (int i = 0; i < 8; ++i) {
        offsets[i] = TableOffset{entries[i]} << 4;
    }
}
inline void vectorOffsets(const unsigned short* entries, int last, TableOffset (&offsets)[8]) {
    for (int i = 0; i < 8; ++i) {
        offsets[i] = TableOffset{static_cast<std::uint64_t>(std::min<int>(entries[i], last))} << 4;
    }
}
#endif

// A table of 256 bytes, which must outlive this.
class ByteTable {
public:
    explicit ByteTable(const unsigned char* table) : m_table(table) {}

    // Maps n samples; both pointers may be the same.
    void map(const unsigned char* in, unsigned char* out, int n) const {
        int x = 0;
#if defined(__aarch64__)
        for (; x + 64 <= n; x += 64) {
            mapVectors<4>(in + x, out + x);
        }
        for (; x + 16 <= n; x += 16) {
            mapVectors<1>(in + x, out + x);
        }
#endif
        // Emulated table instructions are slower than single loads.
        for (; x < n; ++x) {
            out[x] = m_table[in[x]];
        }
    }

private:
#if defined(__aarch64__)
    // One part of the table after the other: all four beside the samples are too much for the registers.
    template <int kVectors>
    void mapVectors(const unsigned char* in, unsigned char* out) const {
        const uint8x16_t next = vdupq_n_u8(64);
        uint8x16_t index[kVectors];
        uint8x16_t result[kVectors];
        const uint8x16x4_t first = vld1q_u8_x4(m_table);
        for (int v = 0; v < kVectors; ++v) {
            index[v] = vld1q_u8(in + 16 * v);
            result[v] = vqtbl4q_u8(first, index[v]);
        }
        const auto add = [&](const uint8x16x4_t& part) {
            for (int v = 0; v < kVectors; ++v) {
                index[v] = vsubq_u8(index[v], next);
                result[v] = vqtbx4q_u8(result[v], part, index[v]);
            }
        };
        add(vld1q_u8_x4(m_table + 64));
        add(vld1q_u8_x4(m_table + 128));
        add(vld1q_u8_x4(m_table + 192));
        for (int v = 0; v < kVectors; ++v) {
            vst1q_u8(out + 16 * v, result[v]);
        }
    }
#endif

    const unsigned char* m_table;
};

}  // namespace huevance::neon
