// The composed shader texts, character for character.
#include <gtest/gtest.h>

#include "ogl/ShaderComposer.h"
#include "ogl/ShaderTexts.h"
#include "tests/support/Frames.h"

namespace {

struct Golden {
    int format, clahe, curve, colorCorr, colormap, mask;
    std::size_t length;
    std::uint64_t hash;
};

constexpr Golden kGolden[] = {
#include "tests/ogl/ShaderGolden.inc"
};

std::string compose(int format, int maskType, const huevance::StageSwitches& on) {
    return ogl::composeFragmentShader(static_cast<IMAGE_FORMAT_TYPE>(format), maskType, on);
}

TEST(ShaderComposer, GivesTheGoldenTextOfEveryCombination) {
    EXPECT_EQ(std::size(kGolden), 2U * 16U * 3U);
    for (const Golden& golden : kGolden) {
        const std::string text = compose(golden.format, golden.mask,
                                         {golden.clahe == 1, golden.curve == 1, golden.colorCorr == 1,
                                          golden.colormap == 1, golden.mask != 0});
        EXPECT_EQ(text.size(), golden.length);
        EXPECT_EQ(test::hashBytes(text.data(), text.size()), golden.hash)
            << golden.format << golden.clahe << golden.curve << golden.colorCorr << golden.colormap
            << golden.mask << "\n"
            << text;
    }
    const std::string vertex = kShaderVertex;
    EXPECT_EQ(vertex.size(), 314U);
    EXPECT_EQ(test::hashBytes(vertex.data(), vertex.size()), 0xee6237e02caac915ULL);
}

// One text in full, to be read.
TEST(ShaderComposer, ComposesInOrder) {
    EXPECT_EQ(compose(5, 1, {false, true, false, false, true}), R"glsl(#version 320 es
    #extension GL_OES_EGL_image_external_essl3 : require
    #extension GL_EXT_YUV_target : require
    precision highp float;
    precision highp sampler3D;
    uniform sampler2D yTexture;
    uniform sampler2D uvTexture;
    in vec2 v_texCoord;
    layout(yuv) out vec4 outColor;

    // curvemap
    uniform sampler2D yCurvemapTexture;
    uniform sampler2D uvCurvemapTexture;

    vec4 curvemap(vec4 yuv)
    {
        float y = texture(yCurvemapTexture,  vec2(yuv.r, 0.0)).g;
        float u = texture(uvCurvemapTexture, vec2(yuv.g, 0.0)).g;
        float v = texture(uvCurvemapTexture, vec2(yuv.b, 0.0)).g;

        return vec4(y, u, v, 1.0);
    }

    // make mask1
    uniform sampler2D maskmapTexture;

    /*************************************MAIN***************************************/
    void main()
    {
        vec4 uvColor = texture(uvTexture, v_texCoord);
        float y = texture(yTexture, v_texCoord).r;
        float u = uvColor.a;
        float v = uvColor.g;
        vec4 srcYuv = vec4(y, u, v, 1.0);
        vec4 dstYuv = srcYuv;

        dstYuv = curvemap(dstYuv);


        // make mask1
        vec4 mask = texture(maskmapTexture, v_texCoord);
        dstYuv = mix(srcYuv, dstYuv, mask);

        outColor = dstYuv;
    }
)glsl");
}

TEST(ShaderComposer, LeavesOutWhatItDoesNotKnow) {
    const huevance::StageSwitches mask = {false, false, false, false, true};
    for (const int maskType : {0, 3, -1}) {
        EXPECT_EQ(compose(6, maskType, mask), compose(6, 0, {})) << maskType;
    }
    // Another format has no main function.
    EXPECT_EQ(compose(9, 0, {}), std::string(kShaderHeader) + kShaderClosing);
}

}  // namespace
