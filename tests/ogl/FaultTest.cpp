// Every EGL and GL call of both pipelines fails in turn, and every allocation at set-up: a clean return each
// time, the next run works, and nothing is left alive.
#include <gmock/gmock.h>

#include <cstdlib>
#include <set>

#include "ogl/HuevanceFrame_OGL.h"
#include "ogl/HuevancePhoto_OGL.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"

// The program's calls of calloc come here (see tests.cmake).
extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
}

namespace {
int g_failCalloc = 0;  // the nth coming call
}

extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
    const bool fails = g_failCalloc > 0 && --g_failCalloc == 0;
    return fails ? nullptr : __real_calloc(count, size);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FaultTest : public test::GlTest {
protected:
    static test::OglTuning makeTuning() {
        return test::OglTuning(test::Settings{{"pProtectSwitch", "1"}, {"maskSource", "1"}});
    }

    // One life of a pipeline: set-up, mask, frames, release. Whether every frame was drawn as it is without
    // faults.
    template <typename Pipeline, typename Process>
    static bool live(test::OglTuning& tuning, Process process) {
        test::Frame frame({32, 24, 40, 24}, 1);
        frame.fill(test::Content::kPhotoLike, 256);
        RoiInfo maskRoi = {16, 12, 64, 12};
        std::vector<float> mask(16 * 12, 0.5F);
        char roiKey[] = "portraitMaskRoiInfo";
        char pointerKey[] = "portraitMaskPointer";
        bool done = true;
        {
            Pipeline pipeline;
            const bool ready = pipeline.init(tuning.path(), frame.roi()) == 0;
            done = ready && pipeline.set(roiKey, &maskRoi) == 0 && pipeline.set(pointerKey, mask.data()) == 0;
            test::DeviceBuffer out(32, 24, IMAGE_FORMAT_TYPE_NV21);
            for (int i = 0; i < 2; ++i) {
                done = process(pipeline, frame.data(), out.get()) == 0 && done;
            }
            EXPECT_EQ(pipeline.destroy(), 0);
        }
        return done;
    }

    static bool livePhoto(test::OglTuning& tuning) {
        return live<CHuevancePhoto_OGL>(tuning, [](CHuevancePhoto_OGL& photo, void* src, void* dst) {
            return photo.process(src, dst, IMAGE_FORMAT_TYPE_NV21, 1);
        });
    }
    static bool livePreview(test::OglTuning& tuning) {
        return live<CHuevanceFrame_OGL>(tuning, [](CHuevanceFrame_OGL& preview, void* src, void* dst) {
            return preview.process(src, 0, dst, IMAGE_FORMAT_TYPE_NV21, 1);
        });
    }
};

TEST_F(FaultTest, AnyCallMayFail) {
    for (bool (*const life)(test::OglTuning&) : {&livePhoto, &livePreview}) {
        test::OglTuning tuning = makeTuning();
        std::set<std::string> entries;
        {
            test::CallTrace trace;
            ASSERT_TRUE(life(tuning));
            for (const std::string& name : trace.names()) {
                entries.insert(name);
            }
        }
        entries.insert({"glGetError", "eglGetError"});
        EXPECT_GT(entries.size(), 40U);
        for (const std::string& entry : entries) {
            sim_gl_reset();
            ASSERT_TRUE(life(tuning));
            const int calls = sim_gl_calls(entry.c_str());
            // The first, the last, and one in the middle.
            for (const int nth : std::set<int>{1, (calls + 1) / 2, calls}) {
                SCOPED_TRACE(entry + " call " + std::to_string(nth) + " of " + std::to_string(calls));
                sim_gl_reset();
                const bool egl = entry[0] == 'e';
                ASSERT_EQ(sim_gl_fail(entry.c_str(), nth, egl ? EGL_BAD_ALLOC : GL_OUT_OF_MEMORY), 0);
                test::LogCapture log;
                life(tuning);
                // A display that cannot be ended stays, for the next to end.
                EXPECT_EQ(test::alive(), entry == "eglTerminate" ? "1 display " : "");
                // What goes wrong is said, but for what the platform itself forgives.
                const bool forgiven = entry == "eglQueryString" || entry == "eglTerminate" ||
                                      entry == "eglMakeCurrent" || entry == "eglDestroyContext" ||
                                      entry == "eglDestroySurface" || entry == "eglGetDisplay";
                if (!forgiven) {
                    EXPECT_THAT(log.texts(test::kError), testing::Not(IsEmpty()));
                }
                sim_gl_reset();
                if (entry == "eglTerminate") {
                    life(tuning);
                }
            }
        }
        EXPECT_TRUE(life(tuning));
    }
}

TEST_F(FaultTest, ADrawThatDidNotHappenIsAFailure) {
    test::OglTuning tuning = makeTuning();
    for (const char* entry :
         {"eglGetNativeClientBufferANDROID", "eglCreateImageKHR", "glFramebufferTexture2D", "glCreateProgram",
          "glCompileShader", "glCreateShader", "glLinkProgram"}) {
        sim_gl_reset();
        sim_gl_fail(entry, 1, entry[0] == 'e' ? EGL_BAD_ALLOC : GL_OUT_OF_MEMORY);
        EXPECT_FALSE(livePhoto(tuning)) << entry;
    }
}

TEST_F(FaultTest, AFenceThatTimesOutHarmsNothing) {
    test::OglTuning tuning = makeTuning();
    sim_gl_time_out_fences(1);
    EXPECT_TRUE(livePhoto(tuning));
    sim_gl_time_out_fences(2);
    EXPECT_TRUE(livePreview(tuning));
}

TEST_F(FaultTest, AContextMayBeLostAtAnyTime) {
    test::OglTuning tuning = makeTuning();
    int frames = 0;
    for (const int lostBefore : {0, 1}) {
        const bool done =
            live<CHuevanceFrame_OGL>(tuning, [&](CHuevanceFrame_OGL& preview, void* src, void* dst) {
                if (frames++ % 2 == lostBefore) {
                    sim_gl_lose_contexts();
                }
                return preview.process(src, 0, dst, IMAGE_FORMAT_TYPE_NV21, 1);
            });
        EXPECT_FALSE(done);
        EXPECT_EQ(test::alive(), "");
    }
}

TEST_F(FaultTest, EachAllocationAtSetUpIsReportedInItsOwnWords) {
    // After the strengths of the scenes.
    const char* const buffers[] = {"yBuffer",    "uvBuffer",  "gridHist",   "claheTmp",  "claheLut",
                                   "yCurveMaps", "yCurveMap", "uvCurveMap", "colorLuts", "colorLut"};
    test::OglTuning tuning;
    for (int i = 0; i < 10; ++i) {
        for (const bool photo : {true, false}) {
            test::LogCapture log;
            CHuevancePhoto_OGL capture;
            CHuevanceFrame_OGL preview;
            g_failCalloc = 2 + i;
            const int result = photo ? capture.init(tuning.path(), {64, 48, 64, 48})
                                     : preview.init(tuning.path(), {64, 48, 64, 48});
            EXPECT_EQ(g_failCalloc, 0);
            EXPECT_EQ(result, -1);
            const std::string name = photo ? "CHuevancePhoto_OGL" : "CHuevanceFrame_OGL";
            EXPECT_THAT(log.texts(test::kError),
                        ElementsAre("[" + name + "] init error: alloc " + buffers[i] + " failed!!!"));
            EXPECT_TRUE(capture.m_yBuffer.empty() && preview.m_yBuffer.empty());
            EXPECT_EQ(sim_gl_live(nullptr), 0);
        }
    }
}

TEST_F(FaultTest, FramesThatNoMemoryHoldsAreRefusedAtSetUp) {
    test::OglTuning tuning;
    test::LogCapture log;
    CHuevancePhoto_OGL photo;
    EXPECT_EQ(photo.init(tuning.path(), {60000, 60000, 60000, 60000}), -1);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("[CHuevancePhoto_OGL] init error: alloc yBuffer failed!!!"));
}

TEST_F(FaultTest, AnEngineThatDoesNotStartIsReportedInPreviewsWords) {
    for (const char* entry : {"eglInitialize", "eglCreatePbufferSurface", "eglMakeCurrent"}) {
        test::OglTuning tuning;
        test::LogCapture log;
        CHuevancePhoto_OGL photo;
        sim_gl_fail(entry, 1, EGL_BAD_ALLOC);
        EXPECT_EQ(photo.init(tuning.path(), {64, 48, 64, 48}), -1) << entry;
        // On purpose also for captures.
        EXPECT_EQ(log.texts(test::kError).back(), "[CHuevanceFrame_OGL] init error: GLEnv init failed!!!")
            << entry;
        EXPECT_EQ(sim_gl_live(nullptr), 0) << entry;
    }
}

}  // namespace
