#include "core/Geometry.h"
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
void correctBlocks(const T* source, const RoiInfo& sourceRoi, T* destination, const RoiInfo& destinationRoi,
                   int range) {
    const PlaneView<const T> sourceLuma = lumaPlane(source, sourceRoi);
    const PlaneView<const T> sourceChroma = chromaPlane(source, sourceRoi);
    const PlaneView<T> luma = lumaPlane(destination, destinationRoi);
    const PlaneView<T> chroma = chromaPlane(destination, destinationRoi);
    const float half = static_cast<float>(range / 2);
    const float32x4_t neutral = vdupq_n_f32(half);
    for (int j = 0; j < blockRows(sourceRoi); ++j) {
        const T* sourceTop = sourceLuma.row(2 * j);
        const T* sourceBottom = sourceLuma.row(2 * j + 1);
        const T* sourcePair = sourceChroma.row(j);
        const T* top = luma.row(2 * j);
        const T* bottom = luma.row(2 * j + 1);
        T* pair = chroma.row(j);
        forEachEight(2 * blockColumns(sourceRoi), [=](int x, int n) {
            const FloatPairs4 input = splitPairs(loadUpTo8(sourcePair + x, n));
            const FloatPairs4 corrected = correctChroma(
                vsubq_f32(input.first, neutral), vsubq_f32(input.second, neutral),
                blockMeans(sourceTop + x, sourceBottom + x, n), blockMeans(top + x, bottom + x, n), half);
            storeUpTo8(pair + x, joinPairs(corrected.first, corrected.second), n);
        });
    }
}

}  // namespace

int colorCorrect_8u_neon(const unsigned char* source, RoiInfo sourceRoi, unsigned char* destination,
                         RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    if (type == IMAGE_FORMAT_TYPE_NV12 || type == IMAGE_FORMAT_TYPE_NV21) {
        correctBlocks(source, sourceRoi, destination, destinationRoi, range);
    }
    return 0;
}

int colorCorrect_16u_neon(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                          RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    if (type == IMAGE_FORMAT_TYPE_YUV16_LOW || type == IMAGE_FORMAT_TYPE_YUV16_HIGH) {
        correctBlocks(source, sourceRoi, destination, destinationRoi, range);
    }
    return 0;
}

}  // namespace huevance
