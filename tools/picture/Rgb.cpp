#include "tools/picture/Rgb.h"

#include <png.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "tools/ToolError.h"
#include "tools/picture/Jpeg.h"

namespace tool {

namespace {

constexpr png_color kWhite = {255, 255, 255};

class PngImage {
public:
    PngImage() { m_image.version = PNG_IMAGE_VERSION; }
    ~PngImage() { png_image_free(&m_image); }
    PngImage(const PngImage&) = delete;
    PngImage& operator=(const PngImage&) = delete;
    png_image* operator->() { return &m_image; }
    png_image* get() { return &m_image; }

private:
    png_image m_image{};
};

std::size_t samples(Size size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 3;
}

void checkSize(long long width, long long height, const std::string& name) {
    if (!sizeInRange(width, height)) {
        throw fileError("cannot read " + name + ": a picture of " + std::to_string(width) + "x" +
                        std::to_string(height) + " is too large");
    }
}

RgbPicture decodePngRgb(const Bytes& contents, const std::string& name) {
    PngImage image;
    if (png_image_begin_read_from_memory(image.get(), contents.data(), contents.size()) == 0) {
        throw fileError("cannot read " + name + ": " + image->message);
    }
    checkSize(image->width, image->height, name);
    RgbPicture picture{{static_cast<int>(image->width), static_cast<int>(image->height)}, {}};
    image->format = PNG_FORMAT_RGB;
    image->flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    picture.levels.resize(samples(picture.size));
    if (png_image_finish_read(image.get(), &kWhite, picture.levels.data(), 0, nullptr) == 0) {
        throw fileError("cannot read " + name + ": " + image->message);
    }
    return picture;
}

RgbPicture decodeJpegRgb(const Bytes& contents, const std::string& name) {
    const std::unique_ptr<void, int (*)(void*)> handle(tjInitDecompress(), tjDestroy);
    int width = 0, height = 0, subsampling = 0, colorSpace = 0;
    if (tjDecompressHeader3(handle.get(), contents.data(), contents.size(), &width, &height, &subsampling,
                            &colorSpace) != 0) {
        throw fileError("cannot read " + name + ": " + tjGetErrorStr2(handle.get()));
    }
    checkSize(width, height, name);
    RgbPicture picture{{width, height}, {}};
    picture.levels.resize(samples(picture.size));
    if (tjDecompress2(handle.get(), contents.data(), contents.size(), picture.levels.data(), width, 0, height,
                      TJPF_RGB, TJFLAG_ACCURATEDCT) != 0 &&
        tjGetErrorCode(handle.get()) != TJERR_WARNING) {
        throw fileError("cannot read " + name + ": " + tjGetErrorStr2(handle.get()));
    }
    return picture;
}

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
