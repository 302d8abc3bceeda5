// The GPU preview beside the preview of the reference kernels ("plain"), on whatever OpenCL device there is:
// every stage with its kernel finished, and whole frames. Wall-clock time, medians; all of the machine's
// cores count. Kernels also by the device's own clock, with the bytes that they must move; `--bandwidth GB/s`
// of a card tells which share of it that is.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/Picture.h"
#include "bench/Pipelines.h"
#include "bench/Workload.h"
#include "core/ColorLut.h"
#include "gpu/HuevanceFrame_GPU.h"
#include "gpu/Huevance_GPU.h"
#include "tests/support/TuningDir.h"

namespace {

template <typename Run>
double medianMs(int runs, Run run) {
    std::vector<double> times;
    for (int i = 0; i < runs + 2; ++i) {  // the first two warm up
        const auto start = std::chrono::steady_clock::now();
        run();
        const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
        times.push_back(elapsed.count());
    }
    times.erase(times.begin(), times.begin() + 2);
    std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
    return times[static_cast<std::size_t>(runs / 2)];
}

// What a preview on the host's processor does, too: CLAHE, curves and colour table.
void writeTuning(const test::TuningDir& dir) {
    dir.writeSets({{"claheSwitch", "1"}, {"curveSwitch", "1"}, {"colorSwitch", "1"}});
    using bench::FullTuning;
    dir.writeParam(0, FullTuning::kColorStrength, FullTuning::kSatStrength, FullTuning::kClaheStrength);
    for (const char* name : {"CurveLut", "curveLut0"}) {
        dir.writeFloats(name, FullTuning::curve());
    }
    for (const char* name : {"ColorLut", "colorLut0"}) {
        dir.writeFloats(name, FullTuning::colorLut());
    }
}

void report(const std::string& what, const bench::Size& size, double ms) {
    std::fprintf(stderr, "%-34s %9s %8.2f ms %6.2f ns/pixel\n", what.c_str(), size.text().c_str(), ms,
                 ms * 1e6 / size.pixels());
}

// A stage and its kernel.
struct StageCase {
    const char* name;
    gpu::KernelId kernel;
    IMAGE_FORMAT_TYPE type;
    int (*run)(CHuevance_GPU&);
    double bytes;  // a pixel: planes read and written once, tables not counted
};

constexpr StageCase kStages[] = {
    {"claheMap_kernel", gpu::kClaheMap, IMAGE_FORMAT_TYPE_NV21, [](CHuevance_GPU& e) { return e.claheMap(); },
     2},
    {"curveMap_kernel", gpu::kCurveMap, IMAGE_FORMAT_TYPE_NV21, [](CHuevance_GPU& e) { return e.curveMap(); },
     3},
    // Reads both frames' luma and chroma, writes chroma.
    {"colorCorrect_kernel", gpu::kColorCorrect, IMAGE_FORMAT_TYPE_NV21,
     [](CHuevance_GPU& e) { return e.colorCorrect(); }, 3.5},
    {"colorMap_NV12_kernel", gpu::kColorMapNV12, IMAGE_FORMAT_TYPE_NV12,
     [](CHuevance_GPU& e) { return e.colorMap(); }, 3},
    {"colorMap_NV21_kernel", gpu::kColorMapNV21, IMAGE_FORMAT_TYPE_NV21,
     [](CHuevance_GPU& e) { return e.colorMap(); }, 3},
    {"skinDetectAndcolorProtect_kernel", gpu::kSkinDetectAndColorProtect, IMAGE_FORMAT_TYPE_NV21,
     [](CHuevance_GPU& e) { return e.portraitProtect(huevance::kMaskSkin); }, 4.5},
    // And a float for each block of four pixels.
    {"colorProtect_kernel", gpu::kColorProtect, IMAGE_FORMAT_TYPE_NV21,
     [](CHuevance_GPU& e) { return e.portraitProtect(huevance::kMaskHost); }, 5.5},
};

// Milliseconds of a kernel on the device: launched once more with the arguments that it has.
double deviceMs(CHuevance_GPU& engine, gpu::KernelId kernel, int runs) {
    const std::size_t rows = static_cast<std::size_t>(
        kernel == gpu::kClaheMap ? engine.m_stRoi.height : (engine.m_stRoi.height + 1) / 2);
    const std::size_t global[2] = {static_cast<std::size_t>(engine.m_stRoi.width + 7) / 8, rows};
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        cl_event event = nullptr;
        if (clEnqueueNDRangeKernel(engine.m_queue.get(), engine.m_kernels[kernel].get(), 2, nullptr, global,
                                   nullptr, 0, nullptr, &event) != CL_SUCCESS) {
            return 0;
        }
        clWaitForEvents(1, &event);
        times.push_back(gpu::GetEventProfilingInfo(event));
        clReleaseEvent(event);
    }
    std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
    return times[static_cast<std::size_t>(runs / 2)];
}

void reportDevice(const bench::Size& size, double ms, double bytesAPixel, double bandwidth) {
    const double moved = bytesAPixel * size.pixels() / ms / 1e6;  // GB/s
    std::fprintf(stderr, "%-34s %9s %8.3f ms %6.1f GB/s", "  by the device's clock", size.text().c_str(), ms,
                 moved);
    std::fprintf(stderr, bandwidth > 0 ? " %4.0f %%\n" : "\n", 100 * moved / bandwidth);
}

void stages(const test::TuningDir& dir, const bench::Size& size, int runs, double bandwidth) {
    const RoiInfo roi = bench::cameraRoi(size, 8);
    std::vector<unsigned char> frame = bench::photograph(roi, 8);
    CHuevance_GPU engine;
    engine.setSensorPath(dir.path().c_str());
    engine.setCachePath(dir.path().c_str());
    engine.readFrameSet();
    engine.m_iCCorrSwitch = engine.m_iPProtectSwitch = 1;
    engine.setSrcRoiInfo(roi);
    engine.setRoiInfo(roi);
    if (engine.clResMalloc() != 0 || engine.clQueueMalloc() != 0 || engine.sceneHvcParamMalloc() != 0 ||
        engine.claheLutMalloc() != 0 || engine.sceneCurveLutMalloc() != 0 || engine.curveLutMalloc(0) != 0 ||
        engine.sceneColorLutMalloc() != 0 || engine.colorLutMalloc(0) != 0 || engine.sdYuvMalloc() != 0) {
        std::fprintf(stderr, "no OpenCL device\n");
        return;
    }
    engine.setYuvType(IMAGE_FORMAT_TYPE_NV21);
    engine.fuseHvcParam(0, 0, 0);
    engine.setDstYuv(frame.data(), -1);
    engine.setClaheLut(frame.data());
    report("table of tiles (host)", size, medianMs(runs, [&] { engine.setClaheLut(frame.data()); }));
    // The host's mask, of the frame's size, and a queue with a clock.
    const RoiInfo mask = {roi.width, roi.height, roi.width * 4, roi.height};
    const std::vector<float> weights(
        static_cast<std::size_t>(roi.width) * static_cast<std::size_t>(roi.height), 0.5F);
    engine.m_iMaskSource = huevance::kMaskHost;
    engine.setExtParam("portraitMaskRoiInfo", &mask);
    engine.setExtParam("portraitMaskPointer", weights.data());
    clFinish(engine.m_queue.get());
    *engine.m_queue.out() =
        clCreateCommandQueue(engine.m_context.get(), engine.m_device, CL_QUEUE_PROFILING_ENABLE, nullptr);
    for (const StageCase& stage : kStages) {
        engine.setYuvType(stage.type);
        int result = 0;
        const double ms = medianMs(runs, [&] {
            engine.m_index.resetIndex();
            result |= stage.run(engine);
            clFinish(engine.m_queue.get());
        });
        if (result != 0) {
            std::fprintf(stderr, "%-34s cannot be launched here\n", stage.name);
            continue;
        }
        report(stage.name, size, ms);
        reportDevice(size, deviceMs(engine, stage.kernel, runs), stage.bytes, bandwidth);
    }
    engine.getDstYuv(frame.data());
    engine.releaseAll();
}

void frames(test::TuningDir& dir, const bench::Size& size, int runs) {
    const RoiInfo roi = bench::cameraRoi(size, 8);
    const std::vector<unsigned char> picture = bench::photograph(roi, 8);
    std::vector<unsigned char> frame = picture;
    const auto plain = bench::previewPipelines().front().make();
    CHuevanceFrame_GPU gpu;
    gpu.setDataBit(8);
    gpu.setCachePath(dir.mutablePath());
    plain->open(dir.path(), roi, 8);
    if (gpu.malloc(dir.mutablePath(), roi) != 0) {
        std::fprintf(stderr, "no OpenCL device\n");
        return;
    }
    // In turns, so that a slow moment of the machine hits both.
    double plainMs = 0;
    std::vector<double> ratios;
    std::vector<double> gpuMs;
    for (int round = 0; round < 5; ++round) {
        const auto time = [&](auto process) {
            return medianMs(runs, [&] {
                std::memcpy(frame.data(), picture.data(), picture.size());
                process();
            });
        };
        plainMs = time([&] { plain->process(frame.data(), IMAGE_FORMAT_TYPE_NV21); });
        gpuMs.push_back(time([&] { gpu.process(frame.data(), -1, IMAGE_FORMAT_TYPE_NV21, 0); }));
        ratios.push_back(plainMs / gpuMs.back());
    }
    std::sort(ratios.begin(), ratios.end());
    std::sort(gpuMs.begin(), gpuMs.end());
    report("plain preview, one thread", size, plainMs);
    report("GPU preview", size, gpuMs[gpuMs.size() / 2]);
    std::fprintf(stderr, "%-34s %9s %8.2f\n", "plain / GPU (median of rounds)", size.text().c_str(),
                 ratios[ratios.size() / 2]);
    plain->close();
    gpu.free();
}

// Runs this program with --first-frame, the driver's own cache empty (PoCL's; other drivers have theirs
// elsewhere or none).
void runWithNewDriverCache(const bench::Size& size, const test::TuningDir& dir, bool quiet) {
    const test::TuningDir driverCache;
    setenv("POCL_CACHE_DIR", driverCache.path().c_str(), 1);
    std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    std::string option = "--first-frame", text = size.text(), path = dir.path();
    char* arguments[] = {self.data(), option.data(), text.data(), path.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (quiet) {
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = 0;
    if (posix_spawn(&child, self.c_str(), &actions, nullptr, arguments, environ) == 0) {
        waitpid(child, nullptr, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
    unsetenv("POCL_CACHE_DIR");
}

// The first frame of a stream, with the library's kernel cache as another process left it that never ran a
// kernel before it was written: PoCL puts what it has compiled until then into a program's binary.
void firstFrame(const bench::Size& size) {
    const test::TuningDir dir;
    writeTuning(dir);
    runWithNewDriverCache(size, dir, true);
    runWithNewDriverCache(size, dir, false);
}

void reportFirstFrame(const bench::Size& size, std::string path) {
    const RoiInfo roi = bench::cameraRoi(size, 8);
    std::vector<unsigned char> frame = bench::photograph(roi, 8);
    CHuevanceFrame_GPU gpu;
    gpu.setDataBit(8);
    gpu.setCachePath(path.data());
    const auto once = [](auto run) {
        const auto start = std::chrono::steady_clock::now();
        run();
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    };
    const auto process = [&] { gpu.process(frame.data(), -1, IMAGE_FORMAT_TYPE_NV21, 0); };
    int result = 0;
    const double setUp = once([&] { result = gpu.malloc(path.data(), roi); });
    if (result != 0) {
        std::fprintf(stderr, "no OpenCL device\n");
        return;
    }
    const double first = once(process);
    const double median = medianMs(15, process);
    report("set-up, driver's cache empty", size, setUp);
    report("first frame, driver's cache empty", size, first);
    std::fprintf(stderr, "%-34s %9s %8.1f\n", "first frame / median", size.text().c_str(), first / median);
    gpu.free();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string option = argc > 1 ? argv[1] : "";
    const bool dry = option == "--dry-run";
    const double bandwidth = option == "--bandwidth" && argc > 2 ? std::atof(argv[2]) : 0;
    bench::silenceLibrary();
    // Where the device is this machine's processor, one worker a core: short kernels are over before the
    // system's scheduler moves two workers apart that it woke on one core.
    setenv("POCL_AFFINITY", "1", 0);
    if (option == "--first-frame" && argc > 3) {
        reportFirstFrame(bench::parseSize(argv[2]), argv[3]);
        return 0;
    }
    test::TuningDir dir;
    writeTuning(dir);
    const std::vector<bench::Size> sizes =
        dry ? std::vector<bench::Size>{{32, 24}}
            : std::vector<bench::Size>{{1280, 720}, {1920, 1080}, {3840, 2160}};
    for (const bench::Size& size : sizes) {
        stages(dir, size, dry ? 1 : 15, bandwidth);
        frames(dir, size, dry ? 1 : 9);
        firstFrame(size);
    }
    return 0;
}
