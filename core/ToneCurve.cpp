#include "core/ToneCurve.h"

#include <algorithm>

#include "core/Geometry.h"
#include "core/Sample.h"
#include "core/ToneTable.h"

namespace huevance {

namespace {

void mapPlane(const PlaneView<unsigned char>& plane, const float* curve, int bins) {
    const ToneTable table(curve, bins);
    for (int y = 0; y < plane.height; ++y) {
        unsigned char* row = plane.row(y);
        std::transform(row, row + plane.width, row,
                       [&](unsigned char sample) { return table.get()[sample]; });
    }
}

void mapPlane(const PlaneView<unsigned short>& plane, const float* curve, int bins) {
    const float max = static_cast<float>(bins - 1);
    for (int y = 0; y < plane.height; ++y) {
        unsigned short* row = plane.row(y);
        for (int x = 0; x < plane.width; ++x) {
            row[x] = toSample<unsigned short>(curve[std::min<int>(row[x], bins - 1)] + 0.5F, max);
        }
    }
}

template <typename T>
int curveMap(T* image, const RoiInfo& roi, const float* yCurve, const float* uvCurve, int bins) {
    mapPlane(lumaPlane(image, roi), yCurve, bins);
    mapPlane(chromaPlane(image, roi), uvCurve, bins);
    return 0;
}

}  // namespace

int buildUvCurve(float satStrength, float* uvCurve) {
    for (int i = 0; i < kBins8; ++i) {
        uvCurve[i] = clampLevel(satStrength * static_cast<float>(i - 128) + 128.0F, 255.0F);
    }
    return 0;
}

int curveMap_8u(unsigned char* image, RoiInfo roi, const float* yCurve, const float* uvCurve, int bins) {
    return curveMap(image, roi, yCurve, uvCurve, bins);
}

int curveMap_16u(unsigned short* image, RoiInfo roi, const float* yCurve, const float* uvCurve, int bins) {
    return curveMap(image, roi, yCurve, uvCurve, bins);
}

}  // namespace huevance
