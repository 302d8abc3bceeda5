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
#include "tests/ogl/support/Allocations.h"
#include "tests/ogl/support/Rig.h"

namespace {

using test::Settings;

constexpr int kWidth = 16;
constexpr int kHeight = 12;

const Settings kWithMask = {{"pProtectSwitch", "1"}, {"maskSource", "1"}};
const Settings kNoStage = {
    {"claheSwitch", "0"}, {"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}};

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
    std::set<std::string> undrawn;  // what costs a frame
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
                if (!this->live(tuning)) {
                    undrawn.insert(entry);
                }
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
    EXPECT_THAT(undrawn, testing::IsSupersetOf({"eglInitialize", "eglCreatePbufferSurface", "eglMakeCurrent",
                                                "eglGetNativeClientBufferANDROID", "eglCreateImageKHR",
                                                "glFramebufferTexture2D", "glCreateProgram", "glCreateShader",
                                                "glCompileShader", "glLinkProgram"}));
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

// --- Memory ---

// The first error line since the last reset: the test itself must not allocate here.
char g_error[256];

// Through the entries of dispatch, which no exception may leave. Set-up's buffers have their own words.
TYPED_TEST(FaultTest, AnyAllocationMayFail) {
    constexpr bool kPhoto = test::kIsPhoto<TypeParam>;
    test::OglTuning tuning(kWithMask);
    test::Frame frame({kWidth, kHeight, kWidth, kHeight}, 1);
    test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
    RoiInfo roi = {kWidth, kHeight, kWidth * 4, kHeight};
    std::vector<float> mask(kWidth * kHeight);
    std::vector<std::string> reported;
    bool failed = true;
    for (int nth = 1; failed; ++nth) {
        SCOPED_TRACE(nth);
        g_error[0] = '\0';
        sim_log_set_sink(
            [](void*, int priority, const char*, const char* text) {
                if (priority == test::kError && g_error[0] == '\0') {
                    std::snprintf(g_error, sizeof(g_error), "%s", text);
                }
            },
            nullptr);
        const auto set = kPhoto ? HuevancePhotoSetExtParam_OGL : HuevanceFrameSetExtParam_OGL;
        void* handle = nullptr;
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
        failed = test::allocationFailed();
        test::failAllocation(0);
        sim_log_set_sink(nullptr, nullptr);
        // The second is the engine of construction: set-up makes another.
        ASSERT_EQ(result, failed && nth != 2 ? -1 : 0);
        EXPECT_EQ(g_error[0] != '\0', result != 0);
        reported.emplace_back(g_error);
        if (handle != nullptr) {
            EXPECT_EQ(kPhoto ? HuevancePhotoFree_OGL(handle) : HuevanceFrameFree_OGL(handle), 0);
        }
        EXPECT_EQ(test::alive(), "1 AHardwareBuffer ");
    }
    const auto first = std::find_if(reported.begin(), reported.end(), [](const std::string& line) {
        return line.find("yBuffer") != std::string::npos;
    });
    ASSERT_GT(reported.end() - first, 10);
    const char* const buffers[] = {"yBuffer",    "uvBuffer",  "gridHist",   "claheTmp",  "claheLut",
                                   "yCurveMaps", "yCurveMap", "uvCurveMap", "colorLuts", "colorLut"};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(first[i],
                  "[" + test::kClassName<TypeParam> + "] init error: alloc " + buffers[i] + " failed!!!");
    }
    TypeParam huge;
    EXPECT_EQ(huge.init(tuning.path(), {60000, 60000, 60000, 60000}), -1);
}

}  // namespace
