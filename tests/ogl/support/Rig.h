// Either pipeline of the OpenGL ES back end with a tuning, a frame and an output.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "ogl/HuevanceFrame_OGL.h"
#include "ogl/HuevancePhoto_OGL.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/support/Photo.h"

namespace test {

// What the two are called.
template <typename Pipeline>
inline constexpr bool kIsPhoto = std::is_same_v<Pipeline, CHuevancePhoto_OGL>;
template <typename Pipeline>
inline const std::string kClassName = kIsPhoto<Pipeline> ? "CHuevancePhoto_OGL" : "CHuevanceFrame_OGL";
template <typename Pipeline>
inline const std::string kTag = kIsPhoto<Pipeline> ? "Huevance_Capture" : "Huevance_Preview";

inline int process(CHuevancePhoto_OGL& photo, void* src, void* dst, IMAGE_FORMAT_TYPE format, int scene) {
    return photo.process(src, dst, format, scene);
}
inline int process(CHuevanceFrame_OGL& preview, void* src, void* dst, IMAGE_FORMAT_TYPE format, int scene) {
    return preview.process(src, -1, dst, format, scene);
}

inline Bytes bytesOf(const huevance::Buffer<unsigned char>& buffer) {
    return {buffer.get(), buffer.get() + buffer.size()};
}

inline char g_maskRoiKey[] = "portraitMaskRoiInfo";
inline char g_maskPointerKey[] = "portraitMaskPointer";

template <typename Pipeline>
struct Rig {
    explicit Rig(Settings values = {}, int width = 64, int height = 48,
                 IMAGE_FORMAT_TYPE order = IMAGE_FORMAT_TYPE_NV21)
        : tuning(std::move(values)),
          frame({width, height, width + 9, height + 3}, 1),
          out(std::make_unique<DeviceBuffer>(width, height, order)),
          format(order) {
        fill(Content::kPhotoLike);
    }

    // No black beside colour: there colour correction divides by (almost) nothing, and a sampler's last bit
    // decides. A photograph where this build can read it.
    void fill(Content content, const char* photo = nullptr) {
        if (photo == nullptr || !fillWithPhoto(frame, photo)) {
            frame.fill(content, 256);
        }
        for (int y = 0; y < frame.roi().height && (photo != nullptr || content != Content::kZero); ++y) {
            for (int x = 0; x < frame.roi().width; ++x) {
                frame.setLuma(x, y, std::max(frame.luma(x, y), 1));
            }
        }
    }
    int init() { return pipeline.init(tuning.path(), frame.roi()); }
    int setMask(RoiInfo roi, void* cells) {
        const int result = pipeline.set(g_maskRoiKey, &roi);
        return pipeline.set(g_maskPointerKey, cells) + result;
    }
    int process(int scene = 0) { return test::process(pipeline, frame.data(), out->get(), format, scene); }

    // What the pipeline's lines begin with.
    static std::string name() { return "[" + kClassName<Pipeline> + "] "; }

    // The model's input for what was processed last. Expects that the pipeline's tables are the model's.
    ShaderInput input(const model::Tuning& table) const {
        const ShaderInput in = tuning.input(frame, format, table);
        EXPECT_TRUE(!in.tuning.clahe || bytesOf(pipeline.m_claheLut) == in.clahe);
        EXPECT_TRUE(!in.tuning.curve || bytesOf(pipeline.m_yCurveMap) == in.yCurve);
        EXPECT_TRUE(!in.tuning.curve || bytesOf(pipeline.m_uvCurveMap) == in.uvCurve);
        EXPECT_TRUE(!in.tuning.color || bytesOf(pipeline.m_colorLut) == in.color);
        return in;
    }
    void expectDrawn(const ShaderInput& in) const {
        const std::vector<int> drawn = out->samples();
        const std::vector<int> expected = drawnSamples(in);
        ASSERT_EQ(drawn.size(), expected.size());
        const std::size_t chroma = in.picture.luma.size();
        int worst[2] = {};  // of luma and chroma
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            int& most = worst[i < chroma ? 0 : 1];
            most = std::max(most, std::abs(drawn[i] - expected[i]));
        }
        const model::Tuning& on = in.tuning;
        EXPECT_LE(worst[0], on.clahe || on.curve || on.color || on.protect ? 1 : 0);
        EXPECT_LE(worst[1], 1);
    }
    void expectDrawn(int scene) const { expectDrawn(input(OglTuning::table(scene))); }

    OglTuning tuning;
    Frame frame;
    std::unique_ptr<DeviceBuffer> out;
    IMAGE_FORMAT_TYPE format;
    Pipeline pipeline;
};

}  // namespace test
