huevance_test(kernels_test kernels/KernelTest.cpp kernels/WalkTest.cpp)
target_link_libraries(kernels_test PRIVATE test_model)
