// Any set-up record and any frame records, through the table of entries. Frames are answered with 0, or with
// -1 and left alone, and nothing outside of them is touched (the sanitizer looks).
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "jni/HuevanceAPI.h"
#include "tests/sim/support/DeviceBuffer.h"
#include "tests/support/TuningDir.h"

namespace {

constexpr int kMaxBytes = 1 << 20;

// Each back end with the skin's mask, then each with the host's.
constexpr std::size_t kPlatforms = std::size(fuzz::kPlatforms), kTunings = 2 * kPlatforms;

const test::TuningDir& tuning(std::size_t number) {
    static const test::TuningDir dirs[kTunings], cache;
    static const bool written = [] {
        for (std::size_t i = 0; i < kTunings; ++i) {
            const test::TuningDir& dir = dirs[i];
            dir.writePlatform(fuzz::kPlatforms[i % kPlatforms], cache.path());
            dir.writeSets({{"claheSwitch", "1"},
                           {"curveSwitch", "1"},
                           {"colorSwitch", "1"},
                           {"cCorrSwitch", "1"},
                           {"gridWidth", "3"},
                           {"gridHeight", "2"},
                           {"pProtectSwitch", "1"},
                           {"maskSource", i < kPlatforms ? "2" : "1"}});
            dir.writeParam(0, 0.5F, 1.5F, 1.0F);
            for (const char* file : {"curveLut0", "CurveLut"}) {
                dir.writeFloats(file, std::vector<float>(256, 300.0F));
            }
            for (const char* file : {"colorLut0", "ColorLut"}) {
                dir.writeFloats(file, std::vector<float>(12288, 128.5F));
            }
        }
        return true;
    }();
    return dirs[written ? number : 0];
}

// Mostly what a host would say; now and then something small or anything.
int field(FuzzedDataProvider& in, int usual) {
    switch (in.ConsumeIntegralInRange(0, 31)) {
        case 30:
            return in.ConsumeIntegralInRange(-2, 200);
        case 31:
            return in.ConsumeIntegral<int>();
        default:
            return usual;
    }
}

RoiInfo geometry(FuzzedDataProvider& in, int sampleBytes) {
    const int width = in.ConsumeIntegralInRange(1, 200), height = in.ConsumeIntegralInRange(1, 200);
    const int stride = (width + in.ConsumeIntegralInRange(0, 9)) * sampleBytes;
    return {field(in, width), field(in, height), field(in, stride),
            field(in, height + in.ConsumeIntegralInRange(0, 9))};
}

// Bytes of so many rows, or 0 when they are none or too many to hand in.
std::size_t bytesOf(long long rows, int stride) {
    return stride > 0 && rows > 0 && rows <= kMaxBytes / stride ? static_cast<std::size_t>(rows * stride) : 0;
}

// Where OGL draws to; now and then nowhere. Others do not look at it.
std::unique_ptr<test::DeviceBuffer> output(FuzzedDataProvider& in) {
    const int width = in.ConsumeIntegralInRange(0, 200), height = in.ConsumeIntegralInRange(1, 200);
    const auto format = in.ConsumeBool() ? IMAGE_FORMAT_TYPE_NV21 : IMAGE_FORMAT_TYPE_NV12;
    return width == 0 ? nullptr : std::make_unique<test::DeviceBuffer>(width, height, format);
}

void processFrame(const AlgoApi& api, void* handle, const RoiInfo& roi, std::vector<unsigned char>& frame,
                  FuzzedDataProvider& in) {
    constexpr IMAGE_FORMAT_TYPE kFormats[] = {IMAGE_FORMAT_TYPE_NV21, IMAGE_FORMAT_TYPE_NV12,
                                              IMAGE_FORMAT_TYPE_YUV16_HIGH, IMAGE_FORMAT_TYPE_YUV16_LOW};
    Image image = {};
    image.format = static_cast<IMAGE_FORMAT_TYPE>(field(in, in.PickValueInArray(kFormats)));
    image.num_plane = field(in, 2);
    image.w = field(in, roi.width);
    image.h = field(in, roi.height);
    image.planes[0] = {
        field(in, roi.width), field(in, roi.height), field(in, roi.stride), field(in, roi.scanline), 0, -1,
        frame.data()};
    int scene = field(in, in.ConsumeIntegralInRange(0, 2));
    const auto drawn = output(in);
    image.planes[3].data = drawn != nullptr ? drawn->get() : nullptr;
    const std::vector<unsigned char> before = frame;
    const std::vector<unsigned char> drawnBefore = drawn != nullptr ? drawn->copy() : before;
    const int code = api.singleProcessImage(handle, &image, &scene, nullptr);
    fuzz::require(code == 0 || code == -1, "another code");
    fuzz::require(code == 0 || (frame == before && (drawn == nullptr || drawn->copy() == drawnBefore)),
                  "a frame changed, with -1");
}

}  // namespace

// On purpose algoInitHandle neither frees nor hands out a handle object whose set-up failed, and the leak
// checker stops the process to see that. tests/faults count blocks.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    static AlgoApi api;
    get_algo_api(&api);
    const test::TuningDir& dir = tuning(in.ConsumeIntegralInRange<std::size_t>(0, kTunings - 1));
    InitParam init = {};
    init.dataBit = field(in, in.PickValueInArray({8, 8, 8, 10, 12, 16}));
    init.framePhotoFlag = field(in, in.PickValueInArray({kPhotoMode, kFrameMode}));
    init.directory1 = dir.parent().c_str();
    init.directory2 = dir.name().c_str();
    init.imageRoi = geometry(in, init.dataBit == 8 ? 1 : 2);
    init.portraitMaskRoi = geometry(in, 4);
    // A mask has `height` rows, whatever its scanline says.
    std::vector<float> mask(bytesOf(init.portraitMaskRoi.height, init.portraitMaskRoi.stride) / sizeof(float),
                            0.5F);
    init.portraitMask = mask.empty() ? nullptr : mask.data();
    void* handle = nullptr;
    const int made = api.algoInitHandle(&handle, &init);
    std::vector<unsigned char> frame(
        bytesOf(init.imageRoi.scanline + static_cast<long long>(std::max(init.imageRoi.height, 0)) / 2,
                init.imageRoi.stride),
        99);
    for (int i = 0; handle != nullptr && !frame.empty() && i < 4; ++i) {
        processFrame(api, handle, init.imageRoi, frame, in);
    }
    if (made == 0 && handle != nullptr) {
        api.releaseHandle(handle, nullptr);
    }
    fuzz::closeLeftOpen();
    return 0;
}
