#include "tools/picture/Picture.h"

#include <libyuv.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <iterator>

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

ColorMatrix parseMatrix(const std::string& matrix, const std::string& range) {
    const bool full = range == "full";
    if (matrix == "bt601") {
        return full ? ColorMatrix::kBt601Full : ColorMatrix::kBt601Limited;
    }
    return full ? ColorMatrix::kBt709Full : ColorMatrix::kBt709Limited;
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
    return FileKind::kRaw;
}

FileKind kindOfName(const std::string& name) {
    std::string ending = name.substr(std::min(name.rfind('.'), name.size()));
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == ".jpg" || ending == ".jpeg") {
        return FileKind::kJpeg;
    }
    return ending == ".png" ? FileKind::kPng : FileKind::kRaw;
}

FileKind parseKind(const std::string& text) {
    return text == "jpeg" ? FileKind::kJpeg : text == "png" ? FileKind::kPng : FileKind::kRaw;
}

Picture decodePicture(const Bytes& contents, ColorMatrix matrix, const std::string& name) {
    switch (kindOfContents(contents)) {
        case FileKind::kJpeg:
            return decodeJpeg(contents, name);
        case FileKind::kPng:
            return decodePng(contents, matrix, name);
        case FileKind::kRaw:
            break;
    }
    throw fileError("cannot read " + name + ": neither JPEG nor PNG (raw frames need --size)");
}

Bytes encodePicture(const Picture& picture, FileKind kind, ColorMatrix matrix, int quality) {
    return kind == FileKind::kPng ? encodePng(picture, matrix) : encodeJpeg(picture, quality);
}

Picture resized(const Picture& picture, Size size) {
    Picture result(size);
    libyuv::I420Scale(picture.y.data(), picture.size.width, picture.u.data(), picture.chromaWidth(),
                      picture.v.data(), picture.chromaWidth(), picture.size.width, picture.size.height,
                      result.y.data(), size.width, result.u.data(), result.chromaWidth(), result.v.data(),
                      result.chromaWidth(), size.width, size.height, libyuv::kFilterBox);
    result.jpegSegments = picture.jpegSegments;
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
            break;
    }
    throw fileError("cannot read " + name + ": neither JPEG, PNG nor binary PGM");
}

}  // namespace tool
