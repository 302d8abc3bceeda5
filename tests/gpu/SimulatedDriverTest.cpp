// The simulated driver's own promises: tests that rely on a check which checks nothing would pass for
// nothing.
#include "tests/gpu/support/Device.h"

namespace {

using SimulatedDriver = test::ProgramTest;

cl_int run(const gpu::Queue& queue, const gpu::Kernel& kernel) {
    const std::size_t one = 1;
    return clEnqueueNDRangeKernel(queue.get(), kernel.get(), 1, nullptr, &one, nullptr, 0, nullptr, nullptr) |
           clFinish(queue.get());
}

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
    run(queue, kernel);
    expectViolation("mapped");
    clEnqueueSVMUnmap(queue.get(), shared, 0, nullptr, nullptr);
    EXPECT_EQ(run(queue, kernel), CL_SUCCESS);
    EXPECT_EQ(sim_opencl_violation(), nullptr);
    clSVMFree(context.get(), shared);
    cl_kernel released = kernel.get();
    kernel.reset();
    clReleaseKernel(released);
    expectViolation("release of a kernel");
}

// What a strict driver's buffer wraps changes with a map alone.
TEST_F(SimulatedDriver, WrappedMemoryIsTheDevicesOwnUntilItIsMappedWhereStrict) {
    gpu::Queue queue;
    ASSERT_EQ(gpu::createCommandQueue(context.get(), device, queue.out()), 0);
    gpu::Kernel kernel;
    ASSERT_EQ(gpu::createKernel("k", program.get(), kernel.out()), 0);
    alignas(4096) int host[1024] = {3};
    for (const bool strict : {true, false}) {
        sim_opencl_set_strict(strict ? 1 : 0);
        host[0] = 3;
        gpu::Memory memory;
        ASSERT_EQ(gpu::createBuffer(context.get(), CL_MEM_USE_HOST_PTR, sizeof(host), host, memory.out()), 0);
        ASSERT_EQ(clSetKernelArg(kernel.get(), 0, sizeof(cl_mem), memory.address()), 0);
        EXPECT_EQ(run(queue, kernel), CL_SUCCESS);
        EXPECT_EQ(host[0], strict ? 3 : 7);
        void* mapped = clEnqueueMapBuffer(queue.get(), memory.get(), CL_TRUE, CL_MAP_READ, 0, sizeof(host), 0,
                                          nullptr, nullptr, nullptr);
        EXPECT_EQ(mapped, host);
        EXPECT_EQ(host[0], 7);
        EXPECT_EQ(clEnqueueUnmapMemObject(queue.get(), memory.get(), mapped, 0, nullptr, nullptr), 0);
    }
}

}  // namespace
