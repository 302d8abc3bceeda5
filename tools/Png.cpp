#include "tools/Png.h"

#include <libyuv.h>
#include <png.h>

#include <algorithm>
#include <cmath>

#include "tools/ToolError.h"

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

// Rows without padding, in one of libpng's simple formats.
Bytes readPixels(const Bytes& contents, png_uint_32 format, Size& size, const std::string& name) {
    PngImage image;
    if (png_image_begin_read_from_memory(image.get(), contents.data(), contents.size()) == 0) {
        throw fileError("cannot read " + name + ": " + image->message);
    }
    if (!sizeInRange(image->width, image->height)) {
        throw fileError("cannot read " + name + ": a picture of " + std::to_string(image->width) + "x" +
                        std::to_string(image->height) + " is too large");
    }
    size = {static_cast<int>(image->width), static_cast<int>(image->height)};
    image->format = format;
    image->flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    Bytes pixels(PNG_IMAGE_SIZE(*image.get()));
    if (png_image_finish_read(image.get(), &kWhite, pixels.data(), 0, nullptr) == 0) {
        throw fileError("cannot read " + name + ": " + image->message);
    }
    return pixels;
}

std::uint8_t toLevel(float value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F) + 0.5F); }

// libyuv converts from RGB with the coefficients of BT.601 only; the same in floats for BT.709.
void rgbToBt709(const Bytes& rgb, Picture& picture, bool limited) {
    constexpr float kRed = 0.2126F, kBlue = 0.0722F, kGreen = 1.0F - kRed - kBlue;
    const float lumaGain = limited ? 219.0F / 255.0F : 1.0F;
    const float chromaGain = limited ? 224.0F / 255.0F : 1.0F;
    const float black = limited ? 16.0F : 0.0F;
    const auto [width, height] = picture.size;
    for (int row = 0; row < picture.chromaHeight(); ++row) {
        for (int column = 0; column < picture.chromaWidth(); ++column) {
            float u = 0.0F;
            float v = 0.0F;
            for (int i = 0; i < 4; ++i) {
                // Beyond an odd edge the last sample counts twice.
                const int x = std::min(2 * column + i % 2, width - 1);
                const int y = std::min(2 * row + i / 2, height - 1);
                const std::size_t at = static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                       static_cast<std::size_t>(x);
                const float red = rgb[3 * at], green = rgb[3 * at + 1], blue = rgb[3 * at + 2];
                const float luma = kRed * red + kGreen * green + kBlue * blue;
                picture.y[at] = toLevel(black + lumaGain * luma);
                u += (blue - luma) / (2.0F * (1.0F - kBlue));
                v += (red - luma) / (2.0F * (1.0F - kRed));
            }
            const std::size_t at = static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.chromaWidth()) +
                                   static_cast<std::size_t>(column);
            picture.u[at] = toLevel(128.0F + chromaGain * u / 4.0F);
            picture.v[at] = toLevel(128.0F + chromaGain * v / 4.0F);
        }
    }
}

const libyuv::YuvConstants* constants(ColorMatrix matrix) {
    switch (matrix) {
        case ColorMatrix::kBt601Full:
            return &libyuv::kYuvJPEGConstants;
        case ColorMatrix::kBt601Limited:
            return &libyuv::kYuvI601Constants;
        case ColorMatrix::kBt709Full:
            return &libyuv::kYuvF709Constants;
        case ColorMatrix::kBt709Limited:
            return &libyuv::kYuvH709Constants;
    }
    return &libyuv::kYuvJPEGConstants;
}

}  // namespace

Picture decodePng(const Bytes& contents, ColorMatrix matrix, const std::string& name) {
    Size size;
    const Bytes rgb = readPixels(contents, PNG_FORMAT_RGB, size, name);
    Picture picture(size);
    switch (matrix) {
        case ColorMatrix::kBt601Full:
            libyuv::RAWToJ420(rgb.data(), 3 * size.width, picture.y.data(), size.width, picture.u.data(),
                              picture.chromaWidth(), picture.v.data(), picture.chromaWidth(), size.width, size.height);
            break;
        case ColorMatrix::kBt601Limited:
            libyuv::RAWToI420(rgb.data(), 3 * size.width, picture.y.data(), size.width, picture.u.data(),
                              picture.chromaWidth(), picture.v.data(), picture.chromaWidth(), size.width, size.height);
            break;
        case ColorMatrix::kBt709Full:
        case ColorMatrix::kBt709Limited:
            rgbToBt709(rgb, picture, matrix == ColorMatrix::kBt709Limited);
            break;
    }
    return picture;
}

GrayPicture decodePngGray(const Bytes& contents, const std::string& name) {
    GrayPicture gray;
    gray.levels = readPixels(contents, PNG_FORMAT_GRAY, gray.size, name);
    return gray;
}

Bytes encodePng(const Picture& picture, ColorMatrix matrix) {
    const auto [width, height] = picture.size;
    Bytes bgr(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    // libyuv's RGB24 is blue first in memory.
    libyuv::I420ToRGB24Matrix(picture.y.data(), width, picture.u.data(), picture.chromaWidth(), picture.v.data(),
                              picture.chromaWidth(), bgr.data(), 3 * width, constants(matrix), width, height);
    PngImage image;
    image->width = static_cast<png_uint_32>(width);
    image->height = static_cast<png_uint_32>(height);
    image->format = PNG_FORMAT_BGR;
    image->flags = PNG_IMAGE_FLAG_FAST;
    Bytes contents(PNG_IMAGE_PNG_SIZE_MAX(*image.get()));
    png_alloc_size_t size = contents.size();
    if (png_image_write_to_memory(image.get(), contents.data(), &size, 0, bgr.data(), 0, nullptr) == 0) {
        throw fileError(std::string("cannot encode a PNG: ") + image->message);
    }
    contents.resize(size);
    return contents;
}

}  // namespace tool
