#include "tools/picture/Jpeg.h"

#include <libyuv.h>
#include <turbojpeg.h>

#include <cstring>
#include <memory>

#include "tools/Stdio.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

using Handle = std::unique_ptr<void, int (*)(void*)>;

struct Header {
    int width = 0;
    int height = 0;
    int subsampling = 0;
};

Header readHeader(tjhandle handle, const Bytes& contents, const std::string& name) {
    Header header;
    int colorSpace = 0;
    if (tjDecompressHeader3(handle, contents.data(), contents.size(), &header.width, &header.height,
                            &header.subsampling, &colorSpace) != 0) {
        throw fileError("cannot read " + name + ": " + tjGetErrorStr2(handle));
    }
    if (colorSpace != TJCS_YCbCr && colorSpace != TJCS_GRAY) {
        throw fileError("cannot read " + name + ": this JPEG is neither YCbCr nor gray");
    }
    if (!sizeInRange(header.width, header.height)) {
        throw fileError("cannot read " + name + ": a picture of " + std::to_string(header.width) + "x" +
                        std::to_string(header.height) + " is too large");
    }
    return header;
}

// After a decoder's call. Harmless oddities are common in cameras' files; a picture that ends early is not
// one.
void checkDecoded(tjhandle handle, int result, const std::string& name) {
    if (result == 0) {
        return;
    }
    const std::string text = tjGetErrorStr2(handle);
    if (tjGetErrorCode(handle) != TJERR_WARNING || text.find("remature") != std::string::npos) {
        throw fileError("cannot read " + name + ": " + text);
    }
    note(name + ": " + text);
}

}  // namespace

Size sizeOfJpeg(const Bytes& contents, const std::string& name) {
    const Handle handle(tjInitDecompress(), tjDestroy);
    const Header header = readHeader(handle.get(), contents, name);
    return {header.width, header.height};
}

Picture decodeJpeg(const Bytes& contents, const std::string& name) {
    const Handle handle(tjInitDecompress(), tjDestroy);
    const Header header = readHeader(handle.get(), contents, name);

    Picture picture({header.width, header.height});
    Bytes chroma[2];
    unsigned char* planes[3] = {picture.y.data(), picture.u.data(), picture.v.data()};
    const bool gray = header.subsampling == TJSAMP_GRAY;
    const bool scale = !gray && header.subsampling != TJSAMP_420;
    // The decoder's luma plane is padded to whole chroma samples, so it may be larger than the picture.
    const int lumaWidth = tjPlaneWidth(0, header.width, header.subsampling);
    Bytes luma(tjPlaneSizeYUV(0, header.width, 0, header.height, header.subsampling));
    planes[0] = luma.data();
    const int chromaWidth = gray ? 0 : tjPlaneWidth(1, header.width, header.subsampling);
    const int chromaHeight = gray ? 0 : tjPlaneHeight(1, header.height, header.subsampling);
    if (scale) {
        for (int i = 0; i < 2; ++i) {
            chroma[i].resize(tjPlaneSizeYUV(1 + i, header.width, 0, header.height, header.subsampling));
            planes[1 + i] = chroma[i].data();
        }
    }
    checkDecoded(
        handle.get(),
        tjDecompressToYUVPlanes(handle.get(), contents.data(), contents.size(), planes, 0, nullptr, 0, 0),
        name);

    libyuv::CopyPlane(luma.data(), lumaWidth, picture.y.data(), header.width, header.width, header.height);
    if (scale) {
        Bytes* targets[2] = {&picture.u, &picture.v};
        for (int i = 0; i < 2; ++i) {
            libyuv::ScalePlane(chroma[i].data(), chromaWidth, chromaWidth, chromaHeight, targets[i]->data(),
                               picture.chromaWidth(), picture.chromaWidth(), picture.chromaHeight(),
                               libyuv::kFilterBox);
        }
    }
    return picture;
}

RgbPicture decodeJpegRgb(const Bytes& contents, const std::string& name) {
    const Handle handle(tjInitDecompress(), tjDestroy);
    const Header header = readHeader(handle.get(), contents, name);
    RgbPicture rgb{{header.width, header.height}, {}};
    rgb.levels.resize(3 * static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height));
    checkDecoded(handle.get(),
                 tjDecompress2(handle.get(), contents.data(), contents.size(), rgb.levels.data(),
                               header.width, 0, header.height, TJPF_RGB, TJFLAG_ACCURATEDCT),
                 name);
    return rgb;
}

Bytes encodeJpeg(const Picture& picture, int quality) {
    const Handle handle(tjInitCompress(), tjDestroy);
    // The encoder wants luma padded to whole chroma samples, too.
    const int width = tjPlaneWidth(0, picture.size.width, TJSAMP_420);
    const int height = tjPlaneHeight(0, picture.size.height, TJSAMP_420);
    Bytes luma(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
        const int from = std::min(row, picture.size.height - 1);
        const std::uint8_t* source =
            picture.y.data() + static_cast<std::ptrdiff_t>(from) * picture.size.width;
        std::uint8_t* target = luma.data() + static_cast<std::ptrdiff_t>(row) * width;
        std::memcpy(target, source, static_cast<std::size_t>(picture.size.width));
        std::fill(target + picture.size.width, target + width, source[picture.size.width - 1]);
    }
    const unsigned char* planes[3] = {luma.data(), picture.u.data(), picture.v.data()};
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    const int result =
        tjCompressFromYUVPlanes(handle.get(), planes, picture.size.width, nullptr, picture.size.height,
                                TJSAMP_420, &jpeg, &size, quality, TJFLAG_ACCURATEDCT);
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(jpeg, tjFree);
    if (result != 0) {
        throw fileError(std::string("cannot encode a JPEG: ") + tjGetErrorStr2(handle.get()));
    }
    return {jpeg, jpeg + size};
}

}  // namespace tool
