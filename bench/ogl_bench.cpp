// The OpenGL ES back end step by step, beside the reference kernels ("plain"): set-up, copies, CLAHE table,
// uploads, draw, the simulated device's write-back, and whole preview frames. Wall-clock time, medians. On a
// software driver the draw takes all of the machine's cores and says nothing about a phone; what the host's
// processor does for a frame is the sum of the copies and the table.
#include <sim/gl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/Picture.h"
#include "bench/Pipelines.h"
#include "bench/Workload.h"
#include "core/Clahe.h"
#include "core/Geometry.h"
#include "ogl/HuevanceFrame_OGL.h"
#include "tests/sim/support/DeviceBuffer.h"

namespace {

using bench::Size;

template <typename Run>
double timeMs(Run run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
}

double median(std::vector<double> times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

// One run more than `runs`: the first warms up.
template <typename Run>
double medianMs(int runs, Run run) {
    run();
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        times.push_back(timeMs(run));
    }
    return median(times);
}

double report(const char* what, const Size& size, double ms) {
    std::fprintf(stderr, "%-42s %9s %9.3f ms %8.3f ns/pixel\n", what, size.text().c_str(), ms,
                 ms * 1e6 / size.pixels());
    return ms;
}

enum Step { kCopy, kTable, kUpload, kDraw, kWriteBack, kSteps };
constexpr const char* kStepNames[kSteps] = {"OGL: copy of the planes", "OGL: CLAHE, curve and colour tables",
                                            "OGL: uploads", "OGL: draw",
                                            "OGL: write-back (simulated device's)"};

// The preview pipeline with its steps apart, each finished before the next.
class Steps : public CHuevanceFrame_OGL {
public:
    // Milliseconds of each step of one frame, table 0.
    void run(const unsigned char* frame, AHardwareBuffer* out, double* ms) {
        const GLEngineScope current(m_engine.get());
        if (!m_render) {
            m_render = createRender(IMAGE_FORMAT_TYPE_NV21);
            m_output = importBuffer(out);
        }
        ms[kCopy] = timeMs([&] { copyPlanes(frame); });
        ms[kTable] = timeMs([&] {
            updateClahe();
            fuseCurveLut(0, 0, 0);
            fuseColorLut(0, 0, 0);
        });
        ms[kUpload] = timeMs([&] {
            uploadClahe();
            uploadCurves();
            uploadColors();
            uploadPlanes();
            glFinish();
        });
        // The fence would write the frame back: without it, reading one texel waits for the draw alone.
        sim_gl_time_out_fences(1);
        ms[kDraw] = timeMs([&] {
            draw(*m_render, *m_output);
            unsigned char texel[4];
            glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, texel);
        });
        ms[kWriteBack] = timeMs([] { glFinish(); });
    }

protected:
    void releaseOwn() override {
        m_render = nullptr;
        m_output = nullptr;
        CHuevanceFrame_OGL::releaseOwn();
    }

private:
    smart_pointer<HuevanceRender> m_render;
    smart_pointer<GLTexture2DOES> m_output;
};

// The host's part of a frame.
double oglSteps(bench::FullTuning& tuning, const std::vector<unsigned char>& frame, const RoiInfo& roi,
                const Size& size, int runs) {
    std::string path = tuning.path();
    test::DeviceBuffer out(size.width, size.height, IMAGE_FORMAT_TYPE_NV21);
    report("OGL: set-up and release", size, medianMs(runs, [&] {
               CHuevanceFrame_OGL preview;
               preview.init(path.data(), roi);
               preview.destroy();
           }));
    Steps steps;
    steps.init(path.data(), roi);
    steps.fuseHvcParam(0, 0, 0);
    std::vector<double> times[kSteps];
    for (int i = 0; i <= runs; ++i) {
        double ms[kSteps];
        steps.run(frame.data(), out.get(), ms);
        for (int step = 0; step < kSteps && i > 0; ++step) {  // the first warms up
            times[step].push_back(ms[step]);
        }
    }
    steps.destroy();
    double host = 0;
    for (int step = 0; step < kSteps; ++step) {
        const double ms = report(kStepNames[step], size, median(times[step]));
        host += step == kCopy || step == kTable ? ms : 0;
    }
    CHuevanceFrame_OGL preview;
    preview.init(path.data(), roi);
    std::vector<unsigned char> source = frame;
    report("OGL: whole preview frame, all stages", size,
           medianMs(runs, [&] { preview.process(source.data(), -1, out.get(), IMAGE_FORMAT_TYPE_NV21, 0); }));
    preview.destroy();
    return host;
}

// The CLAHE stage.
double plainSteps(bench::FullTuning& tuning, const std::vector<unsigned char>& picture, const RoiInfo& roi,
                  const Size& size, int runs) {
    const auto plain = bench::capturePipelines().front().make();
    report("plain: set-up and release, capture", size, medianMs(runs, [&] {
               plain->open(tuning.path(), roi, 8);
               plain->close();
           }));
    constexpr int kGridWidth = 8;
    constexpr int kGridHeight = 6;
    const huevance::TileGeometry tile = huevance::tileGeometry(roi, kGridWidth, kGridHeight, 4);
    std::vector<float> hist(kGridWidth * kGridHeight * huevance::kBins8);
    std::vector<float> lut(hist.size());
    std::vector<unsigned char> frame = picture;
    const double table = report(
        "plain: CLAHE table", size, medianMs(runs, [&] {
            huevance::computeClaheLut(frame.data(), roi, hist.data(), lut.data(), 4, kGridWidth, kGridHeight,
                                      tile.tileWidth, tile.tileHeight, bench::FullTuning::kClaheStrength);
        }));
    const double map = report("plain: CLAHE mapping", size, medianMs(runs, [&] {
                                  huevance::claheMap_8u(frame.data(), roi, lut.data(), 256, tile.tileWidth,
                                                        tile.tileHeight, kGridWidth, kGridHeight);
                              }));
    const auto whole = [&](const char* what, const bench::PipelineEntry& entry) {
        const auto pipeline = entry.make();
        pipeline->open(tuning.path(), roi, 8);
        report(what, size, medianMs(runs, [&] { pipeline->process(frame.data(), IMAGE_FORMAT_TYPE_NV21); }));
        pipeline->close();
    };
    whole("plain: whole capture, all stages", bench::capturePipelines().front());
    whole("plain: whole preview frame, its three stages", bench::previewPipelines().front());
    return table + map;
}

}  // namespace

int main(int argc, char** argv) {
    const bool dry = argc > 1 && std::string(argv[1]) == "--dry-run";
    bench::silenceLibrary();
    bench::FullTuning tuning;
    const std::vector<Size> sizes =
        dry ? std::vector<Size>{{64, 48}} : std::vector<Size>{{1920, 1080}, {4000, 3000}};
    for (const Size& size : sizes) {
        const int runs = dry ? 1 : 21;
        const RoiInfo roi = bench::cameraRoi(size, 8);
        const std::vector<unsigned char> frame = bench::photograph(roi, 8);
        const double stage = plainSteps(tuning, frame, roi, size, runs);
        if (sim_gl_available() == 0) {
            std::fprintf(stderr, "no EGL and OpenGL ES\n");
            continue;
        }
        const double host = oglSteps(tuning, frame, roi, size, runs);
        std::fprintf(stderr, "%-42s %9s %9.1f %%\n", "OGL copies and table / plain CLAHE stage",
                     size.text().c_str(), 100 * host / stage);
    }
    return 0;
}
