#include "tools/host/FrameFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/Stdio.h"
#include "tools/ToolError.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// A JPEG's planes are full-range BT.601 by definition: with other planes the colours would be wrong without a
// word.
void checkJpegMatrix(const ColorOptions& color) {
    if (parseMatrix(color.matrix, color.range) != ColorMatrix::kBt601Full) {
        throw usageError("a JPEG's planes are full-range BT.601: --matrix and --range cannot say otherwise");
    }
}

}  // namespace

FrameSource::FrameSource(const std::string& name, const FrameOptions& frame, const ColorOptions& color)
    : m_name(name), m_options(frame), m_format(parseFormat(frame.format, frame.bits)) {
    if (!frame.size.empty()) {
        m_roi = makeRoi(parseSize(frame.size), m_format, frame.stride, frame.scanline);
        openRaw();
        return;
    }
    m_contents = readFile(name);
    m_kind = kindOfContents(m_contents);
    if (m_kind == FileKind::kJpeg) {
        checkJpegMatrix(color);
    }
    m_picture = decodePicture(m_contents, parseMatrix(color.matrix, color.range), name);
    m_roi = makeRoi(frameSizeOf(*m_picture), m_format, frame.stride, frame.scanline);
    m_count = 1;
}

void FrameSource::resize(Size size) {
    m_picture = resized(*m_picture, size);
    m_roi = makeRoi(frameSizeOf(*m_picture), m_format, m_options.stride, m_options.scanline);
}

FrameSource::~FrameSource() {
    if (m_descriptor > STDIN_FILENO) {
        close(m_descriptor);
    }
}

void FrameSource::openRaw() {
    m_descriptor = m_name == "-" ? STDIN_FILENO : open(m_name.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (m_descriptor < 0 || fstat(m_descriptor, &info) != 0) {
        throw fileError("cannot read " + m_name + ": " + std::strerror(errno));
    }
    if (S_ISREG(info.st_mode)) {
        m_count = static_cast<std::size_t>(info.st_size) / frameBytes(m_roi);
    }
}

bool FrameSource::read(Frame& frame) {
    if (m_picture) {
        frame.set(*m_picture);
        return true;
    }
    std::size_t got = 0;
    while (got < frame.bytes()) {
        const ssize_t count = ::read(m_descriptor, frame.data() + got, frame.bytes() - got);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw fileError("cannot read " + m_name + ": " + std::strerror(errno));
        }
        if (count == 0) {
            break;
        }
        got += static_cast<std::size_t>(count);
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

FrameSink::FrameSink(const std::string& name, const std::string& kind, const FrameSource& source,
                     const ColorOptions& color)
    : m_name(name),
      m_kind(!kind.empty() ? parseKind(kind)
             : name == "-" ? source.kind()
                           : kindOfName(name)),
      m_source(source),
      m_color(color) {
    if (m_kind == FileKind::kJpeg) {
        checkJpegMatrix(color);
    }
}

FrameSink::~FrameSink() {
    if (m_descriptor >= 0 && m_name != "-") {
        close(m_descriptor);
    }
}

void FrameSink::write(const Frame& frame) {
    if (m_kind != FileKind::kRaw) {
        return;
    }
    if (m_descriptor < 0) {
        m_descriptor = m_name == "-" ? stdoutDescriptor()
                                     : open(m_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (m_descriptor < 0) {
            throw fileError("cannot write " + m_name + ": " + std::strerror(errno));
        }
    }
    writeAll(m_descriptor, frame.data(), frame.bytes(), m_name);
}

void FrameSink::finish(const Frame& last) {
    if (m_kind != FileKind::kRaw) {
        Picture picture(m_source.picture() ? m_source.picture()->size
                                           : Size{last.roi().width, last.roi().height});
        last.get(picture);
        if (m_source.picture()) {
            picture.jpegSegments = m_source.picture()->jpegSegments;
        }
        writeFile(m_name, encodePicture(picture, m_kind, parseMatrix(m_color.matrix, m_color.range),
                                        m_color.quality));
    } else if (m_name != "-") {
        const int result = close(m_descriptor);
        m_descriptor = -1;
        if (result != 0) {
            throw fileError("cannot write " + m_name + ": " + std::strerror(errno));
        }
    }
}

}  // namespace tool
