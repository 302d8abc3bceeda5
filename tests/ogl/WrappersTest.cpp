// The owners of EGL and GL objects: counting, order of calls, codes, messages.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "ogl/GLFramebuffer.h"
#include "ogl/GLShaderProgram.h"
#include "ogl/GLTexture.h"
#include "tests/ogl/support/GlFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kVertex =
    "#version 320 es\nin vec4 a_position;\nout vec2 t;\n"
    "void main() { gl_Position = a_position; t = a_position.xy * 0.5 + 0.5; }\n";
constexpr const char* kFragment =
    "#version 320 es\nprecision highp float;\nuniform sampler2D s;\nuniform float gain;\nin vec2 t;\nout "
    "vec4 color;\n"
    "void main() { color = texture(s, t) * gain; }\n";

// --- Counting ---

struct Probe : Object {
    explicit Probe(int* deleted) : m_deleted(deleted) {}
    ~Probe() override { ++*m_deleted; }
    int* m_deleted;
};

TEST(SmartPointer, TheLastHolderDeletes) {
    int deleted = 0;
    {
        smart_pointer<Probe> a(new Probe(&deleted));
        EXPECT_EQ(a->count(), 1);
        smart_pointer<Probe> b(a);
        smart_pointer<Probe> c;
        c = b;
        EXPECT_EQ(a->count(), 3);
        c = new Probe(&deleted);
        EXPECT_EQ(a->count(), 2);
        EXPECT_EQ(deleted, 0);
        c = nullptr;
        EXPECT_EQ(deleted, 1);
        EXPECT_FALSE(c);
        // To itself: the new reference is taken before the old one is dropped.
        b = a.get();
        a = nullptr;
        const smart_pointer<Probe>& same = b;
        b = same;
        EXPECT_EQ(b->count(), 1);
        EXPECT_EQ(deleted, 1);
        EXPECT_EQ(Object::liveObjects(), 1);
    }
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(Object::liveObjects(), 0);
}

// --- Engine ---

class EngineTest : public test::GlTest {};

TEST_F(EngineTest, AsksForItsConfigSurfaceAndContextInOrder) {
    smart_pointer<GLEngine> engine(new GLEngine(nullptr, 1, 1));
    test::CallTrace trace;
    EXPECT_EQ(engine->startup(), -1);
    EXPECT_EQ(engine->stop(), -1);
    EXPECT_EQ(engine->flush(), -1);
    EXPECT_THAT(trace.names(), ElementsAre());
    EXPECT_EQ(engine->init(), 0);
    EXPECT_EQ(engine->startup(), 0);
    EXPECT_EQ(engine->flush(), 0);
    EXPECT_EQ(engine->stop(), 0);
    EXPECT_EQ(engine->destroy(), 0);
    EXPECT_EQ(engine->startup(), -1);
    EXPECT_EQ(engine->destroy(), 0);  // again: nothing
    EXPECT_THAT(trace.names(),
                ElementsAre("eglGetDisplay", "eglInitialize", "eglQueryString", "eglChooseConfig",
                            "eglCreatePbufferSurface", "eglCreateContext", "eglMakeCurrent", "eglSwapBuffers",
                            "eglMakeCurrent", "eglDestroyContext", "eglDestroySurface", "eglMakeCurrent",
                            "eglTerminate"));
}

TEST_F(EngineTest, ReportsEachStepThatFails) {
    struct Case {
        const char* entry;
        int result;
        const char* line;
    };
    for (const Case& c :
         {Case{"eglGetDisplay", -1, "[GLEngine] init error: eglGetDisplay failed!!!"},
          Case{"eglInitialize", -1, "[GLEngine] init error: eglInitialize failed!!!"},
          Case{"eglChooseConfig", -1, "[GLEngine] init error: eglChooseConfig failed!!!"},
          // On purpose 0: there is no surface, and startup fails.
          Case{"eglCreatePbufferSurface", 0, "[GLEngine] init error: eglCreatePbufferSurface failed!!!"},
          Case{"eglCreateContext", -1, "[GLEngine] init error: eglCreateContext failed!!!"}}) {
        SCOPED_TRACE(c.entry);
        test::LogCapture log;
        smart_pointer<GLEngine> engine(new GLEngine(nullptr, 1, 1));
        sim_gl_fail(c.entry, 1, EGL_BAD_ALLOC);
        EXPECT_EQ(engine->init(), c.result);
        EXPECT_THAT(log.lines(), ElementsAre(test::LogLine{test::kError, "Huevance", c.line}));
        EXPECT_EQ(engine->startup(), -1);
        engine = nullptr;
        EXPECT_EQ(test::alive(), "");
    }
    smart_pointer<GLEngine> engine(new GLEngine(nullptr, 1, 1));
    ASSERT_EQ(engine->init(), 0);
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    EXPECT_EQ(engine->startup(), -1);
    ASSERT_EQ(engine->startup(), 0);
    sim_gl_fail("eglSwapBuffers", 1, EGL_BAD_SURFACE);
    EXPECT_EQ(engine->flush(), -1);
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    EXPECT_EQ(engine->stop(), -1);
    EXPECT_EQ(engine->stop(), 0);
}

TEST_F(EngineTest, AWindowThatCannotBeUsedIsReportedInItsOwnWords) {
    test::LogCapture log;
    sim_gl_fail("eglCreateWindowSurface", 1, EGL_BAD_NATIVE_WINDOW);
    int window = 0;
    GLEngine engine(reinterpret_cast<ANativeWindow*>(&window), 1, 1);
    EXPECT_EQ(engine.init(), 0);
    EXPECT_THAT(log.texts(), ElementsAre("[GLEngine] init error: eglCreateWindowSurface failed!!!"));
    EXPECT_EQ(engine.startup(), -1);
}

// The simulated display, as the standard has it, ends for everybody at the first eglTerminate.
TEST_F(EngineTest, EnginesShareTheDisplayWithoutHarm) {
    for (const bool firstGoesFirst : {true, false}) {
        smart_pointer<GLEngine> engines[2] = {new GLEngine(nullptr, 1, 1), new GLEngine(nullptr, 1, 1)};
        ASSERT_EQ(engines[0]->init(), 0);
        ASSERT_EQ(engines[1]->init(), 0);
        smart_pointer<GLEngine>& first = engines[firstGoesFirst ? 0 : 1];
        smart_pointer<GLEngine>& second = engines[firstGoesFirst ? 1 : 0];
        sim_gl_reset();
        first->destroy();
        EXPECT_EQ(sim_gl_calls("eglTerminate"), 0);
        ASSERT_EQ(second->startup(), 0);
        EXPECT_EQ(GLTexture2D(2, 2, GL_RGBA, GL_RGBA, nullptr).width(), 2);
        EXPECT_EQ(glGetError(), 0U);
        second->stop();
        second->destroy();
        EXPECT_EQ(sim_gl_calls("eglTerminate"), 2);  // one for each eglInitialize, for displays that count
        EXPECT_EQ(sim_gl_live("display"), 0);
        EXPECT_EQ(sim_gl_live("context"), 0);
    }
}

// --- Textures and framebuffers ---

class WrapperTest : public test::GlTest {};

TEST_F(WrapperTest, TexturesTakeRowsOfAnyLengthAndClampButForTheThirdAxis) {
    const test::CurrentEngine current;
    test::CallTrace trace;
    {
        unsigned char texels[5 * 3] = {};
        smart_pointer<GLTexture2D> texture(new GLTexture2D(5, 3, GL_LUMINANCE, GL_LUMINANCE, texels));
        EXPECT_THAT(
            trace.calls(),
            ElementsAre("glGenTextures(1, ptr)", "glPixelStorei(3317, 1)", StartsWith("glBindTexture(3553, "),
                        "glTexImage2D(3553, 0, 6409, 5, 3, 0, 6409, 5121, ptr)",
                        "glTexParameteri(3553, 10241, 9729)", "glTexParameteri(3553, 10240, 9729)",
                        "glTexParameteri(3553, 10242, 33071)", "glTexParameteri(3553, 10243, 33071)",
                        "glBindTexture(3553, 0)"));
        trace.clear();
        texture->recycle();
        texture->recycle();
        EXPECT_THAT(trace.names(), ElementsAre("glDeleteTextures"));
    }
    trace.clear();
    {
        unsigned char texels[3 * 3 * 3 * 3] = {};
        const smart_pointer<GLTexture3D> texture(new GLTexture3D(3, 3, 3, GL_RGB, GL_RGB, texels));
    }
    EXPECT_THAT(
        trace.calls(),
        ElementsAre("glGenTextures(1, ptr)", "glPixelStorei(3317, 1)", StartsWith("glBindTexture(32879, "),
                    "glTexImage3D(32879, 0, 6407, 3, 3, 3, 0, 6407, 5121, ptr)",
                    "glTexParameteri(32879, 10241, 9729)", "glTexParameteri(32879, 10240, 9729)",
                    "glTexParameteri(32879, 10242, 33071)", "glTexParameteri(32879, 10243, 33071)",
                    "glBindTexture(32879, 0)", "glDeleteTextures(1, ptr)"));
}

TEST_F(WrapperTest, AnExternalTextureFollowsItsBuffer) {
    const test::CurrentEngine current;
    test::DeviceBuffer first(64, 64, IMAGE_FORMAT_TYPE_NV12);
    test::DeviceBuffer second(64, 64, IMAGE_FORMAT_TYPE_NV12);
    smart_pointer<GLTexture2DOES> texture(
        new GLTexture2DOES(eglGetNativeClientBufferANDROID(first.get()), GL_TEXTURE_EXTERNAL_OES, 64, 64));
    EXPECT_TRUE(texture->hasImage());
    EXPECT_EQ(texture->format(), GL_RGBA8);
    EXPECT_EQ(sim_gl_live("image"), 1);

    test::CallTrace trace;
    texture->set(eglGetNativeClientBufferANDROID(second.get()), GL_TEXTURE_EXTERNAL_OES, 64, 64);
    EXPECT_THAT(trace.names(),
                ElementsAre("eglGetNativeClientBufferANDROID", "eglDestroyImageKHR", "eglCreateImageKHR",
                            "glBindTexture", "glEGLImageTargetTexture2DOES", "glBindTexture"));
    EXPECT_EQ(sim_gl_live("image"), 1);

    texture->set(nullptr, GL_TEXTURE_EXTERNAL_OES, 64, 64);
    EXPECT_FALSE(texture->hasImage());
    EXPECT_EQ(sim_gl_live("image"), 0);

    test::LogCapture log;
    sim_gl_fail("eglCreateImageKHR", 1, EGL_BAD_ALLOC);
    texture->set(first.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64);
    EXPECT_FALSE(texture->hasImage());
    EXPECT_THAT(log.texts(), ElementsAre("eglCreateImageKHR eglError: EGL_BAD_ALLOC (0x3003)",
                                         "glEGLImageTargetTexture2DOES glError: 1281 "));
}

TEST_F(WrapperTest, FramebuffersReportWhatIsIncomplete) {
    const test::CurrentEngine current;
    test::LogCapture log;
    smart_pointer<GLFramebuffer> framebuffer(new GLFramebuffer);
    smart_pointer<GLTexture2D> color(new GLTexture2D(8, 8, GL_RGBA, GL_RGBA, nullptr));
    smart_pointer<GLTexture2D> gray(new GLTexture2D(8, 8, GL_LUMINANCE, GL_LUMINANCE, nullptr));
    framebuffer->bind(GL_FRAMEBUFFER);
    EXPECT_TRUE(framebuffer->attachTexture(0, color->name(), color->target()));
    EXPECT_THAT(log.texts(), ElementsAre());
    test::CallTrace trace;
    EXPECT_FALSE(framebuffer->attachTexture(0, 0, GL_TEXTURE_2D));
    EXPECT_THAT(trace.names(), ElementsAre());
    EXPECT_FALSE(framebuffer->attachTexture(0, gray->name(), gray->target()));
    EXPECT_THAT(log.lines(), ElementsAre(test::LogLine{test::kError, "Huevance",
                                                       "Framebuffer not complete, status: 36054"}));
    framebuffer->attachTexture(0, color->name(), color->target());
    trace.clear();
    framebuffer->blit(0, 1, 2, 3, 4, 5, 6, 7, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    framebuffer->unBind();
    EXPECT_THAT(trace.calls(), ElementsAre("glBlitFramebuffer(0, 1, 2, 3, 4, 5, 6, 7, 16384, 9728)",
                                           "glBindFramebuffer(36160, 0)"));
}

// --- Programs ---

TEST_F(WrapperTest, AProgramDraws) {
    const test::CurrentEngine current;
    test::LogCapture log;
    smart_pointer<GLShaderProgram> program(new GLShaderProgram);
    EXPECT_FALSE(program->beginDraw());
    ASSERT_EQ(program->init(kVertex, kFragment), 0);
    EXPECT_EQ(sim_gl_live("shader"), 2);  // they stay, on purpose
    unsigned char texel[4] = {100, 150, 200, 255};
    smart_pointer<GLTexture2D> source(new GLTexture2D(1, 1, GL_RGBA, GL_RGBA, texel));
    smart_pointer<GLTexture2D> target(new GLTexture2D(4, 4, GL_RGBA, GL_RGBA, nullptr));
    smart_pointer<GLFramebuffer> framebuffer(new GLFramebuffer);
    framebuffer->bind(GL_FRAMEBUFFER);
    ASSERT_TRUE(framebuffer->attachTexture(0, target->name(), target->target()));
    const float strip[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    ASSERT_TRUE(program->beginDraw());
    program->setViewport(0, 0, 4, 4);
    const auto position = static_cast<unsigned>(program->getAttribLocation("a_position"));
    program->enableVertexAttribArray(position, 2, GL_FLOAT, false, 0, strip);
    program->setTarget(program->getUniformLocation("s"), 3, source->name(), source->target());
    program->set("gain", 0.5F);
    program->endDraw(GL_TRIANGLE_STRIP, 0, 4);
    program->disableVertexAttribArray(position);
    GLubyte drawn[4];
    glReadPixels(2, 2, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, drawn);
    EXPECT_THAT(drawn, ElementsAre(50, 75, 100, 128));
    EXPECT_THAT(log.texts(), ElementsAre());
    program->release();
    EXPECT_FALSE(program->beginDraw());
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
    program.setMatrix2("m", 1, true, matrix);
    program.setMatrix3("m", 2, false, matrix);
    program.setMatrix4("m", 3, false, matrix);
    std::vector<std::string> values;
    for (const std::string& call : trace.calls()) {
        if (call.find("glGetUniformLocation") != 0) {
            values.push_back(call);
        }
    }
    EXPECT_THAT(values, ElementsAre("glUniform1i(-1, 1)", "glUniform2i(-1, 1, 2)", "glUniform3i(-1, 1, 2, 3)",
                                    "glUniform4i(-1, 1, 2, 3, 4)", "glUniform2f(-1, 0.5, 1.5)",
                                    "glUniform3f(-1, 0.5, 1.5, 2.5)", "glUniform4f(-1, 0.5, 1.5, 2.5, 3.5)",
                                    "glUniformMatrix2fv(-1, 1, 1, ptr)", "glUniformMatrix3fv(-1, 2, 0, ptr)",
                                    "glUniformMatrix4fv(-1, 3, 0, ptr)"));
    EXPECT_EQ(trace.calls().size(), 20U);
}

TEST_F(WrapperTest, TextureUnitsCarryOneLabelForTwoChecks) {
    const test::CurrentEngine current;
    GLShaderProgram program;
    ASSERT_EQ(program.init(kVertex, kFragment), 0);
    program.beginDraw();
    for (const char* entry : {"glActiveTexture", "glBindTexture"}) {
        test::LogCapture log;
        sim_gl_fail(entry, 1, GL_INVALID_ENUM);
        program.setTarget(program.getUniformLocation("s"), 1, 0, GL_TEXTURE_2D);
        EXPECT_THAT(log.texts(), ElementsAre("glActiveTexture glError: 1280 ")) << entry;
    }
}

TEST_F(WrapperTest, ShadersThatDoNotBuildAreReportedAndDeleted) {
    const test::CurrentEngine current;
    struct Case {
        const char* vertex;
        const char* fragment;
        const char* start;
    };
    const std::string noMain = "#version 320 es\nprecision highp float;\n";
    for (const Case& c :
         {Case{"nonsense", kFragment,
               "[GLShaderProgram] loadShader error: Could not compile shader[35633]: "},
          Case{kVertex, "nonsense", "[GLShaderProgram] loadShader error: Could not compile shader[35632]: "},
          Case{kVertex, noMain.c_str(), "[GLShaderProgram] createProgram error: Could not link program: "}}) {
        test::LogCapture log;
        GLShaderProgram program;
        EXPECT_EQ(program.init(c.vertex, c.fragment), -1);
        EXPECT_THAT(log.texts(), ElementsAre(StartsWith(c.start)));
        EXPECT_EQ(log.lines()[0].tag, "Huevance");
        EXPECT_GT(log.lines()[0].text.size(), std::strlen(c.start));
        EXPECT_FALSE(program.beginDraw());
        EXPECT_EQ(sim_gl_live("program") + sim_gl_live("shader"), 0);
    }
}

TEST_F(WrapperTest, GuessesTheLengthOfAnEmptyLog) {
    const test::CurrentEngine current;
    GLShaderProgram program;
    test::LogCapture log;
    test::CallTrace trace;
    // A status that cannot be read counts as failed; the log of a shader without faults is empty.
    sim_gl_fail("glGetShaderiv", 1, GL_OUT_OF_MEMORY);
    EXPECT_EQ(program.init(kVertex, kFragment), -1);
    EXPECT_THAT(log.texts(),
                ElementsAre("glGetShaderiv glError: 1285 ", "Guessing at GL_INFO_LOG_LENGTH size\n",
                            "[GLShaderProgram] loadShader error: Could not compile shader[35633]: "));
    EXPECT_THAT(trace.calls(),
                testing::Contains(testing::MatchesRegex("glGetShaderInfoLog\\(.*, 4096, null, ptr\\)")));
}

TEST_F(WrapperTest, ProgramsTravelAsBinaries) {
    const test::CurrentEngine current;
    const std::string path = testing::TempDir() + "huevance_program.bin";
    smart_pointer<GLShaderProgram> program(new GLShaderProgram);
    EXPECT_EQ(program->saveToBinary(path.c_str()), -1);
    ASSERT_EQ(program->init(kVertex, kFragment), 0);
    GLint formats = 0;
    glGetIntegerv(GL_NUM_PROGRAM_BINARY_FORMATS, &formats);
    if (formats > 0) {
        ASSERT_EQ(program->saveToBinary(path.c_str()), 0);
        std::ifstream in(path, std::ios::binary);
        const std::string file{std::istreambuf_iterator<char>(in), {}};
        std::uint32_t format = 0;
        ASSERT_GT(file.size(), sizeof(format));
        std::memcpy(&format, file.data(), sizeof(format));
        GLShaderProgram loaded;
        EXPECT_EQ(loaded.init(file.data() + 4, format, static_cast<int>(file.size() - 4)), 0);
        EXPECT_TRUE(loaded.beginDraw());
        std::filesystem::remove(path);
    }
    test::LogCapture log;
    GLShaderProgram broken;
    EXPECT_EQ(broken.init("junk", 0x8740, 4), -1);
    EXPECT_THAT(log.texts(), testing::Contains(StartsWith(
                                 "[GLShaderProgram] createProgram error: Failed to load binary program: ")));
    EXPECT_FALSE(broken.beginDraw());
}

// --- Checks ---

TEST(GLUtils, NamesEglErrors) {
    const char* const names[] = {"EGL_SUCCESS",       "EGL_NOT_INITIALIZED",     "EGL_BAD_ACCESS",
                                 "EGL_BAD_ALLOC",     "EGL_BAD_ATTRIBUTE",       "EGL_BAD_CONFIG",
                                 "EGL_BAD_CONTEXT",   "EGL_BAD_CURRENT_SURFACE", "EGL_BAD_DISPLAY",
                                 "EGL_BAD_MATCH",     "EGL_BAD_NATIVE_PIXMAP",   "EGL_BAD_NATIVE_WINDOW",
                                 "EGL_BAD_PARAMETER", "EGL_BAD_SURFACE",         "EGL_CONTEXT_LOST"};
    for (int i = 0; i < 15; ++i) {
        EXPECT_STREQ(GLUtils::strError(0x3000 + i), names[i]);
    }
    EXPECT_STREQ(GLUtils::strError(0x2FFF), "UNKNOWN");
    EXPECT_STREQ(GLUtils::strError(0x300F), "UNKNOWN");
}

TEST_F(WrapperTest, LogsPendingErrorsUnderTheLabel) {
    const test::CurrentEngine current;
    test::LogCapture log;
    sim_gl_fail("glGetError", 1, GL_INVALID_ENUM);
    GLUtils::checkGLError("here");
    sim_gl_fail("eglGetError", 1, 0x3001);
    GLUtils::checkEGLError("there");
    sim_gl_fail("eglGetError", 1, 0x4000);
    GLUtils::checkEGLError("there");
    EXPECT_THAT(
        log.lines(),
        ElementsAre(test::LogLine{test::kError, "Huevance", "here glError: 1280 "},
                    test::LogLine{test::kError, "Huevance", "there eglError: EGL_NOT_INITIALIZED (0x3001)"},
                    test::LogLine{test::kError, "Huevance", "there eglError: UNKNOWN (0x4000)"}));
}

TEST_F(WrapperTest, ALostContextDoesNotKeepTheChecksSpinning) {
    const test::CurrentEngine current;
    sim_gl_lose_contexts();
    test::LogCapture log;
    GLUtils::checkGLError("lost");
    EXPECT_EQ(log.lines().size(), static_cast<std::size_t>(GLUtils::kMaxErrors));
    EXPECT_EQ(log.lines()[0].text, "lost glError: 1287 ");
}

TEST_F(WrapperTest, FlushWaitsOnceForAFence) {
    const test::CurrentEngine current;
    test::CallTrace trace;
    GLUtils::flush();
    EXPECT_THAT(trace.calls(), ElementsAre("glFlush()", "glFenceSync(37143, 0)",
                                           "glClientWaitSync(ptr, 0, 15000000)", "glDeleteSync(ptr)"));
    sim_gl_time_out_fences(1);
    GLUtils::flush();
    EXPECT_EQ(sim_gl_live("sync"), 0);
    sim_gl_fail("glFenceSync", 1, GL_OUT_OF_MEMORY);
    trace.clear();
    GLUtils::flush();
    EXPECT_THAT(trace.names(), ElementsAre("glFlush", "glFenceSync"));
}

}  // namespace
