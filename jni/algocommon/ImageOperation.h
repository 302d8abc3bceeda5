// The frame record's toolbox: geometry rules, creation, copies, checks, and the allocation wrappers it uses.
// Sizes are in samples, strides in bytes per row, scanlines in rows. The caller owns every record and every
// buffer; createImage makes one allocation for all planes, which freeImage frees (not the record itself).
#pragma once

#include <cstddef>

#include "jni/algocommon/Export.h"
#include "jni/algocommon/ImageTypes.h"

// A new record with pixels, or null with one error line when a size is below 1 or a plane exceeds 1 GiB.
// Free with freeImage, then galloc_free on the record.
HUEVANCE_EXPORT Image* createImage(int w, int h, IMAGE_FORMAT_TYPE f);
HUEVANCE_EXPORT Image* createImage(int w, int h, int stride, int scanline, IMAGE_FORMAT_TYPE f);

// Fills header and plane geometry, not the pointers. A null record, a size below 1 or a plane over 1 GiB is
// one error line and leaves the record as it was.
HUEVANCE_EXPORT void setImage(Image* image, int w, int h, int stride, int scanline, IMAGE_FORMAT_TYPE f);
HUEVANCE_EXPORT void setImage(Image& image, int w, int h, int stride, int scanline, IMAGE_FORMAT_TYPE f);

// The same, and points the planes into `data` one after another.
HUEVANCE_EXPORT void setImage(Image* image, void* data, int w, int h, int stride, int scanline,
                              IMAGE_FORMAT_TYPE f);
HUEVANCE_EXPORT void setImage(Image& image, void* data, int w, int h, int stride, int scanline,
                              IMAGE_FORMAT_TYPE f);

// On purpose accepts a null path only; anything else is one error line.
HUEVANCE_EXPORT void readImage(const char* path, Image* image, int w, int h, int stride, int scanline,
                               IMAGE_FORMAT_TYPE f);
HUEVANCE_EXPORT void readImage(const char* path, Image& image, int w, int h, int stride, int scanline,
                               IMAGE_FORMAT_TYPE f);

// Copies header, geometry and pixels; `dst` keeps its own pointers and must have room for src's planes.
HUEVANCE_EXPORT void copyToImage(const Image* src, Image* dst);
// Packed planes (plane_size bytes each, one after another) into the image, and back.
HUEVANCE_EXPORT void copyBufferToImage(void* buffer, const Image* dst);
HUEVANCE_EXPORT void copyToBuffer(const Image& image, void* buffer);
// The visible part of every row, without padding. Samples of formats 9 and 10 have two bytes.
HUEVANCE_EXPORT void copyValidDataToBuffer(const Image& image, void* buffer);

// Frees plane 0's data, the one allocation that all planes share.
HUEVANCE_EXPORT void freeImage(Image& image);

// On purpose does nothing.
HUEVANCE_EXPORT void writeImage(const char* path, const Image& image);

// Prints the record to standard output. 0, or -1 for a null record.
HUEVANCE_EXPORT int printfImage(Image* image);
HUEVANCE_EXPORT int printfImage(const Image& image);

// 1 when the record exists and has a width and a height, else 0 with one error line.
HUEVANCE_EXPORT int checkImage(Image* image);

// Rounds up to a multiple of `alignment`; on purpose leaves a value that is one above a multiple as it is.
HUEVANCE_EXPORT int align(int value, int alignment);

// Allocation wrappers. A size of 0 gives null; null pointers and counts of 0 are ignored.
HUEVANCE_EXPORT void* galloc_malloc(std::size_t size);
HUEVANCE_EXPORT void* galloc_alloc(std::size_t size);  // zero-filled
HUEVANCE_EXPORT void* galloc_realloc(void* p, std::size_t size);
HUEVANCE_EXPORT void galloc_free(void* p);
HUEVANCE_EXPORT void galloc_memcpy(void* dst, const void* src, std::size_t n);
HUEVANCE_EXPORT void galloc_memset(void* p, int byte, std::size_t n);
