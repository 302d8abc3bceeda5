// Frames from and to files of any kind, one after another.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/Frame.h"
#include "tools/host/Planar.h"

namespace tool {

// How raw frames lie in a file, in the words of the command line; empty and 0 mean: not said.
struct FrameOptions {
    std::string size;    // set: raw frames of this size
    std::string format;  // default nv21; for Y4M by its depth
    int bits = 0;
    int stride = 0, scanline = 0;
    int inStride = 0, inScanline = 0;    // of the input alone
    int outStride = 0, outScanline = 0;  // of the output alone
};

// How YUV and the RGB of PNG files belong together, which levels are black and white, and how JPEGs are
// written. The library sees full-range frames, whatever the files hold.
struct ColorOptions {
    std::string matrix = "bt601";
    std::string range;              // "full" or "limited", of both sides
    std::string inRange, outRange;  // of one
    int quality = 95;
};

// Y4M, raw frames when a size is given, else one picture.
class FrameSource {
public:
    FrameSource(const std::string& name, const FrameOptions& frame, const ColorOptions& color);

    const std::string& name() const { return m_name; }
    const RoiInfo& roi() const { return m_roi; }
    const FrameFormat& format() const { return m_format; }
    // What is seen of a frame: a picture's own size may be odd while the frame's is not.
    Size size() const;
    // The picture, when the file is one.
    const std::optional<Picture>& picture() const { return m_picture; }
    // The picture's file.
    const Bytes& contents() const { return m_contents; }
    FileKind kind() const { return m_kind; }
    // Frames in the file, 0 when that is not known (standard input, pipes, Y4M).
    std::size_t count() const { return m_count; }
    // Whether samples have more than 8 bits.
    bool deep() const;

    // What a frame shows, of this source's own size and with its metadata.
    Picture pictureOf(const Frame& frame) const;

    // Another size for the picture, and for the frames made from it.
    void resize(Size size);
    // Frames go where no profile can go along: colours that mean something else than sRGB are converted, and
    // a note says so.
    void leaveProfileBehind();
    // False at the end of the file. A picture is one frame, as often as asked.
    bool read(Frame& frame);

private:
    friend class FrameSink;
    void openRaw(File file);
    void openY4m(File file, const ColorOptions& color);
    void openPicture(File file, const ColorOptions& color);
    bool readRaw(Frame& frame);

    std::string m_name;
    FrameOptions m_options;
    ColorMatrix m_matrix;
    FileKind m_kind = FileKind::kRaw;
    FrameFormat m_format;
    RoiInfo m_roi{};
    Bytes m_contents;
    bool m_limited = false;
    std::optional<Picture> m_picture;
    std::optional<PlanarLayout> m_planar;  // Y4M, and raw frames of odd sizes
    Picture m_planarFrame;
    std::string m_rate;
    File m_file;
    std::size_t m_read = 0;
    std::size_t m_count = 0;
};

// The host's mask for the frames of a source, of `roi` (width x height weights 0..1): a gray picture of the
// source's own size, its last column and row repeated where the frame is larger. Throws a usage error for
// another size.
std::vector<float> readMask(const std::string& name, const FrameSource& source);

// What OUT is, from `to` or its ending; "-" and devices take the kind of the source. Throws a usage error for
// an ending that says nothing.
FileKind outputKind(const std::string& name, const std::string& to, const FrameSource& source);

// Streams get every frame, pictures the last one. Nothing is created before the first frame is there.
class FrameSink {
public:
    FrameSink(const std::string& name, FileKind kind, FrameSource& source, const ColorOptions& color);
    ~FrameSink();
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;

    void write(const Frame& frame);
    // Writes what is outstanding. Call once, after the last frame.
    void finish(const Frame& last);

private:
    Bytes streamBytes(const Frame& frame) const;
    Picture planarOf(const Frame& frame) const;

    std::string m_name;
    FileKind m_kind;
    const FrameSource& m_source;
    ColorOptions m_color;
    bool m_limited = false;
    RoiInfo m_roi{};
    std::optional<PlanarLayout> m_planar;
    int m_descriptor = -1;
};

}  // namespace tool
