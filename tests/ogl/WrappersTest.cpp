// The owners of EGL and GL objects: counting, order of calls, codes, messages.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "ogl/GLFramebuffer.h"
#include "ogl/GLShaderProgram.h"
#include "ogl/GLTexture.h"
#include "tests/ogl/support/GlFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

constexpr const char* kVertex =
    "#version 320 es\nin vec4 a_position;\nout vec2 t;\n"
    "void main() { gl_Position = a_position; t = a_position.xy * 0.5 + 0.5; }\n";
constexpr const char* kFragment =
    "#version 320 es\nprecision highp float;\nuniform sampler2D s;\nuniform float gain;\nin vec2 t;\n"
    "out vec4 color;\nvoid main() { color = texture(s, t) * gain; }\n";

class WrapperTest : public test::GlTest {};

// --- Counting ---

TEST(SmartPointer, TheLastHolderDeletes) {
    const int before = Object::liveObjects();
    {
        smart_pointer<Object> a(new Object);
        smart_pointer<Object> b(a);
        smart_pointer<Object> c;
        c = b;
        EXPECT_EQ(a->count(), 3);
        c = new Object;
        EXPECT_EQ(a->count(), 2);
        EXPECT_EQ(Object::liveObjects(), before + 2);
        c = nullptr;
        EXPECT_EQ(Object::liveObjects(), before + 1);
        a = nullptr;
        b = b.get();  // to itself: the new reference is taken before the old one is dropped
        EXPECT_EQ(b->count(), 1);
    }
    EXPECT_EQ(Object::liveObjects(), before);
}

// --- Engine ---

TEST_F(WrapperTest, AnEngineAsksForItsConfigSurfaceAndContextInOrder) {
    GLEngine engine(nullptr, 3, 2);
    test::CallTrace trace;
    EXPECT_EQ(engine.startup(), -1);
    EXPECT_EQ(engine.stop(), -1);
    EXPECT_EQ(engine.flush(), -1);
    EXPECT_THAT(trace.names(), ElementsAre());
    EXPECT_EQ(engine.init(), 0);
    EXPECT_EQ(engine.startup(), 0);
    EXPECT_EQ(engine.flush(), 0);
    EXPECT_EQ(engine.stop(), 0);
    EXPECT_EQ(engine.destroy(), 0);
    EXPECT_EQ(engine.startup(), -1);
    EXPECT_EQ(engine.destroy(), 0);  // again: nothing
    // Eight bits each, depth, no stencil, no samples, of ES 3; size, no texture; version 3.
    EXPECT_THAT(
        trace.calls(),
        ElementsAre(StartsWith("eglGetDisplay(null"), "eglInitialize(ptr, null, null)",
                    "eglQueryString(ptr, 12373)",
                    "eglChooseConfig(ptr, [12324=8 12323=8 12322=8 12321=8 12325=8 12326=0 12338=0 "
                    "12352=64], ptr, 1, ptr)",
                    "eglCreatePbufferSurface(ptr, ptr, [12375=3 12374=2 12417=12380 12416=12380])",
                    "eglCreateContext(ptr, ptr, null, [12440=3])", "eglMakeCurrent(ptr, ptr, ptr, ptr)",
                    "eglSwapBuffers(ptr, ptr)", "eglMakeCurrent(ptr, null, null, null)",
                    "eglDestroyContext(ptr, ptr)", "eglDestroySurface(ptr, ptr)",
                    "eglMakeCurrent(ptr, null, null, null)", "eglTerminate(ptr)"));
}

TEST_F(WrapperTest, AnEngineReportsEachStepThatFails) {
    int window = 0;
    struct Case {
        const char* entry;
        int result;
        void* window = nullptr;
    };
    for (const Case& c : {Case{"eglGetDisplay", -1}, Case{"eglInitialize", -1}, Case{"eglChooseConfig", -1},
                          Case{"eglCreateContext", -1},
                          // On purpose 0: there is no surface, and startup fails.
                          Case{"eglCreatePbufferSurface", 0}, Case{"eglCreateWindowSurface", 0, &window}}) {
        test::LogCapture log;
        GLEngine engine(static_cast<ANativeWindow*>(c.window), 1, 1);
        sim_gl_fail(c.entry, 1, EGL_BAD_ALLOC);
        EXPECT_EQ(engine.init(), c.result);
        const std::string line = std::string("[GLEngine] init error: ") + c.entry + " failed!!!";
        EXPECT_THAT(log.lines(), ElementsAre(test::LogLine{test::kError, "Huevance", line}));
        EXPECT_EQ(engine.startup(), -1);
    }
    EXPECT_EQ(test::aliveOnDevice(), "");
    GLEngine engine(nullptr, 1, 1);
    ASSERT_EQ(engine.init(), 0);
    for (const int result : {-1, 0}) {
        for (const char* entry : {"eglMakeCurrent", "eglSwapBuffers"}) {
            sim_gl_fail(entry, result == 0 ? 0 : 1, EGL_BAD_ACCESS);
        }
        EXPECT_EQ(engine.startup(), result);
        EXPECT_EQ(engine.flush(), result);
    }
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    EXPECT_EQ(engine.stop(), -1);
}

// The simulated display, as the standard has it, ends for everybody at the first eglTerminate.
TEST_F(WrapperTest, EnginesShareTheDisplayWhicheverGoesFirst) {
    int order[] = {0, 1, 2};
    do {
        sim_gl_reset();
        smart_pointer<GLEngine> engines[3];
        for (smart_pointer<GLEngine>& engine : engines) {
            engine = new GLEngine(nullptr, 1, 1);
            ASSERT_EQ(engine->init(), 0);
        }
        ASSERT_EQ(engines[order[1]]->init(), 0);  // again: as if destroyed before
        EXPECT_EQ(sim_gl_live("context"), 3);
        EXPECT_EQ(sim_gl_live("surface"), 3);
        for (int gone = 0; gone < 3; ++gone) {
            EXPECT_EQ(sim_gl_calls("eglTerminate"), 0);
            for (int left = gone; left < 3; ++left) {
                const GLEngineScope current(*engines[order[left]]);
                EXPECT_TRUE(current);
                EXPECT_NE(GLTexture2D(2, 2, GL_RGBA, GL_RGBA, nullptr).name(), 0U);
            }
            engines[order[gone]]->destroy();
        }
        // One for each eglInitialize, for displays that count.
        EXPECT_EQ(sim_gl_calls("eglInitialize"), 4);
        EXPECT_EQ(sim_gl_calls("eglTerminate"), 4);
        EXPECT_EQ(test::aliveOnDevice(), "");
    } while (std::next_permutation(std::begin(order), std::end(order)));
}

// --- Textures and framebuffers ---

TEST_F(WrapperTest, TexturesTakeRowsOfAnyLengthAndClampButForTheThirdAxis) {
    const test::CurrentEngine current;
    unsigned char texels[27] = {};
    const auto expectedCalls = [](const std::string& target, const std::string& image) {
        const std::string parameter = "glTexParameteri(" + target + ", ";
        return ElementsAre(
            "glGenTextures(1, ptr)", "glPixelStorei(3317, 1)", StartsWith("glBindTexture(" + target + ", "),
            image, parameter + "10241, 9729)", parameter + "10240, 9729)", parameter + "10242, 33071)",
            parameter + "10243, 33071)", "glBindTexture(" + target + ", 0)", "glDeleteTextures(1, ptr)");
    };
    test::CallTrace trace;
    {
        GLTexture2D texture(5, 3, GL_LUMINANCE, GL_LUMINANCE, texels);
        texture.recycle();
        texture.recycle();
    }
    EXPECT_THAT(trace.calls(),
                expectedCalls("3553", "glTexImage2D(3553, 0, 6409, 5, 3, 0, 6409, 5121, ptr)"));
    trace.clear();
    GLTexture3D(3, 2, 1, GL_RGB, GL_RGB, texels);
    EXPECT_THAT(trace.calls(),
                expectedCalls("32879", "glTexImage3D(32879, 0, 6407, 3, 2, 1, 0, 6407, 5121, ptr)"));
}

TEST_F(WrapperTest, AnExternalTextureFollowsItsBuffer) {
    const test::CurrentEngine current;
    test::DeviceBuffer first(64, 64, IMAGE_FORMAT_TYPE_NV12);
    test::DeviceBuffer second(64, 64, IMAGE_FORMAT_TYPE_NV12);
    GLTexture2DOES texture(first.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64);
    EXPECT_EQ(texture.format(), GL_RGBA8);
    for (AHardwareBuffer* buffer : {second.get(), second.get()}) {  // another, and the same again
        test::CallTrace trace;
        texture.set(buffer, GL_TEXTURE_EXTERNAL_OES, 64, 64);
        EXPECT_THAT(
            trace.calls(),
            ElementsAre("eglDestroyImageKHR(ptr, ptr)", "eglCreateImageKHR(ptr, null, 12608, ptr, null)",
                        StartsWith("glBindTexture(36197, "), "glEGLImageTargetTexture2DOES(36197, ptr)",
                        "glBindTexture(36197, 0)"));
        EXPECT_TRUE(texture.hasImage());
        EXPECT_EQ(sim_gl_live("image"), 1);
    }
    texture.set(nullptr, GL_TEXTURE_EXTERNAL_OES, 64, 64);
    EXPECT_FALSE(texture.hasImage());
    EXPECT_EQ(sim_gl_live("image"), 0);

    test::LogCapture log;
    sim_gl_fail("eglCreateImageKHR", 1, EGL_BAD_ALLOC);
    texture.set(first.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64);
    EXPECT_FALSE(texture.hasImage());
    texture.set(first.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64);
    sim_gl_fail("eglDestroyImageKHR", 1, EGL_BAD_DISPLAY);
    texture.recycle();
    EXPECT_THAT(log.texts(), ElementsAre("eglCreateImageKHR eglError: EGL_BAD_ALLOC (0x3003)",
                                         "glEGLImageTargetTexture2DOES glError: 1281 ",
                                         "eglDestroyImageKHR eglError: EGL_BAD_DISPLAY (0x3008)"));
}

TEST_F(WrapperTest, FramebuffersReportWhatIsIncomplete) {
    const test::CurrentEngine current;
    test::LogCapture log;
    GLFramebuffer framebuffer;
    GLTexture2D color(8, 8, GL_RGBA, GL_RGBA, nullptr);
    GLTexture2D gray(8, 8, GL_LUMINANCE, GL_LUMINANCE, nullptr);
    framebuffer.bind(GL_FRAMEBUFFER);
    EXPECT_TRUE(framebuffer.attachTexture(0, color.name(), color.target()));
    EXPECT_THAT(log.texts(), ElementsAre());
    test::CallTrace trace;
    EXPECT_FALSE(framebuffer.attachTexture(0, 0, GL_TEXTURE_2D));
    EXPECT_THAT(trace.names(), ElementsAre());
    EXPECT_FALSE(framebuffer.attachTexture(0, gray.name(), gray.target()));
    EXPECT_THAT(log.lines(), ElementsAre(test::LogLine{test::kError, "Huevance",
                                                       "Framebuffer not complete, status: 36054"}));
    framebuffer.attachTexture(0, color.name(), color.target());
    trace.clear();
    framebuffer.blit(0, 1, 2, 3, 4, 5, 6, 7, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    framebuffer.unBind();
    EXPECT_THAT(trace.calls(), ElementsAre("glBlitFramebuffer(0, 1, 2, 3, 4, 5, 6, 7, 16384, 9728)",
                                           "glBindFramebuffer(36160, 0)"));
}

// --- Programs ---

TEST_F(WrapperTest, AProgramDrawsUntilItIsReleased) {
    const test::CurrentEngine current;
    test::LogCapture log;
    GLShaderProgram program;
    EXPECT_FALSE(program.beginDraw());
    ASSERT_EQ(program.init(kVertex, kFragment), 0);
    EXPECT_EQ(sim_gl_live("shader"), 2);  // they stay, on purpose
    unsigned char texel[4] = {100, 150, 200, 255};
    GLTexture2D source(1, 1, GL_RGBA, GL_RGBA, texel);
    GLTexture2D target(4, 4, GL_RGBA, GL_RGBA, nullptr);
    GLFramebuffer framebuffer;
    framebuffer.bind(GL_FRAMEBUFFER);
    ASSERT_TRUE(framebuffer.attachTexture(0, target.name(), target.target()));
    const float strip[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    ASSERT_TRUE(program.beginDraw());
    program.setViewport(0, 0, 4, 4);
    const auto position = static_cast<unsigned>(program.getAttribLocation("a_position"));
    program.enableVertexAttribArray(position, 2, GL_FLOAT, false, 0, strip);
    program.setTarget(program.getUniformLocation("s"), 3, source.name(), source.target());
    program.set("gain", 0.5F);
    program.endDraw(GL_TRIANGLE_STRIP, 0, 4);
    program.disableVertexAttribArray(position);
    GLubyte drawn[4];
    glReadPixels(2, 2, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, drawn);
    EXPECT_THAT(drawn, ElementsAre(50, 75, 100, 128));
    EXPECT_THAT(log.texts(), ElementsAre());
    for (const char* entry : {"glActiveTexture", "glBindTexture"}) {
        sim_gl_fail(entry, 1, GL_INVALID_ENUM);
        program.setTarget(0, 1, 0, GL_TEXTURE_2D);
    }
    // On purpose one label for two checks.
    EXPECT_THAT(log.texts(), ElementsAre("glActiveTexture glError: 1280 ", "glActiveTexture glError: 1280 "));
    program.release();
    EXPECT_FALSE(program.beginDraw());
    EXPECT_EQ(sim_gl_live("program"), 0);
}

TEST_F(WrapperTest, UniformsAreLookedUpByNameAndSet) {
    const test::CurrentEngine current;
    GLShaderProgram program;
    const float matrix[16] = {};
    test::LogCapture log;  // without a program every lookup and every value is an error
    test::CallTrace trace;
    program.set("a", 1);
    program.set("a", 1, 2);
    program.set("a", 1, 2, 3);
    program.set("a", 1, 2, 3, 4);
    program.set("a", 0.5F, 1.5F);
    program.set("a", 0.5F, 1.5F, 2.5F);
    program.set("a", 0.5F, 1.5F, 2.5F, 3.5F);
    program.setMatrix2("a", 1, true, matrix);
    program.setMatrix3("a", 2, false, matrix);
    program.setMatrix4("a", 3, false, matrix);
    std::string values;
    for (std::size_t i = 0; i < trace.calls().size(); i += 2) {
        EXPECT_EQ(trace.calls()[i], "glGetUniformLocation(0, a)");
        values += trace.calls()[i + 1].substr(9) + " ";
    }
    EXPECT_EQ(values,
              "1i(-1, 1) 2i(-1, 1, 2) 3i(-1, 1, 2, 3) 4i(-1, 1, 2, 3, 4) 2f(-1, 0.5, 1.5) "
              "3f(-1, 0.5, 1.5, 2.5) 4f(-1, 0.5, 1.5, 2.5, 3.5) "
              "Matrix2fv(-1, 1, 1, ptr) Matrix3fv(-1, 2, 0, ptr) Matrix4fv(-1, 3, 0, ptr) ");
}

TEST_F(WrapperTest, ShadersThatDoNotBuildAreReportedAndDeleted) {
    const test::CurrentEngine current;
    const std::string noMain = "#version 320 es\nprecision highp float;\n";
    const std::string compile = "[GLShaderProgram] loadShader error: Could not compile shader";
    struct Case {
        std::string vertex, fragment, start;
    };
    for (const Case& c :
         {Case{"nonsense", kFragment, compile + "[35633]: "},
          Case{kVertex, "nonsense", compile + "[35632]: "},
          Case{kVertex, noMain, "[GLShaderProgram] createProgram error: Could not link program: "}}) {
        test::LogCapture log;
        GLShaderProgram program;
        EXPECT_EQ(program.init(c.vertex.c_str(), c.fragment.c_str()), -1);
        EXPECT_THAT(log.texts(), ElementsAre(StartsWith(c.start)));
        EXPECT_GT(log.texts().back().size(), c.start.size());
        EXPECT_FALSE(program.isBuilt());
        EXPECT_EQ(sim_gl_live("program") + sim_gl_live("shader"), 0);
    }
    // A status that cannot be read counts as failed; the log of a shader without faults is empty.
    test::LogCapture log;
    test::CallTrace trace;
    GLShaderProgram program;
    sim_gl_fail("glGetShaderiv", 1, GL_OUT_OF_MEMORY);
    EXPECT_EQ(program.init(kVertex, kFragment), -1);
    EXPECT_THAT(log.texts(), ElementsAre("glGetShaderiv glError: 1285 ",
                                         "Guessing at GL_INFO_LOG_LENGTH size\n", compile + "[35633]: "));
    EXPECT_THAT(trace.calls(),
                Contains(testing::MatchesRegex("glGetShaderInfoLog\\(.*, 4096, null, ptr\\)")));
}

TEST_F(WrapperTest, ProgramsTravelAsBinaries) {
    const test::CurrentEngine current;
    const std::string path = testing::TempDir() + "huevance_program.bin";
    GLShaderProgram program;
    EXPECT_EQ(program.saveToBinary(path.c_str()), -1);
    ASSERT_EQ(program.init(kVertex, kFragment), 0);
    GLint formats = 0;
    glGetIntegerv(GL_NUM_PROGRAM_BINARY_FORMATS, &formats);
    if (formats > 0) {
        ASSERT_EQ(program.saveToBinary(path.c_str()), 0);
        std::ifstream in(path, std::ios::binary);
        std::uint32_t format = 0;
        in.read(reinterpret_cast<char*>(&format), sizeof(format));
        const std::string binary{std::istreambuf_iterator<char>(in), {}};
        EXPECT_EQ(program.init(binary.data(), format, static_cast<int>(binary.size())), 0);
        EXPECT_TRUE(program.beginDraw());
        std::filesystem::remove(path);
    }
    test::LogCapture log;
    EXPECT_EQ(program.init("junk", 0x8740, 4), -1);
    EXPECT_THAT(
        log.texts(),
        Contains(StartsWith("[GLShaderProgram] createProgram error: Failed to load binary program: ")));
    EXPECT_FALSE(program.beginDraw());
}

// --- Checks ---

TEST_F(WrapperTest, LogsPendingErrorsUnderTheLabel) {
    const test::CurrentEngine current;
    test::LogCapture log;
    sim_gl_fail("glGetError", 1, GL_INVALID_ENUM);
    GLUtils::checkGLError("here");
    for (const int code : {0x2FFF, 0x3001, 0x300A, 0x300E, 0x300F}) {
        sim_gl_fail("eglGetError", 1, code);
        GLUtils::checkEGLError("there");
    }
    sim_gl_lose_contexts();  // which reports without end
    GLUtils::checkGLError("lost");
    EXPECT_THAT(log.texts(), ElementsAre("here glError: 1280 ", "there eglError: UNKNOWN (0x2fff)",
                                         "there eglError: EGL_NOT_INITIALIZED (0x3001)",
                                         "there eglError: EGL_BAD_NATIVE_PIXMAP (0x300a)",
                                         "there eglError: EGL_CONTEXT_LOST (0x300e)",
                                         "there eglError: UNKNOWN (0x300f)", "lost glError: 1287 "));
}

TEST_F(WrapperTest, FlushWaitsOnceForAFence) {
    const test::CurrentEngine current;
    test::LogCapture log;
    test::CallTrace trace;
    sim_gl_time_out_fences(1);
    GLUtils::flush();
    EXPECT_THAT(trace.calls(), ElementsAre("glFlush()", "glFenceSync(37143, 0)",
                                           "glClientWaitSync(ptr, 0, 15000000)", "glDeleteSync(ptr)"));
    trace.clear();
    sim_gl_fail("glFenceSync", 1, GL_OUT_OF_MEMORY);
    GLUtils::flush();
    EXPECT_THAT(trace.names(), ElementsAre("glFlush", "glFenceSync"));
}

}  // namespace
