// The frame record that crosses the algorithm API, and the geometry record of every kernel.
// These layouts are shared with hosts that were compiled elsewhere: they never change.
#pragma once

#include <assert.h>
#include <stddef.h>

// C++ is told that any int may arrive.
#ifdef __cplusplus
#define HUEVANCE_INT_ENUM : int
#else
#define HUEVANCE_INT_ENUM
#endif

// Frame formats. 5, 6, 9 and 10 have two planes: luma, then interleaved chroma at scanline x stride bytes.
// Any value that is not named here is treated as one plane.
enum IMAGE_FORMAT_TYPE HUEVANCE_INT_ENUM {
    IMAGE_FORMAT_TYPE_THREE_PLANES_2 = 2,
    IMAGE_FORMAT_TYPE_THREE_PLANES_3 = 3,
    IMAGE_FORMAT_TYPE_NV21 = 5,        // chroma in the order V, U
    IMAGE_FORMAT_TYPE_NV12 = 6,        // chroma in the order U, V
    IMAGE_FORMAT_TYPE_YUV16_LOW = 9,   // 16-bit samples, U before V, significant bits at the bottom
    IMAGE_FORMAT_TYPE_YUV16_HIGH = 10  // 16-bit samples, U before V, significant bits at the top
};
#undef HUEVANCE_INT_ENUM
typedef enum IMAGE_FORMAT_TYPE IMAGE_FORMAT_TYPE;

// Geometry of a two-plane frame or of a mask: width and height in samples, stride in bytes per row,
// scanline in rows allocated for the first plane.
typedef struct RoiInfo {
    int width;
    int height;
    int stride;
    int scanline;
} RoiInfo;

// One plane of an Image. `data` belongs to whoever made the image; `fd` is filled by hosts whose
// buffers are importable.
typedef struct ImagePlane {
    int w;
    int h;
    int stride;      // bytes per row
    int scanline;    // rows allocated
    int plane_size;  // bytes
    int fd;
    void* data;
} ImagePlane;

typedef struct Image {
    int w;
    int h;
    int num_plane;    // planes in use, 1 to 3
    int pixel_count;  // w x h
    int total_size;   // bytes of all planes together
    int bt;           // buffer kind; setImage stores 3
    int o;            // orientation; setImage stores 0
    IMAGE_FORMAT_TYPE format;
    ImagePlane planes[4];
} Image;

static_assert(sizeof(RoiInfo) == 16, "fixed");
static_assert(offsetof(ImagePlane, plane_size) == 16 && offsetof(ImagePlane, fd) == 20, "fixed");
static_assert(offsetof(ImagePlane, data) == 24 && sizeof(ImagePlane) == 32, "fixed");
static_assert(offsetof(Image, num_plane) == 8 && offsetof(Image, pixel_count) == 12, "fixed");
static_assert(offsetof(Image, total_size) == 16 && offsetof(Image, bt) == 20 && offsetof(Image, o) == 24,
              "fixed");
static_assert(offsetof(Image, format) == 28 && offsetof(Image, planes) == 32 && sizeof(Image) == 160,
              "fixed");
