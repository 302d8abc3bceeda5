#include "core/Clahe.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/Buffer.h"
#include "core/Geometry.h"
#include "core/Sample.h"

namespace huevance {

namespace {

constexpr float kBinShare = 0.00390625F;  // 1 / 256
constexpr float kTiny = 1e-16F;

int tileCount(int gridWidth, int gridHeight) { return std::max(gridWidth, 0) * std::max(gridHeight, 0); }

// sum over the bins above `level` of (bin - level), in bin order.
float excessAbove(const float* h, float level) {
    float sum = 0.0F;
    for (int b = 0; b < kBins8; ++b) {
        if (h[b] > level) {
            sum += h[b] - level;
        }
    }
    return sum;
}

// One tile: bins at hist[b * stride], curve to lut[b * stride].
void tileCurve(const float* hist, float* lut, int stride, float claheStrength) {
    float h[kBins8];
    float sum = 0.0F;  // bin order
    for (int b = 0; b < kBins8; ++b) {
        h[b] = hist[b * stride];
        sum += h[b];
    }
    if (!(sum > 0.0F)) {
        for (int b = 0; b < kBins8; ++b) {
            lut[b * stride] = static_cast<float>(b);
        }
        return;
    }
    float largest = 0.0F;
    for (float& bin : h) {
        bin /= sum;
        largest = std::max(largest, bin);
    }
    clipHistogram(h, largest, claheStrength);

    // On purpose not shifted to start at 0.
    float cumulated = 0.0F;  // bin order
    for (int b = 0; b < kBins8; ++b) {
        cumulated += h[b];
        lut[b * stride] = cumulated * 255.0F;
    }
}

// Mean of the nine tiles around (r, c) of one bin's plane; rows from top to bottom, within a row from left to
// right.
float meanOfNine(const float* plane, int r, int c, int gridWidth, int gridHeight) {
    const int rows[3] = {std::max(r - 1, 0), r, std::min(r + 1, gridHeight - 1)};
    const int columns[3] = {std::max(c - 1, 0), c, std::min(c + 1, gridWidth - 1)};
    float sum = 0.0F;
    for (const int row : rows) {
        for (const int column : columns) {
            sum += plane[row * gridWidth + column];
        }
    }
    return sum / 9.0F;
}

// In strips of columns whose tile coordinates are worked out once for all rows.
template <typename T>
int claheMap(T* image, const RoiInfo& roi, const float* lut, int bins, int tileWidth, int tileHeight,
             int gridWidth, int gridHeight) {
    constexpr int kStrip = 256;
    const PlaneView<T> luma = lumaPlane(image, roi);
    const TileAxis vertical(gridHeight, tileHeight);
    const TileAxis horizontal(gridWidth, tileWidth);
    const std::ptrdiff_t tiles = tileCount(gridWidth, gridHeight);
    const float max = static_cast<float>(bins - 1);
    for (int left = 0; left < luma.width; left += kStrip) {
        const int columns = std::min(kStrip, luma.width - left);
        TileAxis::Position across[kStrip];
        for (int x = 0; x < columns; ++x) {
            across[x] = horizontal.at(left + x);
        }
        for (int y = 0; y < luma.height; ++y) {
            const TileAxis::Position v = vertical.at(y);
            T* row = luma.row(y) + left;
            for (int x = 0; x < columns; ++x) {
                const TileAxis::Position& h = across[x];
                const float* curve = lut + tiles * std::min<int>(bins - 1, row[x]);
                const float* upper = curve + v.index * gridWidth;
                const float* lower = curve + v.next * gridWidth;
                const float top = (1.0F - h.weight) * upper[h.index] + h.weight * upper[h.next];
                const float bottom = (1.0F - h.weight) * lower[h.index] + h.weight * lower[h.next];
                row[x] = toSample<T>((1.0F - v.weight) * top + v.weight * bottom + 0.5F, max);
            }
        }
    }
    return 0;
}

}  // namespace

int getGridHist(const unsigned char* image, RoiInfo roi, float* hist, int sampRate, int gridWidth,
                int gridHeight, int tileWidth, int tileHeight) {
    const int tiles = tileCount(gridWidth, gridHeight);
    std::fill_n(hist, static_cast<std::size_t>(tiles) * kBins8, 0.0F);
    if (sampRate < 1) {
        return 0;
    }
    const PlaneView<const unsigned char> luma = lumaPlane(image, roi);
    for (int tile = 0; tile < tiles; ++tile) {
        const int top = tile / gridWidth * tileHeight;
        const int left = tile % gridWidth * tileWidth;
        for (std::int64_t y = 0; y < tileHeight; y += sampRate) {
            const unsigned char* row = luma.row(top + static_cast<int>(y)) + left;
            for (std::int64_t x = 0; x < tileWidth; x += sampRate) {
                hist[row[x] * static_cast<std::ptrdiff_t>(tiles) + tile] += 1.0F;
            }
        }
    }
    return 0;
}

void clipHistogram(float* h, float largest, float claheStrength) {
    const float a = kBinShare;
    const float clip = (claheStrength + 1.0F) * a;  // L
    const float half = 0.5F * clip;                 // M
    if (!(largest > clip)) {
        return;
    }
    // The level that a threshold leads to (the threshold itself plus the excess spread over all bins) is
    // modelled by the parabola through the origin, (M, yM) and (L, yL), and solved for the level L - a.
    const float yM = (half + excessAbove(h, half) * a) - a;
    const float yL = (clip + excessAbove(h, clip) * a) - a;
    const float D = (clip * (half * half) - (clip * clip) * half) + kTiny;
    const float A = (clip * yM - half * yL) / D;
    const float B = ((half * half) * yL - (clip * clip) * yM) / D;
    const float C = a - clip;
    const float threshold = (std::sqrt(B * B - (4.0F * A) * C) - B) / (2.0F * A + kTiny);

    float excess = 0.0F;  // bin order
    for (int b = 0; b < kBins8; ++b) {
        if (h[b] > threshold) {
            excess += h[b] - threshold;
            h[b] = threshold;
        }
    }
    const float share = excess * a;
    for (int b = 0; b < kBins8; ++b) {
        h[b] += share;
    }
}

int gridHist2claheLut(const float* hist, float* lut, int gridWidth, int gridHeight, float claheStrength) {
    const int tiles = tileCount(gridWidth, gridHeight);
    for (int tile = 0; tile < tiles; ++tile) {
        tileCurve(hist + tile, lut + tile, tiles, claheStrength);
    }
    return 0;
}

int hist2claheLut(const float* hist, float* lut, float strength) {
    tileCurve(hist, lut, 1, strength);
    return 0;
}

int claheLutFilt(float* lut, int gridWidth, int gridHeight) {
    const int tiles = tileCount(gridWidth, gridHeight);
    Buffer<float> scratch;  // one bin's plane: small, made per call
    if (!scratch.allocate(static_cast<std::size_t>(tiles))) {
        return -1;
    }
    for (int b = 0; b < kBins8; ++b) {
        float* plane = lut + static_cast<std::ptrdiff_t>(b) * tiles;
        std::copy_n(plane, tiles, scratch.get());
        for (int tile = 0; tile < tiles; ++tile) {
            plane[tile] =
                meanOfNine(scratch.get(), tile / gridWidth, tile % gridWidth, gridWidth, gridHeight);
        }
    }
    return 0;
}

int claheLutFilt_gpu(const float* source, float* destination, int gridWidth, int gridHeight) {
    const int tiles = tileCount(gridWidth, gridHeight);
    for (int tile = 0; tile < tiles; ++tile) {
        for (int b = 0; b < kBins8; ++b) {
            destination[static_cast<std::ptrdiff_t>(tile) * kBins8 + b] =
                meanOfNine(source + static_cast<std::ptrdiff_t>(b) * tiles, tile / gridWidth,
                           tile % gridWidth, gridWidth, gridHeight);
        }
    }
    return 0;
}

int computeClaheLut(const unsigned char* image, RoiInfo roi, float* hist, float* lut, int sampRate,
                    int gridWidth, int gridHeight, int tileWidth, int tileHeight, float claheStrength) {
    getGridHist(image, roi, hist, sampRate, gridWidth, gridHeight, tileWidth, tileHeight);
    gridHist2claheLut(hist, lut, gridWidth, gridHeight, claheStrength);
    return claheLutFilt(lut, gridWidth, gridHeight);
}

int computeClaheLut_gpu(const unsigned char* image, RoiInfo roi, float* hist, float* lut, int sampRate,
                        int gridWidth, int gridHeight, int tileWidth, int tileHeight, float claheStrength,
                        float* scratch) {
    Buffer<float> own;
    if (scratch == nullptr) {
        if (!own.allocate(static_cast<std::size_t>(tileCount(gridWidth, gridHeight)) * kBins8)) {
            return -1;
        }
        scratch = own.get();
    }
    getGridHist(image, roi, hist, sampRate, gridWidth, gridHeight, tileWidth, tileHeight);
    gridHist2claheLut(hist, scratch, gridWidth, gridHeight, claheStrength);
    return claheLutFilt_gpu(scratch, lut, gridWidth, gridHeight);
}

LutWidening::LutWidening(int sourceBins, int destinationBins)
    : m_sourceBins(sourceBins),
      m_scale(static_cast<float>(sourceBins - 1) / static_cast<float>(destinationBins - 1)) {}

LutWidening::Bin LutWidening::at(int destinationBin) const {
    const float f = m_scale * static_cast<float>(destinationBin);
    const int lower = std::min(static_cast<int>(f), m_sourceBins - 1);
    return {lower, std::min(lower + 1, m_sourceBins - 1), f - static_cast<float>(lower)};
}

int resizeClaheLut(const float* source, int sourceBins, float* destination, int destinationBins,
                   int gridWidth, int gridHeight) {
    const std::ptrdiff_t tiles = tileCount(gridWidth, gridHeight);
    const LutWidening widening(sourceBins, destinationBins);
    const float rescale = widening.rescale();
    for (int i = 0; i < destinationBins; ++i) {
        const LutWidening::Bin bin = widening.at(i);
        const float* lower = source + tiles * bin.lower;
        const float* upper = source + tiles * bin.upper;
        float* out = destination + tiles * i;
        for (std::ptrdiff_t tile = 0; tile < tiles; ++tile) {
            out[tile] = rescale * ((1.0F - bin.weight) * lower[tile] + bin.weight * upper[tile]);
        }
    }
    return 0;
}

int resizeCurveLut(const float* source, int sourceBins, float* destination, int destinationBins) {
    return resizeClaheLut(source, sourceBins, destination, destinationBins, 1, 1);
}

TileAxis::TileAxis(int tiles, int tileSize)
    : m_tiles(tiles),
      m_half(tileSize / 2),
      // On purpose: the bitwise-or makes the span one sample shorter for even tile sizes only.
      m_span(std::max(tiles * tileSize - (tileSize | 1), 0)),
      m_scale(tiles > 1 && m_span > 0 ? static_cast<float>(tiles - 1) / static_cast<float>(m_span) : 0.0F) {}

TileAxis::Position TileAxis::at(int sample) const {
    const float f = m_scale * static_cast<float>(std::min(std::max(sample - m_half, 0), m_span));
    const int index = static_cast<int>(f);
    return {index, std::min(index + 1, m_tiles - 1), f - static_cast<float>(index)};
}

int claheMap_8u(unsigned char* image, RoiInfo roi, const float* lut, int bins, int tileWidth, int tileHeight,
                int gridWidth, int gridHeight) {
    return claheMap(image, roi, lut, bins, tileWidth, tileHeight, gridWidth, gridHeight);
}

int claheMap_16u(unsigned short* image, RoiInfo roi, const float* lut, int bins, int tileWidth,
                 int tileHeight, int gridWidth, int gridHeight) {
    return claheMap(image, roi, lut, bins, tileWidth, tileHeight, gridWidth, gridHeight);
}

}  // namespace huevance
