#include <algorithm>
#include <cmath>
#include <numeric>

#include "tests/ogl/support/OglModel.h"

namespace test {

namespace {

unsigned char truncated(double level) { return static_cast<unsigned char>(std::clamp(level, 0.0, 255.0)); }

std::vector<double> tileBins(const Bytes& luma, int width, int left, int top, int tileWidth, int tileHeight,
                             int step) {
    std::vector<double> bins(256);
    for (int y = top; y < top + tileHeight; y += step) {
        for (int x = left; x < left + tileWidth; x += step) {
            ++bins[luma[static_cast<std::size_t>(y * width + x)]];
        }
    }
    const double samples = std::accumulate(bins.begin(), bins.end(), 0.0);
    std::transform(bins.begin(), bins.end(), bins.begin(), [=](double count) { return count / samples; });
    return bins;
}

// What would lie above a limit, spread over all levels.
double spread(const std::vector<double>& bins, double limit) {
    double sum = 0.0;
    for (const double bin : bins) {
        sum += std::max(bin - limit, 0.0);
    }
    return sum / 256.0;
}

// Where the parabola through (0, 0), (c / 2, y(c / 2)) and (c, y(c)), with y(x) = x + spread(x) - 1 / 256,
// reaches c - 1 / 256.
double clipLimit(const std::vector<double>& bins, double c) {
    if (std::all_of(bins.begin(), bins.end(), [c](double bin) { return bin == 0.0 || bin > c; })) {
        return 0.0;
    }
    const double half = c / 2 + spread(bins, c / 2) - 1.0 / 256;
    const double full = c + spread(bins, c) - 1.0 / 256;
    const double a = (2 * full - 4 * half) / (c * c);
    const double b = (4 * half - full) / c;
    return (std::sqrt(b * b + 4 * a * (c - 1.0 / 256)) - b) / (2 * a);
}

std::vector<double> tileCurve(std::vector<double> bins, double strength) {
    const double c = (strength + 1.0) / 256;
    if (*std::max_element(bins.begin(), bins.end()) > c) {
        const double limit = clipLimit(bins, c);
        const double share = spread(bins, limit);
        for (double& bin : bins) {
            bin = std::min(bin, limit) + share;
        }
    }
    std::partial_sum(bins.begin(), bins.end(), bins.begin());
    return bins;
}

}  // namespace

std::vector<double> modelClaheLevels(const Bytes& luma, int width, int height, int gridWidth, int gridHeight,
                                     int sampleRate, double strength) {
    const int tileWidth = width / gridWidth;
    const int tileHeight = height / gridHeight;
    const int tiles = gridWidth * gridHeight;
    std::vector<std::vector<double>> curves;
    for (int tile = 0; tile < tiles; ++tile) {
        curves.push_back(tileCurve(tileBins(luma, width, tile % gridWidth * tileWidth,
                                            tile / gridWidth * tileHeight, tileWidth, tileHeight, sampleRate),
                                   strength));
    }
    std::vector<double> levels;
    for (int i = 0; i < 256 * tiles; ++i) {
        double sum = 0.0;
        for (int neighbour = 0; neighbour < 9; ++neighbour) {
            const int row = std::clamp(i % tiles / gridWidth + neighbour / 3 - 1, 0, gridHeight - 1);
            const int column = std::clamp(i % tiles % gridWidth + neighbour % 3 - 1, 0, gridWidth - 1);
            sum += curves[static_cast<std::size_t>(row * gridWidth + column)]
                         [static_cast<std::size_t>(i / tiles)];
        }
        levels.push_back(sum * 255.0 / 9.0);
    }
    return levels;
}

bool truncates(const unsigned char* bytes, const std::vector<double>& levels) {
    return std::equal(levels.begin(), levels.end(), bytes, [](double level, unsigned char byte) {
        return byte == truncated(level - 0.002) || byte == truncated(level + 0.002);
    });
}

Bytes modelUvCurve(double strength) {
    Bytes curve;
    for (int k = 0; k < 256; ++k) {
        curve.push_back(truncated(strength * (k - 128) + 128));
    }
    return curve;
}

Bytes modelCurve(const std::vector<float>& levels) {
    Bytes curve;
    for (const float level : levels) {
        curve.push_back(truncated(static_cast<double>(level)));
    }
    return curve;
}

Bytes modelColors(const std::vector<float>& planes) {
    Bytes texels;
    for (std::size_t i = 0; i < 3 * 4096; ++i) {
        texels.push_back(truncated(static_cast<double>(planes[i % 3 * 4096 + i / 3])));
    }
    return texels;
}

}  // namespace test
