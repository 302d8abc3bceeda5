// The GPU preview beside the plain CPU preview, on whatever OpenCL device there is: every stage with its
// kernel finished, and whole frames. Wall-clock time, medians; all of the machine's cores count.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/Picture.h"
#include "bench/Workload.h"
#include "core/ColorLut.h"
#include "cpu/HuevanceFrame_CPU.h"
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

void stages(const test::TuningDir& dir, const bench::Size& size, int runs) {
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
    const struct {
        const char* name;
        int (*run)(CHuevance_GPU&);
    } kernels[] = {
        {"claheMap_kernel", [](CHuevance_GPU& e) { return e.claheMap(); }},
        {"curveMap_kernel", [](CHuevance_GPU& e) { return e.curveMap(); }},
        {"colorCorrect_kernel", [](CHuevance_GPU& e) { return e.colorCorrect(); }},
        {"colorMap_NV21_kernel", [](CHuevance_GPU& e) { return e.colorMap(); }},
        {"skinDetectAndcolorProtect_kernel", [](CHuevance_GPU& e) { return e.portraitProtect(2); }},
    };
    for (const auto& kernel : kernels) {
        report(kernel.name, size, medianMs(runs, [&] {
                   engine.m_index.resetIndex();
                   kernel.run(engine);
                   clFinish(engine.m_queue.get());
               }));
    }
    engine.getDstYuv(frame.data());
    engine.releaseAll();
}

void frames(test::TuningDir& dir, const bench::Size& size, int runs) {
    const RoiInfo roi = bench::cameraRoi(size, 8);
    const std::vector<unsigned char> picture = bench::photograph(roi, 8);
    std::vector<unsigned char> frame = picture;
    CHuevanceFrame_CPU cpu;
    CHuevanceFrame_GPU gpu;
    cpu.setDataBit(8);
    gpu.setDataBit(8);
    gpu.setCachePath(dir.mutablePath());
    if (cpu.malloc(dir.mutablePath(), roi) != 0 || gpu.malloc(dir.mutablePath(), roi) != 0) {
        std::fprintf(stderr, "no OpenCL device\n");
        return;
    }
    // In turns, so that a slow moment of the machine hits both.
    double cpuMs = 0;
    std::vector<double> ratios;
    std::vector<double> gpuMs;
    for (int round = 0; round < 5; ++round) {
        const auto time = [&](auto& pipeline, auto process) {
            return medianMs(runs, [&] {
                std::memcpy(frame.data(), picture.data(), picture.size());
                process(pipeline);
            });
        };
        cpuMs = time(cpu, [&](CHuevanceFrame_CPU& p) { p.process(frame.data(), IMAGE_FORMAT_TYPE_NV21, 0); });
        gpuMs.push_back(time(
            gpu, [&](CHuevanceFrame_GPU& p) { p.process(frame.data(), -1, IMAGE_FORMAT_TYPE_NV21, 0); }));
        ratios.push_back(cpuMs / gpuMs.back());
    }
    std::sort(ratios.begin(), ratios.end());
    std::sort(gpuMs.begin(), gpuMs.end());
    report("plain preview, one thread", size, cpuMs);
    report("GPU preview", size, gpuMs[gpuMs.size() / 2]);
    std::fprintf(stderr, "%-34s %9s %8.2f\n", "plain / GPU (median of rounds)", size.text().c_str(),
                 ratios[ratios.size() / 2]);
    cpu.free();
    gpu.free();
}

}  // namespace

int main(int argc, char** argv) {
    const bool dry = argc > 1 && std::string(argv[1]) == "--dry-run";
    bench::silenceLibrary();
    // Where the device is this machine's processor, one worker a core: short kernels are over before the
    // system's scheduler moves two workers apart that it woke on one core.
    setenv("POCL_AFFINITY", "1", 0);
    test::TuningDir dir;
    writeTuning(dir);
    const std::vector<bench::Size> sizes =
        dry ? std::vector<bench::Size>{{32, 24}}
            : std::vector<bench::Size>{{1280, 720}, {1920, 1080}, {3840, 2160}};
    for (const bench::Size& size : sizes) {
        stages(dir, size, dry ? 1 : 15);
        frames(dir, size, dry ? 1 : 9);
    }
    return 0;
}
