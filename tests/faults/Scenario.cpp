#include "tests/faults/Scenario.h"

#include <gtest/gtest.h>
#include <sim/gl.h>
#include <sim/log.h>
#include <sim/opencl.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <numeric>

#include "tests/faults/Calls.h"
#include "tests/support/HostRecords.h"
#include "tests/support/Rig.h"

namespace faults {

namespace {

// Lines at error priority. A sink that allocates would fail with the library.
int g_errors = 0;
void countErrors(void*, int priority, const char*, const char*) { g_errors += priority >= 6 ? 1 : 0; }

RoiInfo withStride(RoiInfo roi, int bytes) {
    roi.stride = roi.stride > 0 ? roi.stride : (roi.width + 4) * bytes;
    return roi;
}

constexpr int kScenes[Life::kFrames] = {1, 0, 0};

int seconds() {
    const char* text = std::getenv("HUEVANCE_SWEEP_SECONDS");
    return text != nullptr ? std::atoi(text) : 1;
}

}  // namespace

std::vector<BackEnd> ofOneSharedMemory() {
    std::vector<BackEnd> list(std::begin(kBackEnds), std::end(kBackEnds));
    std::erase_if(list, [](const BackEnd& backEnd) { return backEnd.svm != 1; });
    return list;
}

int spread(std::size_t count, const std::function<void(std::size_t)>& tryOne, bool all) {
    std::size_t step = count * 618 / 1000 + 1;
    while (std::gcd(step, count) > 1) {
        ++step;
    }
    std::vector<std::size_t> order;
    std::vector<bool> taken(count);
    for (std::size_t i = 0; i < count; ++i) {
        for (const std::size_t pick : {i, i * step % count}) {
            if (!taken[pick]) {
                order.push_back(pick);
                taken[pick] = true;
            }
        }
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds());
    int tried = 0;
    for (std::size_t i = 0; i < count && !testing::Test::HasFatalFailure(); ++i, ++tried) {
        if (!all && seconds() > 0 && std::chrono::steady_clock::now() > end) {
            break;
        }
        tryOne(order[i]);
    }
    return tried;
}

bool canRun(const BackEnd& backEnd) {
    const bool can = backEnd.isGpu()   ? sim_opencl_available() != 0
                     : backEnd.isOgl() ? sim_gl_available() != 0
                                       : true;
#ifdef HUEVANCE_REQUIRE_DRIVERS
    EXPECT_TRUE(can) << "no driver: `scripts/setup.sh drivers` installs one";
#endif
    return can;
}

Scenario::Scenario(const BackEnd& backEnd, RoiInfo size)
    : roi(withStride(size, backEnd.bytes())),
      dataBit(backEnd.bits),
      m_backEnd(backEnd),
      m_frame(roi, backEnd.bytes()) {
    get_algo_api(&m_api);
    sim_log_set_sink(countErrors, nullptr);
    dir.writePlatform(backEnd.platform, m_cache.path());
    std::vector<model::Tuning> tables = {rig::makeTuning(1, 31), rig::makeTuning(2, 31)};
    for (model::Tuning& table : tables) {
        table.grid = {3, 2, 2};
        table.maskSource = backEnd.hostMask() ? 1 : 2;
    }
    rig::write(dir, tables, {{"transFrameNum", "2"}, {"photo", "1"}, {"frame", "1"}});
    setDumpFolder(m_dumps.path());
    if (backEnd.hostMask()) {
        m_cells.assign(static_cast<std::size_t>(roi.width * roi.height), 0.5F);
        mask = m_cells.data();
        maskRoi = {roi.width, roi.height, 4 * roi.width, roi.height};
    }
    m_frame.fill(test::Content::kPhotoLike, 256);
    m_before = m_frame.copyBytes();
    if (backEnd.isOgl()) {
        for (auto& output : m_outputs) {
            output = std::make_unique<test::DeviceBuffer>(roi.width, roi.height, backEnd.format);
            output->fill(7);
        }
        m_outputBefore = m_outputs[0]->copy();
    }
}

Scenario::~Scenario() { sim_log_set_sink(nullptr, nullptr); }

int Scenario::setUp(void** handle) {
    InitParam init = test::initParam(dir, m_backEnd.mode, roi);
    init.dataBit = dataBit;
    init.portraitMaskRoi = maskRoi;
    init.portraitMask = mask;
    sim_opencl_set_svm_level(m_backEnd.svm);
    const Inside inside;
    return m_api.algoInitHandle(handle, &init);
}

int Scenario::process(void* handle, int scene, Life& life, int frame) {
    m_frame.restore(m_before);
    test::DeviceBuffer* const output = m_outputs[frame % 2].get();
    const test::DeviceBuffer* const other = m_outputs[1 - frame % 2].get();
    const std::vector<unsigned char> otherBefore = other != nullptr ? other->copy() : m_before;
    if (output != nullptr) {
        output->fill(7);
    }
    Image image = test::hostImage(m_frame.data(), m_backEnd.format, roi);
    image.planes[3].data = output != nullptr ? output->get() : nullptr;
    const int errors = g_errors;
    {
        const Inside inside;
        life.codes[frame] = m_api.singleProcessImage(handle, &image, &scene, nullptr);
    }
    life.errors[frame + 1] = g_errors - errors;
    const std::vector<unsigned char> input = m_frame.copyBytes();
    life.pictures[frame] = output != nullptr ? output->copy() : input;
    life.touched[frame] =
        input != m_before || (output != nullptr && life.pictures[frame] != m_outputBefore);
    life.padded[frame] = !m_frame.paddingUntouched();
    life.strayed[frame] = other != nullptr && other->copy() != otherBefore;
    return life.codes[frame];
}

int Scenario::release(void* handle) {
    const Inside inside;
    return m_api.releaseHandle(handle, nullptr);
}

Life Scenario::live() {
    for (const auto& file : std::filesystem::directory_iterator(m_dumps.path())) {
        std::filesystem::remove(file);  // a file that is there takes its time to be written anew
    }
    Life life;
    void* handle = nullptr;
    const int errors = g_errors;
    try {
        life.setUp = setUp(&handle);
        life.errors[0] = g_errors - errors;
        for (int i = 0; i < frames && handle != nullptr; ++i) {
            process(handle, kScenes[i], life, i);
        }
        life.release = handle != nullptr ? release(handle) : 0;
    } catch (...) {
        life.threw = true;
    }
    return life;
}

std::string Scenario::alive() const {
    const auto files = std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                     std::filesystem::directory_iterator());
    const std::string gl = m_backEnd.isOgl() ? test::aliveOnDevice() : "";
    const int cl = m_backEnd.isGpu() ? sim_opencl_live(nullptr) : 0;
    return std::to_string(files) + " files " + std::to_string(cl) + " of OpenCL " + gl;
}

std::string Scenario::complaint(const Life& life, const Life& reference, Duty duty) const {
    if (life.threw) {
        return "an exception left the library";
    }
    if (life.setUp != 0) {
        return life.setUp == 65535 && life.errors[0] > 0 ? "" : "set-up failed without a line";
    }
    bool reported = duty == Duty::kNothing || life.errors[0] > reference.errors[0];
    bool refused = false;
    for (int i = 0; i < frames; ++i) {
        const std::string which = "frame " + std::to_string(i) + ": ";
        const int code = life.codes[i];
        if (code != 0 && code != -1) {
            return which + "answered " + std::to_string(code);
        }
        if (life.padded[i] || (life.strayed[i] && duty != Duty::kNothing)) {
            return which + (life.padded[i] ? "padding written" : "drawn into another output");
        }
        const bool more = life.errors[i + 1] > reference.errors[i + 1];
        // A draw that failed, and said so, may have reached its output. Those after it are not tried, unless
        // a driver that lied makes them fail, too.
        const bool drawn = m_backEnd.isOgl() && more && (!refused || duty == Duty::kNothing);
        const bool touched = life.touched[i] && !drawn;
        if (code == -1 && (touched || !(more || duty == Duty::kNothing))) {
            return which + (touched ? "touched, with -1" : "refused without a line");
        }
        reported = reported || more;
        refused = refused || code != 0;  // later frames are another step of the fade
        const bool answered = reported && (refused || duty != Duty::kRefusal);
        if (code == 0 && !answered && life.pictures[i] != reference.pictures[i]) {
            return which + "another picture, without a line";
        }
    }
    return "";
}

}  // namespace faults
