// The preview pipeline: frames against the model, whole fades, the frame queue, refusals.
#include <gmock/gmock.h>

#include <cstdio>

#include "ogl/HuevanceFrame_OGL.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class FrameTest : public test::GlTest {
protected:
    static test::Frame makeFrame(int width = 64, int height = 48) {
        test::Frame frame({width, height, width + 9, height + 3}, 1);
        frame.fill(test::Content::kPhotoLike, 256);
        return frame;
    }
};

TEST_F(FrameTest, DrawsBothChromaOrdersInTurn) {
    // All stages count here, unlike in the other back ends' previews.
    test::OglTuning tuning(test::Settings{{"pProtectSwitch", "1"}, {"maskSource", "2"}, {"sceneIdx", "1/"}});
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame(90, 70);
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    for (int i = 0; i < 4; ++i) {
        const IMAGE_FORMAT_TYPE format = i % 2 == 0 ? IMAGE_FORMAT_TYPE_NV12 : IMAGE_FORMAT_TYPE_NV21;
        test::DeviceBuffer out(90, 70, format);
        ASSERT_EQ(preview.process(frame.data(), -1, out.get(), format, 0), 0);
        const test::Difference worst = test::compareWithModel(
            out, test::modelFrame(tuning.input(frame, format, 1, test::OglTuning::strengths(1))));
        EXPECT_LE(worst.luma, 1) << i;
        EXPECT_LE(worst.chroma, 1) << i;
    }
}

// Strengths glide with a float weight, tables jump: their weight is an integer.
TEST_F(FrameTest, FadesFromSceneToScene) {
    constexpr int kLength = 4;
    test::OglTuning tuning(test::Settings{{"transFrameNum", "4"}, {"sceneIdx", "1/2/0/"}});
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    const auto expectFrame = [&](int scene, int previous, int current, int counter) {
        SCOPED_TRACE("scene " + std::to_string(scene) + " frame " + std::to_string(counter));
        test::LogCapture log;
        ASSERT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, scene), 0);
        const test::Strengths p = test::OglTuning::strengths(previous);
        const test::Strengths q = test::OglTuning::strengths(current);
        const float w = previous == current
                            ? 0.0F
                            : static_cast<float>(kLength - 1 - counter) / static_cast<float>(kLength);
        const test::Strengths fused = {w * p.color + (1.0F - w) * q.color, w * p.sat + (1.0F - w) * q.sat,
                                       w * p.clahe + (1.0F - w) * q.clahe};
        char line[128];
        std::snprintf(line, sizeof(line), "fColorStrength: %f, fSatStrength: %f, fClaheStrength: %f",
                      static_cast<double>(fused.color), static_cast<double>(fused.sat),
                      static_cast<double>(fused.clahe));
        EXPECT_EQ(log.lines().front(), (test::LogLine{test::kInfo, "Huevance_Preview", line}));
        const test::ShaderInput in = tuning.input(frame, IMAGE_FORMAT_TYPE_NV21, current, fused);
        EXPECT_TRUE(std::equal(in.uvCurve.begin(), in.uvCurve.end(), preview.m_uvCurveMap.get()));
        EXPECT_TRUE(std::equal(in.yCurve.begin(), in.yCurve.end(), preview.m_yCurveMap.get()));
        EXPECT_TRUE(std::equal(in.color.begin(), in.color.end(), preview.m_colorLut.get()));
        EXPECT_TRUE(std::equal(in.clahe.begin(), in.clahe.end(), preview.m_claheLut.get()));
        const test::Difference worst = test::compareWithModel(out, test::modelFrame(in));
        EXPECT_LE(std::max(worst.luma, worst.chroma), 1);
    };
    // The stream begins at table 1, which scene 0 is.
    expectFrame(0, 1, 1, 0);
    expectFrame(0, 1, 1, 0);
    for (int k = 0; k <= kLength; ++k) {
        expectFrame(1, 1, 2, k);
    }
    expectFrame(1, 2, 2, 0);
    // A change in mid-fade counts on.
    expectFrame(0, 2, 1, 0);
    expectFrame(0, 2, 1, 1);
    expectFrame(2, 2, 0, 2);
    expectFrame(2, 2, 0, 3);
    expectFrame(2, 2, 0, 4);
    expectFrame(2, 0, 0, 0);
}

TEST_F(FrameTest, FadesOfNoAndOneFrame) {
    for (const int length : {0, 1, -5}) {
        test::OglTuning tuning(
            test::Settings{{"transFrameNum", std::to_string(length)}, {"sceneIdx", "1/2/"}});
        CHuevanceFrame_OGL preview;
        test::Frame frame = makeFrame();
        ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
        test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
        const auto strength = [&](int scene) {
            EXPECT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, scene), 0);
            return preview.m_fClaheStrength;
        };
        EXPECT_EQ(strength(0), 1.5F);
        EXPECT_EQ(strength(1), 2.5F);  // w = 0 on the first frame
        // With a length of 1 the extra frame overshoots: w = -1, for strengths and tables.
        EXPECT_EQ(strength(1), length == 1 ? 3.5F : 2.5F);
        if (length == 1) {
            const int before = static_cast<int>(test::OglTuning::curve(1)[100]);
            const int after = static_cast<int>(test::OglTuning::curve(2)[100]);
            EXPECT_EQ(preview.m_yCurveMap.get()[100], 2 * after - before);
        }
        EXPECT_EQ(strength(1), 2.5F);
    }
}

TEST_F(FrameTest, AFrameThatFailsLeavesTheFadeAlone) {
    test::OglTuning tuning(test::Settings{{"transFrameNum", "4"}, {"sceneIdx", "1/2/9/"}});
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    const auto process = [&](int scene) {
        return preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, scene);
    };
    ASSERT_EQ(process(1), 0);  // w = 3 / 4
    EXPECT_EQ(process(2), -1);
    EXPECT_EQ(process(-1), -1);
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    test::LogCapture log;
    EXPECT_EQ(process(1), -1);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("[CHuevanceFrame_OGL] process error: GLEnv init failed!!!"));
    ASSERT_EQ(process(1), 0);  // w = 2 / 4
    EXPECT_FLOAT_EQ(preview.m_fClaheStrength, 2.0F);
}

// A single scene: the table that a stream begins with does not exist.
TEST_F(FrameTest, BeginsWithoutAFadeWhenThereIsOneScene) {
    test::OglTuning tuning(test::Settings{{"sceneNum", "1"}, {"sceneIdx", "0/"}});
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
    EXPECT_EQ(preview.m_fClaheStrength, 0.5F);
}

TEST_F(FrameTest, QueuesEachOutputBufferOnce) {
    test::OglTuning tuning;
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    std::vector<std::unique_ptr<test::DeviceBuffer>> ring;
    for (int i = 0; i < 4; ++i) {
        ring.push_back(std::make_unique<test::DeviceBuffer>(64, 48, IMAGE_FORMAT_TYPE_NV21));
    }
    sim_gl_reset();
    for (int i = 0; i < 12; ++i) {
        ASSERT_EQ(preview.process(frame.data(), 0, ring[static_cast<std::size_t>(i % 4)]->get(),
                                  IMAGE_FORMAT_TYPE_NV21, 1),
                  0);
    }
    EXPECT_EQ(preview.frameQueueLength(), 4U);
    EXPECT_EQ(sim_gl_calls("eglCreateImageKHR"), 4);
    EXPECT_EQ(sim_gl_live("image"), 4);
    EXPECT_EQ(ring[0]->copy(), ring[3]->copy());
    for (int i = 0; i < 4; ++i) {
        PreviewFrame* entry = preview.dequeueFrameQueue(ring[static_cast<std::size_t>(i)]->get());
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->m_iIndex, i);
        EXPECT_EQ(entry->m_pBuffer, ring[static_cast<std::size_t>(i)]->get());
        EXPECT_EQ(entry->m_texture->width(), 64);
        preview.enqueueFrameQueue(entry);
    }
    EXPECT_EQ(preview.frameQueueLength(), 4U);
    // The queue keeps a buffer that its host has let go.
    ring.clear();
    EXPECT_EQ(sim_hardware_buffer_live(), 4);
    EXPECT_EQ(preview.destroy(), 0);
    EXPECT_EQ(sim_hardware_buffer_live(), 0);
}

TEST_F(FrameTest, ABufferThatCannotBeImportedIsTriedAgain) {
    test::OglTuning tuning;
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    sim_gl_fail("eglCreateImageKHR", 1, EGL_BAD_ALLOC);
    EXPECT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 1), -1);
    EXPECT_EQ(preview.frameQueueLength(), 0U);
    EXPECT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 1), 0);
}

TEST_F(FrameTest, OtherFormatsDrawNothing) {
    test::OglTuning tuning;
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    out.fill(5);
    const auto before = out.copy();
    EXPECT_EQ(preview.process(frame.data(), 0, out.get(), static_cast<IMAGE_FORMAT_TYPE>(9), 1), 0);
    EXPECT_EQ(out.copy(), before);
    test::LogCapture log;
    EXPECT_EQ(preview.process(frame.data(), 0, nullptr, IMAGE_FORMAT_TYPE_NV21, 1), -1);
    EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("[CHuevanceFrame_OGL] process error: src ")));
}

// After the first frames nothing is compiled, and no object is made but the fence.
TEST_F(FrameTest, MakesNothingPerFrame) {
    test::OglTuning tuning;
    CHuevanceFrame_OGL preview;
    test::Frame frame = makeFrame();
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 1), 0);
    test::CallTrace trace;
    ASSERT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 1), 0);
    for (const char* entry :
         {"glCompileShader", "glLinkProgram", "glGenTextures", "glGenFramebuffers", "glGetUniformLocation",
          "glGetAttribLocation", "eglCreateImageKHR", "eglInitialize"}) {
        EXPECT_THAT(trace.names(), Not(Contains(entry)));
    }
    EXPECT_THAT(trace.names(), Contains("glDrawArrays"));
}

TEST_F(FrameTest, DumpsWithSceneAndCycle) {
    test::OglTuning tuning(test::Settings{{"frame", "1"}, {"sceneIdx", "0/1/"}});
    test::TuningDir dumps;
    CHuevanceFrame_OGL preview;
    preview.m_pcDumpDirectory = dumps.path().c_str();
    test::Frame frame = makeFrame(16, 12);
    ASSERT_EQ(preview.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(16, 12, IMAGE_FORMAT_TYPE_NV21);
    const auto exists = [&](const std::string& name) {
        std::FILE* file = std::fopen((dumps.path() + "/" + name).c_str(), "rb");
        if (file != nullptr) {
            std::fclose(file);
        }
        return file != nullptr;
    };
    for (int i = 0; i < 31; ++i) {
        ASSERT_EQ(preview.process(frame.data(), 0, out.get(), IMAGE_FORMAT_TYPE_NV21, 1), 0);
    }
    EXPECT_TRUE(exists("dstframe_16x12_1_0.yuv"));
    EXPECT_TRUE(exists("srcframe_16x12_1_29.yuv"));
    EXPECT_FALSE(exists("srcframe_16x12_1_30.yuv"));  // the 31st is number 0 again
}

TEST_F(FrameTest, SpeaksUnderItsOwnName) {
    test::OglTuning tuning;
    CHuevanceFrame_OGL preview;
    char key[] = "portraitMaskRoiInfo";
    test::LogCapture log;
    EXPECT_EQ(preview.set(key, nullptr), -1);
    EXPECT_EQ(preview.destroy(), 0);
    ASSERT_EQ(preview.init(tuning.path(), {64, 48, 64, 48}), 0);
    const std::string path = tuning.path();
    for (const test::LogLine& line :
         {test::LogLine{test::kError, "Huevance_Preview",
                        "[CHuevanceFrame_OGL] set error: GLEnv init failed!!!"},
          test::LogLine{test::kError, "Huevance_Preview",
                        "[CHuevanceFrame_OGL] destroy error: GLEnv init failed!!!"},
          test::LogLine{test::kInfo, "Huevance_Preview",
                        "[CHuevanceFrame_OGL] loadFrameConfigures path: " + path},
          test::LogLine{test::kInfo, "Huevance_Preview",
                        "[CHuevanceFrame_OGL] loadFrameConfigures SensorPath: " + path}}) {
        EXPECT_THAT(log.lines(), Contains(line));
    }
}

}  // namespace
