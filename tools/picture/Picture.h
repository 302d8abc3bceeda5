// Pictures in files: JPEG and PNG, held as planar full-range YUV 4:2:0.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/Files.h"
#include "tools/picture/Metadata.h"
#include "tools/picture/Size.h"
#include "tools/picture/YuvRgb.h"

namespace tool {

// Throws a usage error for other words than bt601 and bt709.
ColorMatrix parseMatrix(const std::string& matrix);

// The same planes as a picture's, with more than 8 bits: white is 2^bits - 1, neutral chroma 2^(bits - 1).
struct DeepPlanes {
    int bits = 16;
    std::vector<std::uint16_t> y, u, v;
};

struct Picture {
    Size size;
    // Rows without padding: luma of size.width x size.height, u and v of chromaWidth() x chromaHeight().
    Bytes y, u, v;
    // What y, u and v were rounded from, when the source has more than 8 bits.
    std::optional<DeepPlanes> deep;
    Metadata metadata;

    explicit Picture(Size s = {});
    // Odd sizes: the last column and row have chroma of their own.
    int chromaWidth() const { return (size.width + 1) / 2; }
    int chromaHeight() const { return (size.height + 1) / 2; }
};

// y4m: planar frames with a header (YUV4MPEG2).
enum class FileKind { kJpeg, kPng, kY4m, kRaw };
// From the first bytes of a file.
FileKind kindOfContents(const Bytes& contents);
// From a file name's ending; nothing for an ending that is none of jpg, jpeg, png, y4m, nv12, nv21, p010,
// yuv, raw, bin.
std::optional<FileKind> kindOfName(const std::string& name);
FileKind parseKind(const std::string& text);

// The size as stored, from the header alone. Throws (exit code 3) for what is no JPEG or PNG.
Size sizeOfPicture(const Bytes& contents, const std::string& name);
// Throws (exit code 3) for what is no JPEG or PNG.
Picture decodePicture(const Bytes& contents, ColorMatrix matrix, const std::string& name);
// The metadata go along. A JPEG keeps its orientation, a PNG's pixels are turned upright. A picture with deep
// planes becomes a PNG of 16 bits a sample.
Bytes encodePicture(const Picture& picture, FileKind kind, ColorMatrix matrix, int quality);

// Another size: smooth both ways.
Picture resized(const Picture& picture, Size size);

// A picture whose colours mean sRGB, without its profile: for places that cannot carry one.
Picture convertedToSrgb(const Picture& picture, ColorMatrix matrix);

// A gray picture (JPEG, PNG or binary PGM): width x height levels 0..255.
struct GrayPicture {
    Size size;
    Bytes levels;
};
GrayPicture readGray(const std::string& name);

}  // namespace tool
