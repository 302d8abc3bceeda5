// The library exports OpenCL's names and calls them: its own calls must reach its own table, and through it
// the driver that it finds by its run path, whatever else the process holds and in whichever order it came.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "jni/algocommon/ImageTypes.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

// Ends the process with a step's name unless it went well.
void expect(bool well, const char* step) {
    if (!well) {
        std::fprintf(stderr, "%s went wrong\n", step);
        std::_Exit(1);
    }
}

template <typename Function>
Function* symbol(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

void* load(const char* name, int flags) {
    void* library = dlopen(name, RTLD_NOW | flags);
    expect(library != nullptr, name);
    return library;
}

// Sets up a preview and lets go of it. The flags are the worse case for each order: names that stand before
// the library's own, for everybody.
[[noreturn]] void runProcess(const std::string& systems) {
    const test::LogCapture quiet;
    if (systems == "first") {
        load("libOpenCL.so.1", RTLD_GLOBAL);
    }
    void* library = load(HUEVANCE_BINARY_DIR "/libHuevance.so", systems == "last" ? RTLD_GLOBAL : RTLD_LOCAL);
    if (systems == "last") {
        load("libOpenCL.so.1", RTLD_GLOBAL);
    }
    test::TuningDir dir;
    dir.writeSets();
    dir.writeParam(0, 1.0F, 1.0F, 1.0F);
    void* handle = nullptr;
    const auto start = symbol<int(char*, RoiInfo, int, char*, void**)>(
        library, "_Z23HuevanceFrameMalloc_GPUPc7RoiInfoiS_PPv");
    expect(start(dir.mutablePath(), {32, 16, 32, 16}, 8, dir.mutablePath(), &handle) == 0, "set-up");
    // Nothing here may have loaded the driver before the library did.
    void* driver = load(HUEVANCE_BINARY_DIR "/sim/libOpenCL.so", RTLD_NOLOAD);
    expect(symbol<int(const char*)>(driver, "sim_opencl_calls")("clCreateKernel") >= 10,
           "reaching the driver");
    expect(symbol<int(void*)>(library, "_Z21HuevanceFrameFree_GPUPv")(handle) == 0, "the release");
    expect(symbol<int(const char*)>(driver, "sim_opencl_live")(nullptr) == 0, "letting go of everything");
    std::fprintf(stderr, "passed");
    std::_Exit(0);
}

TEST(LoadOrderDeathTest, TheLibraryCallsItsOwnDriver) {
    test::startDeathTestsSafely();
    // The first process compiles the kernels for the others, too.
    const test::TuningDir compiled;
    setenv("POCL_CACHE_DIR", compiled.path().c_str(), 0);
    for (const char* systems : {"never", "first", "last"}) {
        EXPECT_EXIT(runProcess(systems), ::testing::ExitedWithCode(0), "passed") << systems;
    }
}

}  // namespace
