#include <algorithm>
#include <cstddef>

#include "core/Geometry.h"
#include "neon/ClaheColumns.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

using namespace neon;

int tileCount(int gridWidth, int gridHeight) { return std::max(gridWidth, 0) * std::max(gridHeight, 0); }

// Calls step(t, n) for the tiles t .. t + n - 1, n = 4 but for the last.
template <typename Step>
void forEachFour(int tiles, Step step) {
    for (int t = 0; t < tiles; t += 4) {
        step(t, std::min(4, tiles - t));
    }
}

// --- Histogram ---

// Every sampRate-th sample of one tile, shifted right to 8 bits. Two sets of counters: neighbouring samples
// are often equal.
template <typename T>
void countTile(const PlaneView<const T>& luma, int left, int top, int tileWidth, int tileHeight, int sampRate,
               int shift, std::uint32_t (&counts)[2][kBins8]) {
    const std::ptrdiff_t rate = sampRate;
    const auto bin = [shift](T sample) { return static_cast<unsigned char>(sample >> shift); };
    for (std::ptrdiff_t y = 0; y < tileHeight; y += rate) {
        const T* row = luma.row(top + static_cast<int>(y)) + left;
        std::ptrdiff_t x = 0;
        for (; x + rate < tileWidth; x += 2 * rate) {
            ++counts[0][bin(row[x])];
            ++counts[1][bin(row[x + rate])];
        }
        if (x < tileWidth) {
            ++counts[0][bin(row[x])];
        }
    }
}

template <typename T>
void countTiles(const T* image, const RoiInfo& roi, int shift, float* hist, int sampRate, int gridWidth,
                int gridHeight, int tileWidth, int tileHeight) {
    // Where a float that is counted up by one stays.
    constexpr std::uint32_t kLargestCount = 1U << 24;
    const int tiles = tileCount(gridWidth, gridHeight);
    const PlaneView<const T> luma = lumaPlane(image, roi);
    for (int tile = 0; tile < tiles; ++tile) {
        std::uint32_t counts[2][kBins8] = {};
        if (sampRate >= 1) {
            countTile(luma, tile % gridWidth * tileWidth, tile / gridWidth * tileHeight, tileWidth,
                      tileHeight, sampRate, shift, counts);
        }
        float* out = hist + tile;
        for (int b = 0; b < kBins8; ++b, out += tiles) {
            *out = static_cast<float>(std::min(counts[0][b] + counts[1][b], kLargestCount));
        }
    }
}

// --- Tile curves: four tiles side by side, so that every sum keeps its order ---

void clipLane(float (&h)[kBins8][4], int lane, float largestBin, float claheStrength) {
    float bins[kBins8];
    for (int b = 0; b < kBins8; ++b) {
        bins[b] = h[b][lane];
    }
    clipHistogram(bins, largestBin, claheStrength);
    for (int b = 0; b < kBins8; ++b) {
        h[b][lane] = bins[b];
    }
}

// Bins of `n` tiles at hist[b * tiles], curves to lut[b * tiles].
void tileCurves(const float* hist, float* lut, int tiles, int n, float claheStrength) {
    float h[kBins8][4];
    float32x4_t sum = vdupq_n_f32(0.0F);
    for (int b = 0; b < kBins8; ++b) {
        const float32x4_t bins = loadUpTo4(hist + static_cast<std::ptrdiff_t>(b) * tiles, n);
        vst1q_f32(h[b], bins);
        sum = vaddq_f32(sum, bins);
    }
    float32x4_t largestBin = vdupq_n_f32(0.0F);
    for (auto& bins : h) {
        const float32x4_t share = divide(vld1q_f32(bins), sum);
        vst1q_f32(bins, share);
        largestBin = largest(largestBin, share);
    }
    float sums[4];
    float largestBins[4];
    vst1q_f32(sums, sum);
    vst1q_f32(largestBins, largestBin);
    for (int lane = 0; lane < n; ++lane) {
        if (sums[lane] > 0.0F) {
            clipLane(h, lane, largestBins[lane], claheStrength);
        }
    }
    float32x4_t cumulated = vdupq_n_f32(0.0F);
    for (int b = 0; b < kBins8; ++b) {
        cumulated = vaddq_f32(cumulated, vld1q_f32(h[b]));
        storeUpTo4(lut + static_cast<std::ptrdiff_t>(b) * tiles, vmulq_f32(cumulated, vdupq_n_f32(255.0F)),
                   n);
    }
    for (int lane = 0; lane < n; ++lane) {
        for (int b = 0; b < kBins8 && !(sums[lane] > 0.0F); ++b) {
            lut[static_cast<std::ptrdiff_t>(b) * tiles + lane] = static_cast<float>(b);  // an empty tile
        }
    }
}

// --- Smoothing ---

// Planes of a bin with their border repeated, as large as the stack should hold. Larger grids take the plain
// version.
constexpr int kPlaneFloats = 3584;

bool fitsPlane(int gridWidth, int gridHeight) {
    return (static_cast<std::int64_t>(gridWidth) + 2) * (static_cast<std::int64_t>(gridHeight) + 2) + 4 <=
           kPlaneFloats;
}

void repeatBorder(const float* plane, float* padded, int gridWidth, int gridHeight) {
    for (int r = -1; r <= gridHeight; ++r, padded += gridWidth + 2) {
        const float* row = plane + std::clamp(r, 0, gridHeight - 1) * gridWidth;
        padded[0] = row[0];
        std::copy_n(row, gridWidth, padded + 1);
        padded[gridWidth + 1] = row[gridWidth - 1];
    }
}

// `corner` is the upper left of the nine.
float32x4_t meanOfNine(const float* corner, int stride) {
    float32x4_t sum = vdupq_n_f32(0.0F);
    for (int r = 0; r < 3; ++r, corner += stride) {
        for (int c = 0; c < 3; ++c) {
            sum = vaddq_f32(sum, vld1q_f32(corner + c));
        }
    }
    return divide(sum, vdupq_n_f32(9.0F));
}

void smooth(float* lut, int gridWidth, int gridHeight) {
    float padded[kPlaneFloats] = {};
    const int tiles = gridWidth * gridHeight;
    for (int b = 0; b < kBins8; ++b) {
        float* plane = lut + static_cast<std::ptrdiff_t>(b) * tiles;
        repeatBorder(plane, padded, gridWidth, gridHeight);
        for (int r = 0; r < gridHeight; ++r) {
            const float* corner = padded + r * (gridWidth + 2);
            float* out = plane + r * gridWidth;
            forEachFour(gridWidth,
                        [=](int c, int n) { storeUpTo4(out + c, meanOfNine(corner + c, gridWidth + 2), n); });
        }
    }
}

// --- Mapping ---

// Straight from the table, whose neighbouring tiles stand side by side.
template <typename T>
struct TableCorners {
    const float* upper;
    const float* lower;
    std::ptrdiff_t tiles;
    int last;
    bool border;  // there is no tile to the right

    using Place = std::ptrdiff_t;

    void locate(const T* samples, Place (&places)[kClaheStep]) const {
        for (int i = 0; i < kClaheStep; ++i) {
            places[i] = tiles * std::min<int>(last, samples[i]);
        }
    }
    float32x4_t at(int /*row*/, Place place) const {
        const float* a = upper + place;
        const float* b = lower + place;
        if (border) {
            const float repeated[4] = {*a, *a, *b, *b};
            return vld1q_f32(repeated);
        }
        return loadTwoPairs(a, b);
    }
};

constexpr int kChunk = 128;  // columns
constexpr int kBand = 16;    // rows that share a computation of column weights

// The columns from x that lie between the same two tile centres, at most a chunk.
struct Segment {
    TileAxis::Position first;
    int length = 0;
    float weights[kWeightFloats * (kChunk + kColumnSlack)] = {};

    Segment(const TileAxis& axis, int x, int width) : first(axis.at(x)) {
        const int most = std::min(kChunk, width - x);
        for (; length < most; ++length) {
            const TileAxis::Position position = axis.at(x + length);
            if (position.index != first.index) {
                break;
            }
            packWeights(position, weights + kWeightFloats * length);
        }
    }
};

template <typename T>
int claheMap(T* image, const RoiInfo& roi, const float* lut, int bins, int tileWidth, int tileHeight,
             int gridWidth, int gridHeight) {
    const PlaneView<T> luma = lumaPlane(image, roi);
    const TileAxis vertical(gridHeight, tileHeight);
    const TileAxis horizontal(gridWidth, tileWidth);
    const std::ptrdiff_t tiles = tileCount(gridWidth, gridHeight);
    const auto mapRow = [&](int x, int y, const Segment& segment) {
        const TileAxis::Position row[1] = {vertical.at(y)};
        const float* left = lut + segment.first.index;
        const TableCorners<T> corners = {left + row[0].index * gridWidth, left + row[0].next * gridWidth,
                                         tiles, bins - 1, segment.first.next == segment.first.index};
        T mapped[kChunk];
        T* samples = luma.row(y) + x;
        const ClaheColumns<T, 1, TableCorners<T>> columns(corners, row, static_cast<float>(bins - 1));
        columns.map({samples}, {mapped}, segment.weights, segment.length);
        std::copy_n(mapped, segment.length, samples);
    };
    for (int band = 0; band < luma.height; band += kBand) {
        for (int x = 0; x < luma.width;) {
            const Segment segment(horizontal, x, luma.width);
            for (int y = band; y < std::min(band + kBand, luma.height); ++y) {
                mapRow(x, y, segment);
            }
            x += segment.length;
        }
    }
    return 0;
}

template <typename T>
int computeLut(const T* image, const RoiInfo& roi, int shift, float* hist, float* lut, int sampRate,
               int gridWidth, int gridHeight, int tileWidth, int tileHeight, float claheStrength) {
    const int tiles = tileCount(gridWidth, gridHeight);
    if (tiles == 0) {
        return 0;
    }
    countTiles(image, roi, shift, hist, sampRate, gridWidth, gridHeight, tileWidth, tileHeight);
    forEachFour(tiles, [=](int t, int n) { tileCurves(hist + t, lut + t, tiles, n, claheStrength); });
    if (!fitsPlane(gridWidth, gridHeight)) {
        return claheLutFilt(lut, gridWidth, gridHeight);
    }
    smooth(lut, gridWidth, gridHeight);
    return 0;
}

}  // namespace

int computeClaheLut_neon(const unsigned char* image, RoiInfo roi, float* hist, float* lut, int sampRate,
                         int gridWidth, int gridHeight, int tileWidth, int tileHeight, float claheStrength) {
    return computeLut(image, roi, 0, hist, lut, sampRate, gridWidth, gridHeight, tileWidth, tileHeight,
                      claheStrength);
}

int computeClaheLut_16u_neon(const unsigned short* image, RoiInfo roi, int shift, float* hist, float* lut,
                             int sampRate, int gridWidth, int gridHeight, int tileWidth, int tileHeight,
                             float claheStrength) {
    return computeLut(image, roi, shift, hist, lut, sampRate, gridWidth, gridHeight, tileWidth, tileHeight,
                      claheStrength);
}

int resizeClaheLut_neon(const float* source, int sourceBins, float* destination, int destinationBins,
                        int gridWidth, int gridHeight) {
    const int tiles = tileCount(gridWidth, gridHeight);
    const LutWidening widening(sourceBins, destinationBins);
    const float32x4_t rescale = vdupq_n_f32(widening.rescale());
    for (int i = 0; i < destinationBins; ++i) {
        const LutWidening::Bin bin = widening.at(i);
        const float* lower = source + static_cast<std::ptrdiff_t>(tiles) * bin.lower;
        const float* upper = source + static_cast<std::ptrdiff_t>(tiles) * bin.upper;
        float* out = destination + static_cast<std::ptrdiff_t>(tiles) * i;
        const float32x4_t weight = vdupq_n_f32(bin.weight);
        const float32x4_t rest = oneMinus(weight);
        forEachFour(tiles, [=](int t, int n) {
            const float32x4_t level = mix(loadUpTo4(lower + t, n), loadUpTo4(upper + t, n), rest, weight);
            storeUpTo4(out + t, vmulq_f32(rescale, level), n);
        });
    }
    return 0;
}

int claheMap_8u_neon(unsigned char* image, RoiInfo roi, const float* lut, int bins, int tileWidth,
                     int tileHeight, int gridWidth, int gridHeight) {
    if (bins != kBins8) {  // the vector path saturates at 255
        return claheMap_8u(image, roi, lut, bins, tileWidth, tileHeight, gridWidth, gridHeight);
    }
    return claheMap(image, roi, lut, bins, tileWidth, tileHeight, gridWidth, gridHeight);
}

int claheMap_16u_neon(unsigned short* image, RoiInfo roi, const float* lut, int bins, int tileWidth,
                      int tileHeight, int gridWidth, int gridHeight) {
    return claheMap(image, roi, lut, bins, tileWidth, tileHeight, gridWidth, gridHeight);
}

}  // namespace huevance
