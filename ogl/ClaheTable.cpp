#include "ogl/ClaheTable.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "core/Geometry.h"
#include "core/Sample.h"

namespace ogl {

namespace {

constexpr int kLevels = huevance::kBins8;
constexpr float kLevelShare = 1.0F / 256.0F;

// A value for each tile. The loops below run over the tiles of one level, side by side in memory, so that the
// compiler makes vectors of them while the sums of each tile keep their order: level by level.
using PerTile = float[kMaxTiles];

float aboveZero(float value) { return value > 0.0F ? value : 0.0F; }

// Tile-major to level-major.
void transpose(const float* hist, int tiles, float* table) {
    for (int level = 0; level < kLevels; ++level) {
        for (int tile = 0; tile < tiles; ++tile) {
            *table++ = hist[tile * kLevels + level];
        }
    }
}

void normalise(float* table, int tiles, float* largest) {
    PerTile sum = {};
    for (int i = 0; i < kLevels * tiles; i += tiles) {
        for (int tile = 0; tile < tiles; ++tile) {
            sum[tile] += table[i + tile];
        }
    }
    std::fill_n(largest, tiles, 0.0F);
    for (int i = 0; i < kLevels * tiles; i += tiles) {
        for (int tile = 0; tile < tiles; ++tile) {
            const float bin = table[i + tile] / sum[tile];
            table[i + tile] = bin;
            largest[tile] = bin > largest[tile] ? bin : largest[tile];
        }
    }
}

// What the bins of each tile have above two trial limits.
void sumExcess(const float* table, int tiles, float c1, float c2, float* above1, float* above2) {
    std::fill_n(above1, tiles, 0.0F);
    std::fill_n(above2, tiles, 0.0F);
    for (int i = 0; i < kLevels * tiles; i += tiles) {
        for (int tile = 0; tile < tiles; ++tile) {
            above1[tile] += aboveZero(table[i + tile] - c1);
            above2[tile] += aboveZero(table[i + tile] - c2);
        }
    }
}

// The limit at which clipping and spreading the excess leaves the level c1: the parabola through two trial
// limits, solved. The order of operations is frozen: where the parabola is nearly a line, rounding decides.
float clipLimit(float c1, float c2, float above1, float above2) {
    const float divisor = c1 * c2 * c2 - c1 * c1 * c2 + 1e-16F;
    const float e2 = above2 / 256.0F;
    const float e1 = above1 / 256.0F;
    const float y2 = c2 + e2 - kLevelShare;
    const float y1 = c1 + e1 - kLevelShare;
    const float a = (c1 * y2 - c2 * y1) / divisor;
    const float b = (c2 * c2 * y1 - c1 * c1 * y2) / divisor;
    return (std::sqrt(b * b - 4.0F * a * (kLevelShare - c1)) - b) / (2.0F * a + 1e-16F);
}

// Cuts the bins at their tile's limit; share is what each bin then gets of the excess.
void clip(float* table, int tiles, const float* limit, float* share) {
    std::fill_n(share, tiles, 0.0F);
    for (int i = 0; i < kLevels * tiles; i += tiles) {
        for (int tile = 0; tile < tiles; ++tile) {
            const float bin = table[i + tile];
            share[tile] += aboveZero(bin - limit[tile]);
            table[i + tile] = bin > limit[tile] ? limit[tile] : bin;
        }
    }
    std::transform(share, share + tiles, share, [](float excess) { return excess / 256.0F; });
}

void cumulate(float* table, int tiles, const float* share) {
    PerTile sum = {};
    for (int i = 0; i < kLevels * tiles; i += tiles) {
        for (int tile = 0; tile < tiles; ++tile) {
            sum[tile] += table[i + tile] + share[tile];
            table[i + tile] = sum[tile] * 255.0F;
        }
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

// Means of nine, of all rows at once; two of each row's end are of no tile.
void meansOfNine(const float* padded, int pitch, int count, unsigned char* means) {
    const float* above = padded;
    const float* here = padded + pitch;
    const float* below = here + pitch;
    for (int i = 0; i < count; ++i) {
        const float sum = above[i] + above[i + 1] + above[i + 2] + here[i] + here[i + 1] + here[i + 2] +
                          below[i] + below[i + 1] + below[i + 2];
        means[i] = huevance::toSample<unsigned char>(sum / 9.0F, 255.0F);
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
        // Integers count exactly, and a scattered increment is no work for vectors.
        std::int32_t counts[kLevels] = {};
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
    const float c2 = c1 * 0.5F;
    PerTile largest;
    PerTile above1;
    PerTile above2;
    PerTile limit;
    PerTile share;
    transpose(hist, tiles, table);
    normalise(table, tiles, largest);
    sumExcess(table, tiles, c1, c2, above1, above2);
    for (int tile = 0; tile < tiles; ++tile) {
        limit[tile] = largest[tile] > c1 ? clipLimit(c1, c2, above1[tile], above2[tile])
                                         : std::numeric_limits<float>::infinity();
    }
    clip(table, tiles, limit, share);
    cumulate(table, tiles, share);
}

void smoothClaheLut(const float* table, int gridWidth, int gridHeight, unsigned char* lut) {
    const int tiles = gridWidth * gridHeight;
    const int pitch = gridWidth + 2;
    float padded[kMaxPadded];
    unsigned char means[kMaxPadded];
    for (int level = 0; level < kLevels; ++level, table += tiles) {
        padLevel(table, gridWidth, gridHeight, padded);
        meansOfNine(padded, pitch, gridHeight * pitch - 2, means);
        for (int row = 0; row < gridHeight; ++row, lut += gridWidth) {
            std::copy_n(means + row * pitch, gridWidth, lut);
        }
    }
}

}  // namespace ogl
