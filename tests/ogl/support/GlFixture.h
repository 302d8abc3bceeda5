// What every test on the simulated EGL and OpenGL ES does: it starts without faults and ends with nothing
// left alive.
#pragma once

#include <gtest/gtest.h>
#include <sim/gl.h>

#include <string>
#include <vector>

#include "ogl/GLEngine.h"
#include "ogl/GLUtils.h"
#include "ogl/Object.h"
#include "tests/sim/support/DeviceBuffer.h"
#include "tests/support/LogCapture.h"

namespace test {

// Objects of the device and of the library that are alive, each kind that is not 0 by name; empty when all
// are gone.
std::string alive();

// With the first `what`, if there is one, replaced.
std::string replaced(std::string text, const std::string& what, const std::string& by);

// Skips where there is no driver.
class GlTest : public testing::Test {
protected:
    GlTest();
    ~GlTest() override;
};

// An engine that is current as long as it lives.
class CurrentEngine {
public:
    CurrentEngine() {
        EXPECT_EQ(m_engine.init(), 0);
        EXPECT_EQ(m_engine.startup(), 0);
    }
    ~CurrentEngine() { m_engine.stop(); }

private:
    GLEngine m_engine{nullptr, 1, 1};
};

// Every EGL and GL call made while it lives but for glGetError and eglGetError.
class CallTrace {
public:
    CallTrace();
    ~CallTrace();
    const std::vector<std::string>& calls() const { return m_calls; }
    // Each with a space behind it.
    std::string text() const;

private:
    std::vector<std::string> m_calls;
};

}  // namespace test
