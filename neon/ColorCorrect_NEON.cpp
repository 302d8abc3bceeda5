#include "core/RowWalks.h"
#include "neon/Blocks.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

using namespace neon;

template <typename T>
float32x4_t blockMeans(const T* top, const T* bottom, int count) {
    const uint32x4_t sums = vaddq_u32(sumPairs(loadUpTo8(top, count)), sumPairs(loadUpTo8(bottom, count)));
    return toFloats(vshrq_n_u32(sums, 2));
}

template <typename T>
int correctFrame(const T* source, const RoiInfo& sourceRoi, T* destination, const RoiInfo& destinationRoi,
                 IMAGE_FORMAT_TYPE type, int range) {
    const float half = static_cast<float>(range / 2);
    const float32x4_t neutral = vdupq_n_f32(half);
    forCorrectedRows(
        source, sourceRoi, destination, destinationRoi, type, [=](const CorrectedRow<T>& row, int samples) {
            forEachEight(samples, [=](int x, int n) {
                const FloatPairs4 input = splitPairs(loadUpTo8(row.sourcePair + x, n));
                const FloatPairs4 corrected =
                    correctChroma(vsubq_f32(input.first, neutral), vsubq_f32(input.second, neutral),
                                  blockMeans(row.sourceTop + x, row.sourceBottom + x, n),
                                  blockMeans(row.top + x, row.bottom + x, n), half);
                storeUpTo8(row.pair + x, joinPairs(corrected.first, corrected.second), n);
            });
        });
    return 0;
}

}  // namespace

int colorCorrect_8u_neon(const unsigned char* source, RoiInfo sourceRoi, unsigned char* destination,
                         RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    return correctFrame(source, sourceRoi, destination, destinationRoi, type, range);
}

int colorCorrect_16u_neon(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                          RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    return correctFrame(source, sourceRoi, destination, destinationRoi, type, range);
}

}  // namespace huevance
