// What the host program takes as its input: the first byte chooses a look, raw frames or, by its content, a
// picture or Y4M, which is a mask as well; the rest is the file. It is read, or refused with a reason.

#include "fuzz/Input.h"
#include "tests/support/TuningDir.h"
#include "tools/ToolError.h"
#include "tools/host/FrameFile.h"
#include "tools/tuning/Look.h"

namespace {

using fuzz::require;

constexpr int kMostFrames = 4;
// Of pictures: larger ones take long, and nothing but time.
constexpr int kMostSamples = 1 << 22;

void readLookText(const std::string& text) {
    const tool::Look look = tool::parseLook(text, "look0.json");
    const std::string written = tool::toJson(look);
    require(tool::toJson(tool::parseLook(written, "look0.json")) == written,
            "written and read it is another look");
}

void readFrames(const std::string& name, const tool::FrameOptions& options) {
    tool::FrameSource source(name, options, {});
    const tool::Size size = source.size();
    require(size.width > 0 && size.height > 0, "no size");
    if (static_cast<long long>(size.width) * size.height > kMostSamples) {
        return;
    }
    source.leaveProfileBehind();
    tool::Frame frame(source.roi(), source.format());
    for (int i = 0; i < kMostFrames && source.read(frame); ++i) {
        const tool::Picture picture = source.pictureOf(frame);
        require(picture.size.width == size.width && picture.size.height == size.height, "another size");
    }
    if (!source.picture()) {
        return;
    }
    for (const float weight : tool::readMask(name, source)) {
        require(weight >= 0.0F && weight <= 1.0F, "a weight of the mask");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    static const test::TuningDir directory;
    const std::string bytes(data + 1, data + size);
    directory.write("input", bytes);
    tool::FrameOptions options;
    try {
        switch (data[0]) {
            case 'l':
                readLookText(bytes);
                break;
            case 'r':
                options.size = "9x7";
                options.format = "p010";
                [[fallthrough]];
            default:
                readFrames(directory.path() + "/input", options);
        }
    } catch (const tool::ToolError& error) {
        require(std::string(error.what()).size() > 10, "no reason");
    }
    return 0;
}
