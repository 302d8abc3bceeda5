// What previews have beside captures: fades, the frame queue, both chroma orders, other formats.
#include <gmock/gmock.h>

#include <memory>

#include "tests/ogl/support/Rig.h"

namespace {

using test::OglTuning;
using test::Settings;
using test::Strengths;
using testing::ElementsAre;
using testing::IsEmpty;

using FrameTest = test::GlTest;
using Rig = test::Rig<CHuevanceFrame_OGL>;

// Strengths glide with a float weight, tables jump: their weight is an integer. The output's chroma order may
// change with every frame.
TEST_F(FrameTest, FadesFromSceneToSceneInBothChromaOrders) {
    constexpr int kLength = 4;
    Rig rig(Settings{{"transFrameNum", "4"}, {"sceneIdx", "1/2/0/"}});
    Rig other({}, 64, 48, IMAGE_FORMAT_TYPE_NV12);
    ASSERT_EQ(rig.init(), 0);
    const auto expectFrame = [&](int scene, int previous, int current, int counter) {
        SCOPED_TRACE("scene " + std::to_string(scene) + " frame " + std::to_string(counter));
        // The two differ in their outputs alone.
        std::swap(rig.format, other.format);
        rig.out.swap(other.out);
        test::LogCapture log;
        ASSERT_EQ(rig.process(scene), 0);
        const Strengths p = OglTuning::strengths(previous);
        const Strengths q = OglTuning::strengths(current);
        const float w = previous == current ? 0.0F : static_cast<float>(kLength - 1 - counter) / kLength;
        const Strengths fused = {w * p.color + (1.0F - w) * q.color, w * p.sat + (1.0F - w) * q.sat,
                                 w * p.clahe + (1.0F - w) * q.clahe};
        const std::string line = test::format(
            "fColorStrength: %f, fSatStrength: %f, fClaheStrength: %f", static_cast<double>(fused.color),
            static_cast<double>(fused.sat), static_cast<double>(fused.clahe));
        EXPECT_EQ(log.lines().front(), (test::LogLine{test::kInfo, "Huevance_Preview", line}));
        rig.expectDrawn(rig.input(current, fused));
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
    for (int k = 2; k <= kLength; ++k) {
        expectFrame(2, 2, 0, k);
    }
    expectFrame(2, 0, 0, 0);
}

// With a length of 1 the extra frame overshoots: w = -1, for strengths and tables. A single scene has no
// table 1 to begin with.
TEST_F(FrameTest, FadesOfNoAndOneFrameAndOfOneScene) {
    struct Case {
        const char *length, *sceneNum, *sceneIdx;
        std::vector<float> strengths;  // of frames of the scenes 0, 1, 1, 1
    };
    for (const Case& c :
         {Case{"0", "3", "1/2/", {1.5F, 2.5F, 2.5F, 2.5F}}, Case{"-5", "3", "1/2/", {1.5F, 2.5F, 2.5F, 2.5F}},
          Case{"1", "3", "1/2/", {1.5F, 2.5F, 3.5F, 2.5F}},
          Case{"60", "1", "0/0/", {0.5F, 0.5F, 0.5F, 0.5F}}}) {
        Rig rig(Settings{{"transFrameNum", c.length}, {"sceneNum", c.sceneNum}, {"sceneIdx", c.sceneIdx}});
        ASSERT_EQ(rig.init(), 0);
        std::vector<float> strengths;
        for (const int scene : {0, 1, 1, 1}) {
            ASSERT_EQ(rig.process(scene), 0);
            strengths.push_back(rig.pipeline.m_fClaheStrength);
            if (strengths.back() == 3.5F) {
                const int before = static_cast<int>(OglTuning::curve(1)[100]);
                const int after = static_cast<int>(OglTuning::curve(2)[100]);
                EXPECT_EQ(rig.pipeline.m_yCurveMap.get()[100], 2 * after - before);
            }
        }
        EXPECT_EQ(strengths, c.strengths) << c.length;
    }
}

// Frames that fail leave the fade alone; frames of formats that draw nothing count all the same.
TEST_F(FrameTest, FailuresAndOtherFormatsDrawNothing) {
    Rig rig(Settings{{"transFrameNum", "4"}, {"sceneIdx", "1/2/9/"}});
    ASSERT_EQ(rig.init(), 0);
    ASSERT_EQ(rig.process(1), 0);  // w = 3 / 4
    rig.out->fill(5);
    const auto before = rig.out->copy();
    EXPECT_EQ(rig.process(2), -1);
    EXPECT_EQ(rig.process(-1), -1);
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    test::LogCapture log;
    EXPECT_EQ(rig.process(1), -1);
    EXPECT_THAT(log.texts(test::kError), ElementsAre(rig.name() + "process error: GLEnv init failed!!!"));
    rig.format = static_cast<IMAGE_FORMAT_TYPE>(9);
    test::CallTrace trace;
    for (const float strength : {2.0F, 2.25F, 2.5F, 2.75F, 2.5F}) {  // w = 2 / 4 to -1 / 4, then the end
        EXPECT_EQ(test::process(rig.pipeline, nullptr, nullptr, rig.format, 1), 0);
        EXPECT_EQ(rig.pipeline.m_fClaheStrength, strength);
    }
    EXPECT_THAT(trace.calls(), testing::Each(testing::StartsWith("eglMakeCurrent")));
    EXPECT_EQ(rig.out->copy(), before);
}

TEST_F(FrameTest, QueuesEachOutputBufferOnceAndKeepsIt) {
    Rig rig;
    ASSERT_EQ(rig.init(), 0);
    std::vector<std::unique_ptr<test::DeviceBuffer>> ring;
    for (int i = 0; i < 4; ++i) {
        ring.push_back(std::make_unique<test::DeviceBuffer>(64, 48, rig.format));
    }
    sim_gl_reset();
    for (std::size_t i = 0; i < 12; ++i) {
        ASSERT_EQ(test::process(rig.pipeline, rig.frame.data(), ring[i % 4]->get(), rig.format, 1), 0);
    }
    EXPECT_EQ(sim_gl_calls("eglCreateImageKHR"), 4);
    EXPECT_EQ(ring[0]->copy(), ring[3]->copy());
    for (int i = 0; i < 4; ++i) {
        AHardwareBuffer* buffer = ring[static_cast<std::size_t>(i)]->get();
        PreviewFrame* entry = rig.pipeline.dequeueFrameQueue(buffer);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->m_iIndex, i);
        EXPECT_EQ(entry->m_pBuffer, buffer);
        EXPECT_EQ(entry->m_texture->width(), 64);
        rig.pipeline.enqueueFrameQueue(entry);
    }
    EXPECT_EQ(rig.pipeline.frameQueueLength(), 4U);
    ring.clear();
    EXPECT_EQ(sim_hardware_buffer_live(), 1 + 4);  // the rig's, and what the host has let go
    EXPECT_EQ(rig.pipeline.destroy(), 0);
    EXPECT_EQ(sim_hardware_buffer_live(), 1);
    // One that cannot be imported is tried again.
    ASSERT_EQ(rig.init(), 0);
    sim_gl_fail("eglCreateImageKHR", 1, EGL_BAD_ALLOC);
    EXPECT_EQ(rig.process(), -1);
    EXPECT_EQ(rig.pipeline.frameQueueLength(), 0U);
    EXPECT_EQ(rig.process(), 0);
}

}  // namespace
