# Whatever the library calls fails in turn: its allocations and file calls through the linker, drivers in the simulated
# device.
add_library(faults_support STATIC faults/Scenario.cpp)
target_link_libraries(faults_support PUBLIC gpu_test_support ogl_test_support test_model huevance_objects)

function(huevance_faults_test name)
  huevance_test(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE faults_support)
  set(calls malloc calloc free _Znwm _ZnwmRKSt9nothrow_t _ZdlPv _ZdlPvm open close fstat stat fsync ftruncate rename read
    write)
  list(TRANSFORM calls PREPEND "-Wl,--wrap=")
  target_sources(${name} PRIVATE faults/Calls.cpp gpu/support/Device.cpp)
  # The standard library's own code, too: texts grow there.
  target_link_options(${name} PRIVATE ${calls} -static-libstdc++
    -Wl,--exclude-libs,libstdc++.a)
endfunction()

huevance_faults_test(faults_sweep_test faults/SweepTest.cpp)
huevance_faults_test(faults_misuse_test faults/MisuseTest.cpp)
huevance_faults_test(faults_soak_test faults/SoakTest.cpp)
huevance_test(faults_threads_test faults/ThreadsTest.cpp)
target_link_libraries(faults_threads_test PRIVATE test_model)

# Drivers take minutes there.
if(NOT HUEVANCE_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME valgrind COMMAND ${CMAKE_SOURCE_DIR}/scripts/valgrind.sh ${CMAKE_BINARY_DIR}
    CpuPhoto8 CpuPhoto10 CpuPreview8 CpuPreview12 NeonPhoto8 NeonPhoto10)
  set_tests_properties(valgrind PROPERTIES SKIP_RETURN_CODE 77)
endif()
huevance_test(faults_fuzz_input_test faults/FuzzInputTest.cpp ${CMAKE_SOURCE_DIR}/fuzz/Input.cpp)
target_link_options(faults_fuzz_input_test PRIVATE -Wl,--wrap=open,--wrap=close)
