// The words of the command line for formats and scenes, as values.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "jni/HuevanceAPI.h"
#include "tools/picture/Size.h"

namespace tool {

// A frame's layout as the library takes it: two planes, luma and interleaved chroma.
struct FrameFormat {
    IMAGE_FORMAT_TYPE type = IMAGE_FORMAT_TYPE_NV21;
    int bits = 8;  // significant bits per sample

    int bytesPerSample() const { return bits == 8 ? 1 : 2; }
    // Distance of the lowest significant bit from bit 0.
    int shift() const { return type == IMAGE_FORMAT_TYPE_YUV16_HIGH ? 16 - bits : 0; }
    bool firstIsU() const { return type != IMAGE_FORMAT_TYPE_NV21; }
    bool operator==(const FrameFormat&) const = default;
};

// Names: nv21, nv12 (8 bits), nv12-16 (16-bit samples, significant bits at the bottom), p010 (at the top).
// `bits` 0 takes the format's usual depth: 8, or 10.
FrameFormat parseFormat(const std::string& name, int bits);
std::string toString(const FrameFormat& format);

// The geometry of a frame; stride (bytes) and scanline 0 mean without padding.
RoiInfo makeRoi(Size size, const FrameFormat& format, int stride, int scanline);
// Bytes of a whole frame: (scanline + height / 2) x stride.
std::size_t frameBytes(const RoiInfo& roi);

// "0:0,120:2": from frame 0 on scene 0, from frame 120 on scene 2.
class SceneScript {
public:
    explicit SceneScript(int scene) : m_changes{{0, scene}} {}
    // Frames in rising order. Before the script's first frame the scene is `before`.
    SceneScript(const std::string& text, int before);
    int at(std::size_t frame) const;

private:
    std::vector<std::pair<std::size_t, int>> m_changes;
};

}  // namespace tool
