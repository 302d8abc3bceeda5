#include "tools/picture/Rgb.h"

#include <png.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

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

// Twice as many samples as `width`, in sixteenths: a row of chroma between itself and its neighbour row.
void interpolateRow(const std::uint8_t* near, const std::uint8_t* far, int width, std::vector<float>& out) {
    const auto column = [&](int x) {
        const int inside = std::clamp(x, 0, width - 1);
        return static_cast<float>(3 * near[inside] + far[inside]);
    };
    for (int x = 0; x < width; ++x) {
        const std::size_t at = 2 * static_cast<std::size_t>(x);
        out[at] = (3.0F * column(x) + column(x - 1)) / 16.0F;
        out[at + 1] = (3.0F * column(x) + column(x + 1)) / 16.0F;
    }
}

std::uint8_t toLevel(float value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F) + 0.5F);
}

// RGB from full-range luma and chroma around 0.
struct Coefficients {
    float redOfV, greenOfU, greenOfV, blueOfU;
    float black, lumaGain, chromaGain;
};

Coefficients coefficientsOf(ColorMatrix matrix) {
    const bool bt709 = matrix == ColorMatrix::kBt709Full || matrix == ColorMatrix::kBt709Limited;
    const bool limited = matrix == ColorMatrix::kBt601Limited || matrix == ColorMatrix::kBt709Limited;
    const float red = bt709 ? 0.2126F : 0.299F;
    const float blue = bt709 ? 0.0722F : 0.114F;
    const float green = 1.0F - red - blue;
    const float redOfV = 2.0F * (1.0F - red);
    const float blueOfU = 2.0F * (1.0F - blue);
    return {redOfV,
            -blue * blueOfU / green,
            -red * redOfV / green,
            blueOfU,
            limited ? 16.0F : 0.0F,
            limited ? 255.0F / 219.0F : 1.0F,
            limited ? 255.0F / 224.0F : 1.0F};
}

}  // namespace

RgbPicture decodeRgb(const Bytes& contents, const std::string& name) {
    switch (kindOfContents(contents)) {
        case FileKind::kJpeg:
            return decodeJpegRgb(contents, name);
        case FileKind::kPng:
            return decodePngRgb(contents, name);
        case FileKind::kRaw:
            break;
    }
    throw fileError("cannot read " + name + ": neither JPEG nor PNG");
}

RgbPicture rgbOf(const Picture& picture, ColorMatrix matrix) {
    const Coefficients k = coefficientsOf(matrix);
    RgbPicture result{picture.size, {}};
    result.levels.resize(samples(picture.size));
    const int width = picture.chromaWidth();
    std::vector<float> u(2 * static_cast<std::size_t>(width)), v(u.size());
    std::uint8_t* out = result.levels.data();
    const std::uint8_t* luma = picture.y.data();
    for (int y = 0; y < picture.size.height; ++y) {
        const int near = y / 2;
        const int far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, picture.chromaHeight() - 1);
        interpolateRow(&picture.u[static_cast<std::size_t>(near * width)],
                       &picture.u[static_cast<std::size_t>(far * width)], width, u);
        interpolateRow(&picture.v[static_cast<std::size_t>(near * width)],
                       &picture.v[static_cast<std::size_t>(far * width)], width, v);
        for (int x = 0; x < picture.size.width; ++x, out += 3) {
            const float level = k.lumaGain * (static_cast<float>(*luma++) - k.black);
            const float a = k.chromaGain * (u[static_cast<std::size_t>(x)] - 128.0F);
            const float b = k.chromaGain * (v[static_cast<std::size_t>(x)] - 128.0F);
            out[0] = toLevel(level + k.redOfV * b);
            out[1] = toLevel(level + k.greenOfU * a + k.greenOfV * b);
            out[2] = toLevel(level + k.blueOfU * a);
        }
    }
    return result;
}

RgbPicture difference(const RgbPicture& a, const RgbPicture& b, float gain) {
    RgbPicture result{a.size, Bytes(a.levels.size())};
    std::transform(a.levels.begin(), a.levels.end(), b.levels.begin(), result.levels.begin(),
                   [gain](int x, int y) { return toLevel(128.0F + gain * static_cast<float>(y - x)); });
    return result;
}

Bytes encodePng(const RgbPicture& picture) {
    PngImage image;
    image->width = static_cast<png_uint_32>(picture.size.width);
    image->height = static_cast<png_uint_32>(picture.size.height);
    image->format = PNG_FORMAT_RGB;
    image->flags = PNG_IMAGE_FLAG_FAST;
    Bytes contents(PNG_IMAGE_PNG_SIZE_MAX(*image.get()));
    png_alloc_size_t size = contents.size();
    if (png_image_write_to_memory(image.get(), contents.data(), &size, 0, picture.levels.data(), 0,
                                  nullptr) == 0) {
        throw fileError(std::string("cannot encode a PNG: ") + image->message);
    }
    contents.resize(size);
    return contents;
}

}  // namespace tool
