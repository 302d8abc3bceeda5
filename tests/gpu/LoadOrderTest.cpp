// The library exports OpenCL's names and calls them: its own calls must reach its own table, and through it
// the driver that it has bound, whatever else the process holds and in whichever order it came.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sim/opencl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "jni/algocommon/ImageTypes.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

constexpr const char* kDriver = HUEVANCE_BINARY_DIR "/sim/libOpenCL.so";
constexpr const char* kSystem = "libOpenCL.so.1";

template <typename Function>
Function* symbol(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

bool driverWorks() {
    void* driver = dlopen(kDriver, RTLD_NOW);
    return driver != nullptr && symbol<int()>(driver, "sim_opencl_available")() != 0;
}

// One stream with one frame through the library; its curve inverts luma. Exits with 0, or with the number of
// the step that went wrong.
[[noreturn]] void runStream(void* library) {
    const auto fail = [](int step) { std::_Exit(step); };
    test::TuningDir dir;
    setenv("POCL_CACHE_DIR", dir.path().c_str(), 1);
    dir.writeSets({{"curveSwitch", "1"}});
    dir.writeParam(0, 1.0F, 1.0F, 1.0F);
    std::vector<float> inverting(256);
    for (std::size_t i = 0; i < inverting.size(); ++i) {
        inverting[i] = 255.0F - static_cast<float>(i);
    }
    dir.writeFloats("CurveLut", inverting);

    const RoiInfo roi = {32, 16, 32, 16};
    void* handle = nullptr;
    test::Frame frame(roi, 1);
    frame.fill(test::Content::kRamp, 256);
    test::Frame before(roi, 1);
    before.restore(frame.copyBytes());
    {
        const test::LogCapture quiet;
        if (symbol<int(char*, RoiInfo, int, char*, void**)>(
                library, "_Z23HuevanceFrameMalloc_GPUPc7RoiInfoiS_PPv")(dir.mutablePath(), roi, 8,
                                                                        dir.mutablePath(), &handle) != 0) {
            fail(1);
        }
        if (symbol<int(void*, void*, int, IMAGE_FORMAT_TYPE, int)>(
                library, "_Z24HuevanceFrameProcess_GPUPvS_i17IMAGE_FORMAT_TYPEi")(
                handle, frame.data(), -1, IMAGE_FORMAT_TYPE_NV12, 0) != 0) {
            fail(2);
        }
        for (int x = 0; x < roi.width; ++x) {
            if (frame.luma(x, 3) != 255 - before.luma(x, 3) || frame.chroma(x, 3) != before.chroma(x, 3)) {
                fail(3);
            }
        }
        if (symbol<int(void*)>(library, "_Z21HuevanceFrameFree_GPUPv")(handle) != 0) {
            fail(4);
        }
    }
    // All of it went through the simulated driver.
    void* driver = dlopen(kDriver, RTLD_NOW | RTLD_NOLOAD);
    if (driver == nullptr ||
        symbol<int(const char*)>(driver, "sim_opencl_calls")("clEnqueueNDRangeKernel") != 1 ||
        symbol<int(const char*)>(driver, "sim_opencl_calls")("clCreateKernel") < 10) {
        fail(5);
    }
    if (symbol<int(const char*)>(driver, "sim_opencl_live")(nullptr) != 0) {
        fail(6);
    }
    std::fprintf(stderr, "passed");
    std::_Exit(0);
}

void* loadLibrary(int flags) {
    void* library = dlopen(HUEVANCE_BINARY_DIR "/libHuevance.so", RTLD_NOW | flags);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::_Exit(100);
    }
    return library;
}

class LoadOrderDeathTest : public ::testing::Test {
protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        if (!driverWorks()) {
            GTEST_SKIP() << "no OpenCL on this system";
        }
    }
};

TEST_F(LoadOrderDeathTest, LibraryAlone) {
    EXPECT_EXIT(runStream(loadLibrary(RTLD_LOCAL)), ::testing::ExitedWithCode(0), "passed");
}

TEST_F(LoadOrderDeathTest, AfterTheSystemsOpenCL) {
    EXPECT_EXIT(
        {
            dlopen(kSystem, RTLD_NOW | RTLD_GLOBAL);
            runStream(loadLibrary(RTLD_LOCAL));
        },
        ::testing::ExitedWithCode(0), "passed");
}

TEST_F(LoadOrderDeathTest, BeforeTheSystemsOpenCLAndForEverybody) {
    EXPECT_EXIT(
        {
            void* library = loadLibrary(RTLD_GLOBAL);
            dlopen(kSystem, RTLD_NOW | RTLD_GLOBAL);
            runStream(library);
        },
        ::testing::ExitedWithCode(0), "passed");
}

}  // namespace
