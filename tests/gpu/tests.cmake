# huevance_gpu_test(name [LIBRARY] sources...): a test program on the simulated OpenCL driver. Where the system has no
# OpenCL behind it, as in a cross build, those of its tests that need a device are skipped.
add_library(gpu_test_support STATIC gpu/support/Device.cpp)
target_link_libraries(gpu_test_support PUBLIC test_support sim_opencl)

function(huevance_gpu_test name)
  huevance_test(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE gpu_test_support)
  set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/gpu/driver.supp")
endfunction()

huevance_gpu_test(opencl_binding_test gpu/OpenCLBindingTest.cpp)
huevance_gpu_test(engine_gpu_test gpu/EngineTest.cpp)
huevance_gpu_test(kernel_gpu_test gpu/KernelTest.cpp)
huevance_gpu_test(mem_index_engine_test gpu/MemIndexEngineTest.cpp)
huevance_gpu_test(opencl_wrappers_test gpu/OpenCLWrappersTest.cpp)
huevance_gpu_test(program_cache_test gpu/ProgramCacheTest.cpp)

# The driver alone: no part of the library.
add_executable(sim_opencl_test gpu/SimulatedDriverTest.cpp)
target_link_libraries(sim_opencl_test PRIVATE gpu_test_support gtest_main)
add_test(NAME sim_opencl_test COMMAND sim_opencl_test)
set_tests_properties(sim_opencl_test PROPERTIES ENVIRONMENT
  "${HUEVANCE_TEST_ENVIRONMENT};LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/gpu/driver.supp")
