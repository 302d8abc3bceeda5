#include <algorithm>

#include "tests/ogl/support/OglModel.h"

namespace test {

Bytes truncated(const std::vector<float>& levels) {
    Bytes bytes(levels.size());
    std::transform(levels.begin(), levels.end(), bytes.begin(),
                   [](float level) { return static_cast<unsigned char>(std::clamp(level, 0.0F, 255.0F)); });
    return bytes;
}

Bytes claheTable(const model::Picture& picture, model::Grid grid, float strength) {
    const std::vector<model::Curve> curves = model::tileCurves(picture, grid, strength);
    std::vector<float> levels;
    for (std::size_t level = 0; level < 256; ++level) {
        for (const model::Curve& curve : curves) {
            levels.push_back(curve[level]);
        }
    }
    return truncated(levels);
}

Bytes uvCurve(double strength) {
    Bytes curve;
    for (int k = 0; k < 256; ++k) {
        curve.push_back(static_cast<unsigned char>(std::clamp(strength * (k - 128) + 128, 0.0, 255.0)));
    }
    return curve;
}

Bytes colorTexels(const std::vector<float>& planes) {
    std::vector<float> texels;
    for (std::size_t i = 0; i < 3 * 4096; ++i) {
        texels.push_back(planes[i % 3 * 4096 + i / 3]);
    }
    return truncated(texels);
}

}  // namespace test
