#include "core/Geometry.h"
#include "neon/Lattice.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

using namespace neon;

// Four look-ups that share their vectors of weights.
class Interpolation {
public:
    Interpolation(const float* lattice, const LatticeAxis4& y, const LatticeAxis4& a, const LatticeAxis4& b)
        : m_lattice(lattice),
          m_weight{y.weight, a.weight, b.weight},
          m_rest{oneMinus(y.weight), oneMinus(a.weight), oneMinus(b.weight)} {
        const auto step = [](float32x4_t index, int floats) {
            return vmulq_f32(index, vdupq_n_f32(static_cast<float>(floats)));
        };
        // Whole numbers below 2^24: exact.
        const float32x4_t offset =
            vaddq_f32(vaddq_f32(step(y.index, kPointY), step(a.index, kPointA)), step(b.index, kPointB));
        vst1q_s32(m_offset, toInts(offset));
    }

    // {Y, A, B, 0} of one block: along axis B, then A, then Y.
    template <int kBlock>
    float32x4_t at() const {
        const float* corner = m_lattice + m_offset[kBlock];
        const auto along = [this](auto axis, float32x4_t lower, float32x4_t upper) {
            return mix(lower, upper, repeatLane<kBlock>(m_rest[axis]), repeatLane<kBlock>(m_weight[axis]));
        };
        const auto alongB = [&](int offset) {
            return along(2, vld1q_f32(corner + offset), vld1q_f32(corner + offset + kPointB));
        };
        const auto alongA = [&](int offset) { return along(1, alongB(offset), alongB(offset + kPointA)); };
        return along(0, alongA(0), alongA(kPointY));
    }

    Mapped4 all() const { return transpose({at<0>(), at<1>(), at<2>(), at<3>()}); }

private:
    const float* m_lattice;
    float32x4_t m_weight[3];
    float32x4_t m_rest[3];
    std::int32_t m_offset[4];
};

template <typename T>
void colorMapRow(T* top, T* bottom, T* pair, int samples, bool swapped, int range, const float* lattice,
                 float strength) {
    const float32x4_t s = vdupq_n_f32(static_cast<float>(kLatticeSize - 1) / static_cast<float>(range - 1));
    const float max = static_cast<float>(range - 1);
    const auto move = [max](T* row, int n, const Floats8& offset) {
        const Floats8 luma = toFloats(loadUpTo8(row, n));
        storeUpTo8(row,
                   packShorts(toInts(offsetLuma(luma.low, offset.low, max)),
                              toInts(offsetLuma(luma.high, offset.high, max))),
                   n);
    };
    forEachEight(samples, [=](int x, int n) {
        const uint32x4_t sums =
            vaddq_u32(sumPairs(loadUpTo8(top + x, n)), sumPairs(loadUpTo8(bottom + x, n)));
        const float32x4_t mean = vmulq_f32(vdupq_n_f32(0.25F), toFloats(sums));
        const FloatPairs4 input = splitPairs(loadUpTo8(pair + x, n));
        const float32x4_t a = swapped ? input.second : input.first;
        const float32x4_t b = swapped ? input.first : input.second;
        const Mapped4 mapped = Interpolation(lattice, latticeAxis(vmulq_f32(s, mean)),
                                             latticeAxis(vmulq_f32(s, a)), latticeAxis(vmulq_f32(s, b)))
                                   .all();
        const Floats8 offset = twice(vmulq_f32(vdupq_n_f32(strength), vsubq_f32(mapped.y, mean)));
        move(top + x, n, offset);
        move(bottom + x, n, offset);
        const float32x4_t newA = blendChroma(a, mapped.a, strength, max);
        const float32x4_t newB = blendChroma(b, mapped.b, strength, max);
        storeUpTo8(pair + x, swapped ? joinPairs(newB, newA) : joinPairs(newA, newB), n);
    });
}

template <typename T>
void colorMapBlocks(T* image, const RoiInfo& roi, bool swapped, int range, const float* lut, float strength) {
    float lattice[kLatticeFloats];
    packLattice(lut, lattice);
    const PlaneView<T> luma = lumaPlane(image, roi);
    const PlaneView<T> chroma = chromaPlane(image, roi);
    for (int j = 0; j < blockRows(roi); ++j) {
        colorMapRow(luma.row(2 * j), luma.row(2 * j + 1), chroma.row(j), 2 * blockColumns(roi), swapped,
                    range, lattice, strength);
    }
}

}  // namespace

int colorMap_8u_neon(unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, int range, const float* lut,
                     int latticeSize, float strength) {
    if (latticeSize != kLatticeSize) {
        return colorMap_8u(image, roi, type, range, lut, latticeSize, strength);
    }
    if (type == IMAGE_FORMAT_TYPE_NV12 || type == IMAGE_FORMAT_TYPE_NV21) {
        colorMapBlocks(image, roi, type == IMAGE_FORMAT_TYPE_NV21, range, lut, strength);
    }
    return 0;
}

int colorMap_16u_neon(unsigned short* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, int range, const float* lut,
                      int latticeSize, float strength) {
    if (latticeSize != kLatticeSize) {
        return colorMap_16u(image, roi, type, range, lut, latticeSize, strength);
    }
    colorMapBlocks(image, roi, false, range, lut, strength);
    return 0;
}

}  // namespace huevance
