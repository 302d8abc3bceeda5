// The simulated EGL and OpenGL ES: what they add to the system's driver, and the rules that they enforce.
#include <gtest/gtest.h>
#include <sim/gl.h>

#include <string>

#include "sim/gl/Headers.h"
#include "tests/sim/support/DeviceBuffer.h"

namespace {

constexpr const char* kVertex =
    "#version 320 es\nlayout(location = 0) in vec4 p;\nvoid main() { gl_Position = p; }\n";
constexpr const char* kYuvFragment =
    "#version 320 es\n"
    "#extension GL_EXT_YUV_target : require\n"
    "precision highp float;\n"
    "layout(yuv) out vec4 color;\n"
    "void main() { color = vec4(gl_FragCoord.x / 255.0, gl_FragCoord.y / 255.0, 0.25, 1.0); }\n";
constexpr const char* kPlainFragment =
    "#version 320 es\nprecision highp float;\nout vec4 color;\nvoid main() { color = vec4(1.0); }\n";

GLuint compile(GLenum type, const char* text) {
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint done = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &done);
    return done != 0 ? shader : 0;
}

GLuint build(const char* fragment) {
    const GLuint program = glCreateProgram();
    glAttachShader(program, compile(GL_VERTEX_SHADER, kVertex));
    glAttachShader(program, compile(GL_FRAGMENT_SHADER, fragment));
    glLinkProgram(program);
    return program;
}

// A display and a current context.
class SimulatedGl : public testing::Test {
protected:
    void SetUp() override {
        if (sim_gl_available() == 0) {
            GTEST_SKIP() << "no EGL and OpenGL ES on this machine";
        }
        sim_gl_reset();
        m_display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        ASSERT_EQ(eglInitialize(m_display, nullptr, nullptr), EGL_TRUE);
        m_context = createContext();
        ASSERT_EQ(eglMakeCurrent(m_display, m_surface, m_surface, m_context), EGL_TRUE);
    }
    void TearDown() override {
        if (sim_gl_available() != 0) {
            sim_gl_reset();
            eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
            eglTerminate(m_display);
            EXPECT_EQ(sim_gl_live(nullptr), 0);
            EXPECT_EQ(sim_hardware_buffer_live(), 0);
        }
    }

    EGLContext createContext() {
        // No surface type: on a phone that asks for windows, which do not exist here.
        const EGLint attributes[] = {EGL_RED_SIZE, 8, EGL_RENDERABLE_TYPE, EGL_OPENGL_ES3_BIT_KHR, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        EXPECT_EQ(eglChooseConfig(m_display, attributes, &config, 1, &count), EGL_TRUE);
        EXPECT_EQ(count, 1);
        const EGLint size[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
        m_surface = eglCreatePbufferSurface(m_display, config, size);
        const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
        return eglCreateContext(m_display, config, EGL_NO_CONTEXT, version);
    }

    // Makes the buffer an external texture, attached to the bound framebuffer.
    GLuint attach(AHardwareBuffer* buffer) {
        m_image = eglCreateImageKHR(m_display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                    eglGetNativeClientBufferANDROID(buffer), nullptr);
        EXPECT_NE(m_image, EGL_NO_IMAGE_KHR);
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_EXTERNAL_OES, texture);
        glEGLImageTargetTexture2DOES(GL_TEXTURE_EXTERNAL_OES, m_image);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_EXTERNAL_OES, texture, 0);
        return texture;
    }

    GLuint target(test::DeviceBuffer& buffer) {
        glGenFramebuffers(1, &m_framebuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
        const GLuint texture = attach(buffer.get());
        EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
        glViewport(0, 0, buffer.roi().width, buffer.roi().height);
        return texture;
    }

    void draw(GLuint program) {
        static const float kStrip[] = {-1, -1, 1, -1, -1, 1, 1, 1};
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

    EGLDisplay m_display = EGL_NO_DISPLAY;
    EGLSurface m_surface = EGL_NO_SURFACE;
    EGLContext m_context = EGL_NO_CONTEXT;
    EGLImageKHR m_image = EGL_NO_IMAGE_KHR;
    GLuint m_framebuffer = 0;
};

TEST_F(SimulatedGl, WritesTheDrawnFrameBackBeforeTheFenceReports) {
    for (const auto format : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        for (const auto mode : {SIM_GL_CHROMA_MEAN, SIM_GL_CHROMA_FIRST}) {
            sim_gl_set_chroma(mode);
            test::DeviceBuffer buffer(100, 60, format);
            buffer.fill(9);
            const GLuint texture = target(buffer);
            draw(build(kYuvFragment));
            ASSERT_EQ(wait(), static_cast<GLenum>(GL_ALREADY_SIGNALED));
            ASSERT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
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
            EXPECT_EQ(texel[3], 255);
            eglDestroyImageKHR(m_display, m_image);
            glDeleteTextures(1, &texture);
        }
    }
}

TEST_F(SimulatedGl, KeepsWhatADrawLeavesAlone) {
    test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
    buffer.fill(50);
    target(buffer);
    glViewport(0, 0, 32, 64);
    draw(build(kYuvFragment));
    wait();
    EXPECT_NE(buffer.luma(10, 10), 50);
    EXPECT_EQ(buffer.luma(40, 10), 50);
    EXPECT_EQ(buffer.chroma(20, 5, 1), 50);
    glClearColor(0.2F, 0.4F, 0.6F, 1.0F);  // y, u, v
    glClear(GL_COLOR_BUFFER_BIT);
    glFinish();
    EXPECT_EQ(buffer.luma(40, 10), 51);
    EXPECT_EQ(buffer.chroma(20, 5, 0), 102);
    EXPECT_EQ(buffer.chroma(20, 5, 1), 153);
}

TEST_F(SimulatedGl, EnforcesTheExtensionsRules) {
    test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
    const GLuint texture = target(buffer);
    const GLuint yuv = build(kYuvFragment);
    const GLuint plain = build(kPlainFragment);
    const auto error = [] { return glGetError(); };
    ASSERT_EQ(error(), 0U);

    draw(plain);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_OPERATION))
        << "a target of YUV needs layout(yuv) output";
    glEnable(GL_BLEND);
    draw(yuv);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_OPERATION)) << "blending";
    glDisable(GL_BLEND);
    glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_TRUE);
    draw(yuv);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_OPERATION)) << "colour mask";
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glBlitFramebuffer(0, 0, 8, 8, 8, 8, 16, 16, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_OPERATION)) << "blit";
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0 + 1, GL_TEXTURE_EXTERNAL_OES, texture, 0);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_OPERATION)) << "attachment 1";
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_EXTERNAL_OES, texture, 1);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_VALUE)) << "level 1";
    draw(yuv);
    EXPECT_EQ(error(), 0U);

    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    draw(yuv);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_OPERATION))
        << "layout(yuv) output needs a target of YUV";
    draw(plain);
    EXPECT_EQ(error(), 0U);

    glEGLImageTargetTexture2DOES(GL_TEXTURE_2D, m_image);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_ENUM));
    glEGLImageTargetTexture2DOES(GL_TEXTURE_EXTERNAL_OES, nullptr);
    EXPECT_EQ(error(), static_cast<GLenum>(GL_INVALID_VALUE));
    eglDestroyImageKHR(m_display, m_image);
    EXPECT_EQ(eglDestroyImageKHR(m_display, m_image), static_cast<EGLBoolean>(EGL_FALSE));
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
}

TEST_F(SimulatedGl, RefusesShadersThatBreakTheExtensionsRules) {
    std::string twoOutputs = kYuvFragment;
    twoOutputs.insert(twoOutputs.find("layout(yuv)"), "layout(location = 1) out vec4 other;\n");
    std::string notEnabled = kYuvFragment;
    notEnabled.erase(notEnabled.find("#extension"),
                     std::string("#extension GL_EXT_YUV_target : require").size());
    EXPECT_EQ(compile(GL_FRAGMENT_SHADER, twoOutputs.c_str()), 0U);
    EXPECT_EQ(compile(GL_FRAGMENT_SHADER, notEnabled.c_str()), 0U);
    EXPECT_NE(compile(GL_FRAGMENT_SHADER, kYuvFragment), 0U);
}

TEST_F(SimulatedGl, DrawsOnlyIntoBuffersMadeForIt) {
    test::DeviceBuffer sampled(
        64, 64, IMAGE_FORMAT_TYPE_NV12,
        AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN | AHARDWAREBUFFER_USAGE_GPU_SAMPLED_IMAGE);
    glGenFramebuffers(1, &m_framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    attach(sampled.get());
    EXPECT_NE(glCheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    test::DeviceBuffer host(64, 64, IMAGE_FORMAT_TYPE_NV12, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN);
    EXPECT_EQ(eglCreateImageKHR(m_display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID, host.get(), nullptr),
              EGL_NO_IMAGE_KHR);
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
    EXPECT_EQ(eglGetNativeClientBufferANDROID(nullptr), nullptr);
}

TEST_F(SimulatedGl, AnImageKeepsItsBufferAlive) {
    {
        test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
        target(buffer);
    }
    EXPECT_EQ(sim_hardware_buffer_live(), 1);
    draw(build(kYuvFragment));
    EXPECT_EQ(wait(), static_cast<GLenum>(GL_ALREADY_SIGNALED));
}

TEST_F(SimulatedGl, FailsTheNthCallOfAnyEntry) {
    ASSERT_EQ(sim_gl_fail("glGenTextures", 2, GL_OUT_OF_MEMORY), 0);
    GLuint names[3] = {};
    for (GLuint& name : names) {
        glGenTextures(1, &name);
    }
    EXPECT_NE(names[0], 0U);
    EXPECT_EQ(names[1], 0U);
    EXPECT_NE(names[2], 0U);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_OUT_OF_MEMORY));
    EXPECT_EQ(glGetError(), 0U);
    EXPECT_EQ(sim_gl_calls("glGenTextures"), 3);

    ASSERT_EQ(sim_gl_fail("eglCreateContext", 1, EGL_BAD_ALLOC), 0);
    EXPECT_EQ(createContext(), EGL_NO_CONTEXT);
    EXPECT_EQ(eglGetError(), EGL_BAD_ALLOC);
    EXPECT_EQ(eglGetError(), EGL_SUCCESS);
    EXPECT_EQ(sim_gl_fail("glNoSuchEntry", 1, 1), -1);
    EXPECT_EQ(sim_gl_calls("glNoSuchEntry"), -1);
}

TEST_F(SimulatedGl, AFenceThatTimesOutLeavesTheFrameForLater) {
    test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
    buffer.fill(200);
    target(buffer);
    sim_gl_time_out_fences(1);
    draw(build(kYuvFragment));
    EXPECT_EQ(wait(), static_cast<GLenum>(GL_TIMEOUT_EXPIRED));
    EXPECT_EQ(buffer.luma(3, 3), 200);
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    EXPECT_NEAR(buffer.luma(3, 3), 3.5, 0.51);
    eglMakeCurrent(m_display, m_surface, m_surface, m_context);
}

TEST_F(SimulatedGl, ALostContextAnswersNothingElse) {
    sim_gl_lose_contexts();
    GLuint name = 0;
    glGenTextures(1, &name);
    EXPECT_EQ(name, 0U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(glGetError(), 0x0507U);  // GL_CONTEXT_LOST, without end
    }
    EXPECT_EQ(eglMakeCurrent(m_display, m_surface, m_surface, m_context), static_cast<EGLBoolean>(EGL_FALSE));
    EXPECT_EQ(eglGetError(), EGL_CONTEXT_LOST);
    const EGLContext fresh = createContext();
    ASSERT_EQ(eglMakeCurrent(m_display, m_surface, m_surface, fresh), EGL_TRUE);
    glGenTextures(1, &name);
    EXPECT_NE(name, 0U);
}

TEST_F(SimulatedGl, CountsWhatIsAlive) {
    struct Step {
        const char* kind;
        int live;
    };
    const auto expect = [](std::initializer_list<Step> steps) {
        for (const Step& step : steps) {
            EXPECT_EQ(sim_gl_live(step.kind), step.live) << step.kind;
        }
    };
    expect({{"display", 1}, {"context", 1}, {"surface", 1}, {"texture", 0}, {"shader", 0}, {"nothing", -1}});
    const GLuint program = build(kYuvFragment);
    GLuint textures[2];
    glGenTextures(2, textures);
    const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    expect({{"program", 1}, {"shader", 2}, {"texture", 2}, {"sync", 1}});
    glDeleteProgram(program);
    glDeleteTextures(1, textures);
    glDeleteSync(fence);
    expect({{"program", 0}, {"texture", 1}, {"sync", 0}});
    eglDestroyContext(m_display, m_context);
    expect({{"context", 1}});  // still current
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    expect({{"context", 0}, {"texture", 0}, {"shader", 0}});
}

TEST_F(SimulatedGl, AnnouncesCallsAndHandsOutItsOwnEntries) {
    std::vector<std::string> calls;
    sim_gl_set_call_sink(
        [](void* context, const char* call) {
            static_cast<std::vector<std::string>*>(context)->push_back(call);
        },
        &calls);
    glUniform2f(-1, 128.0F, 0.25F);
    glGetUniformLocation(0, "name");
    glGetError();
    sim_gl_set_call_sink(nullptr, nullptr);
    EXPECT_EQ(calls, (std::vector<std::string>{"glUniform2f(-1, 128, 0.25)", "glGetUniformLocation(0, name)",
                                               "glGetError()"}));
    glGetError();
    EXPECT_EQ(reinterpret_cast<void*>(eglGetProcAddress("glEGLImageTargetTexture2DOES")),
              reinterpret_cast<void*>(&glEGLImageTargetTexture2DOES));
    EXPECT_EQ(reinterpret_cast<void*>(eglGetProcAddress("eglCreateImageKHR")),
              reinterpret_cast<void*>(&eglCreateImageKHR));
}

// Where there is no driver every call fails, and none crashes.
TEST(SimulatedGlWithoutDriver, FailsSoftly) {
    if (sim_gl_available() != 0) {
        GTEST_SKIP() << "this machine has a driver";
    }
    EXPECT_EQ(eglGetDisplay(EGL_DEFAULT_DISPLAY), EGL_NO_DISPLAY);
    EXPECT_EQ(eglInitialize(EGL_NO_DISPLAY, nullptr, nullptr), static_cast<EGLBoolean>(EGL_FALSE));
    EXPECT_EQ(eglGetError(), EGL_NOT_INITIALIZED);
    EXPECT_EQ(eglGetError(), EGL_SUCCESS);
    GLuint name = 0;
    glGenTextures(1, &name);
    EXPECT_EQ(name, 0U);
    EXPECT_EQ(glGetError(), 0U);
}

}  // namespace
