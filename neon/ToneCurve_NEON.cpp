#include <algorithm>

#include "core/Geometry.h"
#include "core/Sample.h"
#include "core/ToneTable.h"
#include "neon/NeonIntrinsics.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

void mapPlane(const PlaneView<unsigned char>& plane, const float* curve, int bins) {
    const ToneTable levels(curve, bins);
    const neon::ByteTable table(levels.get());
    for (int y = 0; y < plane.height; ++y) {
        table.map(plane.row(y), plane.row(y), plane.width);
    }
}

// The table of 16-bit samples is too large to round in advance.
void mapPlane(const PlaneView<unsigned short>& plane, const float* curve, int bins) {
    const float top = static_cast<float>(bins - 1);
    const int last = bins - 1;
    const auto four = [=](const unsigned short* samples) {
        const float levels[4] = {
            curve[std::min<int>(samples[0], last)], curve[std::min<int>(samples[1], last)],
            curve[std::min<int>(samples[2], last)], curve[std::min<int>(samples[3], last)]};
        return neon::toInts(
            neon::clampLevels(vaddq_f32(vld1q_f32(levels), vdupq_n_f32(0.5F)), vdupq_n_f32(top)));
    };
    for (int y = 0; y < plane.height; ++y) {
        unsigned short* row = plane.row(y);
        int x = 0;
        for (; x + 8 <= plane.width; x += 8) {
            vst1q_u16(row + x, neon::packShorts(four(row + x), four(row + x + 4)));
        }
        for (; x < plane.width; ++x) {
            row[x] = toSample<unsigned short>(curve[std::min<int>(row[x], last)] + 0.5F, top);
        }
    }
}

template <typename T>
int mapFrame(T* image, const RoiInfo& roi, const float* yCurve, const float* uvCurve, int bins) {
    mapPlane(lumaPlane(image, roi), yCurve, bins);
    mapPlane(chromaPlane(image, roi), uvCurve, bins);
    return 0;
}

}  // namespace

int curveMap_8u_neon(unsigned char* image, RoiInfo roi, const float* yCurve, const float* uvCurve, int bins) {
    return mapFrame(image, roi, yCurve, uvCurve, bins);
}

int curveMap_16u_neon(unsigned short* image, RoiInfo roi, const float* yCurve, const float* uvCurve,
                      int bins) {
    return mapFrame(image, roi, yCurve, uvCurve, bins);
}

}  // namespace huevance
