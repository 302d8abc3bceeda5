// The simulated driver's own promises: tests that rely on a check which checks nothing would pass for
// nothing.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "jni/opticommon/symb/OpenCL.h"
#include "tests/gpu/support/Device.h"

namespace {

class SimulatedDriver : public test::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        ASSERT_EQ(clGetPlatformIDs(1, &platform, nullptr), CL_SUCCESS);
        ASSERT_EQ(clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &device, nullptr), CL_SUCCESS);
        context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, nullptr);
        ASSERT_NE(context, nullptr);
    }
    void TearDown() override {
        if (context != nullptr) {
            EXPECT_EQ(clReleaseContext(context), CL_SUCCESS);
        }
        DeviceTest::TearDown();
    }

    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
    cl_context context = nullptr;
};

TEST_F(SimulatedDriver, CountsWhatLivesAndSeesADoubleRelease) {
    cl_int error = 1;
    cl_mem memory = clCreateBuffer(context, CL_MEM_READ_WRITE, 16, nullptr, &error);
    EXPECT_EQ(error, CL_SUCCESS);
    EXPECT_EQ(sim_opencl_live("memory"), 1);
    EXPECT_EQ(sim_opencl_live(nullptr), 2);
    EXPECT_EQ(clRetainMemObject(memory), CL_SUCCESS);
    EXPECT_EQ(clReleaseMemObject(memory), CL_SUCCESS);
    EXPECT_EQ(sim_opencl_live("memory"), 1);
    EXPECT_EQ(clReleaseMemObject(memory), CL_SUCCESS);
    EXPECT_EQ(sim_opencl_live("memory"), 0);
}

TEST_F(SimulatedDriver, FailsTheNthCallOnce) {
    ASSERT_EQ(sim_opencl_fail("clCreateBuffer", 2, -61), 0);
    EXPECT_EQ(sim_opencl_fail("clNoSuchEntry", 1, -1), -1);
    for (const int expected : {CL_SUCCESS, -61, CL_SUCCESS}) {
        cl_int error = 1;
        cl_mem memory = clCreateBuffer(context, CL_MEM_READ_WRITE, 16, nullptr, &error);
        EXPECT_EQ(error, expected);
        EXPECT_EQ(memory != nullptr, expected == CL_SUCCESS);
        if (memory != nullptr) {
            clReleaseMemObject(memory);
        }
    }
}

TEST_F(SimulatedDriver, OffersTheChosenLevelOfSharedVirtualMemory) {
    cl_device_svm_capabilities capabilities = 0;
    sim_opencl_set_svm_level(0);
    EXPECT_EQ(
        clGetDeviceInfo(device, CL_DEVICE_SVM_CAPABILITIES, sizeof(capabilities), &capabilities, nullptr),
        CL_INVALID_VALUE);
    EXPECT_EQ(clSVMAlloc(context, CL_MEM_READ_WRITE, 16, 0), nullptr);
    for (const cl_device_svm_capabilities level : {1, 2, 3}) {
        sim_opencl_set_svm_level(static_cast<int>(level));
        ASSERT_EQ(
            clGetDeviceInfo(device, CL_DEVICE_SVM_CAPABILITIES, sizeof(capabilities), &capabilities, nullptr),
            CL_SUCCESS);
        EXPECT_EQ(capabilities, (1U << level) - 1);
        void* fine = clSVMAlloc(context, CL_MEM_READ_WRITE | CL_MEM_SVM_FINE_GRAIN_BUFFER, 16, 0);
        EXPECT_EQ(fine != nullptr, level > 1);
        clSVMFree(context, fine);
    }
}

TEST_F(SimulatedDriver, RefusesArgumentsThatAreNoSharedVirtualMemory) {
    int ordinary = 0;
    EXPECT_EQ(clSetKernelArgSVMPointer(nullptr, 0, &ordinary), CL_INVALID_ARG_VALUE);
    expectViolation("argument");
}

TEST_F(SimulatedDriver, ReportsChosenTexts) {
    char text[64] = {};
    sim_opencl_set_extensions("cl_a cl_b");
    sim_opencl_set_driver_version("V@7");
    EXPECT_EQ(clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, sizeof(text), text, nullptr), CL_SUCCESS);
    EXPECT_STREQ(text, "cl_a cl_b");
    EXPECT_EQ(clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, 4, text, nullptr), CL_INVALID_VALUE);
    EXPECT_EQ(clGetDeviceInfo(device, CL_DRIVER_VERSION, sizeof(text), text, nullptr), CL_SUCCESS);
    EXPECT_STREQ(text, "V@7");
}

TEST_F(SimulatedDriver, TakesTheVendorsHintsOnlyWhereItOffersThem) {
    const cl_context_properties hints[] = {0x40C2, 0x40C5, 0x40C9, 0x40CA, 0};
    cl_int error = 0;
    EXPECT_EQ(clCreateContext(hints, 1, &device, nullptr, nullptr, &error), nullptr);
    EXPECT_EQ(error, CL_INVALID_PROPERTY);
    sim_opencl_set_extensions(test::kPhoneExtensions);
    cl_context second = clCreateContext(hints, 1, &device, nullptr, nullptr, &error);
    EXPECT_EQ(error, CL_SUCCESS);
    EXPECT_EQ(clReleaseContext(second), CL_SUCCESS);
}

TEST_F(SimulatedDriver, WrapsIonMemoryThatItsDescriptorCovers) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const int descriptor = memfd_create("ion", 0);
    ASSERT_EQ(ftruncate(descriptor, static_cast<off_t>(page + 100)), 0);
    void* mapped = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    auto* bytes = static_cast<unsigned char*>(mapped);
    int other = 0;
    const struct {
        const char* name;
        bool extension;
        int descriptor;
        void* address;
        std::size_t size;
        bool accepted;
    } cases[] = {
        {"whole file", true, descriptor, bytes, page + 100, true},
        {"one byte past the file", true, descriptor, bytes, page + 101, false},
        {"from inside the mapping", true, descriptor, bytes + 60, page + 40, true},
        {"from inside, past the file", true, descriptor, bytes + 60, page + 41, false},
        {"another address", true, descriptor, &other, sizeof(other), false},
        {"no descriptor", true, -1, bytes, 16, false},
        {"another descriptor", true, STDIN_FILENO, bytes, 16, false},
        {"no extension", false, descriptor, bytes, 16, false},
    };
    for (const auto& c : cases) {
        sim_opencl_set_extensions(c.extension ? test::kPhoneExtensions : "cl_khr_fp16");
        cl_mem_ion_host_ptr record = {
            {CL_MEM_ION_HOST_PTR_QCOM, CL_MEM_HOST_UNCACHED_QCOM}, c.descriptor, c.address};
        cl_int error = 0;
        cl_mem memory =
            clCreateBuffer(context, CL_MEM_READ_WRITE | CL_MEM_USE_HOST_PTR | CL_MEM_EXT_HOST_PTR_QCOM,
                           c.size, &record, &error);
        EXPECT_EQ(memory != nullptr, c.accepted) << c.name << " " << error;
        if (memory != nullptr) {
            clReleaseMemObject(memory);
        } else if (c.extension) {
            expectViolation("ion memory");
        }
    }
    munmap(mapped, 2 * page);
    close(descriptor);
}

}  // namespace
