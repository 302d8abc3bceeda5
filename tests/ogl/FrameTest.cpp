// What previews have beside captures: fades, the frame queue, both chroma orders, other formats.
#include <gmock/gmock.h>

#include <cmath>
#include <memory>

#include "tests/ogl/support/Rig.h"

namespace {

using test::OglTuning;
using test::Settings;
using testing::ElementsAre;
using testing::IsEmpty;

using FrameTest = test::GlTest;
using Rig = test::Rig<CHuevanceFrame_OGL>;

// Strengths glide with a float weight; tables jump, for their weight is an integer: -1 in the extra frame of
// a fade of one, else 0. The output's chroma order may change with every frame.
TEST_F(FrameTest, FadesFromSceneToSceneInBothChromaOrders) {
    const struct {
        int length, tables;
        std::vector<int> scenes;
    } cases[] = {
        {4, 3, {1, 1, 2, 2, 2, 2, 2, 2, 1, 1, 0, 0, 0, 0}},  // a whole fade, and a change in mid-fade
        {0, 3, {1, 2, 2}},
        {-5, 3, {1, 2, 2}},
        {1, 3, {1, 2, 2, 2}},
        {60, 1, {0, 0}}};
    for (const auto& [length, tables, scenes] : cases) {
        const Settings settings = {{"transFrameNum", std::to_string(length)},
                                   {"sceneNum", std::to_string(tables)}};
        Rig rig(settings);
        Rig other({}, 64, 48, IMAGE_FORMAT_TYPE_NV12);
        ASSERT_EQ(rig.init(), 0);
        model::Fade fade;
        for (const int scene : scenes) {
            const model::Fade now = fade.next(scene, tables, length);
            SCOPED_TRACE(testing::Message() << length << ": " << now.p << " to " << now.q << ", " << now.k);
            // The two differ in their outputs alone.
            std::swap(rig.format, other.format);
            rig.out.swap(other.out);
            test::LogCapture log;
            ASSERT_EQ(rig.process(scene), 0);
            const model::Tuning p = OglTuning::table(now.p);
            const model::Tuning q = OglTuning::table(now.q);
            model::Tuning faded = now.p == now.q ? q : model::faded(p, q, now.k, length);
            faded.yCurve = q.yCurve;
            faded.lattice = q.lattice;
            const std::string line =
                test::format("fColorStrength: %f, fSatStrength: %f, fClaheStrength: %f",
                             static_cast<double>(faded.colorStrength), static_cast<double>(faded.satStrength),
                             static_cast<double>(faded.claheStrength));
            EXPECT_EQ(log.lines().front(), (test::LogLine{test::kInfo, "Huevance_Preview", line}));
            if (length != 1 || now.k != 1) {
                rig.expectDrawn(rig.input(faded));
            } else {
                EXPECT_EQ(static_cast<float>(rig.pipeline.m_yCurveMap.get()[100]),
                          2 * std::floor(q.yCurve[100]) - std::floor(p.yCurve[100]));
            }
        }
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
    sim_gl_fail("glBindFramebuffer", 1, GL_OUT_OF_MEMORY);
    EXPECT_EQ(rig.process(1), -1);
    rig.out->fill(5);
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
