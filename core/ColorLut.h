// The 3D colour look-up table: one trilinear look-up per 2 x 2 block, blended by a strength.
//
// A lattice of N^3 points in three planes: plane 0 the output luma, plane 1 the first axis' chroma, plane 2
// the second's. Within a plane the point (iY, iA, iB) stands at iB x N^2 + iA x N + iY. Values are output
// levels of the image's range.
#pragma once

#include <cstddef>

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// Lattice points per axis of every tuning file, and floats of a whole lattice.
inline constexpr int kLatticeSize = 16;
inline constexpr int kColorLutFloats = 3 * kLatticeSize * kLatticeSize * kLatticeSize;

// Maps every 2 x 2 block in place; range is 256 or 2^dataBit. The last column of an odd width and the last
// row of an odd height stay as they are. Returns 0.
//
// 8 bits: axes A and B are U and V; formats other than NV12 and NV21 are left untouched. 16 bits: the format
// is ignored and axis A is the first chroma sample in memory, on purpose.
int colorMap_8u(unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, int range, const float* lut,
                int latticeSize, float strength);
int colorMap_16u(unsigned short* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, int range, const float* lut,
                 int latticeSize, float strength);

// One coordinate of a look-up: the point at or below, the point above, and the weight of the latter.
struct LatticeAxis {
    LatticeAxis(float coordinate, int latticeSize);

    std::ptrdiff_t lower;
    std::ptrdiff_t upper;
    float weight;
};

// destination[i] = source[i] x (destinationRange - 1) / (sourceRange - 1) for `count` values. Returns 0.
int convertColorLut(const float* source, int sourceRange, float* destination, int destinationRange,
                    int count);

}  // namespace huevance
