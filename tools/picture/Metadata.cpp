#include "tools/picture/Metadata.h"

#include <lcms2.h>

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <mutex>

#include "tools/Stdio.h"

namespace tool {

namespace {

using Profile = std::unique_ptr<void, int (*)(void*)>;
using Transform = std::unique_ptr<void, void (*)(void*)>;

Profile openProfile(const Bytes& icc) {
    return {
        icc.empty() ? nullptr : cmsOpenProfileFromMem(icc.data(), static_cast<cmsUInt32Number>(icc.size())),
        [](void* profile) { return profile == nullptr ? 0 : cmsCloseProfile(profile); }};
}

std::string nameOf(const Profile& profile) {
    char text[128] = {};
    cmsGetProfileInfoASCII(profile.get(), cmsInfoDescription, "en", "US", text, sizeof(text));
    return text;
}

bool isJpeg(const Bytes& contents) {
    return contents.size() >= 3 && contents[0] == 0xFF && contents[1] == 0xD8 && contents[2] == 0xFF;
}

// The segments that say how to look at the picture: APP1 (orientation and other camera data, XMP) and APP2
// (the profile, but not the list of further pictures behind this one, which do not come along).
Bytes describingSegments(const Bytes& jpeg) {
    constexpr std::uint8_t kMorePictures[] = {'M', 'P', 'F', 0};
    Bytes kept;
    for (std::size_t at = 2; at + 4 <= jpeg.size() && jpeg[at] == 0xFF;) {
        const int marker = jpeg[at + 1];
        const std::size_t length = 2 + static_cast<std::size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
        if (marker < 0xC0 || marker == 0xDA || length < 4 || at + length > jpeg.size()) {
            break;
        }
        const auto begin = jpeg.begin() + static_cast<std::ptrdiff_t>(at);
        const bool more =
            length >= 8 && std::equal(std::begin(kMorePictures), std::end(kMorePictures), begin + 4);
        if (marker == 0xE1 || (marker == 0xE2 && !more)) {
            kept.insert(kept.end(), begin, begin + static_cast<std::ptrdiff_t>(length));
        }
        at += length;
    }
    return kept;
}

// Where they go: after the file's first marker and its JFIF segment.
void insertSegments(Bytes& jpeg, const Bytes& segments) {
    std::size_t at = 2;
    if (jpeg.size() > 6 && jpeg[2] == 0xFF && jpeg[3] == 0xE0) {
        at += 2 + static_cast<std::size_t>(jpeg[4] << 8 | jpeg[5]);
    }
    jpeg.insert(jpeg.begin() + static_cast<std::ptrdiff_t>(at), segments.begin(), segments.end());
}

void setUpExiv2() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Its remarks on odd files are not this program's words, and XMP wants a start of its own.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::XmpParser::initialize();
    });
}

}  // namespace

struct Metadata::Contents {
    Exiv2::ExifData exif;
    Exiv2::XmpData xmp;
    Bytes profile;
    Bytes segments;  // of a JPEG, as they stand there
};

Metadata::Metadata() = default;

Metadata Metadata::read(const Bytes& contents, const std::string& name) {
    setUpExiv2();
    auto found = std::make_shared<Contents>();
    if (isJpeg(contents)) {
        found->segments = describingSegments(contents);
    }
    try {
        const auto image = Exiv2::ImageFactory::open(contents.data(), static_cast<long>(contents.size()));
        image->readMetadata();
        found->exif = image->exifData();
        found->xmp = image->xmpData();
        if (image->iccProfileDefined()) {
            const Exiv2::DataBuf* icc = image->iccProfile();
            found->profile.assign(icc->pData_, icc->pData_ + icc->size_);
        }
    } catch (const Exiv2::AnyError& error) {
        note(name + ": its metadata cannot be read (" + error.what() + ")");
    }
    Metadata metadata;
    if (!found->exif.empty() || !found->xmp.empty() || !found->profile.empty() || !found->segments.empty()) {
        metadata.m_contents = found;
    }
    return metadata;
}

void Metadata::writeTo(Bytes& contents, bool upright) const {
    if (m_contents == nullptr) {
        return;
    }
    const Profile profile = openProfile(m_contents->profile);
    const bool rgbProfile = profile != nullptr && cmsGetColorSpace(profile.get()) == cmsSigRgbData;
    if (isJpeg(contents) && !upright && !m_contents->segments.empty() && (profile == nullptr || rgbProfile)) {
        insertSegments(contents, m_contents->segments);
        return;
    }
    try {
        const auto image = Exiv2::ImageFactory::open(contents.data(), static_cast<long>(contents.size()));
        image->readMetadata();
        Exiv2::ExifData exif = m_contents->exif;
        const auto orientation = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
        if (upright && orientation != exif.end()) {
            orientation->setValue("1");
        }
        image->setExifData(exif);
        image->setXmpData(m_contents->xmp);
        if (rgbProfile) {
            Exiv2::DataBuf icc(m_contents->profile.data(), static_cast<long>(m_contents->profile.size()));
            image->setIccProfile(icc);
        }
        image->writeMetadata();
        Exiv2::BasicIo& io = image->io();
        io.open();
        Bytes written(io.size());
        io.read(written.data(), static_cast<long>(written.size()));
        contents = std::move(written);
    } catch (const Exiv2::AnyError& error) {
        note(std::string("the metadata cannot be written and are left behind (") + error.what() + ")");
    }
}

int Metadata::orientation() const {
    if (m_contents == nullptr) {
        return 1;
    }
    const auto found = m_contents->exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    const long value = found != m_contents->exif.end() && found->count() > 0 ? found->toLong() : 1;
    return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

std::string Metadata::profileName() const {
    const Profile profile = openProfile(m_contents == nullptr ? Bytes() : m_contents->profile);
    return profile == nullptr ? std::string() : nameOf(profile);
}

bool Metadata::hasForeignProfile() const {
    const Profile profile = openProfile(m_contents == nullptr ? Bytes() : m_contents->profile);
    return profile != nullptr && cmsGetColorSpace(profile.get()) == cmsSigRgbData &&
           nameOf(profile).find("sRGB") == std::string::npos;
}

bool Metadata::toSrgb(Bytes& rgb) const {
    const Profile from = openProfile(m_contents == nullptr ? Bytes() : m_contents->profile);
    const Profile to(cmsCreate_sRGBProfile(), [](void* profile) { return cmsCloseProfile(profile); });
    if (from == nullptr || cmsGetColorSpace(from.get()) != cmsSigRgbData) {
        return false;
    }
    const Transform transform(
        cmsCreateTransform(from.get(), TYPE_RGB_8, to.get(), TYPE_RGB_8, INTENT_PERCEPTUAL, 0), [](void* t) {
            if (t != nullptr) {
                cmsDeleteTransform(t);
            }
        });
    if (transform == nullptr) {
        return false;
    }
    cmsDoTransform(transform.get(), rgb.data(), rgb.data(), static_cast<cmsUInt32Number>(rgb.size() / 3));
    return true;
}

template <typename T>
void turnUpright(std::vector<T>& rgb, int& width, int& height, int orientation) {
    if (orientation <= 1 || orientation > 8) {
        return;
    }
    const bool swap = orientation >= 5;
    const bool flipX = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool flipY = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    const int newWidth = swap ? height : width;
    const int newHeight = swap ? width : height;
    std::vector<T> turned(rgb.size());
    std::size_t to = 0;
    for (int y = 0; y < newHeight; ++y) {
        for (int x = 0; x < newWidth; ++x, to += 3) {
            int fromX = swap ? y : x;
            int fromY = swap ? x : y;
            fromX = flipX ? width - 1 - fromX : fromX;
            fromY = flipY ? height - 1 - fromY : fromY;
            const std::size_t from = 3 * (static_cast<std::size_t>(fromY) * static_cast<std::size_t>(width) +
                                          static_cast<std::size_t>(fromX));
            std::copy_n(rgb.begin() + static_cast<std::ptrdiff_t>(from), 3,
                        turned.begin() + static_cast<std::ptrdiff_t>(to));
        }
    }
    rgb = std::move(turned);
    width = newWidth;
    height = newHeight;
}

template void turnUpright(std::vector<std::uint8_t>&, int&, int&, int);
template void turnUpright(std::vector<std::uint16_t>&, int&, int&, int);

}  // namespace tool
