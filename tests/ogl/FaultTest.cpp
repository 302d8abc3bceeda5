// Every EGL and GL call of both pipelines fails in turn, and every allocation: a clean return each time, and
// nothing is left alive.
#include <gmock/gmock.h>
#include <sim/log.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "tests/ogl/support/Rig.h"
#include "tests/support/Allocations.h"

namespace {

// One in so many, of the calls that only ask for errors; under sanitizers of other frequent ones too.
#ifdef __SANITIZE_ADDRESS__
constexpr int kStep = 5;
#else
constexpr int kStep = 1;
#endif
constexpr int kErrorStep = 9;

template <typename Pipeline>
class FaultTest : public test::GlTest {
protected:
    static constexpr bool kPhoto = test::kIsPhoto<Pipeline>;

    // One life through the entries of dispatch, which no exception may leave: set-up, mask, two frames,
    // release. 0 when all went as it does without faults.
    int live() {
        void* handle = nullptr;
        int result = kPhoto ? HuevancePhotoMalloc_OGL(m_tuning.path(), m_frame.roi(), 8, &handle)
                            : HuevanceFrameMalloc_OGL(m_tuning.path(), m_frame.roi(), 8, nullptr, &handle);
        const auto set = kPhoto ? HuevancePhotoSetExtParam_OGL : HuevanceFrameSetExtParam_OGL;
        for (int i = 0; i < 2 && handle != nullptr; ++i) {
            set(handle, test::g_maskRoiKey, &m_maskRoi);
            set(handle, test::g_maskPointerKey, m_mask.data());
            result |= kPhoto ? HuevancePhotoProcess_OGL(handle, m_frame.data(), m_out.get(), kFormat, 1)
                             : HuevanceFrameProcess_OGL(handle, m_frame.data(), -1, m_out.get(), kFormat, 1);
        }
        if (handle != nullptr) {
            EXPECT_EQ(kPhoto ? HuevancePhotoFree_OGL(handle) : HuevanceFrameFree_OGL(handle), 0);
        }
        return result;
    }

    static constexpr IMAGE_FORMAT_TYPE kFormat = IMAGE_FORMAT_TYPE_NV21;
    test::OglTuning m_tuning{{{"pProtectSwitch", "1"}, {"maskSource", "1"}}};
    test::Frame m_frame{{16, 12, 16, 12}, 1};
    RoiInfo m_maskRoi = {16, 12, 64, 12};
    std::vector<float> m_mask = std::vector<float>(16 * 12, 0.5F);
    test::DeviceBuffer m_out{16, 12, kFormat};
};
using Pipelines = testing::Types<CHuevancePhoto_OGL, CHuevanceFrame_OGL>;
TYPED_TEST_SUITE(FaultTest, Pipelines);

TYPED_TEST(FaultTest, AnyCallMayFail) {
    std::map<std::string, int> calls = {{"glGetError", 0}, {"eglGetError", 0}};
    {
        const test::CallTrace trace;
        ASSERT_EQ(this->live(), 0);
        for (const std::string& call : trace.calls()) {
            calls[call.substr(0, call.find('('))] = 0;
        }
    }
    for (auto& [entry, count] : calls) {
        count = sim_gl_calls(entry.c_str());
    }
    EXPECT_GT(calls.size(), 40U);
    // What the platform itself forgives goes without a word, as does the last eglMakeCurrent, an engine's
    // end.
    const std::set<std::string> forgiven = {"eglQueryString", "eglTerminate", "eglDestroyContext",
                                            "eglDestroySurface", "eglGetDisplay"};
    std::set<std::string> undrawn;  // what costs a frame
    smart_pointer<GLEngine> keeper;
    for (const auto& [entry, count] : calls) {
        const int step = entry == "glGetError" ? kErrorStep : count > 8 ? kStep : 1;
        for (int nth = 1; nth <= count; nth += step) {
            SCOPED_TRACE(entry + " call " + std::to_string(nth) + " of " + std::to_string(count));
            sim_gl_reset();
            if (entry[0] == 'g' && !keeper) {
                // From here on the display stays, and lives are shorter.
                keeper = new GLEngine(nullptr, 1, 1);
                ASSERT_EQ(keeper->init(), 0);
            }
            const std::string alive = test::alive();
            sim_gl_fail(entry.c_str(), nth, entry[0] == 'e' ? EGL_BAD_ALLOC : GL_OUT_OF_MEMORY);
            const test::LogCapture log;
            if (this->live() != 0) {
                undrawn.insert(entry);
            }
            const std::vector<std::string> errors = log.texts(test::kError);
            EXPECT_TRUE(forgiven.count(entry) != 0 || (entry == "eglMakeCurrent" && nth == count) ||
                        std::any_of(errors.begin(), errors.end(), [](const std::string& line) {
                            return line.back() != '\n';  // not dispatch's own
                        }));
            if (entry == "eglTerminate") {
                EXPECT_EQ(test::alive(), "1 display " + alive);  // for the next to end
                this->live();
            }
            EXPECT_EQ(test::alive(), alive);
        }
    }
    EXPECT_THAT(undrawn, testing::IsSupersetOf({"eglInitialize", "eglCreatePbufferSurface", "eglMakeCurrent",
                                                "eglGetNativeClientBufferANDROID", "eglCreateImageKHR",
                                                "glFramebufferTexture2D", "glCreateProgram", "glCreateShader",
                                                "glCompileShader", "glLinkProgram"}));
    sim_gl_reset();
    sim_gl_time_out_fences(2);
    EXPECT_EQ(this->live(), 0);
}

// The first error line since the last reset: the test itself must not allocate here.
char g_error[256];

TYPED_TEST(FaultTest, AnyAllocationMayFail) {
    std::vector<std::string> reported;
    for (bool failed = true; failed;) {
        const int nth = static_cast<int>(reported.size()) + 1;
        SCOPED_TRACE(nth);
        g_error[0] = '\0';
        sim_log_set_sink(
            [](void*, int priority, const char*, const char* text) {
                if (priority == test::kError && g_error[0] == '\0') {
                    std::snprintf(g_error, sizeof(g_error), "%s", text);
                }
            },
            nullptr);
        test::failAllocation(nth);
        const int result = this->live();
        failed = test::allocationFailed();
        test::failAllocation(0);
        sim_log_set_sink(nullptr, nullptr);
        // The second is the engine of construction: set-up makes another.
        ASSERT_EQ(result, failed && nth != 2 ? -1 : 0);
        EXPECT_EQ(g_error[0] != '\0', result != 0);
        EXPECT_EQ(test::alive(), "1 AHardwareBuffer ");
        reported.emplace_back(g_error);
    }
    // Set-up's buffers have their own words.
    std::vector<std::string> expected;
    for (const char* buffer : {"yBuffer", "uvBuffer", "gridHist", "claheTmp", "claheLut", "yCurveMaps",
                               "yCurveMap", "uvCurveMap", "colorLuts", "colorLut"}) {
        expected.push_back("[" + test::kClassName<TypeParam> + "] init error: alloc " + buffer +
                           " failed!!!");
    }
    EXPECT_NE(std::search(reported.begin(), reported.end(), expected.begin(), expected.end()),
              reported.end());
    TypeParam huge;
    EXPECT_EQ(huge.init(this->m_tuning.path(), {60000, 60000, 60000, 60000}), -1);
}

}  // namespace
