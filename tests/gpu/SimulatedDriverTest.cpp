// The simulated driver's own promises: tests that rely on a check which checks nothing would pass for
// nothing.
#include <sys/mman.h>
#include <unistd.h>

#include "tests/gpu/support/Device.h"

namespace {

using SimulatedDriver = test::ProgramTest;

TEST_F(SimulatedDriver, CountsAndObjectsToWhatAPhoneWouldNotForgive) {
    gpu::Queue queue;
    ASSERT_EQ(gpu::createCommandQueue(context.get(), device, queue.out()), 0);
    gpu::Kernel kernel;
    ASSERT_EQ(gpu::createKernel("k", program.get(), kernel.out()), 0);
    EXPECT_EQ(sim_opencl_live("kernel"), 1);
    EXPECT_EQ(sim_opencl_live(nullptr), 4);
    int ordinary = 0;
    EXPECT_EQ(clSetKernelArgSVMPointer(kernel.get(), 0, &ordinary), CL_INVALID_ARG_VALUE);
    expectViolation("argument");

    void* shared = clSVMAlloc(context.get(), CL_MEM_READ_WRITE, 16, 0);
    const auto map = [&](std::size_t bytes) {
        return clEnqueueSVMMap(queue.get(), CL_TRUE, CL_MAP_WRITE, shared, bytes, 0, nullptr, nullptr);
    };
    EXPECT_NE(map(17), CL_SUCCESS);
    expectViolation("map");
    EXPECT_EQ(map(16), CL_SUCCESS);
    EXPECT_EQ(clSetKernelArgSVMPointer(kernel.get(), 0, shared), CL_SUCCESS);
    const std::size_t one = 1;
    clEnqueueNDRangeKernel(queue.get(), kernel.get(), 1, nullptr, &one, nullptr, 0, nullptr, nullptr);
    expectViolation("mapped");
    clEnqueueSVMUnmap(queue.get(), shared, 0, nullptr, nullptr);
    clEnqueueNDRangeKernel(queue.get(), kernel.get(), 1, nullptr, &one, nullptr, 0, nullptr, nullptr);
    EXPECT_EQ(clFinish(queue.get()), CL_SUCCESS);
    EXPECT_EQ(sim_opencl_violation(), nullptr);
    clSVMFree(context.get(), shared);
    cl_kernel released = kernel.get();
    kernel.reset();
    clReleaseKernel(released);
    expectViolation("release of a kernel");
}

TEST_F(SimulatedDriver, WrapsIonMemoryThatItsDescriptorCovers) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const int file = memfd_create("ion", 0);
    ASSERT_EQ(ftruncate(file, static_cast<off_t>(page + 100)), 0);
    void* mapped = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    auto* bytes = static_cast<unsigned char*>(mapped);
    int other = 0;
    const struct {
        int descriptor;
        void* address;
        std::size_t size;
        bool accepted;
    } cases[] = {
        {file, bytes, page + 100, true},
        {file, bytes, page + 101, false},  // past the file
        {file, bytes + 60, page + 40, true},
        {file, bytes + 60, page + 41, false},
        {file, &other, sizeof(other), false},  // not in the mapping
        {-1, bytes, 16, false},
        {STDIN_FILENO, bytes, 16, false},
    };
    for (const char* extensions : {test::kPhoneExtensions, ""}) {
        for (const auto& c : cases) {
            sim_opencl_set_extensions(extensions);
            cl_mem_ion_host_ptr record = {
                {CL_MEM_ION_HOST_PTR_QCOM, CL_MEM_HOST_UNCACHED_QCOM}, c.descriptor, c.address};
            constexpr cl_mem_flags kFlags = CL_MEM_USE_HOST_PTR | CL_MEM_EXT_HOST_PTR_QCOM;
            const int code = gpu::createBuffer(context.get(), kFlags, c.size, &record, gpu::Memory().out());
            EXPECT_EQ(code == CL_SUCCESS, *extensions != '\0' && c.accepted) << &c - cases;
            if (code == CL_INVALID_HOST_PTR) {
                expectViolation("ion memory");
            }
        }
    }
    munmap(mapped, 2 * page);
    close(file);
}

}  // namespace
