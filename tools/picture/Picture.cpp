#include "tools/picture/Picture.h"

#include <libyuv.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "tools/ToolError.h"
#include "tools/picture/Jpeg.h"
#include "tools/picture/Png.h"

namespace tool {

namespace {

constexpr std::uint8_t kNeutral = 128;

std::size_t area(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

// "P5 <width> <height> <maximum> <bytes>", with comments between the numbers.
GrayPicture decodePgm(const Bytes& contents, const std::string& name) {
    std::size_t at = 2;
    const auto number = [&]() {
        while (at < contents.size() && (std::isspace(contents[at]) != 0 || contents[at] == '#')) {
            const bool comment = contents[at] == '#';
            ++at;
            while (comment && at < contents.size() && contents[at] != '\n') {
                ++at;
            }
        }
        const char* begin = reinterpret_cast<const char*>(contents.data());
        int value = 0;
        const auto [end, error] = std::from_chars(begin + at, begin + contents.size(), value);
        at = static_cast<std::size_t>(end - begin);
        return error == std::errc() ? value : -1;
    };
    GrayPicture gray;
    gray.size.width = number();
    gray.size.height = number();
    const int maximum = number();
    ++at;  // one white space before the levels
    if (!sizeInRange(gray.size.width, gray.size.height) || maximum < 1 || maximum > 255) {
        throw fileError("cannot read " + name + ": no gray PGM with 8 bits");
    }
    const std::size_t levels = area(gray.size.width, gray.size.height);
    if (contents.size() < at + levels) {
        throw fileError("cannot read " + name + ": the PGM ends early");
    }
    std::transform(
        contents.begin() + static_cast<std::ptrdiff_t>(at),
        contents.begin() + static_cast<std::ptrdiff_t>(at + levels), std::back_inserter(gray.levels),
        [maximum](int level) { return static_cast<std::uint8_t>(std::min(level, maximum) * 255 / maximum); });
    return gray;
}

}  // namespace

ColorMatrix parseMatrix(const std::string& matrix) {
    if (matrix != "bt601" && matrix != "bt709") {
        throw usageError("'" + matrix + "' is no matrix: bt601 and bt709 are known");
    }
    return matrix == "bt601" ? ColorMatrix::kBt601 : ColorMatrix::kBt709;
}

Picture::Picture(Size s)
    : size(s),
      y(area(s.width, s.height)),
      u(area(chromaWidth(), chromaHeight()), kNeutral),
      v(area(chromaWidth(), chromaHeight()), kNeutral) {}

FileKind kindOfContents(const Bytes& contents) {
    constexpr std::uint8_t kPngMagic[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (contents.size() >= 3 && contents[0] == 0xFF && contents[1] == 0xD8 && contents[2] == 0xFF) {
        return FileKind::kJpeg;
    }
    if (contents.size() >= sizeof(kPngMagic) &&
        std::equal(std::begin(kPngMagic), std::end(kPngMagic), contents.begin())) {
        return FileKind::kPng;
    }
    constexpr std::string_view kY4mMagic = "YUV4MPEG2 ";
    if (contents.size() >= kY4mMagic.size() &&
        std::equal(kY4mMagic.begin(), kY4mMagic.end(), contents.begin())) {
        return FileKind::kY4m;
    }
    return FileKind::kRaw;
}

std::optional<FileKind> kindOfName(const std::string& name) {
    std::string ending = name.substr(std::min(name.rfind('.'), name.size()));
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr std::pair<const char*, FileKind> kEndings[] = {
        {".jpg", FileKind::kJpeg}, {".jpeg", FileKind::kJpeg}, {".png", FileKind::kPng},
        {".y4m", FileKind::kY4m},  {".nv12", FileKind::kRaw},  {".nv21", FileKind::kRaw},
        {".p010", FileKind::kRaw}, {".yuv", FileKind::kRaw},   {".raw", FileKind::kRaw},
        {".bin", FileKind::kRaw}};
    for (const auto& [known, kind] : kEndings) {
        if (ending == known) {
            return kind;
        }
    }
    return std::nullopt;
}

FileKind parseKind(const std::string& text) {
    return text == "jpeg"  ? FileKind::kJpeg
           : text == "png" ? FileKind::kPng
           : text == "y4m" ? FileKind::kY4m
                           : FileKind::kRaw;
}

namespace {

bool isJpegNotPng(const Bytes& contents, const std::string& name) {
    const FileKind kind = kindOfContents(contents);
    if (kind != FileKind::kJpeg && kind != FileKind::kPng) {
        throw fileError("cannot read " + name + ": neither JPEG nor PNG (raw frames need --size)");
    }
    return kind == FileKind::kJpeg;
}

}  // namespace

Size sizeOfPicture(const Bytes& contents, const std::string& name) {
    return isJpegNotPng(contents, name) ? sizeOfJpeg(contents, name) : sizeOfPng(contents, name);
}

Picture decodePicture(const Bytes& contents, ColorMatrix matrix, const std::string& name) {
    Picture picture =
        isJpegNotPng(contents, name) ? decodeJpeg(contents, name) : decodePng(contents, matrix, name);
    picture.metadata = Metadata::read(contents, name);
    return picture;
}

Bytes encodePicture(const Picture& picture, FileKind kind, ColorMatrix matrix, int quality) {
    const bool png = kind == FileKind::kPng;
    Bytes contents = png ? encodePng(picture, matrix) : encodeJpeg(picture, quality);
    picture.metadata.writeTo(contents, png);
    return contents;
}

Picture resized(const Picture& picture, Size size) {
    Picture result(size);
    libyuv::I420Scale(picture.y.data(), picture.size.width, picture.u.data(), picture.chromaWidth(),
                      picture.v.data(), picture.chromaWidth(), picture.size.width, picture.size.height,
                      result.y.data(), size.width, result.u.data(), result.chromaWidth(), result.v.data(),
                      result.chromaWidth(), size.width, size.height, libyuv::kFilterBox);
    if (picture.deep) {
        DeepPlanes& deep = result.deep.emplace();
        deep.bits = picture.deep->bits;
        deep.y.resize(result.y.size());
        deep.u.resize(result.u.size());
        deep.v.resize(result.v.size());
        libyuv::I420Scale_16(picture.deep->y.data(), picture.size.width, picture.deep->u.data(),
                             picture.chromaWidth(), picture.deep->v.data(), picture.chromaWidth(),
                             picture.size.width, picture.size.height, deep.y.data(), size.width,
                             deep.u.data(), result.chromaWidth(), deep.v.data(), result.chromaWidth(),
                             size.width, size.height, libyuv::kFilterBox);
    }
    result.metadata = picture.metadata;
    return result;
}

Picture convertedToSrgb(const Picture& picture, ColorMatrix matrix) {
    Bytes rgb =
        toRgb<std::uint8_t>({picture.size, 8, picture.y.data(), picture.u.data(), picture.v.data()}, matrix);
    if (!picture.metadata.toSrgb(rgb)) {
        return picture;
    }
    Picture result(picture.size);
    fromRgb(rgb.data(), picture.size, matrix, result.y.data(), result.u.data(), result.v.data());
    return result;
}

GrayPicture readGray(const std::string& name) {
    const Bytes contents = readFile(name);
    if (contents.size() >= 2 && contents[0] == 'P' && contents[1] == '5') {
        return decodePgm(contents, name);
    }
    switch (kindOfContents(contents)) {
        case FileKind::kJpeg: {
            Picture picture = decodeJpeg(contents, name);
            return {picture.size, std::move(picture.y)};
        }
        case FileKind::kPng:
            return decodePngGray(contents, name);
        case FileKind::kRaw:
        case FileKind::kY4m:
            break;
    }
    throw fileError("cannot read " + name + ": neither JPEG, PNG nor binary PGM");
}

}  // namespace tool
