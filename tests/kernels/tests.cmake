huevance_test(kernels_test kernels/KernelCases.cpp kernels/KernelTest.cpp)
