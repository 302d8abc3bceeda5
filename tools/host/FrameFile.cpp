#include "tools/host/FrameFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/Stdio.h"
#include "tools/ToolError.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

int firstSet(int a, int b) { return a != 0 ? a : b; }

// A JPEG's planes are full-range BT.601 by definition: with other planes the colours would be wrong without a
// word. RGB has no range of its own.
void checkPictureColors(FileKind kind, const ColorOptions& color, const std::string& oneSide) {
    const bool jpeg = kind == FileKind::kJpeg;
    const bool limited = oneSide == "limited" || (jpeg && oneSide.empty() && color.range == "limited");
    if (jpeg && (limited || color.matrix != "bt601")) {
        throw usageError(
            "a JPEG's planes are full-range BT.601: --matrix and the ranges cannot say otherwise");
    }
    if (limited) {
        throw usageError(
            "the RGB of a PNG has no limited range: --range and --matrix are about the other side");
    }
}

bool isLimited(const std::string& oneSide, const std::string& both, bool unsaid) {
    const std::string& range = oneSide.empty() ? both : oneSide;
    return range.empty() ? unsaid : range == "limited";
}

Bytes readAll(std::FILE* file, const std::string& name) {
    Bytes contents;
    std::uint8_t buffer[65536];
    for (std::size_t count; (count = std::fread(buffer, 1, sizeof(buffer), file)) > 0;) {
        contents.insert(contents.end(), buffer, buffer + count);
    }
    if (std::ferror(file) != 0) {
        throw fileError("cannot read " + name + ": " + std::strerror(errno));
    }
    return contents;
}

// Raw frames of an odd size whose chroma counts the last column and row, as video tools write them.
PlanarLayout oddLayout(Size size, const FrameFormat& format) {
    return {size, format.bits, format.shift(), false, true, format.firstIsU()};
}

Size evenSize(Size size) { return {size.width + size.width % 2, size.height + size.height % 2}; }

}  // namespace

FrameSource::FrameSource(const std::string& name, const FrameOptions& frame, const ColorOptions& color)
    : m_name(name),
      m_options(frame),
      m_matrix(parseMatrix(color.matrix)),
      m_format(parseFormat(frame.format.empty() ? "nv21" : frame.format, frame.bits)) {
    m_options.inStride = firstSet(frame.inStride, frame.stride);
    m_options.inScanline = firstSet(frame.inScanline, frame.scanline);
    m_limited = isLimited(color.inRange, color.range, false);
    if (!frame.size.empty()) {
        m_roi = makeRoi(parseSize(frame.size), m_format, m_options.inStride, m_options.inScanline);
        openRaw(openForReading(name));
        return;
    }
    File file = openForReading(name);
    const int first = std::getc(file.get());
    std::ungetc(first, file.get());
    if (first == 'Y') {
        openY4m(std::move(file), color);
    } else {
        openPicture(std::move(file), color);
    }
}

void FrameSource::openRaw(File file) {
    struct stat info {};
    if (fstat(fileno(file.get()), &info) == 0 && S_ISREG(info.st_mode)) {
        const auto size = static_cast<std::size_t>(info.st_size);
        m_count = size / frameBytes(m_roi);
        const PlanarLayout odd = oddLayout({m_roi.width, m_roi.height}, m_format);
        const bool padded = m_options.inStride != 0 || m_options.inScanline != 0;
        if (!padded && size % frameBytes(m_roi) != 0 && size % odd.bytes() == 0) {
            m_planar = odd;
            m_count = size / odd.bytes();
            m_roi = makeRoi(evenSize(odd.size), m_format, 0, 0);
        }
    }
    m_file = std::move(file);
}

void FrameSource::openY4m(File file, const ColorOptions& color) {
    const Y4mHeader header = readY4mHeader(file.get(), m_name);
    if (m_options.format.empty() && header.bits > 8) {
        m_format = parseFormat("nv12-16", header.bits);
    }
    if ((header.bits == 8) != (m_format.bits == 8)) {
        throw usageError(m_name + " has samples of " + std::to_string(header.bits) + " bits, " +
                         toString(m_format) + " has not");
    }
    if (!header.limited && color.inRange.empty() && color.range.empty()) {
        note(m_name +
             " does not say its range: taken as limited, as video is (--in-range full says otherwise)");
    }
    m_kind = FileKind::kY4m;
    m_limited = isLimited(color.inRange, color.range, header.limited.value_or(true));
    m_planar = PlanarLayout{header.size, header.bits, 0, true, false, true};
    m_roi = makeRoi(evenSize(header.size), m_format, 0, 0);
    m_rate = header.rate;
    m_file = std::move(file);
}

void FrameSource::openPicture(File file, const ColorOptions& color) {
    m_contents = readAll(file.get(), m_name);
    m_kind = kindOfContents(m_contents);
    if (m_kind == FileKind::kJpeg || m_kind == FileKind::kPng) {
        checkPictureColors(m_kind, color, color.inRange);
    }
    m_picture = decodePicture(m_contents, m_matrix, m_name);
    m_limited = false;
    m_roi = makeRoi(frameSizeOf(*m_picture), m_format, m_options.stride, m_options.scanline);
    m_count = 1;
}

Size FrameSource::size() const {
    return m_picture ? m_picture->size : m_planar ? m_planar->size : Size{m_roi.width, m_roi.height};
}

bool FrameSource::deep() const { return m_format.bits > 8 && (!m_picture || m_picture->deep.has_value()); }

Picture FrameSource::pictureOf(const Frame& frame) const {
    Picture picture(size());
    frame.get(picture, deep());
    if (m_picture) {
        picture.metadata = m_picture->metadata;
    }
    return picture;
}

void FrameSource::resize(Size size) {
    m_picture = resized(*m_picture, size);
    m_roi = makeRoi(frameSizeOf(*m_picture), m_format, m_options.stride, m_options.scanline);
}

void FrameSource::leaveProfileBehind() {
    if (!m_picture) {
        return;
    }
    if (m_picture->metadata.hasForeignProfile()) {
        note("raw frames carry no colour profile: converted from '" + m_picture->metadata.profileName() +
             "' to sRGB");
        m_picture = convertedToSrgb(*m_picture, m_matrix);
    }
    if (m_picture->metadata.orientation() != 1) {
        note("raw frames carry no orientation: the picture lies as the sensor saw it (Exif orientation " +
             std::to_string(m_picture->metadata.orientation()) + ")");
    }
}

bool FrameSource::read(Frame& frame) {
    if (m_picture) {
        frame.set(*m_picture);
        return true;
    }
    if (m_planar) {
        if (!readPlanar(m_file.get(), *m_planar, m_planarFrame, m_read, m_name)) {
            return false;
        }
        ++m_read;
        frame.set(m_planarFrame);
    } else if (!readRaw(frame)) {
        return false;
    }
    if (m_limited) {
        frame.toFullRange();
    }
    return true;
}

bool FrameSource::readRaw(Frame& frame) {
    const std::size_t got = std::fread(frame.data(), 1, frame.bytes(), m_file.get());
    if (std::ferror(m_file.get()) != 0) {
        throw fileError("cannot read " + m_name + ": " + std::strerror(errno));
    }
    if (got == 0 && m_read > 0) {
        return false;
    }
    if (got < frame.bytes()) {
        throw fileError("cannot read " + m_name + ": frame " + std::to_string(m_read) + " ends after " +
                        std::to_string(got) + " of its " + std::to_string(frame.bytes()) + " bytes");
    }
    ++m_read;
    return true;
}

std::vector<float> readMask(const std::string& name, const FrameSource& source) {
    const GrayPicture gray = readGray(name);
    const Size wanted = source.size();
    if (!(gray.size == wanted)) {
        throw usageError("the mask " + name + " is " + std::to_string(gray.size.width) + "x" +
                         std::to_string(gray.size.height) + ", the frame " + std::to_string(wanted.width) +
                         "x" + std::to_string(wanted.height));
    }
    std::vector<float> mask;
    for (int y = 0; y < source.roi().height; ++y) {
        for (int x = 0; x < source.roi().width; ++x) {
            const int row = std::min(y, gray.size.height - 1);
            const int column = std::min(x, gray.size.width - 1);
            const std::size_t at = static_cast<std::size_t>(row) * static_cast<std::size_t>(gray.size.width) +
                                   static_cast<std::size_t>(column);
            mask.push_back(static_cast<float>(gray.levels[at]) / 255.0F);
        }
    }
    return mask;
}

FileKind outputKind(const std::string& name, const std::string& to, const FrameSource& source) {
    if (!to.empty()) {
        return parseKind(to);
    }
    if (name == "-") {
        return source.kind();
    }
    if (const auto kind = kindOfName(name)) {
        return *kind;
    }
    std::error_code ignored;
    const fs::file_status status = fs::status(name, ignored);
    const bool device = fs::exists(status) && !fs::is_regular_file(status);
    if (device || (fs::path(name).extension().empty() && source.kind() == FileKind::kRaw)) {
        return source.kind();
    }
    throw usageError(
        "the name " + name +
        " does not say what to write: .jpg, .jpeg, .png, .y4m, .nv21, .nv12, .p010, .yuv, .raw and .bin do, "
        "or --to");
}

FrameSink::FrameSink(const std::string& name, FileKind kind, FrameSource& source, const ColorOptions& color)
    : m_name(name), m_kind(kind), m_source(source), m_color(color), m_roi(source.roi()) {
    if (kind == FileKind::kJpeg || kind == FileKind::kPng) {
        checkPictureColors(kind, color, color.outRange);
        return;
    }
    source.leaveProfileBehind();
    m_limited = isLimited(color.outRange, color.range,
                          kind == FileKind::kY4m && source.kind() == FileKind::kY4m && source.m_limited);
    const FrameOptions& options = source.m_options;
    if (kind == FileKind::kY4m) {
        m_planar = PlanarLayout{source.size(), source.format().bits, 0, true, false, true};
    } else if (source.kind() == FileKind::kRaw && source.m_planar) {
        m_planar = source.m_planar;
    } else {
        m_roi =
            makeRoi({m_roi.width, m_roi.height}, source.format(), firstSet(options.outStride, options.stride),
                    firstSet(options.outScanline, options.scanline));
    }
}

FrameSink::~FrameSink() {
    if (m_descriptor >= 0 && m_name != "-") {
        close(m_descriptor);
    }
}

Picture FrameSink::planarOf(const Frame& frame) const {
    Picture picture(m_source.size());
    frame.get(picture, frame.format().bits > 8);
    return picture;
}

// A frame as it stands in the output: its levels and its layout.
Bytes FrameSink::streamBytes(const Frame& frame) const {
    Bytes bytes;
    if (m_planar) {
        bytes = planarBytes(*m_planar, planarOf(frame));
        if (m_planar->marker) {
            constexpr std::string_view kMarker = "FRAME\n";
            bytes.insert(bytes.begin(), kMarker.begin(), kMarker.end());
        }
        return bytes;
    }
    const auto row = static_cast<std::size_t>(m_roi.width * frame.format().bytesPerSample());
    bytes.resize(frameBytes(m_roi));
    for (int y = 0; y < m_roi.height + m_roi.height / 2; ++y) {
        const bool luma = y < m_roi.height;
        const auto to = static_cast<std::size_t>(luma ? y : m_roi.scanline + y - m_roi.height);
        const auto from = static_cast<std::size_t>(luma ? y : frame.roi().scanline + y - m_roi.height);
        std::memcpy(bytes.data() + to * static_cast<std::size_t>(m_roi.stride),
                    frame.data() + from * static_cast<std::size_t>(frame.roi().stride), row);
    }
    return bytes;
}

void FrameSink::write(const Frame& frame) {
    if (m_kind != FileKind::kRaw && m_kind != FileKind::kY4m) {
        return;
    }
    if (m_descriptor < 0) {
        m_descriptor = m_name == "-" ? stdoutDescriptor()
                                     : open(m_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (m_descriptor < 0) {
            throw fileError("cannot write " + m_name + ": " + std::strerror(errno));
        }
        if (m_kind == FileKind::kY4m) {
            const std::string header =
                y4mHeader({m_planar->size, m_planar->bits, m_source.m_rate.empty() ? "25:1" : m_source.m_rate,
                           m_limited});
            writeAll(m_descriptor, header.data(), header.size(), m_name);
        }
    }
    const bool asItIs = !m_planar && !m_limited && m_roi.stride == frame.roi().stride &&
                        m_roi.scanline == frame.roi().scanline;
    if (asItIs) {
        writeAll(m_descriptor, frame.data(), frame.bytes(), m_name);
        return;
    }
    Bytes bytes;
    if (m_limited) {
        Frame limited(frame.roi(), frame.format());
        std::memcpy(limited.data(), frame.data(), frame.bytes());
        limited.toLimitedRange();
        bytes = streamBytes(limited);
    } else {
        bytes = streamBytes(frame);
    }
    writeAll(m_descriptor, bytes.data(), bytes.size(), m_name);
}

void FrameSink::finish(const Frame& last) {
    if (m_kind == FileKind::kJpeg || m_kind == FileKind::kPng) {
        writeFile(m_name,
                  encodePicture(m_source.pictureOf(last), m_kind, m_source.m_matrix, m_color.quality));
    } else if (m_name != "-") {
        const int result = close(m_descriptor);
        m_descriptor = -1;
        if (result != 0) {
            throw fileError("cannot write " + m_name + ": " + std::strerror(errno));
        }
    }
}

}  // namespace tool
