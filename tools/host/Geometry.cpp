#include "tools/host/Geometry.h"

#include <algorithm>
#include <string_view>

#include "tools/Numbers.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

struct NamedFormat {
    const char* name;
    IMAGE_FORMAT_TYPE type;
    int usualBits;
};
constexpr NamedFormat kFormats[] = {
    {"nv21", IMAGE_FORMAT_TYPE_NV21, 8},
    {"nv12", IMAGE_FORMAT_TYPE_NV12, 8},
    {"nv12-16", IMAGE_FORMAT_TYPE_YUV16_LOW, 10},
    {"p010", IMAGE_FORMAT_TYPE_YUV16_HIGH, 10},
};

}  // namespace

FrameFormat parseFormat(const std::string& name, int bits) {
    for (const NamedFormat& format : kFormats) {
        if (name != format.name) {
            continue;
        }
        const int depth = bits == 0 ? format.usualBits : bits;
        if (format.usualBits == 8 ? depth != 8 : depth < 10 || depth > 16) {
            throw usageError(name + " has " + (format.usualBits == 8 ? "8" : "10 to 16") +
                             " bits per sample, not " + std::to_string(bits));
        }
        return {format.type, depth};
    }
    throw usageError("'" + name + "' is no format: nv21, nv12, nv12-16 and p010 are known");
}

std::string toString(const FrameFormat& format) {
    for (const NamedFormat& named : kFormats) {
        if (named.type == format.type) {
            return format.bits == 8 ? named.name
                                    : std::string(named.name) + " " + std::to_string(format.bits) + " bits";
        }
    }
    return "?";
}

RoiInfo makeRoi(Size size, const FrameFormat& format, int stride, int scanline) {
    const int least = size.width * format.bytesPerSample();
    const RoiInfo roi = {size.width, size.height, stride == 0 ? least : stride,
                         scanline == 0 ? size.height : scanline};
    if (roi.stride < least || roi.scanline < size.height) {
        throw usageError("a stride of " + std::to_string(roi.stride) + " bytes and a scanline of " +
                         std::to_string(roi.scanline) + " cannot hold " + std::to_string(size.width) + "x" +
                         std::to_string(size.height) + " in " + toString(format));
    }
    if (roi.stride % format.bytesPerSample() != 0) {
        throw usageError("the stride of 16-bit frames must be even");
    }
    // The library's record counts bytes in an int.
    if (static_cast<long long>(roi.stride) * (static_cast<long long>(roi.scanline) + roi.height / 2) >
        (1LL << 30)) {
        throw usageError("a frame of more than 1 GiB");
    }
    return roi;
}

std::size_t frameBytes(const RoiInfo& roi) {
    return static_cast<std::size_t>(roi.stride) * static_cast<std::size_t>(roi.scanline + roi.height / 2);
}

SceneScript::SceneScript(const std::string& text, int before) : m_changes{{0, before}} {
    bool first = true;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string_view step = std::string_view(text).substr(begin, end - begin);
        const std::size_t colon = step.find(':');
        const auto frame = parseNumber<std::size_t>(step.substr(0, colon), 0);
        const auto scene =
            colon == std::string_view::npos ? std::nullopt : parseNumber<int>(step.substr(colon + 1), 0);
        if (!frame || !scene) {
            throw usageError("'" + text +
                             "' is no scene script: FRAME:SCENE,... is wanted, such as 0:0,120:2");
        }
        if (!first && *frame <= m_changes.back().first) {
            throw usageError("the frames of the scene script '" + text + "' must rise");
        }
        if (*frame == 0) {
            m_changes.front().second = *scene;
        } else {
            m_changes.emplace_back(*frame, *scene);
        }
        first = false;
        begin = end + 1;
    }
}

int SceneScript::at(std::size_t frame) const {
    int scene = m_changes.front().second;
    for (const auto& [from, value] : m_changes) {
        if (from <= frame) {
            scene = value;
        }
    }
    return scene;
}

}  // namespace tool
