#include <limits>

#include "core/RowWalks.h"
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
    forProtectedRows(backup, backupRoi, processed, processedRoi, mask, maskRoi, protectRow<T>,
                     protectPairs<T>);
    return 0;
}

}  // namespace

int skinColorDetect_neon(const unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, float* mask,
                         RoiInfo maskRoi) {
    forSkinRows(image, roi, type, mask, maskRoi,
                [](const unsigned char* pairs, float* top, float* bottom, int samples, int placeOfU) {
                    forEachEight(samples, [=](int x, int n) {
                        const FloatPairs4 pair = splitPairs(loadUpTo8(pairs + x, n));
                        const Floats8 values =
                            twice(placeOfU == 0 ? skinProbabilities(pair.first, pair.second)
                                                : skinProbabilities(pair.second, pair.first));
                        storeUpTo8(top + x, values, n);
                        storeUpTo8(bottom + x, values, n);
                    });
                });
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
