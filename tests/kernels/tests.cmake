huevance_test(kernels_test kernels/KernelTest.cpp)
