#include <gmock/gmock.h>

#include <functional>

#include "gpu/OpenCLErrors.h"
#include "gpu/OpenCLWrappers.h"
#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kSource[] = "__kernel void k(__global int* x) { x[get_global_id(0)] = 7; }";

class OpenCLWrappers : public test::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        const MNN::OpenCLSymbolsOperator bind;
        if (IsSkipped()) {
            return;
        }
        ASSERT_EQ(gpu::createContext(context.out(), &device), 0);
        ASSERT_EQ(gpu::createCommandQueue(context.get(), device, queue.out()), 0);
        ASSERT_EQ(gpu::createProgramWithSource(kSource, sizeof(kSource) - 1, context.get(), program.out()),
                  0);
        ASSERT_EQ(gpu::buildProgram(device, program.address()), 0);
        log.clear();
    }
    void TearDown() override {
        program.reset();
        queue.reset();
        context.reset();
        DeviceTest::TearDown();
    }

    cl_device_id device = nullptr;
    gpu::Context context;
    gpu::Queue queue;
    gpu::Program program;
    test::LogCapture log;
};

TEST_F(OpenCLWrappers, LogTheirOwnFailuresAndGiveTheCode) {
    const cl_image_format format = {CL_R, CL_FLOAT};
    cl_image_desc description = {};
    description.image_type = CL_MEM_OBJECT_IMAGE2D;
    description.image_width = description.image_height = 4;
    const unsigned char binary[1] = {};
    const struct {
        const char* entry;
        const char* line;
        std::function<int()> call;
    } cases[] = {
        {"clCreateCommandQueue", "clCreateCommandQueue errCode: -5!",
         [&] { return gpu::createCommandQueue(context.get(), device, gpu::Queue().out()); }},
        {"clCreateProgramWithSource", "clCreateProgramWithSource errCode: -5!",
         [&] { return gpu::createProgramWithSource(kSource, 1, context.get(), gpu::Program().out()); }},
        {"clCreateProgramWithBinary", "clCreateProgramWithBinary errCode: -5!",
         [&] {
             return gpu::createProgramWithBinaryFile(binary, 1, context.get(), &device, gpu::Program().out());
         }},
        {"clCreateKernel", "create k errCode: -5!\n",
         [&] { return gpu::createKernel("k", program.get(), gpu::Kernel().out()); }},
        {"clCreateBuffer", "clCreateBuffer errCode: -5!\n",
         [&] {
             return gpu::createBuffer(context.get(), CL_MEM_READ_WRITE, 4, nullptr, gpu::Memory().out());
         }},
        {"clCreateImage", "clCreateImage errCode: -5!\n",
         [&] {
             return gpu::createImage(context.get(), CL_MEM_READ_ONLY, &format, &description, nullptr,
                                     gpu::Memory().out());
         }},
        {"clReleaseContext", "clReleaseContext errCode: -5!",
         [&] { return gpu::releaseContext(context.address()); }},
        {"clReleaseCommandQueue", "clReleaseCommandQueue errCode: -5!",
         [&] { return gpu::releaseCommandQueue(queue.address()); }},
        {"clReleaseProgram", "clReleaseProgram errCode: -5!\n",
         [&] { return gpu::releaseProgram(program.address()); }},
        {"clReleaseKernel", "clReleaseKernel errCode: -5!\n",
         [&] {
             cl_kernel none = nullptr;
             return gpu::releaseKernel(&none);
         }},
        {"clReleaseMemObject", "clReleaseMemObject errCode: -5!\n",
         [&] {
             cl_mem none = nullptr;
             return gpu::releaseMem(&none);
         }},
    };
    for (const auto& c : cases) {
        log.clear();
        ASSERT_EQ(sim_opencl_fail(c.entry, 1, -5), 0);
        EXPECT_EQ(c.call(), -5) << c.entry;
        EXPECT_THAT(log.texts(test::kError), ElementsAre(c.line));
    }
}

TEST_F(OpenCLWrappers, CreateContextSaysWhichStepFailed) {
    const struct {
        const char* entry;
        int nth;
        const char* line;
    } cases[] = {{"clGetPlatformIDs", 1, "clGetPlatformIDs errCode: -1001!"},
                 {"clGetDeviceIDs", 1, "First clGetDeviceIDs errCode: -1001!"},
                 {"clGetDeviceIDs", 2, "Second clGetDeviceIDs errCode: -1001!"},
                 {"clCreateContext", 1, "clCreateContext errCode: -1001!"}};
    for (const auto& c : cases) {
        log.clear();
        sim_opencl_fail(c.entry, c.nth, -1001);
        gpu::Context second;
        EXPECT_EQ(gpu::createContext(second.out(), &device), -1);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(c.line));
    }
}

TEST_F(OpenCLWrappers, BuildProgramTreatsEveryCodeAsLaidDown) {
    const struct {
        int code;
        int logCode;  // of the query for the compiler's log; 1: it answers
        int result;
        std::vector<std::string> lines;
    } cases[] = {
        {-59, 1, -59, {"clBuildProgram errCode: -59!", "CL_INVALID_OPERATION"}},
        {-44, 1, -44, {"clBuildProgram errCode: -44!", "CL_INVALID_PROGRAM"}},
        {-43, 1, -43, {"clBuildProgram errCode: -43!", "CL_INVALID_BUILD_OPTIONS"}},
        {-42, 1, -42, {"clBuildProgram errCode: -42!", "CL_INVALID_BINARY"}},
        {-33, 1, -33, {"clBuildProgram errCode: -33!", "CL_INVALID_DEVICE"}},
        {-30, 1, -30, {"clBuildProgram errCode: -30!", "CL_INVALID_VALUE"}},
        {-6, 1, -6, {"clBuildProgram errCode: -6!", "CL_OUT_OF_HOST_MEMORY"}},
        {-5, 1, -5, {"clBuildProgram errCode: -5!", "CL_OUT_OF_RESOURCES"}},
        {-3, 1, -3, {"clBuildProgram errCode: -3!", "CL_COMPILER_NOT_AVAILABLE"}},
        {-45, 1, -45, {"clBuildProgram errCode: -45!"}},  // no line with its name
        {-11,
         1,
         0,
         {"clBuildProgram errCode: -11!", "CL_BUILD_PROGRAM_FAILURE", "Build program error info: "}},
        {-11,
         -30,
         -11,
         {"clBuildProgram errCode: -11!", "CL_BUILD_PROGRAM_FAILURE", "Build program error unknown!"}},
        {-11,
         -5,
         -5,
         {"clBuildProgram errCode: -11!", "CL_BUILD_PROGRAM_FAILURE", "Build program error info: !"}},
    };
    for (const auto& c : cases) {
        log.clear();
        sim_opencl_fail("clBuildProgram", 1, c.code);
        sim_opencl_fail("clGetProgramBuildInfo", c.logCode < 1 ? 1 : 0, c.logCode);
        EXPECT_EQ(gpu::buildProgram(device, program.address()), c.result);
        const std::vector<std::string> lines = log.texts(test::kError);
        ASSERT_EQ(lines.size(), c.lines.size()) << c.code;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_THAT(lines[i], testing::StartsWith(c.lines[i]));
        }
    }
}

TEST_F(OpenCLWrappers, BuildProgramLogsWhatTheCompilerSays) {
    constexpr char kBroken[] = "__kernel void k() { there_is_no_such_thing; }";
    gpu::Program broken;
    ASSERT_EQ(gpu::createProgramWithSource(kBroken, sizeof(kBroken) - 1, context.get(), broken.out()), 0);
    EXPECT_EQ(gpu::buildProgram(device, broken.address()), 0) << "on purpose";
    EXPECT_THAT(log.texts(test::kError), Contains(HasSubstr("there_is_no_such_thing")));
    gpu::Kernel kernel;
    EXPECT_NE(gpu::createKernel("k", broken.get(), kernel.out()), 0);
}

TEST_F(OpenCLWrappers, ProfilingNeedsAQueueThatMeasures) {
    const auto run = [&](cl_command_queue on, cl_event* event) {
        gpu::Memory memory;
        ASSERT_EQ(gpu::createBuffer(context.get(), CL_MEM_READ_WRITE, 64, nullptr, memory.out()), 0);
        const int pattern[16] = {};
        ASSERT_EQ(clEnqueueWriteBuffer(on, memory.get(), CL_TRUE, 0, 64, pattern, 0, nullptr, event), 0);
    };
    cl_event event = nullptr;
    run(queue.get(), &event);
    gpu::GetEventProfilingInfo(event);
    EXPECT_THAT(log.texts(test::kError), ElementsAre("clGetEventProfilingInfo failed errCode: -7!\n"));
    clReleaseEvent(event);

    log.clear();
    gpu::Queue measuring;
    *measuring.out() = clCreateCommandQueue(context.get(), device, CL_QUEUE_PROFILING_ENABLE, nullptr);
    run(measuring.get(), &event);
    EXPECT_GE(gpu::GetEventProfilingInfo(event), 0.0F);
    EXPECT_THAT(log.texts(), ElementsAre(testing::MatchesRegex("kernel queue time .*ms excute time .*ms\n")));
    clReleaseEvent(event);
}

// The extension string is kept for the process, so this has a process of its own.
TEST(OpenCLExtensionsDeathTest, AreThoseOfTheFirstDeviceAsked) {
    if (!sim_opencl_available()) {
        GTEST_SKIP() << "no OpenCL on this system";
    }
    test::startDeathTestsSafely();
    const auto scenario = [] {
        const MNN::OpenCLSymbolsOperator bind;
        test::LogCapture log;
        cl_device_id device = nullptr;
        EXPECT_FALSE(gpu::check_extension_support("", device));
        EXPECT_THAT(log.texts(), ElementsAre("Couldn't identify available OpenCL extensions"));
        log.clear();

        sim_opencl_set_extensions(test::kPhoneExtensions);
        gpu::Context context;
        EXPECT_EQ(gpu::createContext(context.out(), &device), 0) << "with the vendor's hints";
        EXPECT_THAT(log.texts(), ElementsAre("cl_qcom_priority_hint is supported, and LOW is set\n"));

        sim_opencl_set_extensions("cl_other");
        EXPECT_TRUE(gpu::check_extension_support("", device));
        EXPECT_TRUE(gpu::check_extension_support("cl_khr_fp16", device));
        EXPECT_FALSE(gpu::check_extension_support("cl_other", device)) << "the first string is kept";
        context.reset();
        test::endOfDeathTest();
    };
    EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "passed");
}

TEST(OpenCLErrors, HaveTheirStandardNames) {
    const struct {
        int code;
        const char* name;
    } cases[] = {{0, "CL_SUCCESS"},
                 {-1, "CL_DEVICE_NOT_FOUND"},
                 {-2, "CL_DEVICE_NOT_AVAILABLE"},
                 {-11, "CL_BUILD_PROGRAM_FAILURE"},
                 {-19, "CL_KERNEL_ARG_INFO_NOT_AVAILABLE"},
                 {-25, "unknow err"},
                 {-30, "CL_INVALID_VALUE"},
                 {-59, "CL_INVALID_OPERATION"},
                 {-68, "CL_INVALID_DEVICE_PARTITION_COUNT"},
                 {-69, "unknow err"},
                 {-1001, "unknow err"},
                 {1, "unknow err"}};
    for (const auto& c : cases) {
        EXPECT_STREQ(gpu::getCLErrString(c.code), c.name);
    }
}

}  // namespace
