#include "core/Portrait.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/Clahe.h"
#include "core/Geometry.h"
#include "core/RowWalks.h"
#include "core/Sample.h"

namespace huevance {

namespace {

float distance(float u, float v, const ChromaPoint& point) {
    const float du = u - point.u;
    const float dv = v - point.v;
    return std::sqrt(du * du + dv * dv);
}

template <typename T>
T blend(T backup, T processed, float m) {
    constexpr float kMax = static_cast<float>(std::numeric_limits<T>::max());
    return toSample<T>(m * static_cast<float>(backup) + (1.0F - m) * static_cast<float>(processed), kMax);
}

template <typename T>
int protect(const T* backup, const RoiInfo& backupRoi, T* processed, const RoiInfo& processedRoi,
            const float* mask, const RoiInfo& maskRoi) {
    const auto blendRow = [](const T* from, T* row, const float* m, int samples) {
        for (int x = 0; x < samples; ++x) {
            row[x] = blend(from[x], row[x], m[x]);
        }
    };
    const auto blendPairs = [](const T* from, T* row, const float* m, int samples) {
        for (int x = 0; x < samples; x += 2) {
            row[x] = blend(from[x], row[x], m[x]);
            row[x + 1] = blend(from[x + 1], row[x + 1], m[x]);
        }
    };
    forProtectedRows(backup, backupRoi, processed, processedRoi, mask, maskRoi, blendRow, blendPairs);
    return 0;
}

}  // namespace

float skinProbability(float u, float v) {
    const float d1 = distance(u, v, kSkinPoints[0]);
    const float d2 = distance(u, v, kSkinPoints[1]);
    return std::min(kSkinReach / ((d1 + d2) + 1e-16F), 1.0F);
}

std::optional<int> skinPlaceOfU(IMAGE_FORMAT_TYPE type) {
    switch (static_cast<int>(type)) {
        case IMAGE_FORMAT_TYPE_NV12:
        case IMAGE_FORMAT_TYPE_YUV16_LOW:
        case IMAGE_FORMAT_TYPE_YUV16_HIGH:
            return 0;
        case IMAGE_FORMAT_TYPE_NV21:
            return 1;
        default:
            return std::nullopt;
    }
}

int skinColorDetect(const unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, float* mask,
                    RoiInfo maskRoi) {
    forSkinRows(image, roi, type, mask, maskRoi,
                [](const unsigned char* pairs, float* top, float* bottom, int samples, int placeOfU) {
                    for (int x = 0; x < samples; x += 2) {
                        const float u = static_cast<float>(pairs[x + placeOfU]) / 255.0F;
                        const float v = static_cast<float>(pairs[x + 1 - placeOfU]) / 255.0F;
                        top[x] = top[x + 1] = bottom[x] = bottom[x + 1] = skinProbability(u, v);
                    }
                });
    return 0;
}

int portraitProtect_8u(const unsigned char* backup, RoiInfo backupRoi, unsigned char* processed,
                       RoiInfo processedRoi, const float* mask, RoiInfo maskRoi) {
    return protect(backup, backupRoi, processed, processedRoi, mask, maskRoi);
}

int portraitProtect_16u(const unsigned short* backup, RoiInfo backupRoi, unsigned short* processed,
                        RoiInfo processedRoi, const float* mask, RoiInfo maskRoi) {
    return protect(backup, backupRoi, processed, processedRoi, mask, maskRoi);
}

int imMaskHist(const unsigned char* image, RoiInfo roi, const float* mask, RoiInfo maskRoi, float* hist) {
    std::fill_n(hist, kBins8, 0.0F);
    const PlaneView<const unsigned char> luma = lumaPlane(image, roi);
    const PlaneView<const float> weights = maskPlane(mask, maskRoi);
    for (int y = 0; y < luma.height; ++y) {
        const unsigned char* row = luma.row(y);
        const float* m = weights.row(y);
        for (int x = 0; x < luma.width; ++x) {
            hist[row[x]] += clampLevel(m[x], 1.0F);
        }
    }
    return 0;
}

int computePortraitLut(const unsigned char* image, RoiInfo roi, const float* mask, RoiInfo maskRoi,
                       float* hist, float* lut, float strength) {
    imMaskHist(image, roi, mask, maskRoi, hist);
    return hist2claheLut(hist, lut, strength);
}

}  // namespace huevance
