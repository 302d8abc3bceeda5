// A fresh simulated driver for every test.
#pragma once

#include <gtest/gtest.h>
#include <sim/opencl.h>

#include <memory>
#include <string>

#include "gpu/Huevance_GPU.h"
#include "gpu/OpenCLWrappers.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"

namespace test {

// Resets the driver's settings before and after each test, and expects that it had nothing to object to and
// that every object made in between was released. Without a device it fails where one is required, else
// skips.
class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // For tests that provoke one.
    void expectViolation(const char* part);

private:
    int m_liveBefore = 0;
};

// With a context and a small program, made with the library's own wrappers.
class ProgramTest : public DeviceTest {
protected:
    void SetUp() override;
    void TearDown() override;
    void build(const std::string& text);

    const std::string source = "__kernel void k(__global int* x) { x[get_global_id(0)] = 7; }";
    cl_device_id device = nullptr;
    gpu::Context context;
    gpu::Program program;
    LogCapture log;
};

// With an engine.
class EngineTest : public DeviceTest {
protected:
    void TearDown() override;
    // A new one, set up.
    CHuevance_GPU& start();
    CHuevance_GPU& engine() { return *m_engine; }

    LogCapture log;

private:
    std::unique_ptr<CHuevance_GPU> m_engine;
};

// Where compiled kernels lie, for all tests of a program.
char* cachePath();

// Visible samples that differ by `most` levels at most, `perMille` of them at all, and no byte beside them
// touched.
void expectClose(const Frame& frame, const std::vector<int>& expected, int most, int perMille,
                 const std::string& what);

// Ends the process of a death test, without what runs at exit: with code 0 and "passed" on standard error, or
// with 1 and what went wrong. (Such a process does not report its failures otherwise.)
[[noreturn]] void endOfDeathTest();

// The extension string of a phone.
inline constexpr const char* kPhoneExtensions =
    "cl_khr_fp16 cl_qcom_ext_host_ptr cl_qcom_ion_host_ptr cl_qcom_priority_hint";

}  // namespace test
