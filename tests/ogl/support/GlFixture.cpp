#include "tests/ogl/support/GlFixture.h"

namespace test {

std::string alive() {
    std::string result;
    for (const char* kind : {"display", "context", "surface", "image", "texture", "framebuffer", "program",
                             "shader", "sync", "buffer", "renderbuffer", "vertexarray"}) {
        if (const int count = sim_gl_live(kind); count != 0) {
            result += std::to_string(count) + " " + kind + " ";
        }
    }
    if (Object::liveObjects() != 0) {
        result += std::to_string(Object::liveObjects()) + " Object ";
    }
    if (sim_hardware_buffer_live() != 0) {
        result += std::to_string(sim_hardware_buffer_live()) + " AHardwareBuffer ";
    }
    return result;
}

void GlTest::SetUp() {
    if (sim_gl_available() == 0) {
        GTEST_SKIP() << "no EGL and OpenGL ES on this machine";
    }
    sim_gl_reset();
    ASSERT_EQ(alive(), "");
}

void GlTest::TearDown() {
    sim_gl_reset();
    EXPECT_EQ(alive(), "");
}

CurrentEngine::CurrentEngine() : m_engine(new GLEngine(nullptr, 1, 1)) {
    EXPECT_EQ(m_engine->init(), 0);
    EXPECT_EQ(m_engine->startup(), 0);
}

CurrentEngine::~CurrentEngine() {
    m_engine->stop();
    m_engine->destroy();
}

CallTrace::CallTrace() {
    sim_gl_set_call_sink(
        [](void* self, const char* call) {
            const std::string text = call;
            if (text != "glGetError()" && text != "eglGetError()") {
                static_cast<CallTrace*>(self)->m_calls.push_back(text);
            }
        },
        this);
}

CallTrace::~CallTrace() { sim_gl_set_call_sink(nullptr, nullptr); }

std::vector<std::string> CallTrace::names() const {
    std::vector<std::string> result;
    for (const std::string& call : m_calls) {
        result.push_back(call.substr(0, call.find('(')));
    }
    return result;
}

}  // namespace test
