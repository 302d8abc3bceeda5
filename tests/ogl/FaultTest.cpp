// Every EGL and GL call of both pipelines fails in turn, and every allocation: a clean return each time, and
// nothing is left alive.
#include <gmock/gmock.h>
#include <sim/log.h>

#include <cstdio>
#include <map>
#include <set>

#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "tests/ogl/support/Allocations.h"
#include "tests/ogl/support/Rig.h"

namespace {

using test::Settings;
using testing::ElementsAre;

constexpr int kWidth = 16;
constexpr int kHeight = 12;

const Settings kWithMask = {{"pProtectSwitch", "1"}, {"maskSource", "1"}};
const Settings kNoStage = {
    {"claheSwitch", "0"}, {"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}};

// Of the calls that only ask for errors; under sanitizers of all.
#ifdef __SANITIZE_ADDRESS__
constexpr int kStep = 5;
#else
constexpr int kStep = 1;
#endif
constexpr int kErrorStep = 9;

template <typename Pipeline>
class FaultTest : public test::GlTest {
protected:
    // One life of a pipeline: set-up, mask, two frames, release. Whether all went as it does without faults.
    static bool live(test::OglTuning& tuning) {
        return live(tuning, [](int) {});
    }
    template <typename BeforeFrame>
    static bool live(test::OglTuning& tuning, BeforeFrame beforeFrame) {
        test::Frame frame({kWidth, kHeight, kWidth, kHeight}, 1);
        test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
        RoiInfo maskRoi = {kWidth, kHeight, kWidth * 4, kHeight};
        std::vector<float> mask(kWidth * kHeight, 0.5F);
        Pipeline pipeline;
        bool done = pipeline.init(tuning.path(), frame.roi()) == 0;
        done = pipeline.set(test::g_maskRoiKey, &maskRoi) == 0 && done;
        done = pipeline.set(test::g_maskPointerKey, mask.data()) == 0 && done;
        for (int i = 0; i < 2; ++i) {
            beforeFrame(i);
            done = test::process(pipeline, frame.data(), out.get(), IMAGE_FORMAT_TYPE_NV21, 1) == 0 && done;
        }
        EXPECT_EQ(pipeline.destroy(), 0);
        return done;
    }
    static bool live() {
        test::OglTuning tuning(kWithMask);
        return live(tuning);
    }
};
using Pipelines = testing::Types<CHuevancePhoto_OGL, CHuevanceFrame_OGL>;
TYPED_TEST_SUITE(FaultTest, Pipelines);

TYPED_TEST(FaultTest, AnyCallMayFail) {
    // What the platform itself forgives goes without a word.
    const std::set<std::string> forgiven = {"eglQueryString",    "eglTerminate",      "eglMakeCurrent",
                                            "eglDestroyContext", "eglDestroySurface", "eglGetDisplay"};
    for (const Settings& settings : {kWithMask, kNoStage}) {
        test::OglTuning tuning(settings);
        std::map<std::string, int> calls = {{"glGetError", 0}, {"eglGetError", 0}};
        {
            sim_gl_reset();
            const test::CallTrace trace;
            ASSERT_TRUE(this->live(tuning));
            for (const std::string& name : trace.names()) {
                calls[name] = 0;
            }
            for (auto& [entry, count] : calls) {
                count = sim_gl_calls(entry.c_str());
            }
        }
        EXPECT_GT(calls.size(), 40U);
        smart_pointer<GLEngine> keeper;
        for (const auto& [entry, count] : calls) {
            for (int nth = 1; nth <= count; nth += entry == "glGetError" ? kErrorStep : kStep) {
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
                this->live(tuning);
                if (entry == "eglTerminate") {
                    EXPECT_EQ(test::alive(), "1 display ");  // for the next to end
                    this->live(tuning);
                }
                EXPECT_EQ(test::alive(), alive);
                EXPECT_TRUE(forgiven.count(entry) != 0 || !log.texts(test::kError).empty());
            }
        }
    }
    sim_gl_reset();
    EXPECT_TRUE(this->live());
}

TYPED_TEST(FaultTest, ADrawThatDidNotHappenIsAFailure) {
    // Previews build two programs, the second of them in the order that is drawn here.
    const int program = test::kIsPhoto<TypeParam> ? 1 : 2;
    const int shader = 2 * program;
    for (const auto& [entry, nth] : {std::pair("eglGetNativeClientBufferANDROID", 1),
                                     {"eglCreateImageKHR", 1},
                                     {"glFramebufferTexture2D", 1},
                                     {"glCreateProgram", program},
                                     {"glLinkProgram", program},
                                     {"glCreateShader", shader},
                                     {"glCompileShader", shader}}) {
        sim_gl_reset();
        sim_gl_fail(entry, nth, entry[0] == 'e' ? EGL_BAD_ALLOC : GL_OUT_OF_MEMORY);
        EXPECT_FALSE(this->live()) << entry;
    }
}

TYPED_TEST(FaultTest, FencesMayTimeOutAndContextsBeLost) {
    test::OglTuning tuning;
    sim_gl_time_out_fences(2);
    EXPECT_TRUE(this->live());
    for (const int lostBefore : {0, 1}) {
        EXPECT_FALSE(this->live(tuning, [lostBefore](int frame) {
            if (frame == lostBefore) {
                sim_gl_lose_contexts();
            }
        }));
        EXPECT_EQ(test::alive(), "");
    }
}

TYPED_TEST(FaultTest, AnEngineThatDoesNotStartIsReportedInPreviewsWords) {
    for (const char* entry : {"eglInitialize", "eglCreatePbufferSurface", "eglMakeCurrent"}) {
        test::Rig<TypeParam> rig;
        const test::LogCapture log;
        sim_gl_fail(entry, 1, EGL_BAD_ALLOC);
        EXPECT_EQ(rig.init(), -1) << entry;
        // On purpose also for captures.
        EXPECT_EQ(log.texts(test::kError).back(), "[CHuevanceFrame_OGL] init error: GLEnv init failed!!!");
        EXPECT_EQ(sim_gl_live(nullptr), 0);
    }
}

// --- Memory ---

// The error lines since the last reset, for stretches in which the test itself must not allocate.
int g_errors = 0;
char g_error[256];

class ErrorCount {
public:
    ErrorCount() {
        g_errors = 0;
        sim_log_set_sink(
            [](void*, int priority, const char*, const char* text) {
                if (priority == test::kError) {
                    ++g_errors;
                    std::snprintf(g_error, sizeof(g_error), "%s", text);
                }
            },
            nullptr);
    }
    ~ErrorCount() { sim_log_set_sink(nullptr, nullptr); }
    ErrorCount(const ErrorCount&) = delete;
    ErrorCount& operator=(const ErrorCount&) = delete;
};

// Through the entries of dispatch, which no exception may leave.
TYPED_TEST(FaultTest, AnyAllocationMayFail) {
    constexpr bool kPhoto = test::kIsPhoto<TypeParam>;
    test::OglTuning tuning(kWithMask);
    test::Frame frame({kWidth, kHeight, kWidth, kHeight}, 1);
    test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
    RoiInfo roi = {kWidth, kHeight, kWidth * 4, kHeight};
    std::vector<float> mask(kWidth * kHeight);
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        const ErrorCount count;
        void* handle = nullptr;
        const auto set = kPhoto ? HuevancePhotoSetExtParam_OGL : HuevanceFrameSetExtParam_OGL;
        test::failAllocation(nth);
        int result = kPhoto ? HuevancePhotoMalloc_OGL(tuning.path(), frame.roi(), 8, &handle)
                            : HuevanceFrameMalloc_OGL(tuning.path(), frame.roi(), 8, nullptr, &handle);
        for (int i = 0; i < 2 && result == 0; ++i) {
            set(handle, test::g_maskRoiKey, &roi);
            set(handle, test::g_maskPointerKey, mask.data());
            result =
                kPhoto ? HuevancePhotoProcess_OGL(handle, frame.data(), out.get(), IMAGE_FORMAT_TYPE_NV21, 1)
                       : HuevanceFrameProcess_OGL(handle, frame.data(), -1, out.get(), IMAGE_FORMAT_TYPE_NV21,
                                                  1);
        }
        const bool failed = test::allocationFailed();
        test::failAllocation(0);
        // The second is the engine of construction: set-up makes another.
        ASSERT_EQ(result, failed && nth != 2 ? -1 : 0);
        EXPECT_EQ(g_errors > 0, result != 0);
        if (handle != nullptr) {
            EXPECT_EQ(kPhoto ? HuevancePhotoFree_OGL(handle) : HuevanceFrameFree_OGL(handle), 0);
        }
        EXPECT_EQ(test::alive(), "1 AHardwareBuffer ");
        if (!failed) {
            EXPECT_GT(nth, 30);
            break;
        }
    }
}

TYPED_TEST(FaultTest, EachBufferOfSetUpIsReportedInItsOwnWords) {
    const char* const buffers[] = {"yBuffer",    "uvBuffer",  "gridHist",   "claheTmp",  "claheLut",
                                   "yCurveMaps", "yCurveMap", "uvCurveMap", "colorLuts", "colorLut"};
    const std::string prefix = "[" + test::kClassName<TypeParam> + "] init error: alloc ";
    test::OglTuning tuning;
    // The one line of a set-up whose nth allocation fails.
    const auto failed = [&](int nth, RoiInfo roi) {
        TypeParam pipeline;
        const ErrorCount count;
        test::failAllocation(nth);
        const int result = pipeline.init(tuning.path(), roi);
        test::failAllocation(0);
        EXPECT_TRUE(pipeline.m_yBuffer.empty());
        EXPECT_EQ(sim_gl_live(nullptr), 0);
        return result == -1 && g_errors == 1 ? std::string(g_error) : "";
    };
    int first = 1;
    while (failed(first, {16, 12, 16, 12}) != prefix + "yBuffer failed!!!" && first < 1000) {
        ++first;
    }
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(failed(first + i, {16, 12, 16, 12}), prefix + buffers[i] + " failed!!!");
    }
    EXPECT_EQ(failed(0, {60000, 60000, 60000, 60000}), prefix + "yBuffer failed!!!");
}

}  // namespace
