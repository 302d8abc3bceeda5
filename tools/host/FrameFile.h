// Frames from and to files of any kind, one after another.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/host/Frame.h"

namespace tool {

// How raw frames lie in a file, in the words of the command line.
struct FrameOptions {
    std::string size;  // set: raw frames of this size
    std::string format = "nv21";
    int bits = 0;
    int stride = 0;
    int scanline = 0;
};

// How YUV and the RGB of PNG files belong together, and how JPEGs are written.
struct ColorOptions {
    std::string matrix = "bt601";
    std::string range = "full";
    int quality = 95;
};

// Raw frames with a size, else one picture.
class FrameSource {
public:
    FrameSource(const std::string& name, const FrameOptions& frame, const ColorOptions& color);
    ~FrameSource();
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    const std::string& name() const { return m_name; }
    const RoiInfo& roi() const { return m_roi; }
    const FrameFormat& format() const { return m_format; }
    // The picture, when the file is one: its size may be odd, while the frame's is not.
    const std::optional<Picture>& picture() const { return m_picture; }
    // The picture's file.
    const Bytes& contents() const { return m_contents; }
    FileKind kind() const { return m_kind; }
    // Frames in the file, 0 when that is not known (standard input, pipes).
    std::size_t count() const { return m_count; }

    // Another size for the picture, and for the frames made from it.
    void resize(Size size);
    // False at the end of the file. A picture is one frame, as often as asked.
    bool read(Frame& frame);

private:
    void openRaw();

    std::string m_name;
    FrameOptions m_options;
    FileKind m_kind = FileKind::kRaw;
    FrameFormat m_format;
    RoiInfo m_roi{};
    Bytes m_contents;
    std::optional<Picture> m_picture;
    int m_descriptor = -1;
    std::size_t m_read = 0;
    std::size_t m_count = 0;
};

// Raw files get every frame, pictures the last one. Nothing is created before the first frame is there.
class FrameSink {
public:
    FrameSink(const std::string& name, const std::string& kind, const FrameSource& source,
              const ColorOptions& color);
    ~FrameSink();
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;

    void write(const Frame& frame);
    // Writes what is outstanding. Call once, after the last frame.
    void finish(const Frame& last);

private:
    std::string m_name;
    FileKind m_kind;
    const FrameSource& m_source;
    ColorOptions m_color;
    int m_descriptor = -1;
};

}  // namespace tool
