# huevance_gpu_test(name [LIBRARY] sources...): a test program on the simulated OpenCL driver.
add_library(gpu_test_support STATIC gpu/support/Device.cpp)
target_link_libraries(gpu_test_support PUBLIC photo_test_support test_model sim_opencl)

function(huevance_gpu_test name)
  huevance_test(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE gpu_test_support)
endfunction()

huevance_gpu_test(opencl_binding_test gpu/OpenCLBindingTest.cpp)
huevance_gpu_test(engine_gpu_test gpu/EngineTest.cpp)
huevance_gpu_test(frame_pipeline_gpu_test gpu/FramePipelineTest.cpp)
huevance_gpu_test(kernel_gpu_test gpu/KernelTest.cpp)
huevance_gpu_test(opencl_wrappers_test gpu/OpenCLWrappersTest.cpp)
huevance_gpu_test(program_cache_test gpu/ProgramCacheTest.cpp)
huevance_gpu_test(sim_opencl_test gpu/SimulatedDriverTest.cpp)

# Again on the strict driver of sim/opencl.h, without the entry points that the library does not need.
huevance_strict_test(frame_pipeline_gpu_test
  "*FadesBetween*:*UploadsTables*:*IonMemory*:*MaskThatCannot*")

if(NOT CMAKE_CROSSCOMPILING AND NOT HUEVANCE_SANITIZE)
  add_test(NAME oclgrind COMMAND ${CMAKE_SOURCE_DIR}/scripts/oclgrind.sh ${CMAKE_BINARY_DIR})
  set_tests_properties(oclgrind PROPERTIES LABELS oclgrind SKIP_RETURN_CODE 77)
endif()

# Loads libHuevance.so as a host does, before and after other libraries that have OpenCL's names. It finds the simulated
# driver by the library's run path alone; only sanitizers hide that and need the search path.
if(HUEVANCE_REQUIRE_DRIVERS)
  huevance_test(gpu_load_order_test LIBRARY gpu/LoadOrderTest.cpp)
  add_dependencies(gpu_load_order_test sim_opencl)
  if(HUEVANCE_SANITIZE)
    set_property(TEST gpu_load_order_test APPEND PROPERTY ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/sim")
  endif()
endif()
