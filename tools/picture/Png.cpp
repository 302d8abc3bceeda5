#include "tools/picture/Png.h"

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

std::uint8_t toLevel(float value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F) + 0.5F);
}

// BT.709 in floats: libyuv's tables go from RGB to BT.601 only, and its limited-range BT.709 cuts the
// coefficient of blue at 2.
class Bt709 {
public:
    explicit Bt709(bool limited)
        : m_lumaGain(limited ? 219.0F / 255.0F : 1.0F),
          m_chromaGain(limited ? 224.0F / 255.0F : 1.0F),
          m_black(limited ? 16.0F : 0.0F) {}

    // `rgb` and `bgr`: 3 bytes a sample, rows without padding.
    void fromRgb(const Bytes& rgb, Picture& picture) const {
        for (int row = 0; row < picture.chromaHeight(); ++row) {
            for (int column = 0; column < picture.chromaWidth(); ++column) {
                blockFromRgb(rgb, picture, row, column);
            }
        }
    }

    void toBgr(const Picture& picture, Bytes& bgr) const {
        std::size_t at = 0;
        for (int row = 0; row < picture.size.height; ++row) {
            for (int column = 0; column < picture.size.width; ++column, ++at) {
                const std::size_t chroma = index(row / 2, column / 2, picture.chromaWidth());
                const float luma = (static_cast<float>(picture.y[at]) - m_black) / m_lumaGain;
                const float blue =
                    luma + kBlueRange * (static_cast<float>(picture.u[chroma]) - 128.0F) / m_chromaGain;
                const float red =
                    luma + kRedRange * (static_cast<float>(picture.v[chroma]) - 128.0F) / m_chromaGain;
                bgr[3 * at] = toLevel(blue);
                bgr[3 * at + 1] = toLevel((luma - kRed * red - kBlue * blue) / kGreen);
                bgr[3 * at + 2] = toLevel(red);
            }
        }
    }

private:
    static constexpr float kRed = 0.2126F, kBlue = 0.0722F, kGreen = 1.0F - kRed - kBlue;
    static constexpr float kBlueRange = 2.0F * (1.0F - kBlue), kRedRange = 2.0F * (1.0F - kRed);

    static std::size_t index(int row, int column, int width) {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(column);
    }

    void blockFromRgb(const Bytes& rgb, Picture& picture, int row, int column) const {
        float u = 0.0F;
        float v = 0.0F;
        for (int i = 0; i < 4; ++i) {
            // Beyond an odd edge the last sample counts twice.
            const int x = std::min(2 * column + i % 2, picture.size.width - 1);
            const int y = std::min(2 * row + i / 2, picture.size.height - 1);
            const std::size_t at = index(y, x, picture.size.width);
            const float red = rgb[3 * at], green = rgb[3 * at + 1], blue = rgb[3 * at + 2];
            const float luma = kRed * red + kGreen * green + kBlue * blue;
            picture.y[at] = toLevel(m_black + m_lumaGain * luma);
            u += (blue - luma) / kBlueRange;
            v += (red - luma) / kRedRange;
        }
        const std::size_t at = index(row, column, picture.chromaWidth());
        picture.u[at] = toLevel(128.0F + m_chromaGain * u / 4.0F);
        picture.v[at] = toLevel(128.0F + m_chromaGain * v / 4.0F);
    }

    float m_lumaGain, m_chromaGain, m_black;
};

bool isBt709(ColorMatrix matrix) {
    return matrix == ColorMatrix::kBt709Full || matrix == ColorMatrix::kBt709Limited;
}
bool isLimited(ColorMatrix matrix) {
    return matrix == ColorMatrix::kBt601Limited || matrix == ColorMatrix::kBt709Limited;
}

}  // namespace

Picture decodePng(const Bytes& contents, ColorMatrix matrix, const std::string& name) {
    Size size;
    const Bytes rgb = readPixels(contents, PNG_FORMAT_RGB, size, name);
    Picture picture(size);
    if (isBt709(matrix)) {
        Bt709(isLimited(matrix)).fromRgb(rgb, picture);
    } else {
        // libyuv's RAW is red first in memory; J420 is the full range.
        const auto convert = isLimited(matrix) ? libyuv::RAWToI420 : libyuv::RAWToJ420;
        convert(rgb.data(), 3 * size.width, picture.y.data(), size.width, picture.u.data(),
                picture.chromaWidth(), picture.v.data(), picture.chromaWidth(), size.width, size.height);
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
    if (isBt709(matrix)) {
        Bt709(isLimited(matrix)).toBgr(picture, bgr);
    } else {
        // libyuv's RGB24 is blue first in memory.
        libyuv::I420ToRGB24Matrix(picture.y.data(), width, picture.u.data(), picture.chromaWidth(),
                                  picture.v.data(), picture.chromaWidth(), bgr.data(), 3 * width,
                                  isLimited(matrix) ? &libyuv::kYuvI601Constants : &libyuv::kYuvJPEGConstants,
                                  width, height);
    }
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
