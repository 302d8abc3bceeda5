#include "tools/host/Planar.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "tools/Numbers.h"
#include "tools/Stdio.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

constexpr std::size_t kLongestLine = 4096;

// Without its line feed; nothing at the end of the file or for a line that is too long.
std::optional<std::string> readLine(std::FILE* file) {
    std::string line;
    for (int c = std::getc(file); c != '\n'; c = std::getc(file)) {
        if (c == EOF || line.size() == kLongestLine) {
            return std::nullopt;
        }
        line.push_back(static_cast<char>(c));
    }
    return line;
}

// "420", "420jpeg", "420mpeg2", "420paldv": 8 bits, which differ in where chroma sits by half a sample;
// "420p10": 10 bits.
std::optional<int> bitsOf(std::string_view colorSpace) {
    if (colorSpace == "420" || colorSpace == "420jpeg" || colorSpace == "420mpeg2" ||
        colorSpace == "420paldv") {
        return 8;
    }
    if (colorSpace.substr(0, 4) == "420p") {
        const auto bits = parseNumber<int>(colorSpace.substr(4), 9);
        return bits && *bits >= 10 && *bits <= 16 ? bits : std::nullopt;
    }
    return std::nullopt;
}

std::size_t samplesOf(Size size) {
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    return width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2);
}

// The samples of a frame in file order, one by one, as places in three planes: which(plane, index).
template <typename Which>
void forEachSample(const PlanarLayout& layout, Which which) {
    const auto luma =
        static_cast<std::size_t>(layout.size.width) * static_cast<std::size_t>(layout.size.height);
    const std::size_t chroma = (samplesOf(layout.size) - luma) / 2;
    for (std::size_t i = 0; i < luma; ++i) {
        which(0, i);
    }
    for (std::size_t i = 0; i < 2 * chroma; ++i) {
        const bool second = layout.interleaved ? i % 2 == 1 : i >= chroma;
        const std::size_t at = layout.interleaved ? i / 2 : i % chroma;
        which(second == layout.firstIsU ? 2 : 1, at);
    }
}

}  // namespace

File openForReading(const std::string& name) {
    struct stat info {};
    if (name != "-" && stat(name.c_str(), &info) == 0 && S_ISFIFO(info.st_mode)) {
        note("waiting for somebody to write into " + name);
    }
    const int descriptor = name == "-" ? dup(STDIN_FILENO) : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    File file(descriptor < 0 ? nullptr : fdopen(descriptor, "rb"));
    if (file == nullptr || fstat(descriptor, &info) != 0 || S_ISDIR(info.st_mode)) {
        throw fileError("cannot read " + name + ": " + std::strerror(file == nullptr ? errno : EISDIR));
    }
    return file;
}

Y4mHeader readY4mHeader(std::FILE* file, const std::string& name) {
    const auto wrong = [&](const std::string& why) { return fileError("cannot read " + name + ": " + why); };
    std::istringstream words(readLine(file).value_or(""));
    std::string word;
    words >> word;
    if (word != "YUV4MPEG2") {
        throw wrong("no Y4M header");
    }
    Y4mHeader header;
    while (words >> word) {
        const std::string_view value = std::string_view(word).substr(1);
        if (word[0] == 'W') {
            header.size.width = parseNumber<int>(value, 1).value_or(0);
        } else if (word[0] == 'H') {
            header.size.height = parseNumber<int>(value, 1).value_or(0);
        } else if (word[0] == 'F') {
            header.rate = value;
        } else if (word[0] == 'C') {
            const auto bits = bitsOf(value);
            if (!bits) {
                throw wrong("its samples are '" + std::string(value) +
                            "': 4:2:0 of 8 or 10 to 16 bits is wanted");
            }
            header.bits = *bits;
        } else if (word == "XCOLORRANGE=FULL" || word == "XCOLORRANGE=LIMITED") {
            header.limited = word == "XCOLORRANGE=LIMITED";
        }
    }
    if (!sizeInRange(header.size.width, header.size.height)) {
        throw wrong("the Y4M header has no size that can be held");
    }
    return header;
}

std::string y4mHeader(const Y4mHeader& header) {
    return "YUV4MPEG2 W" + std::to_string(header.size.width) + " H" + std::to_string(header.size.height) +
           " F" + header.rate + " Ip A1:1 C420" +
           (header.bits == 8 ? std::string("jpeg") : std::string("p").append(std::to_string(header.bits))) +
           " XCOLORRANGE=" + (header.limited.value_or(false) ? "LIMITED" : "FULL") + "\n";
}

std::size_t PlanarLayout::bytes() const { return samplesOf(size) * (bits == 8 ? 1 : 2); }

bool readPlanar(std::FILE* file, const PlanarLayout& layout, Picture& picture, std::size_t number,
                const std::string& name) {
    const int next = std::getc(file);
    if (next == EOF && std::ferror(file) == 0) {
        return false;
    }
    std::ungetc(next, file);
    if (layout.marker && readLine(file).value_or("").substr(0, 5) != "FRAME") {
        throw fileError("cannot read " + name + ": no \"FRAME\" before frame " + std::to_string(number));
    }
    Bytes bytes(layout.bytes());
    const std::size_t got = std::fread(bytes.data(), 1, bytes.size(), file);
    if (got < bytes.size()) {
        throw fileError("cannot read " + name + ": frame " + std::to_string(number) + " ends after " +
                        std::to_string(got) + " of its " + std::to_string(bytes.size()) + " bytes");
    }
    if (!(picture.size == layout.size)) {
        picture = Picture(layout.size);
    }
    std::size_t at = 0;
    Bytes* planes[3] = {&picture.y, &picture.u, &picture.v};
    if (layout.bits == 8) {
        forEachSample(layout, [&](int plane, std::size_t i) { (*planes[plane])[i] = bytes[at++]; });
        return true;
    }
    DeepPlanes& deep = picture.deep.emplace();
    deep.bits = layout.bits;
    deep.y.resize(picture.y.size());
    deep.u.resize(picture.u.size());
    deep.v.resize(picture.v.size());
    std::vector<std::uint16_t>* deepPlanes[3] = {&deep.y, &deep.u, &deep.v};
    const int white = (1 << layout.bits) - 1;
    const int down = layout.bits - 8;
    forEachSample(layout, [&](int plane, std::size_t i) {
        const int stored = (bytes[at] | bytes[at + 1] << 8) >> layout.shift;
        const int sample = std::min(stored, white);
        (*deepPlanes[plane])[i] = static_cast<std::uint16_t>(sample);
        (*planes[plane])[i] = static_cast<std::uint8_t>(std::min((sample + (1 << (down - 1))) >> down, 255));
        at += 2;
    });
    return true;
}

Bytes planarBytes(const PlanarLayout& layout, const Picture& picture) {
    Bytes bytes;
    bytes.reserve(layout.bytes());
    const Bytes* planes[3] = {&picture.y, &picture.u, &picture.v};
    forEachSample(layout, [&](int plane, std::size_t i) {
        if (layout.bits == 8) {
            bytes.push_back((*planes[plane])[i]);
            return;
        }
        const DeepPlanes& deep = *picture.deep;
        const std::vector<std::uint16_t>& levels = plane == 0 ? deep.y : plane == 1 ? deep.u : deep.v;
        const int stored = levels[i] << layout.shift;
        bytes.push_back(static_cast<std::uint8_t>(stored));
        bytes.push_back(static_cast<std::uint8_t>(stored >> 8));
    });
    return bytes;
}

}  // namespace tool
