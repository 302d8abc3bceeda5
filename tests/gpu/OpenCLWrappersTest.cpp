#include <gmock/gmock.h>

#include <array>
#include <set>

#include "gpu/OpenCLErrors.h"
#include "gpu/OpenCLWrappers.h"
#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/DeathTest.h"

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using OpenCLWrappers = test::ProgramTest;
using Lines = std::vector<std::string>;

TEST_F(OpenCLWrappers, LogTheirOwnFailuresAndGiveTheCode) {
    cl_context none = nullptr;
    cl_command_queue queue = nullptr;
    cl_program other = nullptr;
    cl_kernel kernel = nullptr;
    cl_mem memory = nullptr;
    const unsigned char byte = 0;
    // The first call of every entry fails.
#define HUEVANCE_CL_ENTRY(name, arguments) sim_opencl_fail(#name, 1, -5);
#include "jni/opticommon/symb/OpenCLEntries.inc"
    EXPECT_THAT(
        std::to_array({gpu::createCommandQueue(context.get(), device, &queue),
                       gpu::createProgramWithSource("", 1, context.get(), &other),
                       gpu::createProgramWithBinaryFile(&byte, 1, context.get(), &device, &other),
                       gpu::createKernel("k", program.get(), &kernel),
                       gpu::createBuffer(context.get(), 0, 4, nullptr, &memory),
                       gpu::createImage(context.get(), 0, nullptr, nullptr, nullptr, &memory),
                       gpu::releaseMem(&memory), gpu::releaseKernel(&kernel), gpu::releaseProgram(&other),
                       gpu::releaseCommandQueue(&queue), gpu::releaseContext(&none)}),
        Each(-5));
    EXPECT_EQ(log.texts(test::kError),
              (Lines{"clCreateCommandQueue errCode: -5!", "clCreateProgramWithSource errCode: -5!",
                     "clCreateProgramWithBinary errCode: -5!", "create k errCode: -5!\n",
                     "clCreateBuffer errCode: -5!\n", "clCreateImage errCode: -5!\n",
                     "clReleaseMemObject errCode: -5!\n", "clReleaseKernel errCode: -5!\n",
                     "clReleaseProgram errCode: -5!\n", "clReleaseCommandQueue errCode: -5!",
                     "clReleaseContext errCode: -5!"}));
    sim_opencl_reset();
    for (const auto& [entry, nth, line] : {std::tuple{"clGetPlatformIDs", 1, "clGetPlatformIDs errCode: -5!"},
                                           {"clGetDeviceIDs", 1, "First clGetDeviceIDs errCode: -5!"},
                                           {"clGetDeviceIDs", 2, "Second clGetDeviceIDs errCode: -5!"},
                                           {"clCreateContext", 1, "clCreateContext errCode: -5!"}}) {
        log.clear();
        sim_opencl_fail(entry, nth, -5);
        EXPECT_EQ(gpu::createContext(&none, &device), -1);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(line));
    }
}

TEST_F(OpenCLWrappers, BuildProgramTreatsEveryCodeAsLaidDown) {
    const std::set<int> named = {-59, -44, -43, -42, -33, -30, -11, -6, -5, -3};
    const auto expectBuild = [&](int code, int result, const Lines& more) {
        log.clear();
        sim_opencl_fail("clBuildProgram", 1, code);
        EXPECT_EQ(gpu::buildProgram(device, program.address()), result);
        Lines lines = {"clBuildProgram errCode: " + std::to_string(code) + "!"};
        lines.insert(lines.end(), named.count(code), gpu::getCLErrString(code));
        lines.insert(lines.end(), more.begin(), more.end());
        EXPECT_EQ(log.texts(test::kError), lines);
    };
    for (int code = -70; code < 0; ++code) {
        if (code != CL_BUILD_PROGRAM_FAILURE) {
            expectBuild(code, code, {});
        }
    }
    sim_opencl_fail("clGetProgramBuildInfo", 1, CL_INVALID_VALUE);
    expectBuild(-11, -11, {"Build program error unknown!"});
    sim_opencl_fail("clGetProgramBuildInfo", 1, CL_OUT_OF_RESOURCES);
    expectBuild(-11, -5, {"Build program error info: !"});
    build("__kernel void k() { there_is_no_such_thing; }");  // on purpose a success
    EXPECT_THAT(log.texts(test::kError), Contains(HasSubstr("there_is_no_such_thing")));
    EXPECT_NE(gpu::createKernel("k", program.get(), gpu::Kernel().out()), 0);
}

TEST_F(OpenCLWrappers, ProfilingNeedsAQueueThatMeasures) {
    gpu::Memory memory;
    ASSERT_EQ(gpu::createBuffer(context.get(), CL_MEM_READ_WRITE, 64, nullptr, memory.out()), 0);
    const int pattern[16] = {};
    for (const cl_command_queue_properties measures : {0, CL_QUEUE_PROFILING_ENABLE}) {
        gpu::Queue queue;
        *queue.out() = clCreateCommandQueue(context.get(), device, measures, nullptr);
        cl_event event = nullptr;
        ASSERT_EQ(
            clEnqueueWriteBuffer(queue.get(), memory.get(), CL_TRUE, 0, 64, pattern, 0, nullptr, &event), 0);
        log.clear();
        EXPECT_GE(gpu::GetEventProfilingInfo(event), 0.0F);
        const char* line = measures != 0 ? "kernel queue time .*ms excute time .*ms\n"
                                         : "clGetEventProfilingInfo failed errCode: -7!\n";
        EXPECT_THAT(log.texts(), ElementsAre(testing::MatchesRegex(line)));
        clReleaseEvent(event);
    }
}

// The extension string is kept for the process, so each case has a process of its own.
using OpenCLExtensionsDeathTest = test::DeviceTest;
TEST_F(OpenCLExtensionsDeathTest, AreThoseOfTheFirstDeviceAsked) {
    test::startDeathTestsSafely();
    const std::string phone = test::kPhoneExtensions;
    for (const std::size_t length : {phone.size(), std::size_t{1023}, std::size_t{1024}}) {
        const auto scenario = [&] {
            const MNN::OpenCLSymbolsOperator bind;
            const test::LogCapture log;
            sim_opencl_set_extensions((std::string(length - phone.size(), ' ') + phone).c_str());
            cl_device_id device = nullptr;
            gpu::Context context;
            EXPECT_EQ(gpu::createContext(context.out(), &device), 0) << "with the vendor's hints";
            sim_opencl_set_extensions("cl_other");
            const bool fits = length < 1024;
            EXPECT_EQ(gpu::check_extension_support("", device), fits);
            EXPECT_EQ(gpu::check_extension_support("cl_khr_fp16", device), fits);
            EXPECT_FALSE(gpu::check_extension_support("cl_other", device)) << "the first string is kept";
            EXPECT_EQ(sim_opencl_calls("clGetDeviceInfo"), 1);
            EXPECT_EQ(log.texts(), fits ? Lines(1, "cl_qcom_priority_hint is supported, and LOW is set\n")
                                        : Lines(4, "Couldn't identify available OpenCL extensions"));
            test::endOfDeathTest();
        };
        EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "passed") << length;
    }
}

TEST(OpenCLErrors, HaveTheirStandardNames) {
    for (const int code : {-69, -25, 1}) {
        EXPECT_STREQ(gpu::getCLErrString(code), "unknow err");
    }
    EXPECT_STREQ(gpu::getCLErrString(0), "CL_SUCCESS");
    EXPECT_STREQ(gpu::getCLErrString(-11), "CL_BUILD_PROGRAM_FAILURE");
    EXPECT_STREQ(gpu::getCLErrString(-68), "CL_INVALID_DEVICE_PARTITION_COUNT");
}

}  // namespace
