// Colour correction: after the luma changed, the chroma of every 2 x 2 block is scaled so that it fits again.
#pragma once

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// Reads luma and chroma of `source` (the input, with the curve-adjusted chroma) and the luma of
// `destination`, and overwrites the chroma of `destination`. range is 256 or 2^dataBit. The arithmetic is
// symmetric in U and V. Frames of a width or height below 2 and other formats are left untouched: 8 bits take
// NV12 and NV21, 16 bits take 9 and 10. Returns 0.
int colorCorrect_8u(const unsigned char* source, RoiInfo sourceRoi, unsigned char* destination,
                    RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range);
int colorCorrect_16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                     RoiInfo destinationRoi, IMAGE_FORMAT_TYPE type, int range);

}  // namespace huevance
