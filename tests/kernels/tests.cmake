huevance_test(kernels_test kernels/KernelCases.cpp kernels/KernelChecker.cpp kernels/KernelTest.cpp)
