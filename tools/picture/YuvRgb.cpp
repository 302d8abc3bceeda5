#include "tools/picture/YuvRgb.h"

#include <algorithm>

namespace tool {

namespace {

struct Coefficients {
    float red, green, blue;  // of luma
    float redRange() const { return 2.0F * (1.0F - red); }
    float blueRange() const { return 2.0F * (1.0F - blue); }
};

Coefficients coefficientsOf(ColorMatrix matrix) {
    return matrix == ColorMatrix::kBt601 ? Coefficients{0.299F, 0.587F, 0.114F}
                                         : Coefficients{0.2126F, 0.7152F, 0.0722F};
}

std::size_t area(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

template <typename T>
constexpr float kWhite = sizeof(T) == 1 ? 255.0F : 65535.0F;

template <typename T>
T toLevel(float value) {
    return static_cast<T>(std::clamp(value, 0.0F, kWhite<T>) + 0.5F);
}

// One row of luma's width from a plane of 4:2:0 chroma, relative to `neutral`. `blended` is scratch of the
// chroma's width.
template <typename T>
void upsampleRow(const T* plane, int row, Size size, float neutral, std::vector<float>& blended, float* out) {
    const int width = (size.width + 1) / 2;
    const int height = (size.height + 1) / 2;
    // The nearer chroma row counts three times, the one on the other side once; at the edges it is the same
    // row.
    const int near = row / 2;
    const int far = std::clamp(near + (row % 2 == 0 ? -1 : 1), 0, height - 1);
    const T* a = plane + area(near, width);
    const T* b = plane + area(far, width);
    for (int x = 0; x < width; ++x) {
        blended[static_cast<std::size_t>(x)] =
            (3.0F * static_cast<float>(a[x]) + static_cast<float>(b[x])) * 0.25F - neutral;
    }
    const float* from = blended.data();
    for (int x = 0; x < width; ++x) {
        const float left = from[std::max(x - 1, 0)];
        const float right = from[std::min(x + 1, width - 1)];
        out[2 * x] = (3.0F * from[x] + left) * 0.25F;
        out[2 * x + 1] = (3.0F * from[x] + right) * 0.25F;
    }
}

}  // namespace

template <typename T>
std::vector<T> toRgb(const YuvPlanes<T>& yuv, ColorMatrix matrix) {
    const Coefficients c = coefficientsOf(matrix);
    const int width = yuv.size.width;
    const float gain = kWhite<T> / static_cast<float>((1 << yuv.bits) - 1);
    const float neutral = static_cast<float>(1 << (yuv.bits - 1));
    const float redGain = c.redRange() * gain;
    const float blueGain = c.blueRange() * gain;
    const float greenOfU = -c.blueRange() * c.blue / c.green * gain;
    const float greenOfV = -c.redRange() * c.red / c.green * gain;
    const std::size_t even = static_cast<std::size_t>(width) + 1;
    std::vector<float> u(even), v(even), blended(even);
    std::vector<T> rgb(3 * area(width, yuv.size.height));
    for (int row = 0; row < yuv.size.height; ++row) {
        upsampleRow(yuv.u, row, yuv.size, neutral, blended, u.data());
        upsampleRow(yuv.v, row, yuv.size, neutral, blended, v.data());
        const T* luma = yuv.y + area(row, width);
        T* out = rgb.data() + 3 * area(row, width);
        for (int x = 0; x < width; ++x) {
            const auto at = static_cast<std::size_t>(x);
            const float y = static_cast<float>(luma[x]) * gain;
            out[3 * x] = toLevel<T>(y + redGain * v[at]);
            out[3 * x + 1] = toLevel<T>(y + greenOfU * u[at] + greenOfV * v[at]);
            out[3 * x + 2] = toLevel<T>(y + blueGain * u[at]);
        }
    }
    return rgb;
}

template <typename T>
void fromRgb(const T* rgb, Size size, ColorMatrix matrix, T* y, T* u, T* v) {
    const Coefficients c = coefficientsOf(matrix);
    constexpr float kNeutral = sizeof(T) == 1 ? 128.0F : 32768.0F;
    const int chromaWidth = (size.width + 1) / 2;
    for (int row = 0; row < (size.height + 1) / 2; ++row) {
        for (int column = 0; column < chromaWidth; ++column) {
            float blueness = 0.0F;
            float redness = 0.0F;
            for (int i = 0; i < 4; ++i) {
                // Beyond an odd edge the last sample counts twice.
                const int px = std::min(2 * column + i % 2, size.width - 1);
                const int py = std::min(2 * row + i / 2, size.height - 1);
                const std::size_t at = area(py, size.width) + static_cast<std::size_t>(px);
                const float red = rgb[3 * at], green = rgb[3 * at + 1], blue = rgb[3 * at + 2];
                const float luma = c.red * red + c.green * green + c.blue * blue;
                y[at] = toLevel<T>(luma);
                blueness += blue - luma;
                redness += red - luma;
            }
            const std::size_t at = area(row, chromaWidth) + static_cast<std::size_t>(column);
            u[at] = toLevel<T>(kNeutral + blueness / (4.0F * c.blueRange()));
            v[at] = toLevel<T>(kNeutral + redness / (4.0F * c.redRange()));
        }
    }
}

template std::vector<std::uint8_t> toRgb(const YuvPlanes<std::uint8_t>&, ColorMatrix);
template std::vector<std::uint16_t> toRgb(const YuvPlanes<std::uint16_t>&, ColorMatrix);
template void fromRgb(const std::uint8_t*, Size, ColorMatrix, std::uint8_t*, std::uint8_t*, std::uint8_t*);
template void fromRgb(const std::uint16_t*, Size, ColorMatrix, std::uint16_t*, std::uint16_t*,
                      std::uint16_t*);

}  // namespace tool
