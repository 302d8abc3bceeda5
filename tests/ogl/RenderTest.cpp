// The renderer: its calls in order, and what it draws against the C++ model of its shader.
#include <gmock/gmock.h>

#include "ogl/GLFramebuffer.h"
#include "ogl/HuevanceRender.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/support/Photo.h"

namespace {

using testing::ElementsAre;

constexpr float kPositions[] = {-1, -1, 1, -1, -1, 1, 1, 1};
constexpr float kTexcoords[] = {0, 0, 1, 0, 0, 1, 1, 1};

smart_pointer<GLTexture2D> gray(int width, int height, test::Bytes& texels) {
    return new GLTexture2D(width, height, GL_LUMINANCE, GL_LUMINANCE, texels.data());
}

// A renderer for the stages of an input, which draws any input with the same. It alone holds the tables'
// textures.
class Scene {
public:
    explicit Scene(const test::ShaderInput& in) : m_render(new HuevanceRender) {
        const huevance::StageSwitches& on = in.on;
        EXPECT_EQ(m_render->init(in.format, in.maskType, on.clahe, on.curve, on.colorCorrect, on.colorMap,
                                 on.portraitProtect),
                  0);
        m_render->setPosVertices(kPositions);
        m_render->setTexVertices(kTexcoords);
    }

    int process(test::ShaderInput& in) {
        m_render->setImageSize(in.width, in.height);
        m_render->setGridSize(in.gridWidth, in.gridHeight);
        m_render->setClahemap(gray(in.gridWidth * in.gridHeight, 256, in.clahe).get());
        m_render->setCurvemap(gray(256, 1, in.yCurve).get(), gray(256, 1, in.uvCurve).get());
        m_render->setColormap(
            smart_pointer<GLTexture3D>(new GLTexture3D(16, 16, 16, GL_RGB, GL_RGB, in.color.data())).get(),
            in.colorStrength);
        m_render->setMaskmap(gray(in.maskWidth, in.maskHeight, in.mask).get());
        const smart_pointer<GLTexture2D> luma = gray(in.width, in.height, in.luma);
        GLTexture2D chroma(in.width / 2, in.height / 2, GL_LUMINANCE_ALPHA, GL_LUMINANCE_ALPHA,
                           in.chroma.data());
        return m_render->process(luma.get(), &chroma, 0, 0, in.width, in.height);
    }

    test::Difference compare(test::ShaderInput& in) {
        test::DeviceBuffer drawn(in.width, in.height, in.format);
        GLTexture2DOES output(eglGetNativeClientBufferANDROID(drawn.get()), GL_TEXTURE_EXTERNAL_OES, in.width,
                              in.height);
        GLFramebuffer framebuffer;
        framebuffer.bind(GL_FRAMEBUFFER);
        EXPECT_TRUE(framebuffer.attachTexture(0, output.name(), output.target()));
        EXPECT_EQ(process(in), 0);
        GLUtils::flush();
        framebuffer.unBind();
        return test::compareWithModel(drawn, test::modelFrame(in));
    }

private:
    smart_pointer<HuevanceRender> m_render;
};

struct Shape {
    int width, height, gridWidth, gridHeight;
};
constexpr Shape kShapes[] = {{96, 64, 8, 6},   {90, 70, 5, 5}, {131, 77, 5, 5}, {61, 47, 8, 6},
                             {34, 33, 16, 16}, {258, 6, 8, 2}, {38, 34, 5, 5}};
constexpr const char* kPhotos[] = {"portrait", "still_life"};
constexpr test::Content kExtremes[] = {test::Content::kNoise, test::Content::kAlternating,
                                       test::Content::kMax, test::Content::kZero, test::Content::kRamp};
constexpr float kStrengths[] = {0.0F, 0.35F, 1.0F};

class RenderTest : public test::GlTest {
protected:
    // The frame as the shader's input, with tables of its own.
    test::ShaderInput input(const test::Frame& frame, IMAGE_FORMAT_TYPE format, const Shape& shape) {
        test::ShaderInput in = m_tuning.input(frame, format, 1, {0.25F, 1.3F, 2.0F});
        in.gridWidth = shape.gridWidth;
        in.gridHeight = shape.gridHeight;
        const int tiles = in.gridWidth * in.gridHeight;
        for (int i = 0; i < 256 * tiles; ++i) {  // rising, each tile another
            const int level = i / tiles * (40 + i % tiles * 29 % 90) / 48;
            in.clahe.push_back(static_cast<unsigned char>(std::min(level, 255)));
        }
        in.color.clear();
        for (int i = 0; i < 16 * 16 * 16; ++i) {
            const int y = i % 16, u = i / 16 % 16, v = i / 256;
            for (const int level : {y * 15 + u, 255 - u * 16 + y, 40 + v * 14}) {
                in.color.push_back(static_cast<unsigned char>(level));
            }
        }
        in.maskWidth = 19;
        in.maskHeight = 13;
        test::Random random(7);
        for (int i = 0; i < 19 * 13; ++i) {
            in.mask.push_back(static_cast<unsigned char>(random.below(256)));
        }
        return in;
    }

    // Frames of different contents and shapes; every call another choice. Black beside other luma is left
    // out: there colour correction divides by (almost) nothing, and a sampler's last bit decides.
    std::vector<test::ShaderInput> inputs(IMAGE_FORMAT_TYPE format) {
        std::vector<test::ShaderInput> result;
        for (const bool photo : {true, false, false}) {
            const Shape& shape = kShapes[m_iChoice % std::size(kShapes)];
            const test::Content content = kExtremes[m_iChoice % std::size(kExtremes)];
            test::Frame frame({shape.width, shape.height, shape.width + 3, shape.height + 1}, 1);
            if (!photo || !test::fillWithPhoto(frame, kPhotos[m_iChoice / 3 % 2])) {
                frame.fill(content, 256, static_cast<std::uint32_t>(m_iChoice));
            }
            result.push_back(input(frame, format, shape));
            if (photo || content != test::Content::kZero) {
                for (unsigned char& luma : result.back().luma) {
                    luma = std::max<unsigned char>(luma, 1);
                }
            }
            result.back().colorStrength = kStrengths[(m_iChoice + m_iChoice / 3) % 3];
            ++m_iChoice;
        }
        return result;
    }

    test::OglTuning m_tuning{{{"claheSwitch", "0"}}};
    std::size_t m_iChoice = 0;
};

TEST_F(RenderTest, DrawsWhatTheModelSaysForEveryCombination) {
    const test::CurrentEngine current;
    test::LogCapture log;
    for (const auto format : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        for (int bits = 0; bits < 16; ++bits) {
            for (int mask = 0; mask < 3; ++mask) {
                std::vector<test::ShaderInput> all = inputs(format);
                for (test::ShaderInput& in : all) {
                    in.on = {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, mask != 0};
                    in.maskType = mask;
                }
                Scene scene(all.front());
                for (test::ShaderInput& in : all) {
                    const test::Difference worst = scene.compare(in);
                    EXPECT_LE(worst.luma, bits == 0 && mask == 0 ? 0 : 1);
                    EXPECT_LE(worst.chroma, 1)
                        << in.width << " x " << in.height << " format " << format << " stages " << bits
                        << " mask " << mask << " strength " << in.colorStrength << " luma " << worst.luma;
                }
            }
        }
    }
    EXPECT_THAT(log.texts(), ElementsAre());
}

// Where the model does not tell: of a frame narrower than its grid, and of a mask type that is none.
TEST_F(RenderTest, SetsUniformsAndUnitsInOrder) {
    const test::CurrentEngine current;
    const test::LogCapture log;  // there is no target of YUV
    struct Case {
        Shape shape;
        int mask;
        std::string clahe, ofMask;
    };
    for (const Case& c :
         {// Blocks of 0 x 10, scales 0 / -1 and 7 / -1.
          Case{{4, 10, 8, 1}, 2, "4 10 8 1 0 5 0 0 -0 -7 ", "0.403786 0.644568 0.482214 0.571432 0.07 "},
          // Blocks of 8 x 8, spans 64 - 8 and 48 - 8, scales 5 / 39 and 7 / 55.
          Case{{64, 48, 8, 6}, 3, "64 48 8 6 4 4 56 40 0.128205 0.127273 ", ""}}) {
        const test::Frame frame({c.shape.width, c.shape.height, c.shape.width, c.shape.height}, 1);
        test::ShaderInput in = input(frame, IMAGE_FORMAT_TYPE_NV12, c.shape);
        in.on = {true, true, true, true, true};
        in.maskType = c.mask;
        Scene scene(in);
        test::CallTrace trace;
        ASSERT_EQ(scene.process(in), 0);
        std::string set;
        for (const std::string& call : trace.calls()) {
            if (call.find("glUniform1f(") == 0) {
                set += call.substr(call.find(' ') + 1, call.size() - call.find(' ') - 2) + " ";
            }
        }
        EXPECT_EQ(set, c.clahe + "128 0.25 " + c.ofMask);
    }
}

TEST_F(RenderTest, AShaderThatDoesNotBuildShowsAtProcess) {
    const test::CurrentEngine current;
    test::LogCapture log;
    HuevanceRender render;
    EXPECT_EQ(render.init(static_cast<IMAGE_FORMAT_TYPE>(9), 0, false, false, false, false, false), 0);
    EXPECT_THAT(log.texts(), ElementsAre(testing::StartsWith("[GLShaderProgram] ")));
    EXPECT_FALSE(render.isBuilt());
    test::CallTrace trace;
    EXPECT_EQ(render.process(nullptr, nullptr, 0, 0, 8, 8), -1);
    EXPECT_THAT(trace.calls(), ElementsAre());
}

}  // namespace
