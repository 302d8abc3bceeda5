// The name "OGL" through the sixteen entries: dispatch and its words, handles that share the process's
// display.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <functional>

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
    HandlesTest() {
        get_algo_api(&m_api);
        m_frame.fill(test::Content::kPhotoLike, 256);
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
    test::OglTuning m_tuning{{{"transFrameNum", "7"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}}};
    test::Frame m_frame{kRoi, 1};
    test::DeviceBuffer m_out{kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV21};
    AlgoApi m_api = {};
};

TEST_F(HandlesTest, DispatchSaysHowEachStepWent) {
    char name[] = "OGL";
    char cache[] = "";
    char key[] = "unknown";
    ExtParam param = {key, nullptr};
    Image frame = image(m_out.get());
    Image withoutBuffer = image(nullptr);
    void* handle = nullptr;
    const auto made = [&](int result) {
        EXPECT_EQ(handle == nullptr, result != 0);
        return result;
    };
    const auto photoMalloc = [&] {
        return made(HuevancePhotoMalloc(name, m_tuning.path(), kRoi, 8, &handle));
    };
    const auto frameMalloc = [&] {
        return made(HuevanceFrameMalloc(name, m_tuning.path(), kRoi, 8, cache, &handle));
    };
    struct Step {
        std::function<int()> act;
        int result;
        std::string said;  // a pattern; dispatch ends its lines itself
        bool faulty = false;
    };
    const std::string captureTime = "I HVCapture Huevance in OGL run time is [0-9]+\\.[0-9][0-9]ms\n";
    const std::string previewTime = "I preview on GPU run time is [0-9]+\\.[0-9][0-9]ms\n";
    const Step kSteps[] = {
        {photoMalloc, 0, "I HuevancePhotoMalloc_OGL succeeded!\n"},
        {[&] { return HuevancePhotoSetExtParam(name, handle, &param); }, 0,
         "I HuevancePhotoSetExtParam_OGL succeeded!\n"},
        {[&] { return HuevancePhotoSetExtParam(name, handle, nullptr); }, -1,
         "E HuevancePhotoSetExtParam_OGL failed!\n"},
        {[&] { return HuevancePhotoProcess(name, handle, &withoutBuffer, 1); }, 0, ""},
        {[&] { return HuevancePhotoProcess(name, handle, &frame, 1); }, 0,
         captureTime + "I HuevancePhotoProcess_OGL succeeded!\n"},
        {[&] { return HuevancePhotoProcess(name, handle, &frame, 512); }, -1,
         captureTime + "E HuevancePhotoProcess_OGL failed!\n"},
        {[&] { return HuevancePhotoSetExtParam(name, handle, &param); }, -1,
         "E HuevancePhotoSetExtParam_OGL failed!\n", true},
        {[&] { return HuevancePhotoFree(name, handle); }, 0, "I HuevanceFree succeeded!\n"},
        {[&] { return HuevancePhotoFree(name, nullptr); }, -1, "E HuevanceFree failed! HvcHandle is NULL!\n"},
        {photoMalloc, -1, "E HuevancePhotoMalloc_OGL failed!\n", true},
        // Previews never report a parameter's failure, and say nothing of a frame that went well.
        {frameMalloc, 0, "I HuevanceFrameMalloc_OGL succeeded!\n"},
        {[&] { return HuevanceFrameSetExtParam(name, handle, &param); }, 0,
         "I HuevanceFrameSetExtParam_OGL succeeded!\n"},
        {[&] { return HuevanceFrameSetExtParam(name, handle, nullptr); }, 0,
         "E HuevanceFrameSetExtParam_OGL failed!\n"},
        {[&] { return HuevanceFrameProcess(name, handle, &frame, 1); }, 0, previewTime},
        {[&] { return HuevanceFrameProcess(name, handle, &withoutBuffer, 1); }, -1,
         previewTime + "E HuevanceFrameProcess_OGL failed!\n"},
        {[&] { return HuevanceFrameSetExtParam(name, handle, &param); }, 0,
         "E HuevanceFrameSetExtParam_OGL failed!\n", true},
        {[&] { return HuevanceFrameFree(name, handle); }, 0, "I HuevanceFrameFree_OGL succeeded!\n"},
        {[&] { return HuevanceFrameFree(name, nullptr); }, -1,
         "E HuevanceFrameFree_OGL failed! HvcHandle is NULL!\n"},
        {frameMalloc, -1, "E HuevanceFrameMalloc_OGL failed!\n", true}};
    for (const Step& step : kSteps) {
        test::LogCapture log;
        sim_gl_fail("eglMakeCurrent", step.faulty ? 1 : 0, EGL_BAD_ACCESS);
        EXPECT_EQ(step.act(), step.result);
        std::string lines;
        for (const test::LogLine& line : log.lines()) {
            if (line.tag == test::kVersionTag && line.text.back() == '\n') {
                lines += (line.priority == test::kInfo ? "I " : "E ") + line.text;
            }
        }
        EXPECT_THAT(lines, testing::MatchesRegex(step.said));
    }
}

// A capture's handle and two previews', created in every order and released in every other. The display is
// the process's: whoever goes first must not take it from the others.
TEST_F(HandlesTest, LiveAndGoInAnyOrder) {
    std::vector<unsigned char> reference;
    const auto expectAlive = [&](void* handle) {
        m_out.fill(0);
        EXPECT_EQ(process(handle, m_out.get()), 0);
        reference = reference.empty() ? m_out.copy() : reference;
        EXPECT_EQ(m_out.copy(), reference);
        EXPECT_EQ(m_api.isSupportFormat(handle, 5), 1);
        EXPECT_EQ(m_api.isSupportFormat(handle, 9), 0);
    };
    for (const std::size_t captureAt : {0, 1, 2}) {
        std::array<std::size_t, 3> released = {0, 1, 2};
        do {
            sim_gl_reset();
            std::array<void*, 3> handles = {};
            for (std::size_t i = 0; i < 3; ++i) {
                handles[i] = create(i == captureAt ? kPhotoMode : kFrameMode);
            }
            for (std::size_t gone = 0; gone < 3; ++gone) {
                std::for_each(released.begin() + gone, released.end(),
                              [&](std::size_t i) { expectAlive(handles[i]); });
                EXPECT_EQ(sim_gl_calls("eglTerminate"), 0);
                EXPECT_EQ(m_api.releaseHandle(handles[released[gone]], nullptr), 0);
            }
            EXPECT_EQ(sim_gl_live(nullptr), 0);
            // One for each eglInitialize, for displays that count.
            EXPECT_EQ(sim_gl_calls("eglTerminate"), 3);
            EXPECT_EQ(sim_gl_calls("eglInitialize"), 3);
        } while (std::next_permutation(released.begin(), released.end()));
    }
}

}  // namespace
