#include "core/ColorCorrect.h"

#include <algorithm>
#include <cmath>

#include "core/RowWalks.h"
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
int correctFrame(const T* source, const RoiInfo& sourceRoi, T* destination, const RoiInfo& destinationRoi,
                 IMAGE_FORMAT_TYPE type, int range) {
    const float half = static_cast<float>(range / 2);
    const float max = static_cast<float>(range - 1);
    forCorrectedRows(
        source, sourceRoi, destination, destinationRoi, type, [=](const CorrectedRow<T>& row, int samples) {
            for (int x = 0; x < samples; x += 2) {
                const float before = static_cast<float>(blockMean(row.sourceTop + x, row.sourceBottom + x));
                const float after = static_cast<float>(blockMean(row.top + x, row.bottom + x));
                const float u = static_cast<float>(row.sourcePair[x]) - half;
                const float v = static_cast<float>(row.sourcePair[x + 1]) - half;
                const float gain = chromaGain(u, v, before, after, half);
                row.pair[x] = toSample<T>(u * gain + half, max);
                row.pair[x + 1] = toSample<T>(v * gain + half, max);
            }
        });
    return 0;
}

}  // namespace

int colorCorrect_8u(const unsigned char* source, RoiInfo sourceRoi, unsigned char* destination,
                    RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    return correctFrame(source, sourceRoi, destination, destinationRoi, type, range);
}

int colorCorrect_16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                     RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range) {
    return correctFrame(source, sourceRoi, destination, destinationRoi, type, range);
}

}  // namespace huevance
