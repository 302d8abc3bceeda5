// The simulated EGL and OpenGL ES: what they add to the system's driver, and the rules that they enforce.
#include <functional>
#include <memory>
#include <optional>

#include "tests/ogl/support/GlFixture.h"

namespace {

const std::string kYuvFragment =
    "#version 320 es\n#extension GL_EXT_YUV_target : require\nprecision highp float;\n"
    "layout(yuv) out vec4 color;\n"
    "void main() { color = vec4(gl_FragCoord.x / 255.0, gl_FragCoord.y / 255.0, 0.25, 0.5); }\n";
const std::string kPlainFragment =
    "#version 320 es\nprecision highp float;\nout vec4 color;\nvoid main() { color = vec4(1.0); }\n";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    return text.replace(text.find(what), what.size(), by);
}

GLuint compile(GLenum type, const std::string& text) {
    const GLuint shader = glCreateShader(type);
    const GLchar* whole = text.c_str();
    glShaderSource(shader, 1, &whole, nullptr);
    glCompileShader(shader);
    GLint done = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &done);
    return done != 0 ? shader : 0;
}

GLuint build(const std::string& fragment) {
    const GLuint program = glCreateProgram();
    glAttachShader(program, compile(GL_VERTEX_SHADER,
                                    "#version 320 es\nlayout(location = 0) in vec4 p;\n"
                                    "void main() { gl_Position = p; }\n"));
    glAttachShader(program, compile(GL_FRAGMENT_SHADER, fragment));
    glLinkProgram(program);
    return program;
}

void draw(GLuint program) {
    static constexpr float kStrip[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    glUseProgram(program);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, kStrip);
    glEnableVertexAttribArray(0);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

GLenum wait() {
    const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    const GLenum result = glClientWaitSync(fence, 0, 15000000);
    glDeleteSync(fence);
    return result;
}

class SimulatedGl : public test::GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        if (!IsSkipped()) {
            m_current.emplace();
            GLuint framebuffer = 0;
            glGenFramebuffers(1, &framebuffer);
            glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        }
    }
    void TearDown() override {
        m_current.reset();
        GlTest::TearDown();
    }

    EGLImageKHR import(test::DeviceBuffer& buffer) {
        return eglCreateImageKHR(eglGetCurrentDisplay(), EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                 eglGetNativeClientBufferANDROID(buffer.get()), nullptr);
    }

    // Makes the buffer an external texture, attached to the framebuffer.
    GLuint target(test::DeviceBuffer& buffer) {
        m_image = import(buffer);
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_EXTERNAL_OES, texture);
        glEGLImageTargetTexture2DOES(GL_TEXTURE_EXTERNAL_OES, m_image);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_EXTERNAL_OES, texture, 0);
        glViewport(0, 0, buffer.roi().width, buffer.roi().height);
        return texture;
    }

    std::optional<test::CurrentEngine> m_current;
    EGLImageKHR m_image = EGL_NO_IMAGE_KHR;
};

TEST_F(SimulatedGl, WritesTheDrawnFrameBackBeforeTheFenceReports) {
    for (const auto format : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        for (const auto mode : {SIM_GL_CHROMA_MEAN, SIM_GL_CHROMA_FIRST}) {
            sim_gl_set_chroma(mode);
            sim_hardware_buffer_fail("lock", 1);  // the buffer is not the host's to touch, and nobody does
            test::DeviceBuffer buffer(100, 60, format, AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER);
            buffer.fill(9);
            target(buffer);
            draw(build(kYuvFragment));
            sim_gl_time_out_fences(1);
            EXPECT_EQ(wait(), static_cast<GLenum>(GL_TIMEOUT_EXPIRED));
            EXPECT_EQ(buffer.luma(0, 0), 9);
            EXPECT_EQ(wait(), static_cast<GLenum>(GL_ALREADY_SIGNALED));
            EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
            for (const auto& [x, y] : {std::pair(0, 0), {99, 59}, {13, 40}}) {
                // Y = x + 0.5 and U = y + 0.5, rounded; row 0 is the first in memory.
                EXPECT_NEAR(buffer.luma(x, y), x + 0.5, 0.51);
                const double row = mode == SIM_GL_CHROMA_MEAN ? y / 2 * 2 + 1.0 : y / 2 * 2 + 0.5;
                EXPECT_NEAR(buffer.chroma(x / 2, y / 2, 0), row, 0.51) << "mode " << mode;
                EXPECT_EQ(buffer.chroma(x / 2, y / 2, 1), 64);
            }
            EXPECT_EQ(buffer.data()[100], 9);  // padding
            GLubyte texel[4];
            glReadPixels(20, 30, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, texel);
            EXPECT_NEAR(texel[0], 20.5, 0.51);
            EXPECT_EQ(texel[3], 255);  // whatever was drawn
        }
    }
    sim_hardware_buffer_fail("lock", 0);
}

TEST_F(SimulatedGl, KeepsWhatDrawsAndClearsLeaveAlone) {
    const GLuint program = build(kYuvFragment);
    constexpr GLuint kIndices[] = {0, 1, 2, 3};
    constexpr GLfloat kColor[] = {0.2F, 0.4F, 0.6F, 1.0F};  // y, u, v
    glClearColor(kColor[0], kColor[1], kColor[2], kColor[3]);
    glScissor(0, 0, 32, 64);
    // Each writes the left half.
    const std::function<void()> kWrites[] = {
        [&] { draw(program); },
        [&] { glDrawRangeElements(GL_TRIANGLE_STRIP, 0, 3, 4, GL_UNSIGNED_INT, kIndices); },
        [&] { glEnable(GL_SCISSOR_TEST), glClear(GL_COLOR_BUFFER_BIT); },
        [&] { glEnable(GL_SCISSOR_TEST), glClearBufferfv(GL_COLOR, 0, kColor); }};
    for (const auto& write : kWrites) {
        test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
        buffer.fill(50);
        target(buffer);
        GLubyte texel[4];
        glReadPixels(40, 10, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, texel);
        EXPECT_EQ(texel[2], 50);
        glViewport(0, 0, 32, 64);
        write();
        EXPECT_EQ(buffer.luma(10, 10), 50);
        glFinish();
        EXPECT_NE(buffer.luma(10, 10), 50);
        EXPECT_EQ(buffer.luma(40, 10), 50);
        EXPECT_EQ(buffer.chroma(20, 5, 1), 50);
        glDisable(GL_SCISSOR_TEST);
        glClear(GL_COLOR_BUFFER_BIT);
        glFinish();
        EXPECT_EQ(buffer.luma(40, 10), 51);
        EXPECT_EQ(buffer.chroma(20, 5, 0), 102);
        EXPECT_EQ(buffer.chroma(20, 5, 1), 153);
    }
}

TEST_F(SimulatedGl, EnforcesTheExtensionsRules) {
    test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
    test::DeviceBuffer sampled(64, 64, IMAGE_FORMAT_TYPE_NV12, AHARDWAREBUFFER_USAGE_GPU_SAMPLED_IMAGE);
    test::DeviceBuffer hosts(64, 64, IMAGE_FORMAT_TYPE_NV12, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN);
    const GLuint yuv = build(kYuvFragment);
    const GLuint plain = build(kPlainFragment);
    const GLuint texture = target(buffer);
    const auto attach = [&](GLenum point, GLint level) {
        glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_EXTERNAL_OES, texture, level);
    };
    const auto bindImage = [](GLenum to, EGLImageKHR image) { glEGLImageTargetTexture2DOES(to, image); };
    struct Rule {
        const char* name;
        GLenum error;
        std::function<void()> act;
    };
    const Rule kRules[] = {
        {"plain output into the target", GL_INVALID_OPERATION, [&] { draw(plain); }},
        {"blending", GL_INVALID_OPERATION, [&] { glEnable(GL_BLEND), draw(yuv), glDisable(GL_BLEND); }},
        {"colour mask", GL_INVALID_OPERATION, [&] { glColorMask(1, 0, 1, 1), draw(yuv); }},
        {"blit", GL_INVALID_OPERATION,
         [] { glBlitFramebuffer(0, 0, 8, 8, 8, 8, 16, 16, GL_COLOR_BUFFER_BIT, GL_NEAREST); }},
        {"attachment 1", GL_INVALID_OPERATION, [&] { attach(GL_COLOR_ATTACHMENT0 + 1, 0); }},
        {"level 1", GL_INVALID_VALUE, [&] { attach(GL_COLOR_ATTACHMENT0, 1); }},
        {"as it should be", GL_NO_ERROR, [&] { glColorMask(1, 1, 1, 1), draw(yuv); }},
        {"image to another target", GL_INVALID_ENUM, [&] { bindImage(GL_TEXTURE_2D, m_image); }},
        {"no image", GL_INVALID_VALUE, [&] { bindImage(GL_TEXTURE_EXTERNAL_OES, nullptr); }},
        {"buffer not for drawing", GL_INVALID_FRAMEBUFFER_OPERATION, [&] { target(sampled), draw(plain); }},
        {"yuv output into another target", GL_INVALID_OPERATION,
         [&] { glBindFramebuffer(GL_FRAMEBUFFER, 0), draw(yuv); }},
        {"both plain", GL_NO_ERROR, [&] { draw(plain); }}};
    for (const Rule& rule : kRules) {
        rule.act();
        EXPECT_EQ(glGetError(), rule.error) << rule.name;
        EXPECT_EQ(glGetError(), 0U) << rule.name;
    }
    const std::string output = "layout(yuv) out vec4 color;";
    for (const std::string& wrong :
         {replaced(kYuvFragment, output, output + "layout(location = 1) out vec4 other;"),
          replaced(kYuvFragment, "#extension GL_EXT_YUV_target : require", "")}) {
        EXPECT_EQ(compile(GL_FRAGMENT_SHADER, wrong), 0U) << wrong;
    }
    eglDestroyImageKHR(eglGetCurrentDisplay(), m_image);
    EXPECT_EQ(eglDestroyImageKHR(eglGetCurrentDisplay(), m_image), static_cast<EGLBoolean>(EGL_FALSE));
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
    EXPECT_EQ(import(hosts), EGL_NO_IMAGE_KHR);
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
    EXPECT_EQ(eglGetNativeClientBufferANDROID(nullptr), nullptr);
    EXPECT_EQ(reinterpret_cast<void*>(eglGetProcAddress("eglCreateImageKHR")),
              reinterpret_cast<void*>(&eglCreateImageKHR));
}

TEST_F(SimulatedGl, CountsWhatIsAlive) {
    GLuint names[2];
    glGenTextures(2, names);
    const GLuint program = build(kYuvFragment);
    const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    EXPECT_EQ(test::aliveOnDevice(),
              "1 display 1 context 1 surface 2 texture 1 framebuffer 1 program 2 shader 1 sync ");
    glDeleteProgram(program);
    glDeleteTextures(2, names);
    glDeleteSync(fence);
    target(*std::make_unique<test::DeviceBuffer>(64, 64, IMAGE_FORMAT_TYPE_NV12));
    const std::string images = "1 surface 1 image ";
    const std::string all = "1 context " + images + "1 texture 1 framebuffer 2 shader 1 AHardwareBuffer ";
    EXPECT_EQ(test::aliveOnDevice(), "1 display " + all);
    const EGLDisplay display = eglGetCurrentDisplay();
    eglDestroyContext(display, eglGetCurrentContext());
    EXPECT_EQ(test::aliveOnDevice(), "1 display " + all);  // still current
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    EXPECT_EQ(test::aliveOnDevice(), "1 display " + images + "1 AHardwareBuffer ");
    EXPECT_EQ(sim_gl_live("nothing"), -1);
}

TEST_F(SimulatedGl, FailsOnlyWhatItKnowsAndForgivesNoLostContext) {
    EXPECT_EQ(sim_gl_fail("glNoSuchEntry", 1, 1), -1);
    EXPECT_EQ(sim_gl_calls("glNoSuchEntry"), -1);
    for (const int nth : {3, 2}) {  // the later order holds
        EXPECT_EQ(sim_gl_fail("glGenTextures", nth, GL_OUT_OF_MEMORY), 0);
    }
    for (const bool fails : {false, true, false}) {
        GLuint name = 0;
        glGenTextures(1, &name);
        EXPECT_EQ(name == 0, fails);
        EXPECT_EQ(glGetError(), static_cast<GLenum>(fails ? GL_OUT_OF_MEMORY : GL_NO_ERROR));
    }
    sim_gl_lose_contexts();
    EXPECT_EQ(glCreateProgram(), 0U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_CONTEXT_LOST));  // without end
    }
    EXPECT_EQ(eglMakeCurrent(eglGetCurrentDisplay(), nullptr, nullptr, eglGetCurrentContext()), 0U);
    EXPECT_EQ(eglGetError(), EGL_CONTEXT_LOST);
    const test::CurrentEngine fresh;
    EXPECT_NE(glCreateProgram(), 0U);
}

// Where there is no driver every call fails, and none crashes.
TEST(SimulatedGlWithoutDriver, FailsSoftly) {
    if (sim_gl_available() != 0) {
        GTEST_SKIP() << "this machine has a driver";
    }
    EXPECT_EQ(eglGetDisplay(EGL_DEFAULT_DISPLAY), EGL_NO_DISPLAY);
    EXPECT_EQ(eglInitialize(EGL_NO_DISPLAY, nullptr, nullptr), static_cast<EGLBoolean>(EGL_FALSE));
    EXPECT_EQ(eglGetError(), EGL_NOT_INITIALIZED);
    EXPECT_EQ(glCreateProgram(), 0U);
    EXPECT_EQ(glGetError(), 0U);
}

}  // namespace
