#include "tools/studio/Photos.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "tools/Files.h"
#include "tools/ToolError.h"
#include "tools/picture/Rgb.h"

namespace tool {

namespace {

constexpr std::size_t kMostBytes = std::size_t{512} << 20U;  // of one file
constexpr std::size_t kMostDecoded = std::size_t{640}
                                     << 20U;  // of all planes together; one photo may be more
constexpr std::size_t kMostSizes = 4;         // of one photo, beside its own

// The library of camera metadata has global tables.
std::mutex g_decoding;

struct stat statusOf(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        throw fileError("cannot read " + path + ": " + std::strerror(errno));
    }
    // Pipes and devices would be waited for.
    if (!S_ISREG(info.st_mode)) {
        throw fileError("cannot read " + path + ": it is no file");
    }
    if (static_cast<std::size_t>(info.st_size) > kMostBytes) {
        throw fileError("cannot read " + path + ": it has more than 512 MiB");
    }
    return info;
}

std::uint64_t versionOf(const std::string& path) {
    const struct stat info = statusOf(path);
    std::uint64_t version = 0;
    for (const auto part : {static_cast<std::uint64_t>(info.st_ino), static_cast<std::uint64_t>(info.st_size),
                            static_cast<std::uint64_t>(info.st_mtim.tv_sec),
                            static_cast<std::uint64_t>(info.st_mtim.tv_nsec)}) {
        version = (version ^ part) * 0x9e3779b97f4a7c15U;
    }
    return version | 1U;  // never 0
}

std::size_t bytesOf(const std::shared_ptr<const Picture>& picture) {
    return picture ? picture->y.size() + picture->u.size() + picture->v.size() : 0;
}

std::string nameOf(const std::string& path) { return std::filesystem::path(path).filename().string(); }

}  // namespace

Size scaledSize(Size full, long long pixels) {
    const double all = static_cast<double>(full.width) * full.height;
    if (pixels <= 0 || static_cast<double>(pixels) >= all) {
        return full;
    }
    const double scale = std::sqrt(static_cast<double>(pixels) / all);
    const auto scaled = [scale](int side) { return std::max(2, static_cast<int>(std::floor(side * scale))); };
    return {std::min(full.width, scaled(full.width)), std::min(full.height, scaled(full.height))};
}

Picture decodeSent(const std::string& contents, const std::string& name) {
    const std::lock_guard lock(g_decoding);
    return decodeUpright(Bytes(contents.begin(), contents.end()), name);
}

Photos::Photos(std::vector<std::string> paths) {
    for (std::string& path : paths) {
        m_photos.emplace_back().path = std::move(path);
    }
}

std::uint64_t Photos::version(std::size_t index) const { return versionOf(m_photos[index].path); }

Photos::Info Photos::info(std::size_t index) {
    const std::string& path = m_photos[index].path;
    Info info = {nameOf(path), {}, {}};
    try {
        statusOf(path);
        const Bytes contents = readFile(path);
        const Size size = sizeOfPicture(contents, info.name);
        const std::lock_guard lock(g_decoding);
        const bool turned = Metadata::read(contents, info.name).orientation() >= 5;
        info.upright = turned ? Size{size.height, size.width} : size;
    } catch (const ToolError& error) {
        info.error = error.what();
    }
    return info;
}

std::shared_ptr<const Picture> Photos::picture(std::size_t index, long long pixels) {
    const std::lock_guard lock(m_mutex);
    Photo& photo = m_photos[index];
    const std::uint64_t version = versionOf(photo.path);
    photo.lastUse = ++m_uses;
    if (version != photo.version || !photo.full) {
        photo.scaled.clear();
        const Bytes contents = readFile(photo.path);
        const std::lock_guard decoding(g_decoding);
        auto picture =
            std::make_shared<Picture>(decodePicture(contents, ColorMatrix::kBt601, nameOf(photo.path)));
        picture->deep.reset();  // frames have 8 bits
        photo.full = std::move(picture);
        photo.version = version;
    }
    const Size size = scaledSize(photo.full->size, pixels);
    if (size == photo.full->size) {
        forgetOldest(photo);
        return photo.full;
    }
    std::shared_ptr<const Picture>& scaled = photo.scaled[{size.width, size.height}];
    if (!scaled) {
        scaled = std::make_shared<Picture>(resized(*photo.full, size));
        while (photo.scaled.size() > kMostSizes) {
            auto first = photo.scaled.begin();
            photo.scaled.erase(first->second == scaled ? std::next(first) : first);
        }
    }
    const std::shared_ptr<const Picture> result = photo.scaled[{size.width, size.height}];
    forgetOldest(photo);
    return result;
}

void Photos::forgetOldest(const Photo& keep) {
    for (;;) {
        std::size_t all = 0;
        Photo* oldest = nullptr;
        for (Photo& photo : m_photos) {
            std::size_t bytes = bytesOf(photo.full);
            for (const auto& [size, picture] : photo.scaled) {
                bytes += bytesOf(picture);
            }
            all += bytes;
            if (&photo != &keep && bytes > 0 && (oldest == nullptr || photo.lastUse < oldest->lastUse)) {
                oldest = &photo;
            }
        }
        if (all <= kMostDecoded || oldest == nullptr) {
            return;
        }
        oldest->full.reset();
        oldest->scaled.clear();
    }
}

}  // namespace tool
