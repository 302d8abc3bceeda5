#include "core/ColorCorrect.h"

#include <algorithm>
#include <cmath>

#include "core/Geometry.h"
#include "core/Sample.h"

namespace huevance {

namespace {

constexpr float kTiny = 1e-16F;
constexpr float kMinGain = 0.5F;
constexpr float kMaxGain = 2.0F;

// Gain of the chroma (u, v) of a block whose mean luma went from `before` to `after`; `half` is the neutral
// chroma level.
float chromaGain(float u, float v, float before, float after, float half) {
    const float chroma = std::sqrt(u * u + v * v);
    const float target = chroma * before / (after + kTiny);
    const float ratio = (after * after + target * target) / ((before * before + chroma * chroma) + kTiny);
    const float gain = std::min(std::max(std::sqrt(ratio), kMinGain), kMaxGain);
    const float limit = (half - 1.0F) / (std::max(std::abs(u), std::abs(v)) + kTiny);
    return std::min(gain, limit);
}

template <typename T>
int blockMean(const T* top, const T* bottom) {
    return (top[0] + top[1] + bottom[0] + bottom[1]) >> 2;
}

template <typename T>
void correctBlocks(const T* source, const RoiInfo& sourceRoi, T* destination, const RoiInfo& destinationRoi,
                   int range) {
    const PlaneView<const T> sourceLuma = lumaPlane(source, sourceRoi);
    const PlaneView<const T> sourceChroma = chromaPlane(source, sourceRoi);
    const PlaneView<T> luma = lumaPlane(destination, destinationRoi);
    const PlaneView<T> chroma = chromaPlane(destination, destinationRoi);
    const float half = static_cast<float>(range / 2);
    const float max = static_cast<float>(range - 1);
    for (int j = 0; j < blockRows(sourceRoi); ++j) {
        const T* sourceTop = sourceLuma.row(2 * j);
        const T* sourceBottom = sourceLuma.row(2 * j + 1);
        const T* sourcePair = sourceChroma.row(j);
        const T* top = luma.row(2 * j);
        const T* bottom = luma.row(2 * j + 1);
        T* pair = chroma.row(j);
        for (int x = 0; x < 2 * blockColumns(sourceRoi); x += 2) {
            const float before = static_cast<float>(blockMean(sourceTop + x, sourceBottom + x));
            const float after = static_cast<float>(blockMean(top + x, bottom + x));
            const float u = static_cast<float>(sourcePair[x]) - half;
            const float v = static_cast<float>(sourcePair[x + 1]) - half;
            const float gain = chromaGain(u, v, before, after, half);
            pair[x] = toSample<T>(u * gain + half, max);
            pair[x + 1] = toSample<T>(v * gain + half, max);
        }
    }
}

}  // namespace

int colorCorrect_8u(const unsigned char* source, RoiInfo sourceRoi, unsigned char* destination,
                    RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    if (type == IMAGE_FORMAT_TYPE_NV12 || type == IMAGE_FORMAT_TYPE_NV21) {
        correctBlocks(source, sourceRoi, destination, destinationRoi, range);
    }
    return 0;
}

int colorCorrect_16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                     RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    if (type == IMAGE_FORMAT_TYPE_YUV16_LOW || type == IMAGE_FORMAT_TYPE_YUV16_HIGH) {
        correctBlocks(source, sourceRoi, destination, destinationRoi, range);
    }
    return 0;
}

}  // namespace huevance
