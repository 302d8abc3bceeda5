// Every kernel of every table, the capture and preview chains, and two yardsticks, at the sizes that matter.
//
// Captures are measured through the back end's pipeline object, as a host drives it: a capture includes
// reading its scene's four small files (the "fixed" case, a frame of 32 x 24, shows how little that is) and
// excludes set-up. Frames are reset to the photograph outside the timing. huevance_bench --dry-run runs every
// case once on a tiny frame.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/Picture.h"
#include "bench/Pipelines.h"
#include "bench/Workload.h"
#include "bench/Yardsticks.h"
#include "core/Buffer.h"
#include "core/Geometry.h"

namespace {

using bench::cameraFormat;
using bench::cameraRoi;
using bench::FullTuning;
using bench::Size;
using huevance::KernelTable;

constexpr int kGridWidth = 8;
constexpr int kGridHeight = 6;
constexpr int kSampRate = 4;

// Everything that the kernels of one size and depth work on, made by the reference.
struct Workspace {
    Workspace(const Size& size, int bits);

    unsigned char* frame8() { return frame.data(); }
    unsigned short* frame16() { return reinterpret_cast<unsigned short*>(frame.data()); }
    const unsigned char* input8() const { return input.data(); }
    const unsigned short* input16() const { return reinterpret_cast<const unsigned short*>(input.data()); }
    void reset() { std::memcpy(frame.data(), start.data(), start.size()); }

    int dataBit;
    int bins;
    RoiInfo roi;
    RoiInfo roi8;  // of the 8-bit frame or working copy
    RoiInfo maskRoi;
    IMAGE_FORMAT_TYPE format;
    huevance::TileGeometry tile;
    std::vector<unsigned char> input;  // the photograph
    std::vector<unsigned char> start;  // the same with its luma equalised: what every run starts from
    std::vector<unsigned char> frame;
    std::vector<unsigned char> copy8;  // the photograph in 8 bits
    std::vector<float> mask, hist, gridLut, gridLut8, yCurve, uvCurve, colorLut;
};

Workspace::Workspace(const Size& size, int bits)
    : dataBit(bits),
      bins(1 << bits),
      roi(cameraRoi(size, bits)),
      roi8(cameraRoi(size, 8)),
      maskRoi(huevance::skinMaskRoi(roi8)),
      format(cameraFormat(bits)),
      tile(huevance::tileGeometry(roi8, kGridWidth, kGridHeight, kSampRate)),
      input(bench::photograph(roi, bits)),
      start(input),
      frame(input),
      copy8(bits == 8 ? input : std::vector<unsigned char>(huevance::frameBytes(roi8))),
      mask(static_cast<std::size_t>(maskRoi.stride / 4) * static_cast<std::size_t>(maskRoi.height)),
      hist(kGridWidth * kGridHeight * huevance::kBins8),
      gridLut(static_cast<std::size_t>(kGridWidth * kGridHeight * bins)),
      gridLut8(hist.size()),
      yCurve(static_cast<std::size_t>(bins)),
      uvCurve(yCurve.size()),
      colorLut(huevance::kColorLutFloats) {
    const KernelTable& plain = huevance::referenceKernels();
    auto* start16 = reinterpret_cast<unsigned short*>(start.data());
    if (bits != 8) {
        plain.rightBitShift_16u8u(start16, roi, copy8.data(), roi8, bits - 8);
    }
    plain.computeClaheLut(copy8.data(), roi8, hist.data(), gridLut8.data(), kSampRate, kGridWidth,
                          kGridHeight, tile.tileWidth, tile.tileHeight, FullTuning::kClaheStrength);
    plain.skinColorDetect(copy8.data(), roi8, format, mask.data(), maskRoi);
    float uvCurve8[huevance::kBins8];
    huevance::buildUvCurve(FullTuning::kSatStrength, uvCurve8);
    if (bits == 8) {
        gridLut = gridLut8;
        plain.claheMap_8u(start.data(), roi, gridLut.data(), bins, tile.tileWidth, tile.tileHeight,
                          kGridWidth, kGridHeight);
        yCurve = FullTuning::curve();
        uvCurve.assign(std::begin(uvCurve8), std::end(uvCurve8));
        colorLut = FullTuning::colorLut();
    } else {
        plain.resizeClaheLut(gridLut8.data(), huevance::kBins8, gridLut.data(), bins, kGridWidth,
                             kGridHeight);
        plain.claheMap_16u(start16, roi, gridLut.data(), bins, tile.tileWidth, tile.tileHeight, kGridWidth,
                           kGridHeight);
        huevance::resizeCurveLut(FullTuning::curve().data(), huevance::kBins8, yCurve.data(), bins);
        huevance::resizeCurveLut(uvCurve8, huevance::kBins8, uvCurve.data(), bins);
        huevance::convertColorLut(FullTuning::colorLut().data(), huevance::kBins8, colorLut.data(), bins,
                                  huevance::kColorLutFloats);
    }
}

struct KernelCase {
    const char* name;
    int dataBit;
    bool inPlace;  // whether a run changes what the next one reads
    void (*run)(const KernelTable& kernels, Workspace& w);
};
constexpr bool kInPlace = true;
constexpr bool kReadOnly = false;

constexpr KernelCase kKernelCases[] = {
    {"computeClaheLut", 8, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.computeClaheLut(w.frame8(), w.roi, w.hist.data(), w.gridLut8.data(), kSampRate, kGridWidth,
                           kGridHeight, w.tile.tileWidth, w.tile.tileHeight, FullTuning::kClaheStrength);
     }},
    {"claheMap_8u", 8, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.claheMap_8u(w.frame8(), w.roi, w.gridLut.data(), w.bins, w.tile.tileWidth, w.tile.tileHeight,
                       kGridWidth, kGridHeight);
     }},
    {"curveMap_8u", 8, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.curveMap_8u(w.frame8(), w.roi, w.yCurve.data(), w.uvCurve.data(), w.bins);
     }},
    {"colorCorrect_8u", 8, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.colorCorrect_8u(w.input8(), w.roi, w.frame8(), w.roi, w.format, w.bins);
     }},
    {"colorMap_8u", 8, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.colorMap_8u(w.frame8(), w.roi, w.format, w.bins, w.colorLut.data(), huevance::kLatticeSize,
                       FullTuning::kColorStrength);
     }},
    {"skinColorDetect", 8, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.skinColorDetect(w.frame8(), w.roi, w.format, w.mask.data(), w.maskRoi);
     }},
    {"portraitProtect_8u", 8, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.portraitProtect_8u(w.input8(), w.roi, w.frame8(), w.roi, w.mask.data(), w.maskRoi);
     }},
    {"resizeClaheLut", 10, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.resizeClaheLut(w.gridLut8.data(), huevance::kBins8, w.gridLut.data(), w.bins, kGridWidth,
                          kGridHeight);
     }},
    {"claheMap_16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.claheMap_16u(w.frame16(), w.roi, w.gridLut.data(), w.bins, w.tile.tileWidth, w.tile.tileHeight,
                        kGridWidth, kGridHeight);
     }},
    {"curveMap_16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.curveMap_16u(w.frame16(), w.roi, w.yCurve.data(), w.uvCurve.data(), w.bins);
     }},
    {"colorCorrect_16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.colorCorrect_16u(w.input16(), w.roi, w.frame16(), w.roi, w.format, w.bins);
     }},
    {"colorMap_16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.colorMap_16u(w.frame16(), w.roi, w.format, w.bins, w.colorLut.data(), huevance::kLatticeSize,
                        FullTuning::kColorStrength);
     }},
    {"portraitProtect_16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.portraitProtect_16u(w.input16(), w.roi, w.frame16(), w.roi, w.mask.data(), w.maskRoi);
     }},
    {"covertYuv_16u8u", 10, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.covertYuv_16u8u(w.input16(), w.roi, w.copy8.data(), w.roi8);
     }},
    {"covertYuv_8u16u", 10, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.covertYuv_8u16u(w.copy8.data(), w.roi8, w.frame16(), w.roi);
     }},
    {"leftBitShift_8u16u", 10, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.leftBitShift_8u16u(w.copy8.data(), w.roi8, w.frame16(), w.roi, 2);
     }},
    {"rightBitShift_16u8u", 10, kReadOnly,
     [](const KernelTable& k, Workspace& w) {
         k.rightBitShift_16u8u(w.input16(), w.roi, w.copy8.data(), w.roi8, 2);
     }},
    {"leftBitShift_16u16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.leftBitShift_16u16u(w.frame16(), w.roi, w.frame16(), w.roi, 6);
     }},
    {"rightBitShift_16u16u", 10, kInPlace,
     [](const KernelTable& k, Workspace& w) {
         k.rightBitShift_16u16u(w.frame16(), w.roi, w.frame16(), w.roi, 6);
     }},
};

#define HUEVANCE_BENCH_COUNT(name) +1
static_assert(std::size(kKernelCases) == 0 HUEVANCE_KERNELS(HUEVANCE_BENCH_COUNT),
              "a kernel is not measured");
#undef HUEVANCE_BENCH_COUNT

// Only the workspace in use is kept: cases of one size and depth follow each other.
Workspace& workspace(const Size& size, int dataBit) {
    static std::unique_ptr<Workspace> current;
    if (!current || current->dataBit != dataBit || current->roi.width != size.width ||
        current->roi.height != size.height) {
        current.reset();
        current = std::make_unique<Workspace>(size, dataBit);
    }
    return *current;
}

// Seconds for one luma pixel.
void countPixels(benchmark::State& state, const Size& size) {
    state.counters["per_pixel"] = benchmark::Counter(
        size.pixels(), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <typename Run>
void measure(benchmark::State& state, const Size& size, Run run) {
    for ([[maybe_unused]] auto _ : state) {
        run();
    }
    countPixels(state, size);
}

// With `reset` before every run, outside the timing.
template <typename Reset, typename Run>
void measure(benchmark::State& state, const Size& size, Reset reset, Run run) {
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        reset();
        state.ResumeTiming();
        run();
    }
    countPixels(state, size);
}

void runKernel(benchmark::State& state, const KernelCase& kernel, const KernelTable& table,
               const Size& size) {
    Workspace& w = workspace(size, kernel.dataBit);
    const auto run = [&] { kernel.run(table, w); };
    if (kernel.inPlace) {
        measure(
            state, size, [&] { w.reset(); }, run);
    } else {
        w.reset();
        measure(state, size, run);
    }
}

void runChain(benchmark::State& state, const bench::PipelineEntry& entry, const Size& size, int dataBit) {
    const FullTuning tuning;
    Workspace& w = workspace(size, dataBit);
    const auto pipeline = entry.make();
    pipeline->open(tuning.path(), w.roi, dataBit);
    measure(
        state, size, [&] { w.frame = w.input; }, [&] { pipeline->process(w.frame.data(), w.format); });
    pipeline->close();
}

void runYardstick(benchmark::State& state,
                  std::unique_ptr<bench::Yardstick> (*make)(const unsigned char*, const RoiInfo&),
                  const Size& size) {
    Workspace& w = workspace(size, 8);
    const auto yardstick = make(w.input8(), w.roi);
    measure(state, size, [&] { yardstick->run(); });
}

template <typename Function, typename... Args>
void add(bool once, const std::string& name, Function function, Args... args) {
    auto* added = benchmark::RegisterBenchmark(name.c_str(), function, args...);
    added->Unit(benchmark::kMillisecond);
    if (once) {
        added->Iterations(1);
    }
}

// The parts of a benchmark's name, "/" between them.
std::string named(std::initializer_list<std::string> parts) {
    std::string name;
    for (const std::string& part : parts) {
        name.append(name.empty() ? "" : "/").append(part);
    }
    return name;
}

void addChains(bool once, const Size& size, int dataBit, const std::string& suffix) {
    for (const bench::PipelineEntry& entry : bench::capturePipelines()) {
        add(once, named({"capture", entry.name, suffix}), runChain, entry, size, dataBit);
    }
    for (const bench::PipelineEntry& entry : bench::previewPipelines()) {
        add(once, named({"preview", entry.name, suffix}), runChain, entry, size, dataBit);
    }
}

void addSize(bool once, const Size& size) {
    for (const int dataBit : {8, 10}) {
        const std::string suffix = named({size.text(), std::to_string(dataBit) + "bit"});
        for (const KernelCase& kernel : kKernelCases) {
            if (kernel.dataBit == dataBit) {
                for (const bench::KernelEntry& table : bench::kernelTables()) {
                    add(once, named({kernel.name, table.name, suffix}), runKernel, kernel, table.kernels(),
                        size);
                }
            }
        }
        addChains(once, size, dataBit, suffix);
        if (dataBit == 8) {
            add(once, named({"yardstick", "OpenCV_CLAHE", suffix}), runYardstick, &bench::openCvClahe, size);
            add(once, named({"yardstick", "FFmpeg_lut3d", suffix}), runYardstick, &bench::ffmpegLut3d, size);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    bool dryRun = false;
    if (argc > 1 && std::strcmp(argv[1], "--dry-run") == 0) {
        dryRun = true;
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    bench::silenceLibrary();
    if (dryRun) {
        addSize(true, {64, 48});
    } else {
        addSize(false, {1920, 1080});
        addSize(false, {4000, 3000});
        addChains(false, {32, 24}, 8, "32x24/8bit_fixed_cost");
    }
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}
