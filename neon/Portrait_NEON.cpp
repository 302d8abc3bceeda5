#include <limits>

#include "core/Geometry.h"
#include "neon/Blocks.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

using namespace neon;

float32x4_t distance(float32x4_t u, float32x4_t v, const ChromaPoint& point) {
    const float32x4_t du = vsubq_f32(u, vdupq_n_f32(point.u));
    const float32x4_t dv = vsubq_f32(v, vdupq_n_f32(point.v));
    return squareRoot(vaddq_f32(vmulq_f32(du, du), vmulq_f32(dv, dv)));
}

// Of four chroma pairs, 0 .. 255.
float32x4_t skinProbabilities(float32x4_t uSample, float32x4_t vSample) {
    const float32x4_t white = vdupq_n_f32(255.0F);
    const float32x4_t u = divide(uSample, white);
    const float32x4_t v = divide(vSample, white);
    const float32x4_t d1 = distance(u, v, kSkinPoints[0]);
    const float32x4_t d2 = distance(u, v, kSkinPoints[1]);
    const float32x4_t sum = vaddq_f32(vaddq_f32(d1, d2), vdupq_n_f32(1e-16F));
    return smallest(divide(vdupq_n_f32(kSkinReach), sum), vdupq_n_f32(1.0F));
}

template <typename T>
void protectRow(const T* backup, T* processed, const float* mask, int samples) {
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

// Both samples of a pair take the mask value of their block's first column.
template <typename T>
void protectPairs(const T* backup, T* processed, const float* mask, int samples) {
    const float32x4_t max = vdupq_n_f32(static_cast<float>(std::numeric_limits<T>::max()));
    forEachEight(samples, [=](int x, int n) {
        const FloatPairs4 from = splitPairs(loadUpTo8(backup + x, n));
        const FloatPairs4 to = splitPairs(loadUpTo8(processed + x, n));
        const Floats8 cells = loadUpTo8(mask + x, n);
        const float32x4_t m = vuzp1q_f32(cells.low, cells.high);
        const float32x4_t first = clampLevels(protect(from.first, to.first, m), max);
        const float32x4_t second = clampLevels(protect(from.second, to.second, m), max);
        storeUpTo8(processed + x, joinPairs(first, second), n);
    });
}

template <typename T>
int protectFrame(const T* backup, const RoiInfo& backupRoi, T* processed, const RoiInfo& processedRoi,
                 const float* mask, const RoiInfo& maskRoi) {
    const PlaneView<const float> weights = maskPlane(mask, maskRoi);
    const PlaneView<const T> backupLuma = lumaPlane(backup, backupRoi);
    const PlaneView<T> luma = lumaPlane(processed, processedRoi);
    for (int y = 0; y < luma.height; ++y) {
        protectRow(backupLuma.row(y), luma.row(y), weights.row(y), luma.width);
    }
    const PlaneView<const T> backupChroma = chromaPlane(backup, backupRoi);
    const PlaneView<T> chroma = chromaPlane(processed, processedRoi);
    for (int j = 0; j < blockRows(processedRoi); ++j) {
        protectPairs(backupChroma.row(j), chroma.row(j), weights.row(2 * j), 2 * blockColumns(processedRoi));
    }
    return 0;
}

}  // namespace

int skinColorDetect_neon(const unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, float* mask,
                         RoiInfo maskRoi) {
    const std::optional<int> placeOfU = skinPlaceOfU(type);
    if (!placeOfU) {
        return 0;
    }
    const bool uFirst = *placeOfU == 0;
    const PlaneView<const unsigned char> chroma = chromaPlane(image, roi);
    const PlaneView<float> cells = maskPlane(mask, maskRoi);
    for (int j = 0; j < blockRows(roi); ++j) {
        const unsigned char* row = chroma.row(j);
        float* top = cells.row(2 * j);
        float* bottom = cells.row(2 * j + 1);
        forEachEight(2 * blockColumns(roi), [=](int x, int n) {
            const FloatPairs4 pair = splitPairs(loadUpTo8(row + x, n));
            const Floats8 values = twice(uFirst ? skinProbabilities(pair.first, pair.second)
                                                : skinProbabilities(pair.second, pair.first));
            storeUpTo8(top + x, values, n);
            storeUpTo8(bottom + x, values, n);
        });
    }
    return 0;
}

int portraitProtect_8u_neon(const unsigned char* backup, RoiInfo backupRoi, unsigned char* processed,
                            RoiInfo processedRoi, const float* mask, RoiInfo maskRoi) {
    return protectFrame(backup, backupRoi, processed, processedRoi, mask, maskRoi);
}

int portraitProtect_16u_neon(const unsigned short* backup, RoiInfo backupRoi, unsigned short* processed,
                             RoiInfo processedRoi, const float* mask, RoiInfo maskRoi) {
    return protectFrame(backup, backupRoi, processed, processedRoi, mask, maskRoi);
}

}  // namespace huevance
