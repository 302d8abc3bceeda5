// Any tuning directory: the input is the files, one after another, separated by lines of "--", and small
// frames go through a handle of each back end and mode with them, the table of entries between. The frame's
// neighbourhood is guarded by the sanitizer.
#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "fuzz/Input.h"
#include "jni/HuevanceAPI.h"
#include "tests/sim/support/DeviceBuffer.h"
#include "tests/support/HostRecords.h"
#include "tests/support/TuningDir.h"

namespace {

// As the library names them; a file that the input does not have is missing.
constexpr std::array kFiles = {"photoSet.ini", "param0.ini", "curveLut0", "colorLut0",
                               "frameSet.ini", "param1.ini", "CurveLut",  "ColorLut"};

constexpr std::string_view kSeparator = "\n--\n";

// What a host does with a handle; nothing where the back end has no such mode.
void live(const test::TuningDir& dir, int mode, int dataBit) {
    static AlgoApi api;
    get_algo_api(&api);
    static test::DeviceBuffer output(36, 26, IMAGE_FORMAT_TYPE_NV12);
    const RoiInfo roi = {36, 26, 40 * (dataBit == 8 ? 1 : 2), 27};
    std::vector<unsigned char> frame(static_cast<std::size_t>(roi.stride) * 41, 77);
    InitParam init = test::initParam(dir, mode, roi);
    init.dataBit = dataBit;
    void* handle = nullptr;
    if (api.algoInitHandle(&handle, &init) != 0) {
        return;
    }
    for (int scene : {0, 1, 1, 511, -1}) {
        Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV12, roi);
        image.planes[3].data = output.get();
        api.singleProcessImage(handle, &image, &scene, nullptr);
    }
    api.releaseHandle(handle, nullptr);
}

}  // namespace

// On purpose algoInitHandle neither frees nor hands out a handle object whose set-up failed.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::TuningDir dir, cache;
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
    for (const char* platform : fuzz::kPlatforms) {
        dir.writePlatform(platform, cache.path());
        for (const int mode : {kPhotoMode, kFrameMode}) {
            live(dir, mode, size % 2 == 0 ? 8 : 10);
        }
    }
    fuzz::closeLeftOpen();
    return 0;
}
