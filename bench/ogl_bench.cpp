// The OpenGL ES back end: set-up, the host's part of a frame, and whole frames, beside the CPU back end's
// CLAHE stage.
#include <benchmark/benchmark.h>
#include <sim/gl.h>
#include <sim/log.h>

#include <memory>

#include "core/Clahe.h"
#include "core/Geometry.h"
#include "ogl/ClaheTable.h"
#include "ogl/HuevanceFrame_OGL.h"
#include "tests/ogl/support/OglTuning.h"

namespace {

struct Size {
    int width, height;
};

Size sizeOf(const benchmark::State& state) {
    return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))};
}

test::Frame makeFrame(const Size& size) {
    test::Frame frame({size.width, size.height, size.width, size.height}, 1);
    frame.fill(test::Content::kPhotoLike, 256);
    return frame;
}

void quiet() {
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
}

void perPixel(benchmark::State& state) {
    const Size size = sizeOf(state);
    state.SetItemsProcessed(state.iterations() * size.width * size.height);
}

void BM_SetUp(benchmark::State& state) {
    quiet();
    test::OglTuning tuning;
    const Size size = sizeOf(state);
    for (auto _ : state) {
        CHuevanceFrame_OGL preview;
        if (preview.init(tuning.path(), {size.width, size.height, size.width, size.height}) != 0) {
            state.SkipWithError("no EGL and OpenGL ES");
            break;
        }
        preview.destroy();
    }
}

// Copies, histogram and tables: what the host's processor does for each frame.
void BM_HostPart(benchmark::State& state) {
    const Size size = sizeOf(state);
    test::Frame frame = makeFrame(size);
    const ogl::ClaheGrid grid = ogl::claheGrid(size.width, size.height, 8, 6);
    std::vector<unsigned char> copy(frame.bytes());
    std::vector<float> hist(48 * 256);
    std::vector<float> table(48 * 256);
    std::vector<unsigned char> lut(48 * 256);
    for (auto _ : state) {
        for (int y = 0; y < size.height * 3 / 2; ++y) {
            std::copy_n(frame.data8() + static_cast<std::ptrdiff_t>(y) * size.width, size.width,
                        copy.data() + static_cast<std::ptrdiff_t>(y) * size.width);
        }
        ogl::getGridHist(copy.data(), size.width, grid, 4, hist.data());
        ogl::gridHist2ClaheLut(hist.data(), grid.tiles(), 1.0F, table.data());
        ogl::smoothClaheLut(table.data(), 8, 6, lut.data());
        benchmark::DoNotOptimize(lut.data());
        benchmark::ClobberMemory();
    }
    perPixel(state);
}

void BM_CpuClaheStage(benchmark::State& state) {
    const Size size = sizeOf(state);
    test::Frame frame = makeFrame(size);
    const RoiInfo roi = frame.roi();
    const huevance::TileGeometry tile = huevance::tileGeometry(roi, 8, 6, 4);
    std::vector<float> hist(48 * 256);
    std::vector<float> lut(48 * 256);
    for (auto _ : state) {
        huevance::computeClaheLut(frame.data8(), roi, hist.data(), lut.data(), 4, 8, 6, tile.tileWidth,
                                  tile.tileHeight, 1.0F);
        huevance::claheMap_8u(frame.data8(), roi, lut.data(), 256, tile.tileWidth, tile.tileHeight, 8, 6);
        benchmark::ClobberMemory();
    }
    perPixel(state);
}

// A whole preview frame: host's part, uploads, draw, and on this simulated device the write-back.
void BM_Frame(benchmark::State& state) {
    quiet();
    test::OglTuning tuning;
    const Size size = sizeOf(state);
    test::Frame frame = makeFrame(size);
    test::DeviceBuffer out(size.width, size.height, IMAGE_FORMAT_TYPE_NV21);
    CHuevanceFrame_OGL preview;
    if (preview.init(tuning.path(), frame.roi()) != 0) {
        state.SkipWithError("no EGL and OpenGL ES");
        return;
    }
    for (auto _ : state) {
        if (preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 1) != 0) {
            state.SkipWithError("process failed");
            break;
        }
    }
    perPixel(state);
    preview.destroy();
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Args({1920, 1080})->Args({4000, 3000})->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_SetUp)->Args({1920, 1080})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostPart)->Apply(sizes);
BENCHMARK(BM_CpuClaheStage)->Apply(sizes);
BENCHMARK(BM_Frame)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
