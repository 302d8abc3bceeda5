#include "core/ColorLut.h"

#include <algorithm>

#include "core/Geometry.h"
#include "core/Sample.h"

namespace huevance {

namespace {

float mix(float lower, float upper, float weight) { return (1.0F - weight) * lower + weight * upper; }

// Trilinear interpolation in one plane. The order of the steps is part of the result: axis B, then A, then Y,
// each as (1 - w) x lower + w x upper. Every implementation keeps it.
//
// Always inlined: the three planes of a block share the places and weights of its corners.
[[gnu::always_inline]] inline float interpolate(const float* plane, std::ptrdiff_t n, const LatticeAxis& y,
                                                const LatticeAxis& a, const LatticeAxis& b) {
    const auto alongB = [&](std::ptrdiff_t iA, std::ptrdiff_t iY) {
        return mix(plane[(b.lower * n + iA) * n + iY], plane[(b.upper * n + iA) * n + iY], b.weight);
    };
    const auto alongA = [&](std::ptrdiff_t iY) {
        return mix(alongB(a.lower, iY), alongB(a.upper, iY), a.weight);
    };
    return mix(alongA(y.lower), alongA(y.upper), y.weight);
}

// `first` is the place of axis A's sample in a chroma pair: 0 or 1.
template <typename T>
void colorMapBlocks(T* image, const RoiInfo& roi, int first, int range, const float* lut, int n,
                    float strength) {
    const PlaneView<T> luma = lumaPlane(image, roi);
    const PlaneView<T> chroma = chromaPlane(image, roi);
    const float s = static_cast<float>(n - 1) / static_cast<float>(range - 1);
    const float max = static_cast<float>(range - 1);
    const int points = n * n * n;
    for (int j = 0; j < blockRows(roi); ++j) {
        T* top = luma.row(2 * j);
        T* bottom = luma.row(2 * j + 1);
        T* pair = chroma.row(j);
        for (int i = 0; i < blockColumns(roi); ++i, top += 2, bottom += 2, pair += 2) {
            const float mean = 0.25F * static_cast<float>(top[0] + top[1] + bottom[0] + bottom[1]);
            const float a = pair[first];
            const float b = pair[1 - first];
            const LatticeAxis axisY(s * mean, n);
            const LatticeAxis axisA(s * a, n);
            const LatticeAxis axisB(s * b, n);

            const float delta = strength * (interpolate(lut, n, axisY, axisA, axisB) - mean);
            for (T* sample : {&top[0], &top[1], &bottom[0], &bottom[1]}) {
                *sample = toSample<T>(static_cast<float>(*sample) + delta + 0.5F, max);
            }
            const float mappedA = interpolate(lut + points, n, axisY, axisA, axisB);
            const float mappedB = interpolate(lut + 2 * points, n, axisY, axisA, axisB);
            pair[first] = toSample<T>((1.0F - strength) * a + strength * mappedA + 0.5F, max);
            pair[1 - first] = toSample<T>((1.0F - strength) * b + strength * mappedB + 0.5F, max);
        }
    }
}

}  // namespace

LatticeAxis::LatticeAxis(float coordinate, int latticeSize)
    // Samples above the range (16-bit data wider than dataBit) use the last point.
    : lower(std::min(static_cast<std::ptrdiff_t>(coordinate), std::ptrdiff_t{latticeSize} - 1)),
      upper(std::min(lower + 1, std::ptrdiff_t{latticeSize} - 1)),
      weight(std::min(coordinate - static_cast<float>(lower), 1.0F)) {}

int colorMap_8u(unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, int range, const float* lut,
                int latticeSize, float strength) {
    if (type == IMAGE_FORMAT_TYPE_NV12 || type == IMAGE_FORMAT_TYPE_NV21) {
        const int first = type == IMAGE_FORMAT_TYPE_NV12 ? 0 : 1;
        colorMapBlocks(image, roi, first, range, lut, latticeSize, strength);
    }
    return 0;
}

int colorMap_16u(unsigned short* image, RoiInfo roi, IMAGE_FORMAT_TYPE /*type*/, int range, const float* lut,
                 int latticeSize, float strength) {
    colorMapBlocks(image, roi, 0, range, lut, latticeSize, strength);
    return 0;
}

int convertColorLut(const float* source, int sourceRange, float* destination, int destinationRange,
                    int count) {
    const float factor = static_cast<float>(destinationRange - 1) / static_cast<float>(sourceRange - 1);
    std::transform(source, source + count, destination, [factor](float level) { return level * factor; });
    return 0;
}

}  // namespace huevance
