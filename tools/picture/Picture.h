// Pictures in files: JPEG and PNG, held as planar YUV 4:2:0 with 8 bits.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/Files.h"
#include "tools/picture/Size.h"

namespace tool {

// How YUV and RGB belong together. Matters for PNG alone: a JPEG's planes are taken as they are.
enum class ColorMatrix { kBt601Full, kBt601Limited, kBt709Full, kBt709Limited };
ColorMatrix parseMatrix(const std::string& matrix, const std::string& range);

struct Picture {
    Size size;
    // Rows without padding: luma of size.width x size.height, u and v of chromaWidth() x chromaHeight().
    Bytes y, u, v;
    // Segments of the JPEG file that describe the picture (orientation, colour profile), to be handed on.
    Bytes jpegSegments;

    explicit Picture(Size s = {});
    // Odd sizes: the last column and row have chroma of their own.
    int chromaWidth() const { return (size.width + 1) / 2; }
    int chromaHeight() const { return (size.height + 1) / 2; }
};

enum class FileKind { kJpeg, kPng, kRaw };
// From the first bytes of a file.
FileKind kindOfContents(const Bytes& contents);
// From a file name's ending; anything unknown is raw.
FileKind kindOfName(const std::string& name);
FileKind parseKind(const std::string& text);

Picture decodePicture(const Bytes& contents, ColorMatrix matrix, const std::string& name);
Bytes encodePicture(const Picture& picture, FileKind kind, ColorMatrix matrix, int quality);

// Another size: smooth both ways.
Picture resized(const Picture& picture, Size size);

// A gray picture (JPEG, PNG or binary PGM): width x height levels 0..255.
struct GrayPicture {
    Size size;
    Bytes levels;
};
GrayPicture readGray(const std::string& name);

}  // namespace tool
