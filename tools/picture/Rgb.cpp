#include "tools/picture/Rgb.h"

#include <algorithm>

#include "tools/ToolError.h"
#include "tools/picture/Jpeg.h"
#include "tools/picture/Png.h"

namespace tool {

namespace {

std::uint8_t toLevel(float value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F) + 0.5F);
}

}  // namespace

RgbPicture decodeRgb(const Bytes& contents, const std::string& name) {
    const FileKind kind = kindOfContents(contents);
    if (kind != FileKind::kJpeg && kind != FileKind::kPng) {
        throw fileError("cannot read " + name + ": neither JPEG nor PNG");
    }
    RgbPicture rgb = kind == FileKind::kJpeg ? decodeJpegRgb(contents, name) : decodePngRgb(contents, name);
    turnUpright(rgb.levels, rgb.size.width, rgb.size.height, Metadata::read(contents, name).orientation());
    return rgb;
}

RgbPicture rgbOf(const Picture& picture, ColorMatrix matrix) {
    return {
        picture.size,
        toRgb<std::uint8_t>({picture.size, 8, picture.y.data(), picture.u.data(), picture.v.data()}, matrix)};
}

RgbPicture uprightRgb(const Picture& picture, ColorMatrix matrix) {
    RgbPicture rgb = rgbOf(picture, matrix);
    turnUpright(rgb.levels, rgb.size.width, rgb.size.height, picture.metadata.orientation());
    return rgb;
}

Picture pictureOf(const RgbPicture& rgb) {
    Picture picture(rgb.size);
    fromRgb(rgb.levels.data(), rgb.size, ColorMatrix::kBt601, picture.y.data(), picture.u.data(),
            picture.v.data());
    return picture;
}

Picture decodeUpright(const Bytes& contents, const std::string& name) {
    Picture picture = decodePicture(contents, ColorMatrix::kBt601, name);
    return picture.metadata.orientation() == 1 ? picture
                                               : pictureOf(uprightRgb(picture, ColorMatrix::kBt601));
}

Bytes encodeRgb(const RgbPicture& rgb, FileKind kind, int quality) {
    return kind == FileKind::kPng ? encodePng(rgb) : encodeJpeg(pictureOf(rgb), quality);
}

RgbPicture difference(const RgbPicture& a, const RgbPicture& b, float gain) {
    RgbPicture result{a.size, Bytes(a.levels.size())};
    std::transform(a.levels.begin(), a.levels.end(), b.levels.begin(), result.levels.begin(),
                   [gain](int x, int y) { return toLevel(128.0F + gain * static_cast<float>(y - x)); });
    return result;
}

}  // namespace tool
