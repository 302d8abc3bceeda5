#include "ogl/ByteTables.h"

#include <algorithm>

#include "core/Sample.h"

namespace ogl {

void truncateToBytes(const float* levels, int count, unsigned char* bytes) {
    std::transform(levels, levels + count, bytes,
                   [](float level) { return huevance::toSample<unsigned char>(level, 255.0F); });
}

void interleaveColors(const float* planes, unsigned char* texels) {
    constexpr int kTexels = kColorBytes / 3;
    for (int texel = 0; texel < kTexels; ++texel) {
        for (int channel = 0; channel < 3; ++channel) {
            truncateToBytes(planes + channel * kTexels + texel, 1, texels + texel * 3 + channel);
        }
    }
}

void invertMask(const float* mask, int count, unsigned char* bytes) {
    std::transform(mask, mask + count, bytes, [](float protect) {
        return huevance::toSample<unsigned char>(255.0F * (1.0F - huevance::clampLevel(protect, 1.0F)) + 0.5F,
                                                 255.0F);
    });
}

void buildUvCurveMap(float satStrength, unsigned char* curve) {
    for (int k = 0; k < kCurveBytes; ++k) {
        const float value = satStrength * static_cast<float>(k - 128) + 128.0F;
        curve[k] = huevance::toSample<unsigned char>(value, 255.0F);
    }
}

int tableWeight(int transFrameNum, int frame) {
    return transFrameNum >= 1 ? (transFrameNum - 1 - frame) / transFrameNum : 0;
}

void fuseBytes(const unsigned char* previous, const unsigned char* current, int count, int weight,
               unsigned char* fused) {
    std::transform(previous, previous + count, current, fused, [weight](int before, int after) {
        return static_cast<unsigned char>(std::clamp(weight * before + (1 - weight) * after, 0, 255));
    });
}

}  // namespace ogl
