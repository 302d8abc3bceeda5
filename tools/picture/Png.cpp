#include "tools/picture/Png.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "tools/ToolError.h"
#include "tools/picture/Rgb.h"

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

// libpng's own interface, for 16 bits a sample: the simple one knows them as linear light alone. Errors come
// back by longjmp, so the functions that set the jump hold nothing that wants a destructor.
struct PngError {
    char text[160] = {};
};

void onError(png_structp png, png_const_charp message) {
    auto* error = static_cast<PngError*>(png_get_error_ptr(png));
    std::snprintf(error->text, sizeof(error->text), "%s", message);
    png_longjmp(png, 1);
}
void onWarning(png_structp, png_const_charp) {}

struct Cursor {
    const Bytes* from;
    std::size_t at;
};

void readFrom(png_structp png, png_bytep data, std::size_t size) {
    auto* cursor = static_cast<Cursor*>(png_get_io_ptr(png));
    if (size > cursor->from->size() - cursor->at) {
        png_error(png, "the file ends early");
    }
    std::memcpy(data, cursor->from->data() + cursor->at, size);
    cursor->at += size;
}

void appendTo(png_structp png, png_bytep data, std::size_t size) {
    auto* to = static_cast<Bytes*>(png_get_io_ptr(png));
    to->insert(to->end(), data, data + size);
}

// RGB rows of 16 bits a sample in this machine's order, over white where the picture is transparent.
bool readDeepRows(png_structp png, png_infop info, std::uint16_t* rgb, png_bytepp rows, Size size) {
    if (setjmp(png_jmpbuf(png)) != 0) {  // NOLINT(cert-err52-cpp)
        return false;
    }
    png_read_info(png, info);
    png_color_16 white = {};
    white.red = white.green = white.blue = white.gray = 65535;
    png_set_expand_16(png);
    png_set_gray_to_rgb(png);
    png_set_background(png, &white, PNG_BACKGROUND_GAMMA_SCREEN, 0, 1.0);
    png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != 6U * static_cast<std::size_t>(size.width)) {
        return false;
    }
    for (int row = 0; row < size.height; ++row) {
        rows[row] = reinterpret_cast<png_bytep>(rgb + 3 * static_cast<std::size_t>(row) *
                                                          static_cast<std::size_t>(size.width));
    }
    png_read_image(png, rows);
    png_read_end(png, nullptr);
    return true;
}

// `size` is the header's.
std::vector<std::uint16_t> readDeepPixels(const Bytes& contents, Size size, const std::string& name) {
    PngError error;
    std::vector<std::uint16_t> rgb(3 * static_cast<std::size_t>(size.width) *
                                   static_cast<std::size_t>(size.height));
    std::vector<png_bytep> rows(static_cast<std::size_t>(size.height));
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, onError, onWarning);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    Cursor cursor = {&contents, 0};
    bool good = false;
    if (info != nullptr) {
        png_set_read_fn(png, &cursor, readFrom);
        good = readDeepRows(png, info, rgb.data(), rows.data(), size);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    if (!good) {
        throw fileError("cannot read " + name + ": " + error.text);
    }
    return rgb;
}

struct PngForm {
    Size size;
    int bits;          // 8 or 16 a sample
    bool saysSrgb;     // false where a profile says something else
    int channels = 3;  // 3, or 1 for gray
};

bool writeRows(png_structp png, png_infop info, png_bytepp rows, const PngForm& form) {
    if (setjmp(png_jmpbuf(png)) != 0) {  // NOLINT(cert-err52-cpp)
        return false;
    }
    png_set_IHDR(png, info, static_cast<png_uint_32>(form.size.width),
                 static_cast<png_uint_32>(form.size.height), form.bits,
                 form.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (form.saysSrgb) {
        png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    }
    // Photographs: quick, and hardly larger.
    png_set_compression_level(png, 3);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, form.bits == 8 ? PNG_FILTER_SUB : PNG_FILTER_PAETH);
    png_write_info(png, info);
    if (form.bits == 16) {
        png_set_swap(png);
    }
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    return true;
}

Bytes writePng(const void* rgb, const PngForm& form) {
    PngError error;
    Bytes contents;
    std::vector<png_bytep> rows;
    const std::size_t rowBytes =
        static_cast<std::size_t>(form.size.width) * static_cast<std::size_t>(form.channels * form.bits / 8);
    for (int row = 0; row < form.size.height; ++row) {
        // libpng wants its rows writable, and leaves them as they are.
        rows.push_back(const_cast<png_bytep>(static_cast<png_const_bytep>(rgb)) +
                       static_cast<std::size_t>(row) * rowBytes);
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, onError, onWarning);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    bool good = false;
    if (info != nullptr) {
        png_set_write_fn(png, &contents, appendTo, nullptr);
        good = writeRows(png, info, rows.data(), form);
    }
    png_destroy_write_struct(&png, &info);
    if (!good) {
        throw fileError(std::string("cannot encode a PNG: ") + error.text);
    }
    return contents;
}

}  // namespace

Bytes encodePng16(const std::vector<std::uint16_t>& rgb, Size size) {
    return writePng(rgb.data(), {size, 16, true});
}

Size sizeOfPng(const Bytes& contents, const std::string& name) {
    PngImage image;
    if (png_image_begin_read_from_memory(image.get(), contents.data(), contents.size()) == 0) {
        throw fileError("cannot read " + name + ": " + image->message);
    }
    if (!sizeInRange(image->width, image->height)) {
        throw fileError("cannot read " + name + ": the picture is too large");
    }
    return {static_cast<int>(image->width), static_cast<int>(image->height)};
}

std::vector<std::uint16_t> decodePng16(const Bytes& contents, const std::string& name,
                                       const std::function<void(Size)>& check) {
    const Size size = sizeOfPng(contents, name);
    check(size);
    return readDeepPixels(contents, size, name);
}

RgbPicture decodePngRgb(const Bytes& contents, const std::string& name) {
    RgbPicture rgb;
    rgb.levels = readPixels(contents, PNG_FORMAT_RGB, rgb.size, name);
    return rgb;
}

Picture decodePng(const Bytes& contents, ColorMatrix matrix, const std::string& name) {
    const RgbPicture rgb = decodePngRgb(contents, name);
    const Size size = rgb.size;
    Picture picture(size);
    fromRgb(rgb.levels.data(), size, matrix, picture.y.data(), picture.u.data(), picture.v.data());
    constexpr std::size_t kBitDepth = 24;  // its place in the header chunk, which comes first
    if (contents.size() > kBitDepth && contents[kBitDepth] == 16) {
        const std::vector<std::uint16_t> deepRgb = readDeepPixels(contents, size, name);
        DeepPlanes& deep = picture.deep.emplace();
        deep.y.resize(picture.y.size());
        deep.u.resize(picture.u.size());
        deep.v.resize(picture.v.size());
        fromRgb(deepRgb.data(), size, matrix, deep.y.data(), deep.u.data(), deep.v.data());
    }
    return picture;
}

GrayPicture decodePngGray(const Bytes& contents, const std::string& name) {
    GrayPicture gray;
    gray.levels = readPixels(contents, PNG_FORMAT_GRAY, gray.size, name);
    return gray;
}

Bytes encodePng(const Picture& picture, ColorMatrix matrix) {
    const bool saysSrgb = !picture.metadata.hasForeignProfile();
    if (picture.deep) {
        const DeepPlanes& deep = *picture.deep;
        Size size = picture.size;
        auto rgb =
            toRgb<std::uint16_t>({size, deep.bits, deep.y.data(), deep.u.data(), deep.v.data()}, matrix);
        turnUpright(rgb, size.width, size.height, picture.metadata.orientation());
        return writePng(rgb.data(), {size, 16, saysSrgb});
    }
    const RgbPicture rgb = uprightRgb(picture, matrix);
    return writePng(rgb.levels.data(), {rgb.size, 8, saysSrgb});
}

Bytes encodePng(const GrayPicture& picture) {
    return writePng(picture.levels.data(), {picture.size, 8, true, 1});
}

Bytes encodePng(const RgbPicture& picture) {
    return writePng(picture.levels.data(), {picture.size, 8, true});
}

}  // namespace tool
