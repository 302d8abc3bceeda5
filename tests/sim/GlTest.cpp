// The simulated EGL and OpenGL ES: what they add to the system's driver, and the rules that they enforce.
#include <functional>
#include <optional>

#include "ogl/GLFramebuffer.h"
#include "ogl/GLShaderProgram.h"
#include "ogl/GLTexture.h"
#include "tests/ogl/support/GlFixture.h"

namespace {

const std::string kYuvFragment =
    "#version 320 es\n#extension GL_EXT_YUV_target : require\nprecision highp float;\n"
    "layout(yuv) out vec4 color;\n"
    "void main() { color = vec4(gl_FragCoord.x / 255.0, gl_FragCoord.y / 255.0, 0.25, 0.5); }\n";
const std::string kPlainFragment =
    "#version 320 es\nprecision highp float;\nout vec4 color;\nvoid main() { color = vec4(1.0); }\n";

int build(GLShaderProgram& program, const std::string& fragment) {
    return program.init("#version 320 es\nin vec4 p;\nvoid main() { gl_Position = p; }\n", fragment.c_str());
}

void draw(GLShaderProgram& program) {
    static constexpr float kStrip[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    program.beginDraw();
    program.enableVertexAttribArray(0, 2, GL_FLOAT, false, 0, kStrip);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

class SimulatedGl : public test::GlTest {
protected:
    SimulatedGl() {
        if (!IsSkipped()) {
            m_objects.emplace();
            m_objects->framebuffer.bind(GL_FRAMEBUFFER);
            EXPECT_EQ(build(m_objects->yuv, kYuvFragment) + build(m_objects->plain, kPlainFragment), 0);
        }
    }

    // Makes the buffer an external texture, attached to the framebuffer.
    void target(test::DeviceBuffer& buffer) {
        const auto& [width, height, stride, scanline] = buffer.roi();
        m_objects->texture = new GLTexture2DOES(buffer.get(), GL_TEXTURE_EXTERNAL_OES, width, height);
        m_objects->framebuffer.attachTexture(0, m_objects->texture->name(), GL_TEXTURE_EXTERNAL_OES);
        glViewport(0, 0, width, height);
    }

    struct Objects {
        test::CurrentEngine engine;
        GLFramebuffer framebuffer;
        GLShaderProgram yuv;
        GLShaderProgram plain;
        smart_pointer<GLTexture2DOES> texture;
    };
    std::optional<Objects> m_objects;
};

TEST_F(SimulatedGl, WritesTheDrawnFrameBackBeforeTheFenceReports) {
    for (const auto format : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        sim_hardware_buffer_fail("lock", 1);  // the buffer is not the host's to touch, and nobody does
        test::DeviceBuffer buffer(100, 60, format, AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER);
        buffer.fill(9);
        target(buffer);
        draw(m_objects->yuv);
        sim_gl_time_out_fences(1);
        for (const bool timedOut : {true, false}) {
            GLUtils::flush();
            EXPECT_EQ(buffer.luma(0, 0) == 9, timedOut);
        }
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
        for (const auto& [x, y] : {std::pair(0, 0), {99, 59}, {13, 40}}) {
            // Y = x + 0.5 and U = y + 0.5, rounded; row 0 is the first in memory.
            EXPECT_NEAR(buffer.luma(x, y), x + 0.5, 0.51);
            EXPECT_NEAR(buffer.chroma(x / 2, y / 2, 0), y / 2 * 2 + 1.0, 0.51);  // the mean of four
            EXPECT_EQ(buffer.chroma(x / 2, y / 2, 1), 64);
        }
        EXPECT_EQ(buffer.data()[100], 9);  // padding
        GLubyte texel[4];
        glReadPixels(20, 30, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, texel);
        EXPECT_NEAR(texel[0], 20.5, 0.51);
        EXPECT_EQ(texel[3], 255);  // whatever was drawn
    }
    sim_hardware_buffer_fail("lock", 0);
}

TEST_F(SimulatedGl, EnforcesTheExtensionsRules) {
    const test::LogCapture log;
    test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
    test::DeviceBuffer sampled(64, 64, IMAGE_FORMAT_TYPE_NV12, AHARDWAREBUFFER_USAGE_GPU_SAMPLED_IMAGE);
    test::DeviceBuffer hosts(64, 64, IMAGE_FORMAT_TYPE_NV12, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN);
    GLShaderProgram& yuv = m_objects->yuv;
    GLShaderProgram& plain = m_objects->plain;
    target(buffer);
    const auto attach = [&](GLenum point, GLint level) {
        glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_EXTERNAL_OES, m_objects->texture->name(),
                               level);
    };
    const auto bindImage = [](GLenum to) { glEGLImageTargetTexture2DOES(to, nullptr); };
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
        {"image to another target", GL_INVALID_ENUM, [&] { bindImage(GL_TEXTURE_2D); }},
        {"no image", GL_INVALID_VALUE, [&] { bindImage(GL_TEXTURE_EXTERNAL_OES); }},
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
         {test::replaced(kYuvFragment, output, output + "layout(location = 1) out vec4 other;"),
          test::replaced(kYuvFragment, "#extension GL_EXT_YUV_target : require", "")}) {
        GLShaderProgram program;
        EXPECT_EQ(build(program, wrong), -1) << wrong;
    }
    const auto import = [](void* client) {
        return eglCreateImageKHR(eglGetCurrentDisplay(), EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID, client,
                                 nullptr);
    };
    const EGLImageKHR image = import(buffer.get());
    for (const EGLBoolean once : {EGL_TRUE, EGL_FALSE}) {
        EXPECT_EQ(eglDestroyImageKHR(eglGetCurrentDisplay(), image), once);
    }
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
    EXPECT_EQ(import(hosts.get()), EGL_NO_IMAGE_KHR);
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
    EXPECT_EQ(eglGetNativeClientBufferANDROID(nullptr), nullptr);
    EXPECT_EQ(reinterpret_cast<void*>(eglGetProcAddress("eglCreateImageKHR")),
              reinterpret_cast<void*>(&eglCreateImageKHR));
}

TEST_F(SimulatedGl, FailsOnlyWhatItKnowsAndForgivesNoLostContext) {
    EXPECT_EQ(sim_gl_fail("glNoSuchEntry", 1, 1), -1);
    EXPECT_EQ(sim_gl_calls("glNoSuchEntry"), -1);
    EXPECT_EQ(sim_gl_fail("glGenTextures", 3, GL_OUT_OF_MEMORY), 0);
    EXPECT_EQ(sim_gl_fail("glGenTextures", 2, GL_OUT_OF_MEMORY), 0);  // the later order holds
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
    const test::LogCapture log;
    EXPECT_EQ(eglMakeCurrent(eglGetCurrentDisplay(), nullptr, nullptr, eglGetCurrentContext()), 0U);
    EXPECT_EQ(eglGetError(), EGL_CONTEXT_LOST);
    const test::CurrentEngine fresh;
    EXPECT_NE(glCreateProgram(), 0U);
}

}  // namespace
