#include <limits>

#include "core/Geometry.h"
#include "neon/Blocks.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

using namespace neon;

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
