# huevance_gpu_test(name [LIBRARY] sources...): a test program on the simulated OpenCL driver. Where the system has no
# OpenCL behind it, as in a cross build, those of its tests that need a device are skipped.
add_library(gpu_test_support STATIC gpu/support/Chain.cpp gpu/support/Device.cpp gpu/support/Photo.cpp)
target_link_libraries(gpu_test_support PUBLIC test_support sim_opencl)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees overlaps in joined strings where there are none.
  target_compile_options(gpu_test_support PUBLIC -Wno-restrict)
endif()
find_path(TURBOJPEG_INCLUDE_DIR turbojpeg.h NO_CMAKE_FIND_ROOT_PATH)
find_library(TURBOJPEG_LIBRARY turbojpeg)
if(TURBOJPEG_INCLUDE_DIR AND TURBOJPEG_LIBRARY)
  target_link_libraries(gpu_test_support PUBLIC ${TURBOJPEG_LIBRARY})
  target_compile_definitions(gpu_test_support PRIVATE HAVE_TURBOJPEG)
endif()

# The leak checker must not look into thread-local storage: the hundreds of kernels that the driver loads as libraries
# have some, and it crashes there.
function(huevance_gpu_test name)
  huevance_test(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE gpu_test_support)
  set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/gpu/driver.supp:use_tls=0")
endfunction()

huevance_gpu_test(opencl_binding_test gpu/OpenCLBindingTest.cpp)
huevance_gpu_test(engine_gpu_test gpu/EngineTest.cpp)
huevance_gpu_test(frame_pipeline_gpu_test gpu/FramePipelineTest.cpp)
huevance_gpu_test(kernel_gpu_test gpu/KernelTest.cpp)
huevance_gpu_test(opencl_wrappers_test gpu/OpenCLWrappersTest.cpp)
huevance_gpu_test(program_cache_test gpu/ProgramCacheTest.cpp)

if(NOT CMAKE_CROSSCOMPILING AND NOT HUEVANCE_SANITIZE)
  add_test(NAME oclgrind COMMAND ${CMAKE_SOURCE_DIR}/scripts/oclgrind.sh ${CMAKE_BINARY_DIR})
  set_tests_properties(oclgrind PROPERTIES LABELS oclgrind SKIP_RETURN_CODE 77)
endif()

# The driver alone: no part of the library.
add_executable(sim_opencl_test gpu/SimulatedDriverTest.cpp)
target_link_libraries(sim_opencl_test PRIVATE gpu_test_support gtest_main)
add_test(NAME sim_opencl_test COMMAND sim_opencl_test)
set_tests_properties(sim_opencl_test PROPERTIES ENVIRONMENT
  "${HUEVANCE_TEST_ENVIRONMENT};LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/gpu/driver.supp:use_tls=0")

# Loads libHuevance.so as a host does, before and after other libraries that have OpenCL's names. It finds the simulated
# driver by the library's run path; sanitizers hide that, so the search path names it, too.
huevance_test(gpu_load_order_test LIBRARY gpu/LoadOrderTest.cpp)
add_dependencies(gpu_load_order_test sim_opencl)
set_property(TEST gpu_load_order_test APPEND PROPERTY ENVIRONMENT
  "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/gpu/driver.supp:use_tls=0"
  "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/sim")
