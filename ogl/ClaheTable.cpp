#include "ogl/ClaheTable.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/Geometry.h"
#include "core/Sample.h"

namespace ogl {

namespace {

constexpr int kLevels = huevance::kBins8;
constexpr float kLevelShare = 1.0F / 256.0F;

float excessAbove(const float* bins, float limit) {
    float sum = 0.0F;
    for (int i = 0; i < kLevels; ++i) {
        sum += bins[i] > limit ? bins[i] - limit : 0.0F;
    }
    return sum;
}

// The limit at which clipping and spreading the excess leaves the level c1: the parabola through two trial
// limits, solved. The order of operations is frozen: where the parabola is nearly a line, rounding decides.
float clipLimit(const float* bins, float c1) {
    const float c2 = c1 * 0.5F;
    const float divisor = c1 * c2 * c2 - c1 * c1 * c2 + 1e-16F;
    const float e2 = excessAbove(bins, c2) / 256.0F;
    const float e1 = excessAbove(bins, c1) / 256.0F;
    const float y2 = c2 + e2 - kLevelShare;
    const float y1 = c1 + e1 - kLevelShare;
    const float a = (c1 * y2 - c2 * y1) / divisor;
    const float b = (c2 * c2 * y1 - c1 * c1 * y2) / divisor;
    return (std::sqrt(b * b - 4.0F * a * (kLevelShare - c1)) - b) / (2.0F * a + 1e-16F);
}

void clip(float* bins, float limit) {
    float excess = 0.0F;
    for (int i = 0; i < kLevels; ++i) {
        if (bins[i] > limit) {
            excess += bins[i] - limit;
            bins[i] = limit;
        }
    }
    const float share = excess / 256.0F;
    for (int i = 0; i < kLevels; ++i) {
        bins[i] += share;
    }
}

// The tiles of one level within a border of repeated tiles, row by row.
constexpr int kMaxPadded = (kMaxTiles + 2) * 3;

void padLevel(const float* tiles, int gridWidth, int gridHeight, float* padded) {
    const int pitch = gridWidth + 2;
    for (int row = -1; row <= gridHeight; ++row) {
        const float* from = tiles + std::clamp(row, 0, gridHeight - 1) * gridWidth;
        float* to = padded + (row + 1) * pitch;
        to[0] = from[0];
        std::copy_n(from, gridWidth, to + 1);
        to[gridWidth + 1] = from[gridWidth - 1];
    }
}

}  // namespace

ClaheGrid claheGrid(int width, int height, int gridWidth, int gridHeight) {
    const huevance::TileGeometry tile =
        huevance::tileGeometry({width, height, width, height}, gridWidth, gridHeight, 1);
    return {gridWidth, gridHeight, tile.tileWidth, tile.tileHeight};
}

void getGridHist(const unsigned char* luma, int width, const ClaheGrid& grid, int sampleRate, float* hist) {
    for (int tile = 0; tile < grid.tiles(); ++tile) {
        const int row = tile / grid.gridWidth;
        const int column = tile % grid.gridWidth;
        const unsigned char* origin =
            luma + static_cast<std::ptrdiff_t>(row) * grid.blockHeight * width + column * grid.blockWidth;
        std::uint32_t counts[kLevels] = {};
        for (int i = 0; i < grid.blockHeight; i += sampleRate) {
            const unsigned char* line = origin + static_cast<std::ptrdiff_t>(i) * width;
            for (int j = 0; j < grid.blockWidth; j += sampleRate) {
                ++counts[line[j]];
            }
        }
        std::copy_n(counts, kLevels, hist + static_cast<std::ptrdiff_t>(tile) * kLevels);
    }
}

void gridHist2ClaheLut(const float* hist, int tiles, float claheStrength, float* table) {
    const float c1 = (claheStrength + 1.0F) / 256.0F;
    for (int tile = 0; tile < tiles; ++tile) {
        const float* counts = hist + static_cast<std::ptrdiff_t>(tile) * kLevels;
        float sum = 0.0F;
        for (int i = 0; i < kLevels; ++i) {
            sum += counts[i];
        }
        float bins[kLevels];
        float largest = 0.0F;
        for (int i = 0; i < kLevels; ++i) {
            bins[i] = counts[i] / sum;
            largest = std::max(largest, bins[i]);
        }
        if (largest > c1) {
            clip(bins, clipLimit(bins, c1));
        }
        float cumulative = 0.0F;
        for (int level = 0; level < kLevels; ++level) {
            cumulative += bins[level];
            table[static_cast<std::ptrdiff_t>(level) * tiles + tile] = cumulative * 255.0F;
        }
    }
}

void smoothClaheLut(const float* table, int gridWidth, int gridHeight, unsigned char* lut) {
    const int tiles = gridWidth * gridHeight;
    const int pitch = gridWidth + 2;
    float padded[kMaxPadded];
    for (int level = 0; level < kLevels; ++level, table += tiles, lut += tiles) {
        padLevel(table, gridWidth, gridHeight, padded);
        for (int row = 0; row < gridHeight; ++row) {
            const float* above = padded + row * pitch;
            const float* here = above + pitch;
            const float* below = here + pitch;
            unsigned char* out = lut + row * gridWidth;
            for (int column = 0; column < gridWidth; ++column) {
                const float sum = above[column] + above[column + 1] + above[column + 2] + here[column] +
                                  here[column + 1] + here[column + 2] + below[column] + below[column + 1] +
                                  below[column + 2];
                out[column] = huevance::toSample<unsigned char>(sum / 9.0F, 255.0F);
            }
        }
    }
}

}  // namespace ogl
