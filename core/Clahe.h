// Contrast-limited adaptive histogram equalisation of the luma plane.
//
// Tables are bin-major: entry (bin b, tile t) stands at b x (gridWidth x gridHeight) + t, t = row x gridWidth
// + column. Their values are output levels, 0 .. bins - 1. Every function is pure in its arguments and
// returns 0, or -1 when scratch memory is missing. Float sums run in the order the comments give: other
// implementations of the same table must keep it to give the same bytes.
#pragma once

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// Histogram, curve and smoothing steps in one: fills `hist` and `lut`, gridWidth x gridHeight x 256 floats
// each, from the luma of an 8-bit frame.
int computeClaheLut(const unsigned char* image, RoiInfo roi, float* hist, float* lut, int sampRate,
                    int gridWidth, int gridHeight, int tileWidth, int tileHeight, float claheStrength);

// Counts every sampRate-th sample of every tile in both directions. Samples right of or below the tiles never
// count, on purpose. Rows of the image advance by roi.stride bytes.
int getGridHist(const unsigned char* image, RoiInfo roi, float* hist, int sampRate, int gridWidth,
                int gridHeight, int tileWidth, int tileHeight);

// One clipped, cumulated curve per tile. An all-zero tile gets the identity.
int gridHist2claheLut(const float* hist, float* lut, int gridWidth, int gridHeight, float claheStrength);

// The same for a single contiguous histogram of 256 bins.
int hist2claheLut(const float* hist, float* lut, float strength);

// In-place 3 x 3 mean over the tiles of each bin; border tiles repeat.
int claheLutFilt(float* lut, int gridWidth, int gridHeight);

// The widening of curves to more bins: linear interpolation, levels rescaled to the new range. resizeClaheLut
// does it for every tile, resizeCurveLut for one curve.
int resizeClaheLut(const float* source, int sourceBins, float* destination, int destinationBins,
                   int gridWidth, int gridHeight);
int resizeCurveLut(const float* source, int sourceBins, float* destination, int destinationBins);

// Maps width x height luma samples in place through the bilinear blend of the four nearest tiles' curves.
int claheMap_8u(unsigned char* image, RoiInfo roi, const float* lut, int bins, int tileWidth, int tileHeight,
                int gridWidth, int gridHeight);
int claheMap_16u(unsigned short* image, RoiInfo roi, const float* lut, int bins, int tileWidth,
                 int tileHeight, int gridWidth, int gridHeight);

// The tile-major variant for uploads: the same histogram and curves, smoothed into `lut` with entry (bin b,
// tile t) at t x 256 + b. `scratch` holds the curves before smoothing, as many floats as `lut`; null: made
// for the call.
int computeClaheLut_gpu(const unsigned char* image, RoiInfo roi, float* hist, float* lut, int sampRate,
                        int gridWidth, int gridHeight, int tileWidth, int tileHeight, float claheStrength,
                        float* scratch = nullptr);
int claheLutFilt_gpu(const float* source, float* destination, int gridWidth, int gridHeight);

// --- Pieces that every implementation of these tables shares ---

// Clips a histogram of probabilities in place at the level that claheStrength asks for, and spreads what it
// cut over all bins. The threshold solve is ill-conditioned for flat tiles (its quadratic term vanishes and
// rounding decides): this one routine serves every back end.
void clipHistogram(float* h, float largest, float claheStrength);

// Where each bin of a widened table comes from.
class LutWidening {
public:
    LutWidening(int sourceBins, int destinationBins);

    struct Bin {
        int lower;  // source bins
        int upper;
        float weight;  // of `upper`; `lower` weighs 1 - weight
    };
    Bin at(int destinationBin) const;
    // Factor of every blended level: rescale x ((1 - weight) x lower + weight x upper).
    float rescale() const { return 1.0F / m_scale; }

private:
    int m_sourceBins;
    float m_scale;
};

// One axis of the mapping: tile coordinates of a sample position, clamped at the outer tile centres.
class TileAxis {
public:
    TileAxis(int tiles, int tileSize);

    struct Position {
        int index;     // tile at or before the position
        int next;      // its neighbour, the same at the far border
        float weight;  // of `next`; `index` weighs 1 - weight
    };
    Position at(int sample) const;

private:
    int m_tiles;
    int m_half;  // half a tile, truncated
    int m_span;  // samples between the outer tile centres
    float m_scale;
};

}  // namespace huevance
