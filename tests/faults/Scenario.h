// One life of a handle, as a host leads it through the table of entries: set-up, frames with a change of
// scene, release. The same for every back end; what must hold whatever fails in it.
#pragma once

#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "jni/HuevanceAPI.h"
#include "tests/sim/support/DeviceBuffer.h"
#include "tests/support/Frames.h"
#include "tests/support/TuningDir.h"

namespace faults {

struct BackEnd {
    const char* name;
    const char* platform;
    int mode;
    int bits;
    IMAGE_FORMAT_TYPE format;
    int svm = 1;  // the GPU's level of shared virtual memory

    bool isGpu() const { return platform[0] == 'G'; }
    bool hostMask() const { return svm == 2; }
    bool isOgl() const { return platform[0] == 'O'; }
    // All handles of the mode share one engine.
    bool sharesEngine() const { return !isOgl(); }
    int bytes() const { return bits == 8 ? 1 : 2; }
};
inline constexpr BackEnd kBackEnds[] = {
    {"CpuPhoto8", "CPU", kPhotoMode, 8, IMAGE_FORMAT_TYPE_NV21},
    {"CpuPhoto10", "CPU", kPhotoMode, 10, IMAGE_FORMAT_TYPE_YUV16_HIGH},
    {"CpuPreview8", "CPU", kFrameMode, 8, IMAGE_FORMAT_TYPE_NV12},
    {"CpuPreview12", "CPU", kFrameMode, 12, IMAGE_FORMAT_TYPE_YUV16_LOW},
    {"NeonPhoto8", "NEON", kPhotoMode, 8, IMAGE_FORMAT_TYPE_NV12},
    {"NeonPhoto10", "NEON", kPhotoMode, 10, IMAGE_FORMAT_TYPE_YUV16_LOW},
    {"GpuPreview", "GPU", kFrameMode, 8, IMAGE_FORMAT_TYPE_NV21},
    {"GpuPreviewBuffers", "GPU", kFrameMode, 8, IMAGE_FORMAT_TYPE_NV12, 0},
    {"GpuPreviewFineGrain", "GPU", kFrameMode, 8, IMAGE_FORMAT_TYPE_NV12, 2},
    {"GpuPreviewSystem", "GPU", kFrameMode, 8, IMAGE_FORMAT_TYPE_NV21, 3},
    {"OglPhoto", "OGL", kPhotoMode, 8, IMAGE_FORMAT_TYPE_NV21},
    {"OglPreview", "OGL", kFrameMode, 8, IMAGE_FORMAT_TYPE_NV12},
};
// The GPU once.
std::vector<BackEnd> ofOneSharedMemory();
// What hangs for so long ends the program, for alarm().
inline constexpr unsigned kHangSeconds = 120;

// Whether the drivers that it needs are here; where they are required it fails when they are not.
bool canRun(const BackEnd& backEnd);

// Calls tryOne(i) for i = 0 .. count - 1, by turns the next one and one from anywhere, until HUEVANCE_SWEEP_SECONDS are over
// (0: to the end; unset: one second), or `all` of them anyhow. How many were tried.
int spread(std::size_t count, const std::function<void(std::size_t)>& tryOne, bool all = false);

// What one handle did. Nothing in it is allocated while the handle lives.
struct Life {
    static constexpr int kFrames = 3;
    int setUp = 0;
    int release = 0;
    int codes[kFrames] = {};
    int errors[kFrames + 1] = {};  // error lines of the set-up, then of each frame
    bool touched[kFrames] = {};    // the frame or output is not what it was
    bool padded[kFrames] = {};     // bytes beside it were written
    bool strayed[kFrames] = {};    // another frame's output was
    bool threw = false;
    std::vector<unsigned char> pictures[kFrames];

    // Whether there were more error lines.
    bool said(const Life& than) const {
        return std::accumulate(errors, errors + kFrames + 1, 0) >
               std::accumulate(than.errors, than.errors + kFrames + 1, 0);
    }
};

// What a library owes the host for a fault that changes its picture. Nothing where it cannot know: a driver
// that says that it did what it did not, a tuning file that ends early.
enum class Duty { kNothing, kLine, kRefusal };

class Scenario {
public:
    explicit Scenario(const BackEnd& backEnd, RoiInfo size = {32, 24, 0, 26});
    ~Scenario();
    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;

    Life live();
    // The parts of a life.
    int setUp(void** handle);
    int process(void* handle, int scene, Life& life, int frame);
    int release(void* handle);

    // What is alive outside of this process's memory: objects of drivers, descriptors.
    std::string alive() const;
    // What a life must not have done, whatever failed in it; empty: nothing.
    std::string complaint(const Life& life, const Life& reference, Duty duty) const;

    test::TuningDir dir;
    RoiInfo roi;
    int dataBit;
    int frames = Life::kFrames;  // that a life has
    RoiInfo maskRoi = {};
    float* mask = nullptr;

private:
    const BackEnd& m_backEnd;
    AlgoApi m_api = {};
    test::TuningDir m_cache;
    test::TuningDir m_dumps;
    test::Frame m_frame;
    std::unique_ptr<test::DeviceBuffer> m_outputs[2];  // by turns
    std::vector<float> m_cells;
    std::vector<unsigned char> m_before;
    std::vector<unsigned char> m_outputBefore;
};

}  // namespace faults
