// The simulated driver's own promises: tests that rely on a check which checks nothing would pass for
// nothing.
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

}  // namespace
