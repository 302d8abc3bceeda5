// Any set-up record and any frame records, through the table of entries, on the back ends that run on the
// processor. Frames are answered with 0 or -1, and nothing outside of them is touched (the sanitizer looks).
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <vector>

#include "fuzz/Input.h"
#include "jni/HuevanceAPI.h"
#include "tests/support/TuningDir.h"

namespace {

constexpr int kMaxBytes = 1 << 20;

const test::TuningDir& tuning(bool neon) {
    static const test::TuningDir dirs[2];
    static const bool written = [] {
        for (const test::TuningDir& dir : dirs) {
            dir.writePlatform(&dir == &dirs[1] ? "NEON" : "CPU");
            dir.writeSets({{"claheSwitch", "1"},
                           {"curveSwitch", "1"},
                           {"colorSwitch", "1"},
                           {"cCorrSwitch", "1"},
                           {"gridWidth", "3"},
                           {"gridHeight", "2"},
                           {"pProtectSwitch", "1"},
                           {"maskSource", "2"}});
            dir.writeParam(0, 0.5F, 1.5F, 1.0F);
            dir.writeFloats("curveLut0", std::vector<float>(256, 300.0F));
            dir.writeFloats("colorLut0", std::vector<float>(12288, 128.5F));
        }
        return true;
    }();
    return dirs[written && neon ? 1 : 0];
}

// Mostly small; now and then anything.
int number(FuzzedDataProvider& in) {
    return in.ConsumeIntegralInRange(0, 15) > 0 ? in.ConsumeIntegralInRange(-2, 200) : in.ConsumeIntegral<int>();
}

RoiInfo geometry(FuzzedDataProvider& in) {
    const int width = number(in), height = number(in);
    const bool fits = in.ConsumeBool();
    return {width, height, fits ? 512 : number(in), fits ? 256 : number(in)};
}

// Bytes of a frame, or 0 when it has none or too many to hand in.
std::size_t bytesOf(const RoiInfo& roi) {
    const long long rows = static_cast<long long>(roi.scanline) + (roi.height > 0 ? roi.height / 2 : 0);
    const bool held = roi.stride > 0 && rows > 0 && rows <= kMaxBytes / roi.stride;
    return held ? static_cast<std::size_t>(rows * roi.stride) : 0;
}

}  // namespace

// On purpose algoInitHandle neither frees nor hands out a handle object whose set-up failed, and the leak
// checker stops the process to see that. tests/faults count blocks.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::begin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    static AlgoApi api;
    get_algo_api(&api);
    const std::string parent = tuning(false).parent(), name = tuning(in.ConsumeBool()).name();
    InitParam init = {};
    init.dataBit = in.ConsumeBool() ? 8 : number(in);
    init.framePhotoFlag = in.ConsumeIntegralInRange(-1, 2);
    init.directory1 = parent.c_str();
    init.directory2 = name.c_str();
    init.imageRoi = geometry(in);
    init.portraitMaskRoi = geometry(in);
    void* handle = nullptr;
    const int made = api.algoInitHandle(&handle, &init);
    std::vector<unsigned char> frame(bytesOf(init.imageRoi), 99);
    for (int i = 0; handle != nullptr && !frame.empty() && i < 4; ++i) {
        Image image = {};
        image.format = static_cast<IMAGE_FORMAT_TYPE>(number(in));
        image.num_plane = number(in);
        image.w = number(in);
        image.h = number(in);
        image.planes[0] = {number(in), number(in), number(in), number(in), number(in), -1, frame.data()};
        int scene = number(in);
        const int code = api.singleProcessImage(handle, &image, &scene, nullptr);
        if (code != 0 && code != -1) {
            std::abort();
        }
    }
    if (made == 0 && handle != nullptr) {
        api.releaseHandle(handle, nullptr);
    }
    fuzz::closeLeftOpen();
    return 0;
}
