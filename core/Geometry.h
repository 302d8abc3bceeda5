// Geometry of frames, planes and CLAHE tiles. A frame is YUV 4:2:0 semi-planar: `height` luma rows of `width`
// samples, then, at scanline x stride bytes, height / 2 rows of `width` interleaved chroma samples. Strides
// are bytes for both sample widths.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "core/Buffer.h"
#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// Bins of the 8-bit tables.
inline constexpr int kBins8 = 256;

// The address `bytes` after a sample's.
template <typename T>
T* addBytes(T* sample, std::ptrdiff_t bytes) {
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(sample) + bytes);
}

// A plane seen through its own stride. T is a sample type; const for read-only planes.
template <typename T>
struct PlaneView {
    T* data;
    int width;              // samples
    int height;             // rows
    std::ptrdiff_t stride;  // bytes

    T* row(int y) const {
        assert(y >= 0 && y < height);
        return addBytes(data, y * stride);
    }
};

inline std::ptrdiff_t chromaOffset(const RoiInfo& roi) {
    return static_cast<std::ptrdiff_t>(roi.scanline) * roi.stride;
}

template <typename T>
PlaneView<T> lumaPlane(T* frame, const RoiInfo& roi) {
    return {frame, roi.width, roi.height, roi.stride};
}

// height / 2 rows; a frame of one row has none.
template <typename T>
PlaneView<T> chromaPlane(T* frame, const RoiInfo& roi) {
    return {addBytes(frame, chromaOffset(roi)), roi.width, roi.height / 2, roi.stride};
}

// 2 x 2 blocks that have both their luma rows, their luma columns and their chroma pair.
inline int blockRows(const RoiInfo& roi) { return roi.height / 2; }
inline int blockColumns(const RoiInfo& roi) { return roi.width / 2; }

// Bytes from the frame's start to the end of its last chroma row: (scanline + height / 2) x stride.
inline std::size_t frameBytes(const RoiInfo& roi) {
    const auto rows = static_cast<std::int64_t>(roi.scanline) + roi.height / 2;
    return rows > 0 && roi.stride > 0 ? static_cast<std::size_t>(rows) * static_cast<std::size_t>(roi.stride)
                                      : 0;
}

// Bytes that a dump of a frame writes: scanline x 3 / 2, in whole rows on purpose, x stride.
inline std::size_t dumpBytes(const RoiInfo& roi) {
    return elementCount(roi.scanline, 3) / 2 * elementCount(roi.stride, 1);
}

// Whether the geometry has room for its own width and height; 16-bit rows must start at even addresses.
inline bool holdsFrame(const RoiInfo& roi, int bytesPerSample) {
    return roi.width >= 1 && roi.height >= 1 && roi.scanline >= roi.height &&
           roi.stride >= static_cast<std::int64_t>(roi.width) * bytesPerSample &&
           roi.stride % bytesPerSample == 0;
}

// Rounded up to a multiple of 128.
inline int alignTo128(std::int64_t value) { return static_cast<int>((value + 127) / 128 * 128); }

// The 8-bit working copy of a 16-bit frame: its own 128-aligned stride, no scanline padding.
inline RoiInfo workingCopyRoi(const RoiInfo& roi) {
    return {roi.width, roi.height, alignTo128(roi.width), roi.height};
}

// The internal skin mask: one float per luma sample, 128-aligned stride in bytes.
inline RoiInfo skinMaskRoi(const RoiInfo& roi8) {
    return {roi8.width, roi8.height, alignTo128(std::int64_t{4} * roi8.width), roi8.height};
}

// One float of a mask, at row y and column x.
inline PlaneView<float> maskPlane(float* mask, const RoiInfo& roi) { return lumaPlane(mask, roi); }
inline PlaneView<const float> maskPlane(const float* mask, const RoiInfo& roi) {
    return lumaPlane(mask, roi);
}

// CLAHE tiles of a frame. All divisions truncate; a divisor below 1 gives 0.
struct TileGeometry {
    int tileWidth;
    int tileHeight;
    int sampCols;  // histogram samples across a tile
    int sampRows;  // histogram samples down a tile
};

inline TileGeometry tileGeometry(const RoiInfo& roi, int gridWidth, int gridHeight, int sampRate) {
    const auto divide = [](int a, int b) { return b >= 1 ? a / b : 0; };
    const int tileWidth = divide(roi.width, gridWidth);
    const int tileHeight = divide(roi.height, gridHeight);
    const auto samples = [sampRate](int size) {
        return sampRate >= 1 ? static_cast<int>((std::int64_t{size} + sampRate - 1) / sampRate) : 0;
    };
    return {tileWidth, tileHeight, samples(tileWidth), samples(tileHeight)};
}

}  // namespace huevance
