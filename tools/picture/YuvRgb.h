// Between planar full-range YUV 4:2:0 and interleaved RGB, in float, for samples of 8 to 16 bits.
//
// Chroma sits in the middle of its 2 x 2 block, as in JPEG: on the way to RGB it is interpolated with the
// weights 9, 3, 3, 1 (what libjpeg calls fancy upsampling), on the way back each block's mean counts. White
// is 2^bits - 1, neutral chroma 2^(bits - 1).
#pragma once

#include <cstdint>
#include <vector>

#include "tools/picture/Size.h"

namespace tool {

enum class ColorMatrix { kBt601, kBt709 };

template <typename T>
struct YuvPlanes {
    Size size;
    int bits = 8;
    const T* y;  // rows without padding; u and v of (width + 1) / 2 x (height + 1) / 2
    const T* u;
    const T* v;
};

// 3 samples a pixel, red first, rows without padding; 8 bits for T = uint8_t, else 16 whatever `yuv.bits` is.
template <typename T>
std::vector<T> toRgb(const YuvPlanes<T>& yuv, ColorMatrix matrix);

// `rgb` as above. The planes get the same depth: 8 bits, or 16.
template <typename T>
void fromRgb(const T* rgb, Size size, ColorMatrix matrix, T* y, T* u, T* v);

}  // namespace tool
