#include "tests/ogl/support/GlFixture.h"

#include <numeric>

namespace test {

std::string alive() {
    const int objects = Object::liveObjects();
    return aliveOnDevice() + (objects != 0 ? std::to_string(objects) + " Object " : "");
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    const std::size_t at = text.find(what);
    return at != std::string::npos ? text.replace(at, what.size(), by) : text;
}

GlTest::GlTest() {
    sim_gl_reset();
    EXPECT_EQ(alive(), "");
    if (sim_gl_available() == 0) {
#ifdef HUEVANCE_REQUIRE_DRIVERS
        [] { FAIL() << "no EGL and OpenGL ES: `scripts/setup.sh drivers` installs them"; }();
#else
        [] { GTEST_SKIP() << "no EGL and OpenGL ES on this machine"; }();
#endif
    }
}

GlTest::~GlTest() {
    sim_gl_reset();
    EXPECT_EQ(alive(), "");
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

std::string CallTrace::text() const {
    return std::accumulate(m_calls.begin(), m_calls.end(), std::string(),
                           [](const std::string& all, const std::string& call) { return all + call + " "; });
}

}  // namespace test
