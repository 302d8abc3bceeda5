// Any tuning directory: the input is the files, one after another, separated by lines of "--", and a small
// frame goes through a capture and a preview stream with them. The frame's neighbourhood is guarded by the
// sanitizer.
#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#include "fuzz/Input.h"
#include "neon/HuevancePhoto_NEON.h"
#include "tests/support/TuningDir.h"

namespace {

// As the library names them; a file that the input does not have is missing.
constexpr std::array kFiles = {"photoSet.ini", "param0.ini", "curveLut0", "colorLut0",
                               "frameSet.ini", "param1.ini", "CurveLut",  "ColorLut"};

constexpr std::string_view kSeparator = "\n--\n";

void process(test::TuningDir& dir, int dataBit) {
    const int sampleBytes = dataBit == 8 ? 1 : 2;
    const RoiInfo roi = {36, 26, 40 * sampleBytes, 27};
    std::vector<unsigned char> frame(static_cast<std::size_t>(roi.stride) * 41, 77);
    static CHuevancePhoto_CPU photo;
    photo.setDataBit(dataBit);
    if (photo.malloc(dir.mutablePath(), roi) == 0) {
        photo.process(frame.data(), IMAGE_FORMAT_TYPE_NV21, 0);
    }
    photo.free();
    static CHuevancePhoto_NEON vectors;
    vectors.setDataBit(dataBit);
    if (vectors.malloc(dir.mutablePath(), roi) == 0) {
        vectors.process(frame.data(), IMAGE_FORMAT_TYPE_NV21, 0);
    }
    vectors.free();
    static CHuevanceFrame_CPU preview;
    preview.setDataBit(dataBit);
    if (preview.malloc(dir.mutablePath(), roi) == 0) {
        for (const int scene : {0, 1, 1, 511, -1}) {
            preview.process(frame.data(), IMAGE_FORMAT_TYPE_NV12, scene);
        }
    }
    preview.free();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::begin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static test::TuningDir dir;
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::size_t at = 0;
    for (const char* name : kFiles) {
        if (at > input.size()) {
            dir.remove(name);
            continue;
        }
        const std::size_t end = std::min(input.find(kSeparator, at), input.size());
        dir.write(name, input.substr(at, end - at));
        at = end + kSeparator.size();
    }
    process(dir, size % 2 == 0 ? 8 : 10);
    fuzz::closeLeftOpen();
    return 0;
}
