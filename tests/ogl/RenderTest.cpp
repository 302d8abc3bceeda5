// The renderer: its calls in order, and what it draws against the C++ model of its shader.
#include <gmock/gmock.h>

#include <cstdlib>

#include "ogl/GLFramebuffer.h"
#include "ogl/HuevanceRender.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/ogl/support/ShaderModel.h"
#include "tests/support/Frames.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr float kPositions[] = {-1, -1, 1, -1, -1, 1, 1, 1};
constexpr float kTexcoords[] = {0, 0, 1, 0, 0, 1, 1, 1};

constexpr int kTop = 255;

test::Bytes noise(std::size_t size, std::uint32_t seed, int top = kTop) {
    test::Random random(seed);
    test::Bytes bytes(size);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random.below(top + 1));
    }
    return bytes;
}

// No black beside colour: there colour correction divides by (almost) nothing, and a sampler's last bit
// decides.
enum class Look { kPhoto, kNoise, kBlack, kWhite, kStripes };

test::Bytes plane(std::size_t size, std::size_t width, Look look, std::uint32_t seed) {
    test::Random random(seed);
    test::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        const int x = static_cast<int>(i % width);
        const int y = static_cast<int>(i / width);
        const int values[] = {40 + (x * 3 + y * 2) % 160 + random.below(6), 1 + random.below(255), 0, 255,
                              (x / 2 + y) % 2 == 0 ? 1 : 255};
        bytes[i] = static_cast<unsigned char>(values[static_cast<int>(look)]);
    }
    return bytes;
}

// Tables as they come: rising curves, each tile another one; and a colour table that turns colours.
void fillTables(test::ShaderInput& in, std::uint32_t seed) {
    test::Random random(seed);
    const int tiles = in.gridWidth * in.gridHeight;
    in.clahe.resize(static_cast<std::size_t>(tiles) * 256);
    for (int level = 0; level < 256; ++level) {
        for (int tile = 0; tile < tiles; ++tile) {
            in.clahe[static_cast<std::size_t>(level * tiles + tile)] =
                static_cast<unsigned char>(std::min(255, level * (40 + tile * 29 % 40) / 48));
        }
    }
    in.yCurve.resize(256);
    in.uvCurve.resize(256);
    for (int i = 0; i < 256; ++i) {
        in.yCurve[static_cast<std::size_t>(i)] =
            static_cast<unsigned char>(255 - (255 - i) * (255 - i) / 255);
        in.uvCurve[static_cast<std::size_t>(i)] =
            static_cast<unsigned char>(std::clamp((i - 128) * 5 / 4 + 128, 0, 255));
    }
    // Slopes as real tables have: near a jump a sampler's last bit becomes levels.
    in.color.resize(16 * 16 * 16 * 3);
    for (int i = 0; i < 16 * 16 * 16; ++i) {
        const int y = i % 16, u = i / 16 % 16, v = i / 256;
        const int values[] = {y * 17 + (u - 8) * 2, 255 - (255 - u * 17) * (60 + v) / 75, v * 15 + y};
        for (int channel = 0; channel < 3; ++channel) {
            in.color[static_cast<std::size_t>(i * 3 + channel)] =
                static_cast<unsigned char>(std::clamp(values[channel], 0, 255));
        }
    }
    in.maskWidth = 19;
    in.maskHeight = 13;
    in.mask = noise(19 * 13, seed + 1);
}

test::ShaderInput makeInput(int width, int height, IMAGE_FORMAT_TYPE format, Look look, std::uint32_t seed) {
    test::ShaderInput in;
    in.width = width;
    in.height = height;
    in.format = format;
    in.luma = plane(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                    static_cast<std::size_t>(width), look, seed);
    in.chroma = plane(static_cast<std::size_t>(width / 2 * 2) * static_cast<std::size_t>(height / 2),
                      static_cast<std::size_t>(width / 2 * 2), look, seed + 7);
    fillTables(in, seed);
    return in;
}

// Everything that one draw takes.
class Scene {
public:
    explicit Scene(test::ShaderInput& in) : m_in(in) {
        m_y = new GLTexture2D(in.width, in.height, GL_LUMINANCE, GL_LUMINANCE, in.luma.data());
        m_uv = new GLTexture2D(in.width / 2, in.height / 2, GL_LUMINANCE_ALPHA, GL_LUMINANCE_ALPHA,
                               in.chroma.data());
        m_clahe =
            new GLTexture2D(in.gridWidth * in.gridHeight, 256, GL_LUMINANCE, GL_LUMINANCE, in.clahe.data());
        m_yCurve = new GLTexture2D(256, 1, GL_LUMINANCE, GL_LUMINANCE, in.yCurve.data());
        m_uvCurve = new GLTexture2D(256, 1, GL_LUMINANCE, GL_LUMINANCE, in.uvCurve.data());
        m_color = new GLTexture3D(16, 16, 16, GL_RGB, GL_RGB, in.color.data());
        m_mask = new GLTexture2D(in.maskWidth, in.maskHeight, GL_LUMINANCE, GL_LUMINANCE, in.mask.data());
        m_render = new HuevanceRender;
        const huevance::StageSwitches& on = in.on;
        EXPECT_EQ(m_render->init(in.format, in.maskType, on.clahe, on.curve, on.colorCorrect, on.colorMap,
                                 on.portraitProtect),
                  0);
        m_render->setPosVertices(kPositions);
        m_render->setTexVertices(kTexcoords);
        m_render->setImageSize(in.width, in.height);
        m_render->setGridSize(in.gridWidth, in.gridHeight);
        m_render->setClahemap(m_clahe.get());
        m_render->setCurvemap(m_yCurve.get(), m_uvCurve.get());
        m_render->setColormap(m_color.get(), in.colorStrength);
        m_render->setMaskmap(m_mask.get());
    }

    int process() { return m_render->process(m_y.get(), m_uv.get(), 0, 0, m_in.width, m_in.height); }

    int draw(test::DeviceBuffer& buffer) {
        const smart_pointer<GLTexture2DOES> output(new GLTexture2DOES(
            eglGetNativeClientBufferANDROID(buffer.get()), GL_TEXTURE_EXTERNAL_OES, m_in.width, m_in.height));
        const smart_pointer<GLFramebuffer> framebuffer(new GLFramebuffer);
        framebuffer->bind(GL_FRAMEBUFFER);
        EXPECT_TRUE(framebuffer->attachTexture(0, output->name(), output->target()));
        glClear(GL_COLOR_BUFFER_BIT);
        const int result = process();
        GLUtils::flush();
        framebuffer->unBind();
        return result;
    }

private:
    test::ShaderInput& m_in;
    smart_pointer<GLTexture2D> m_y, m_uv, m_clahe, m_yCurve, m_uvCurve, m_mask;
    smart_pointer<GLTexture3D> m_color;
    smart_pointer<HuevanceRender> m_render;
};

class RenderTest : public test::GlTest {
protected:
    void expectLikeModel(test::ShaderInput& in, const std::string& what) {
        test::DeviceBuffer drawn(in.width, in.height, in.format);
        Scene scene(in);
        ASSERT_EQ(scene.draw(drawn), 0) << what;
        const test::Difference worst = test::compareWithModel(drawn, test::modelFrame(in));
        EXPECT_LE(worst.luma, 1) << what;
        EXPECT_LE(worst.chroma, 1) << what;
    }
};

std::string describe(const test::ShaderInput& in) {
    return std::to_string(in.width) + " x " + std::to_string(in.height) + " format " +
           std::to_string(in.format) + " stages " + std::to_string(in.on.clahe) +
           std::to_string(in.on.curve) + std::to_string(in.on.colorCorrect) + std::to_string(in.on.colorMap) +
           std::to_string(in.on.portraitProtect) + " mask " + std::to_string(in.maskType) + " strength " +
           std::to_string(in.colorStrength);
}

TEST_F(RenderTest, DrawsWhatTheModelSaysForEveryCombination) {
    const test::CurrentEngine current;
    test::LogCapture log;
    constexpr Look kLooks[] = {Look::kPhoto, Look::kNoise, Look::kStripes};
    constexpr float kStrengths[] = {0.0F, 0.35F, 1.0F};
    constexpr int kSizes[][2] = {{96, 64}, {90, 70}, {131, 77}, {64, 48}};
    std::uint32_t seed = 1;
    for (const auto format : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        for (int bits = 0; bits < 16; ++bits) {
            for (int mask = 0; mask < 3; ++mask) {
                const auto& size = kSizes[seed % 4];
                test::ShaderInput in = makeInput(size[0], size[1], format, kLooks[seed % 3], seed);
                in.on = {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, mask != 0};
                in.maskType = mask;
                in.colorStrength = kStrengths[seed % 3];
                expectLikeModel(in, describe(in));
                ++seed;
            }
        }
    }
    EXPECT_THAT(log.texts(), ElementsAre());
}

TEST_F(RenderTest, HoldsForExtremeContentsSizesAndGrids) {
    const test::CurrentEngine current;
    for (const Look look : {Look::kBlack, Look::kWhite, Look::kNoise, Look::kStripes, Look::kPhoto}) {
        for (const auto& [width, height, gridWidth, gridHeight] :
             {std::array{61, 47, 5, 5}, {38, 34, 5, 5}, {258, 6, 8, 2}, {34, 33, 16, 16}, {16, 12, 8, 6}}) {
            test::ShaderInput in = makeInput(width, height, IMAGE_FORMAT_TYPE_NV21, look, 77);
            in.gridWidth = gridWidth;
            in.gridHeight = gridHeight;
            fillTables(in, 5);
            in.on = {true, true, true, true, true};
            in.maskType = 2;
            in.colorStrength = 0.5F;
            expectLikeModel(in, describe(in) + " look " + std::to_string(static_cast<int>(look)));
        }
    }
}

// With all stages off luma passes untouched; chroma is read back through the linear sampler.
TEST_F(RenderTest, PassesLumaThroughWithoutStages) {
    const test::CurrentEngine current;
    test::ShaderInput in = makeInput(70, 50, IMAGE_FORMAT_TYPE_NV12, Look::kNoise, 3);
    test::DeviceBuffer drawn(70, 50, IMAGE_FORMAT_TYPE_NV12);
    Scene scene(in);
    ASSERT_EQ(scene.draw(drawn), 0);
    for (int y = 0; y < 50; ++y) {
        for (int x = 0; x < 70; ++x) {
            ASSERT_EQ(drawn.luma(x, y), in.luma[static_cast<std::size_t>(y * 70 + x)]);
        }
    }
    EXPECT_LE(test::compareWithModel(drawn, test::modelFrame(in)).chroma, 1);
}

TEST_F(RenderTest, SetsUniformsAndUnitsInOrder) {
    const test::CurrentEngine current;
    test::ShaderInput in = makeInput(64, 49, IMAGE_FORMAT_TYPE_NV12, Look::kPhoto, 1);
    in.gridWidth = 5;
    in.gridHeight = 4;
    fillTables(in, 1);
    in.on = {true, true, true, true, true};
    in.colorStrength = 0.25F;
    for (const int mask : {1, 2}) {
        in.maskType = mask;
        test::CallTrace trace;
        Scene scene(in);
        std::map<std::string, std::string> names;  // location to name
        std::vector<std::string> looked;
        for (const std::string& call : trace.calls()) {
            if (call.find("glGetUniformLocation(") == 0) {
                looked.push_back(call.substr(call.find(", ") + 2, call.size() - call.find(", ") - 3));
            }
        }
        trace.clear();
        ASSERT_EQ(scene.process(), 0);
        std::vector<std::string> values;
        for (const std::string& call : trace.calls()) {
            EXPECT_NE(call.find("glGetUniformLocation("), 0U) << "locations are looked up once";
            if (call.find("glUniform1f(") == 0) {
                values.push_back(call.substr(call.find(", ") + 2));
            } else if (call.find("glActiveTexture(") == 0) {
                values.push_back("unit " + std::to_string(std::stoi(call.substr(16)) - GL_TEXTURE0));
            }
        }
        // Blocks of 12 x 12, halves of 6, spans 60 - 12 = 48 and 48 - 12 = 36, scales 3 / 35 and 4 / 47.
        std::vector<std::string> expected = {"unit 0", "unit 1", "64)",    "49)",  "5)",        "4)",
                                             "6)",     "6)",     "48)",    "36)",  "0.085714)", "0.085106)",
                                             "unit 2", "unit 3", "unit 4", "128)", "0.25)",     "unit 5"};
        const std::vector<std::string> skin = {"0.403786)", "0.644568)", "0.482214)", "0.571432)", "0.07)"};
        if (mask == 1) {
            expected.push_back("unit 6");
        } else {
            expected.insert(expected.end(), skin.begin(), skin.end());
        }
        EXPECT_THAT(values, ElementsAreArray(expected));
        std::vector<std::string> uniforms = {
            "yTexture",    "uvTexture",       "clahemapTexture", "imageWidth",       "imageHeight",
            "gridWidth",   "gridHeight",      "blockHalWidth",   "blockHalHeight",   "validWidth",
            "validHeight", "rowScale",        "colScale",        "yCurvemapTexture", "uvCurvemapTexture",
            "halfLevel",   "colormapTexture", "colormapStrength"};
        const std::vector<std::string> ofMask =
            mask == 1 ? std::vector<std::string>{"maskmapTexture"}
                      : std::vector<std::string>{"fu1", "fv1", "fu2", "fv2", "fa"};
        uniforms.insert(uniforms.end(), ofMask.begin(), ofMask.end());
        EXPECT_THAT(looked, ElementsAreArray(uniforms));
        EXPECT_THAT(trace.calls(), testing::Contains("glViewport(0, 0, 64, 49)"));
        EXPECT_EQ(trace.calls().back(), "glDrawArrays(5, 0, 4)");
    }
}

TEST_F(RenderTest, AShaderThatDoesNotBuildShowsAtProcess) {
    const test::CurrentEngine current;
    test::LogCapture log;
    smart_pointer<HuevanceRender> render(new HuevanceRender);
    EXPECT_EQ(render->init(static_cast<IMAGE_FORMAT_TYPE>(9), 0, false, false, false, false, false), 0);
    EXPECT_THAT(log.texts(), ElementsAre(testing::StartsWith("[GLShaderProgram] ")));
    test::CallTrace trace;
    EXPECT_EQ(render->process(nullptr, nullptr, 0, 0, 8, 8), -1);
    EXPECT_THAT(trace.calls(), ElementsAre());
    EXPECT_EQ(render->destroy(), 0);
}

TEST_F(RenderTest, HoldsItsTexturesUntilItGoes) {
    const test::CurrentEngine current;
    unsigned char texel[3] = {};
    smart_pointer<GLTexture2D> a(new GLTexture2D(1, 1, GL_LUMINANCE, GL_LUMINANCE, texel));
    smart_pointer<GLTexture2D> b(new GLTexture2D(1, 1, GL_LUMINANCE, GL_LUMINANCE, texel));
    smart_pointer<GLTexture3D> c(new GLTexture3D(1, 1, 1, GL_RGB, GL_RGB, texel));
    {
        smart_pointer<HuevanceRender> render(new HuevanceRender);
        render->setClahemap(a.get());
        render->setCurvemap(a.get(), b.get());
        render->setMaskmap(b.get());
        render->setColormap(c.get(), 1.0F);
        EXPECT_EQ(a->count(), 3);
        render->setClahemap(b.get());
        render->setClahemap(b.get());  // itself
        EXPECT_EQ(a->count(), 2);
        EXPECT_EQ(b->count(), 4);
        EXPECT_EQ(c->count(), 2);
        render->destroy();
        EXPECT_EQ(b->count(), 4);
    }
    EXPECT_EQ(a->count() + b->count() + c->count(), 3);
}

}  // namespace
