// The name "OGL" through the sixteen entries: dispatch and its words, handles that share the process's
// display, and long lives with flat memory, descriptors and objects.
#include <dirent.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "jni/HuevanceAPI.h"
#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/support/HostRecords.h"

namespace {

constexpr RoiInfo kRoi = {32, 24, 32, 24};

class HandlesTest : public test::GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        get_algo_api(&m_api);
        m_frame.fill(test::Content::kPhotoLike, 256);
        m_out = std::make_unique<test::DeviceBuffer>(kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV21);
    }
    void TearDown() override {
        m_out = nullptr;
        GlTest::TearDown();
    }

    void* create(int mode) {
        InitParam init = test::initParam(m_tuning.directory(), mode, kRoi);
        void* handle = nullptr;
        EXPECT_EQ(m_api.algoInitHandle(&handle, &init), 0);
        return handle;
    }
    Image image(void* buffer) {
        Image image = test::hostImage(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
        image.planes[3].data = buffer;
        return image;
    }
    int process(void* handle, void* buffer, int scene = 1) {
        Image frame = image(buffer);
        return m_api.singleProcessImage(handle, &frame, &scene, nullptr);
    }

    // CLAHE and curves alone: short shaders make many handles quick.
    test::OglTuning m_tuning =
        test::OglTuning(test::Settings{{"transFrameNum", "7"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}});
    test::Frame m_frame = test::Frame(kRoi, 1);
    std::unique_ptr<test::DeviceBuffer> m_out;
    AlgoApi m_api = {};
};

TEST_F(HandlesTest, DispatchSaysHowEachStepWent) {
    char name[] = "OGL";
    char cache[] = "";
    char key[] = "unknown";
    ExtParam param = {key, nullptr};
    Image frame = image(m_out->get());
    Image withoutBuffer = image(nullptr);
    void* handle = nullptr;
    struct Step {
        int result, expected;
        std::vector<std::string> said;  // a priority and a pattern each; dispatch ends its lines itself
    };
    test::LogCapture log;
    const auto check = [&](const Step& step) {
        std::vector<std::string> lines;
        for (const test::LogLine& line : log.lines()) {
            if (line.tag == test::kVersionTag && line.text.back() == '\n') {
                lines.push_back((line.priority == test::kInfo ? "I " : "E ") + line.text);
            }
        }
        log.clear();
        EXPECT_EQ(step.result, step.expected);
        ASSERT_EQ(lines.size(), step.said.size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_THAT(lines[i], testing::MatchesRegex(step.said[i] + "\n"));
        }
    };
    const std::string captureTime = "I HVCapture Huevance in OGL run time is [0-9]+\\.[0-9][0-9]ms";
    check({HuevancePhotoMalloc(name, m_tuning.path(), kRoi, 8, &handle),
           0,
           {"I HuevancePhotoMalloc_OGL succeeded!"}});
    check({HuevancePhotoSetExtParam(name, handle, &param), 0, {"I HuevancePhotoSetExtParam_OGL succeeded!"}});
    check({HuevancePhotoSetExtParam(name, handle, nullptr), -1, {"E HuevancePhotoSetExtParam_OGL failed!"}});
    check({HuevancePhotoProcess(name, handle, &withoutBuffer, 1), 0, {}});
    check({HuevancePhotoProcess(name, handle, &frame, 1),
           0,
           {captureTime, "I HuevancePhotoProcess_OGL succeeded!"}});
    check({HuevancePhotoProcess(name, handle, &frame, 99),
           -1,
           {captureTime, "E HuevancePhotoProcess_OGL failed!"}});
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    check({HuevancePhotoSetExtParam(name, handle, &param), -1, {"E HuevancePhotoSetExtParam_OGL failed!"}});
    check({HuevancePhotoFree(name, handle), 0, {"I HuevanceFree succeeded!"}});
    check({HuevancePhotoFree(name, nullptr), -1, {"E HuevanceFree failed! HvcHandle is NULL!"}});
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    check({HuevancePhotoMalloc(name, m_tuning.path(), kRoi, 8, &handle),
           -1,
           {"E HuevancePhotoMalloc_OGL failed!"}});
    EXPECT_EQ(handle, nullptr);

    // Previews never report a parameter's failure, and say nothing of a frame that went well.
    const std::string previewTime = "I preview on GPU run time is [0-9]+\\.[0-9][0-9]ms";
    check({HuevanceFrameMalloc(name, m_tuning.path(), kRoi, 8, cache, &handle),
           0,
           {"I HuevanceFrameMalloc_OGL succeeded!"}});
    check({HuevanceFrameSetExtParam(name, handle, &param), 0, {"I HuevanceFrameSetExtParam_OGL succeeded!"}});
    check({HuevanceFrameSetExtParam(name, handle, nullptr), 0, {"E HuevanceFrameSetExtParam_OGL failed!"}});
    check({HuevanceFrameProcess(name, handle, &frame, 1), 0, {previewTime}});
    check({HuevanceFrameProcess(name, handle, &withoutBuffer, 1),
           -1,
           {previewTime, "E HuevanceFrameProcess_OGL failed!"}});
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    check({HuevanceFrameSetExtParam(name, handle, &param), 0, {"E HuevanceFrameSetExtParam_OGL failed!"}});
    check({HuevanceFrameFree(name, handle), 0, {"I HuevanceFrameFree_OGL succeeded!"}});
    check({HuevanceFrameFree(name, nullptr), -1, {"E HuevanceFrameFree_OGL failed! HvcHandle is NULL!"}});
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    check({HuevanceFrameMalloc(name, m_tuning.path(), kRoi, 8, cache, &handle),
           -1,
           {"E HuevanceFrameMalloc_OGL failed!"}});
    EXPECT_EQ(handle, nullptr);
}

// A capture's handle and two previews', created in every order and released in every other. The display is
// the process's: whoever goes first must not take it from the others.
TEST_F(HandlesTest, LiveAndGoInAnyOrder) {
    std::vector<unsigned char> reference;
    const auto expectAlive = [&](void* handle) {
        m_out->fill(0);
        EXPECT_EQ(process(handle, m_out->get()), 0);
        reference = reference.empty() ? m_out->copy() : reference;
        EXPECT_EQ(m_out->copy(), reference);
        EXPECT_EQ(m_api.isSupportFormat(handle, 5), 1);
        EXPECT_EQ(m_api.isSupportFormat(handle, 9), 0);
    };
    std::array<std::size_t, 3> created = {0, 1, 2};
    do {
        std::array<std::size_t, 3> released = {0, 1, 2};
        do {
            std::array<void*, 3> handles = {};
            for (const std::size_t i : created) {
                handles[i] = create(i == 0 ? kPhotoMode : kFrameMode);
            }
            for (std::size_t gone = 0; gone < 3; ++gone) {
                std::for_each(released.begin() + gone, released.end(),
                              [&](std::size_t i) { expectAlive(handles[i]); });
                EXPECT_EQ(m_api.releaseHandle(handles[released[gone]], nullptr), 0);
            }
            EXPECT_EQ(sim_gl_live(nullptr), 0);
        } while (std::next_permutation(released.begin(), released.end()));
    } while (std::next_permutation(created.begin(), created.end()));
}

// --- Long lives ---

// Descriptors, objects of the device, counted objects.
std::array<int, 3> held() {
    int descriptors = 0;
    DIR* directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr) {
        ++descriptors;
    }
    closedir(directory);
    return {descriptors, sim_gl_live(nullptr), Object::liveObjects()};
}

double residentMegabytes() {
    long pages = 0;
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%*s %ld", &pages) != 1) {
        pages = 0;
    }
    std::fclose(file);
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

// Fewer under sanitizers, which keep what is freed.
#ifdef __SANITIZE_ADDRESS__
constexpr int kHandles = 40;
constexpr int kFrames = 500;
constexpr double kGrowth = 1e9;
#else
constexpr int kHandles = 1000;
constexpr int kFrames = 10000;
constexpr double kGrowth = 24.0;
#endif

// Runs once(i) `count` times; after the first fifth nothing grows.
template <typename Once>
void expectFlat(int count, Once once) {
    test::LogCapture quiet;
    double memory = 0.0;
    std::array<int, 3> before = {};
    for (int i = 0; i < count; ++i) {
        if (i == count / 5) {
            memory = residentMegabytes();
            before = held();
        }
        ASSERT_EQ(once(i), 0);
        quiet.clear();
    }
    EXPECT_EQ(held(), before);
    EXPECT_LT(residentMegabytes() - memory, kGrowth);
}

TEST_F(HandlesTest, ManyHandlesLeaveNothing) {
    expectFlat(kHandles, [&](int i) {
        void* handle = create(i % 2 == 0 ? kPhotoMode : kFrameMode);
        return process(handle, m_out->get()) + m_api.releaseHandle(handle, nullptr);
    });
}

TEST_F(HandlesTest, ManyPreviewFramesLeaveNothing) {
    test::DeviceBuffer second(kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV21);
    void* handle = create(kFrameMode);
    expectFlat(kFrames,
               [&](int i) { return process(handle, i % 2 == 0 ? m_out->get() : second.get(), i / 20 % 3); });
    EXPECT_EQ(m_api.releaseHandle(handle, nullptr), 0);
}

}  // namespace
