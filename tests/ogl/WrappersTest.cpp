// The owners of EGL and GL objects: counting, order of calls, codes, messages.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <functional>

#include "ogl/GLFramebuffer.h"
#include "ogl/GLShaderProgram.h"
#include "ogl/GLTexture.h"
#include "ogl/HuevanceRender.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/support/Files.h"
#include "tests/support/TuningDir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kVertex =
    "#version 320 es\nin vec4 a_position;\nout vec2 t;\n"
    "void main() { gl_Position = a_position; t = a_position.xy * 0.5 + 0.5; }\n";
constexpr const char* kFragment =
    "#version 320 es\nprecision highp float;\nuniform sampler2D s;\nuniform float gain;\nin vec2 t;\n"
    "out vec4 color;\nvoid main() { color = texture(s, t) * gain; }\n";

constexpr const char* kNoMain = "#version 320 es\nprecision highp float;\n";

bool g_noConfig = false;

}  // namespace

EGLBoolean eglChooseConfig(EGLDisplay display, const EGLint* attributes, EGLConfig* configs, EGLint size,
                           EGLint* count) {
    static const auto next =
        reinterpret_cast<decltype(&eglChooseConfig)>(dlsym(RTLD_NEXT, "eglChooseConfig"));
    const EGLBoolean result = next(display, attributes, configs, size, count);
    *count = g_noConfig ? 0 : *count;
    return result;
}

namespace {

using WrapperTest = test::GlTest;

TEST_F(WrapperTest, TheLastHolderDeletes) {
    smart_pointer<Object> a(new Object);
    smart_pointer<Object> b(a);
    EXPECT_EQ(b->count(), 2);
    a = new Object;
    b = b.get();  // to itself: the new reference is taken before the old one is dropped
    EXPECT_EQ(b->count(), 1);
    EXPECT_EQ(Object::liveObjects(), 2);
    b = nullptr;
    EXPECT_EQ(Object::liveObjects(), 1);
}

TEST_F(WrapperTest, AnEngineAsksForItsConfigSurfaceAndContextInOrder) {
    GLEngine engine(nullptr, 3, 2);
    test::CallTrace trace;
    const auto use = [&](int result) {
        for (int (GLEngine::*const step)() : {&GLEngine::startup, &GLEngine::flush, &GLEngine::stop}) {
            EXPECT_EQ((engine.*step)(), result);
        }
    };
    use(-1);
    EXPECT_EQ(engine.init(), 0);
    use(0);
    EXPECT_EQ(engine.destroy(), 0);
    use(-1);
    EXPECT_EQ(engine.destroy(), 0);  // again: nothing
    // Eight bits each, depth, no stencil, no samples, of ES 3; size, no texture; version 3.
    EXPECT_EQ(trace.text(),
              "eglGetDisplay(null) eglInitialize(ptr, null, null) eglQueryString(ptr, 12373) "
              "eglChooseConfig(ptr, [12324=8 12323=8 12322=8 12321=8 12325=8 12326=0 12338=0 12352=64], ptr, "
              "1, ptr) eglCreatePbufferSurface(ptr, ptr, [12375=3 12374=2 12417=12380 12416=12380]) "
              "eglCreateContext(ptr, ptr, null, [12440=3]) eglMakeCurrent(ptr, ptr, ptr, ptr) "
              "eglSwapBuffers(ptr, ptr) eglMakeCurrent(ptr, null, null, null) "
              "eglDestroyContext(ptr, ptr) eglDestroySurface(ptr, ptr) "
              "eglMakeCurrent(ptr, null, null, null) eglTerminate(ptr) ");
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
    test::LogCapture log;
    g_noConfig = true;
    EXPECT_EQ(engine.init(), -1);
    g_noConfig = false;
    ASSERT_EQ(engine.init(), 0);
    ASSERT_EQ(engine.init(), 0);  // again: as if destroyed before
    {
        GLEngine second(nullptr, 1, 1);
        const test::CallTrace trace;
        sim_gl_fail("eglInitialize", 1, EGL_BAD_ALLOC);
        EXPECT_EQ(second.init() + second.destroy(), -1);
        EXPECT_EQ(trace.text(), "eglGetDisplay(null) eglInitialize(ptr, null, null) ");  // nothing is ended
    }
    EXPECT_EQ(test::aliveOnDevice(), "1 display 1 context 1 surface ");
    for (const char* entry : {"eglSwapBuffers", "eglMakeCurrent"}) {
        ASSERT_EQ(engine.startup(), 0);
        sim_gl_fail(entry, 1, EGL_BAD_ACCESS);
        const int flushed = engine.flush();
        EXPECT_EQ(flushed + engine.stop(), -1);
        EXPECT_EQ(engine.stop(), 0);
    }
    {
        const GLEngineScope current(&engine);
        EXPECT_TRUE(current);
        sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    }
    EXPECT_THAT(log.texts(), ElementsAre("[GLEngine] init error: numConfigs < 1!!!",
                                         "[GLEngine] init error: eglInitialize failed!!!",
                                         "[GLEngine] stop error: eglMakeCurrent failed!!!"));
}

// What no drawn picture shows: what goes before something else takes its place, and what the pipelines have
// no use for.
TEST_F(WrapperTest, WrappersMakeTheirCallsInOrder) {
    const test::CurrentEngine current;
    test::LogCapture log;  // without a program every lookup and every value is an error
    test::DeviceBuffer first(64, 64, IMAGE_FORMAT_TYPE_NV12);
    test::DeviceBuffer second(64, 64, IMAGE_FORMAT_TYPE_NV12);
    const float values[16] = {};
    GLTexture2D plane(1, 1, GL_LUMINANCE, GL_LUMINANCE, nullptr);
    GLTexture2DOES external(first.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64);
    smart_pointer<GLFramebuffer> framebuffer(new GLFramebuffer);
    GLShaderProgram program;
    const std::string import =
        "eglDestroyImageKHR(ptr, ptr) eglCreateImageKHR(ptr, null, 12608, ptr, null) glBindTexture(36197, 2) "
        "glEGLImageTargetTexture2DOES(36197, ptr) glBindTexture(36197, 0) ";
    struct Step {
        std::function<void()> act;
        std::string calls;  // "=>" looks the location up
    };
    const Step kSteps[] = {
        {[&] { external.set(second.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64); }, import},
        {[&] { external.set(second.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64); }, import},  // the same again
        {[&] { external.set(nullptr, GL_TEXTURE_EXTERNAL_OES, 64, 64); }, "eglDestroyImageKHR(ptr, ptr) "},
        {[&] { plane.recycle(), plane.recycle(); }, "glDeleteTextures(1, ptr) "},
        {[&] { framebuffer->bind(GL_READ_FRAMEBUFFER); }, "glBindFramebuffer(36008, 1) "},
        {[&] { framebuffer->attachTexture(0, 0, GL_TEXTURE_2D); }, ""},
        {[&] { framebuffer->attachTexture(1, 7, GL_TEXTURE_2D); },
         "glFramebufferTexture2D(36160, 36065, 3553, 7, 0) glCheckFramebufferStatus(36160) "},
        {[&] { framebuffer->blit(0, 1, 2, 3, 4, 5, 6, 7, GL_COLOR_BUFFER_BIT, GL_NEAREST); },
         "glBlitFramebuffer(0, 1, 2, 3, 4, 5, 6, 7, 16384, 9728) "},
        {[&] { framebuffer->unBind(); }, "glBindFramebuffer(36160, 0) "},
        {[&] { framebuffer = nullptr; }, "glDeleteFramebuffers(1, ptr) "},
        {[&] { program.disableVertexAttribArray(1); }, "glDisableVertexAttribArray(1) "},
        {[&] { program.set("a", 1); }, "=> glUniform1i(-1, 1) "},
        {[&] { program.set("a", 1, 2); }, "=> glUniform2i(-1, 1, 2) "},
        {[&] { program.set("a", 1, 2, 3); }, "=> glUniform3i(-1, 1, 2, 3) "},
        {[&] { program.set("a", 1, 2, 3, 4); }, "=> glUniform4i(-1, 1, 2, 3, 4) "},
        {[&] { program.set("a", 0.5F); }, "=> glUniform1f(-1, 0.5) "},
        {[&] { program.set("a", 0.5F, 2.5F); }, "=> glUniform2f(-1, 0.5, 2.5) "},
        {[&] { program.set("a", 0.5F, 2.5F, 3.5F); }, "=> glUniform3f(-1, 0.5, 2.5, 3.5) "},
        {[&] { program.set("a", 0.5F, 2.5F, 3.5F, 4.5F); }, "=> glUniform4f(-1, 0.5, 2.5, 3.5, 4.5) "},
        {[&] { program.setMatrix2("a", 1, true, values); }, "=> glUniformMatrix2fv(-1, 1, 1, ptr) "},
        {[&] { program.setMatrix3("a", 2, false, values); }, "=> glUniformMatrix3fv(-1, 2, 0, ptr) "},
        {[&] { program.setMatrix4("a", 3, false, values); }, "=> glUniformMatrix4fv(-1, 3, 0, ptr) "},
        {[] { GLUtils::flush(); },
         "glFlush() glFenceSync(37143, 0) glClientWaitSync(ptr, 0, 15000000) glDeleteSync(ptr) "},
        {[] { sim_gl_fail("glFenceSync", 1, GL_OUT_OF_MEMORY), GLUtils::flush(); },
         "glFlush() glFenceSync(37143, 0) "}};
    for (const Step& step : kSteps) {
        test::CallTrace trace;
        step.act();
        EXPECT_EQ(trace.text(), test::replaced(step.calls, "=>", "glGetUniformLocation(0, a)"));
    }
    EXPECT_FALSE(external.isUsable());
    EXPECT_EQ(external.format(), GL_RGBA8);
}

TEST_F(WrapperTest, ErrorsAreLoggedUnderTheirLabels) {
    const test::CurrentEngine current;
    test::DeviceBuffer buffer(64, 64, IMAGE_FORMAT_TYPE_NV12);
    GLTexture2DOES external(nullptr, GL_TEXTURE_EXTERNAL_OES, 64, 64);
    GLTexture2D gray(8, 8, GL_LUMINANCE, GL_LUMINANCE, nullptr);
    GLFramebuffer framebuffer;
    framebuffer.bind(GL_FRAMEBUFFER);
    GLShaderProgram program;
    ASSERT_EQ(program.init(kVertex, kFragment), 0);
    ASSERT_TRUE(program.beginDraw());
    const auto import = [&] { external.set(buffer.get(), GL_TEXTURE_EXTERNAL_OES, 64, 64); };
    const auto recycle = [&] { external.recycle(); };
    const auto attach = [&] { framebuffer.attachTexture(0, gray.name(), gray.target()); };
    const auto lose = [] { sim_gl_lose_contexts(), GLUtils::checkGLError("here"); };
    const auto checkEgl = [] { GLUtils::checkEGLError("there"); };
    const auto setTarget = [&] { program.setTarget(program.getUniformLocation("s"), 1, 0, GL_TEXTURE_2D); };
    struct Fault {
        const char* entry;
        int code;
        std::function<void()> act;
        std::string lines;
    };
    const Fault kFaults[] = {
        {"eglCreateImageKHR", EGL_BAD_ALLOC, import,
         "eglCreateImageKHR eglError: EGL_BAD_ALLOC (0x3003)\nglEGLImageTargetTexture2DOES glError: 1281 \n"},
        {"", 0, import, ""},
        {"eglDestroyImageKHR", 0x3008, recycle, "eglDestroyImageKHR eglError: EGL_BAD_DISPLAY (0x3008)\n"},
        {"", 0, attach, "Framebuffer not complete, status: 36054\n"},
        // On purpose one label for two checks.
        {"glActiveTexture", GL_INVALID_ENUM, setTarget, "glActiveTexture glError: 1280 \n"},
        {"glBindTexture", GL_INVALID_ENUM, setTarget, "glActiveTexture glError: 1280 \n"},
        {"eglGetError", 0x2FFF, checkEgl, "there eglError: UNKNOWN (0x2fff)\n"},
        {"eglGetError", 0x300E, checkEgl, "there eglError: EGL_CONTEXT_LOST (0x300e)\n"},
        {"eglGetError", 0x300F, checkEgl, "there eglError: UNKNOWN (0x300f)\n"},
        {"", 0, lose, "here glError: 1287 \n"}};  // which is reported without end
    for (const Fault& fault : kFaults) {
        test::LogCapture log;
        sim_gl_fail(fault.entry, 1, fault.code);
        fault.act();
        std::string lines;
        for (const test::LogLine& line : log.lines()) {
            EXPECT_EQ(line.tag, "Huevance");
            EXPECT_EQ(line.priority, test::kError);
            lines += line.text + "\n";
        }
        EXPECT_EQ(lines, fault.lines);
    }
}

TEST_F(WrapperTest, ProgramsThatDoNotBuildAreReportedAndDeleted) {
    const test::CurrentEngine current;
    GLShaderProgram program;
    const std::string compile = "[GLShaderProgram] loadShader error: Could not compile shader";
    const std::string create = "[GLShaderProgram] createProgram error: ";
    struct Case {
        std::function<int()> build;
        std::string start;
        bool hasLog = true;
    };
    const Case kCases[] = {
        {[&] { return program.init("nonsense", kFragment); }, compile + "[35633]: "},
        {[&] { return program.init(kVertex, "nonsense"); }, compile + "[35632]: "},
        {[&] { return program.init(kVertex, kNoMain); }, create + "Could not link program: "},
        {[&] { return program.init("junk", 0x8740, 4); }, create + "Failed to load binary program: ", false}};
    for (const Case& c : kCases) {
        ASSERT_EQ(program.init(kVertex, kFragment), 0);
        const int shaders = sim_gl_live("shader");  // they stay, on purpose
        test::LogCapture log;
        EXPECT_EQ(c.build(), -1);
        EXPECT_THAT(log.texts().back(), StartsWith(c.start));
        EXPECT_GT(log.texts().back().size() + (c.hasLog ? 0 : 1), c.start.size());
        EXPECT_FALSE(program.beginDraw());
        EXPECT_EQ(sim_gl_live("program"), 0);
        EXPECT_EQ(sim_gl_live("shader"), shaders);
    }
    // A status that cannot be read counts as failed; the log of a shader without faults is empty.
    test::LogCapture log;
    test::CallTrace trace;
    sim_gl_fail("glGetShaderiv", 1, GL_OUT_OF_MEMORY);
    EXPECT_EQ(program.init(kVertex, kFragment), -1);
    EXPECT_THAT(log.texts(), ElementsAre("glGetShaderiv glError: 1285 ",
                                         "Guessing at GL_INFO_LOG_LENGTH size\n", compile + "[35633]: "));
    EXPECT_THAT(trace.text(), HasSubstr(", 4096, null, ptr)"));
}

TEST_F(WrapperTest, ProgramsTravelAsBinaries) {
    const test::CurrentEngine current;
    const test::TuningDir dir;
    const std::string path = dir.path() + "/program";
    GLShaderProgram program;
    EXPECT_EQ(program.saveToBinary(path.c_str()), -1);
    ASSERT_EQ(program.init(kVertex, kFragment), 0);
    GLint formats = 0;
    glGetIntegerv(GL_NUM_PROGRAM_BINARY_FORMATS, &formats);
    if (formats == 0) {
        GTEST_SKIP() << "this driver has no program binaries";
    }
    ASSERT_EQ(program.saveToBinary(path.c_str()), 0);
    const std::string file = test::readFile(path);
    std::uint32_t format = 0;
    ASSERT_GT(file.size(), sizeof(format));
    file.copy(reinterpret_cast<char*>(&format), sizeof(format));
    EXPECT_EQ(program.init(&file[sizeof(format)], format, static_cast<int>(file.size() - sizeof(format))), 0);
    EXPECT_TRUE(program.beginDraw());
}

// A format that has no main function.
TEST_F(WrapperTest, ARendererWithoutAShaderFailsAtProcess) {
    const test::CurrentEngine current;
    test::LogCapture log;
    HuevanceRender render;
    EXPECT_EQ(render.init(static_cast<IMAGE_FORMAT_TYPE>(9), 0, false, false, false, false, false), 0);
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("[GLShaderProgram] ")));
    EXPECT_FALSE(render.isBuilt());
    test::CallTrace trace;
    EXPECT_EQ(render.process(nullptr, nullptr, 0, 0, 8, 8), -1);
    EXPECT_EQ(trace.text(), "");
}

}  // namespace
