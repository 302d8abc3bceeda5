#include "tests/ogl/support/TableModel.h"

#include <algorithm>
#include <cmath>

namespace test {

namespace {

unsigned char truncated(float value) {
    return static_cast<unsigned char>(std::isnan(value) ? 0 : std::min(std::max(value, 0.0F), 255.0F));
}

std::vector<float> tileHistogram(const Bytes& luma, int width, int left, int top, int tileWidth,
                                 int tileHeight, int step) {
    std::vector<float> bins(256, 0.0F);
    for (int i = 0; i < tileHeight; i += step) {
        for (int j = 0; j < tileWidth; j += step) {
            bins[luma[static_cast<std::size_t>((top + i) * width + left + j)]] += 1.0F;
        }
    }
    return bins;
}

std::vector<float> tileCurve(std::vector<float> bins, float s) {
    float total = 0.0F;
    for (const float bin : bins) {
        total += bin;
    }
    for (float& bin : bins) {
        bin /= total;
    }
    const float c1 = (s + 1.0F) / 256.0F;
    const float c2 = c1 * 0.5F;
    const float A = c1 * c2 * c2 - c1 * c1 * c2 + 1e-16F;
    if (*std::max_element(bins.begin(), bins.end()) > c1) {
        float over2 = 0.0F;
        float over1 = 0.0F;
        for (const float bin : bins) {
            if (bin > c2) {
                over2 += bin - c2;
            }
            if (bin > c1) {
                over1 += bin - c1;
            }
        }
        const float y2 = c2 + over2 / 256.0F - 1.0F / 256.0F;
        const float y1 = c1 + over1 / 256.0F - 1.0F / 256.0F;
        const float a = (c1 * y2 - c2 * y1) / A;
        const float b = (c2 * c2 * y1 - c1 * c1 * y2) / A;
        const float t = (std::sqrt(b * b - 4.0F * a * (1.0F / 256.0F - c1)) - b) / (2.0F * a + 1e-16F);
        float excess = 0.0F;
        for (float& bin : bins) {
            if (bin > t) {
                excess += bin - t;
                bin = t;
            }
        }
        for (float& bin : bins) {
            bin += excess / 256.0F;
        }
    }
    for (std::size_t i = 1; i < bins.size(); ++i) {
        bins[i] += bins[i - 1];
    }
    for (float& bin : bins) {
        bin *= 255.0F;
    }
    return bins;
}

}  // namespace

Bytes modelClaheTable(const Bytes& luma, int width, int height, int gridWidth, int gridHeight, int sampleRate,
                      float strength) {
    const int tileWidth = width / gridWidth;
    const int tileHeight = height / gridHeight;
    std::vector<std::vector<float>> curves;
    for (int r = 0; r < gridHeight; ++r) {
        for (int c = 0; c < gridWidth; ++c) {
            curves.push_back(tileCurve(
                tileHistogram(luma, width, c * tileWidth, r * tileHeight, tileWidth, tileHeight, sampleRate),
                strength));
        }
    }
    Bytes table;
    for (std::size_t level = 0; level < 256; ++level) {
        for (int r = 0; r < gridHeight; ++r) {
            for (int c = 0; c < gridWidth; ++c) {
                float sum = 0.0F;
                for (int dr = -1; dr <= 1; ++dr) {
                    for (int dc = -1; dc <= 1; ++dc) {
                        const int row = std::clamp(r + dr, 0, gridHeight - 1);
                        const int column = std::clamp(c + dc, 0, gridWidth - 1);
                        sum += curves[static_cast<std::size_t>(row * gridWidth + column)][level];
                    }
                }
                table.push_back(truncated(sum / 9.0F));
            }
        }
    }
    return table;
}

Bytes modelUvCurve(float strength) {
    Bytes curve;
    for (int k = 0; k < 256; ++k) {
        curve.push_back(truncated(strength * static_cast<float>(k - 128) + 128.0F));
    }
    return curve;
}

Bytes modelCurve(const std::vector<float>& levels) {
    Bytes curve;
    for (const float level : levels) {
        curve.push_back(truncated(level));
    }
    return curve;
}

Bytes modelColors(const std::vector<float>& planes) {
    Bytes texels;
    for (std::size_t i = 0; i < 4096; ++i) {
        for (std::size_t plane = 0; plane < 3; ++plane) {
            texels.push_back(truncated(planes[plane * 4096 + i]));
        }
    }
    return texels;
}

}  // namespace test
