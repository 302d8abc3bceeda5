# Tests of the simulated device, and what every test that draws has in common. Where the system has no EGL and OpenGL ES
# behind it, as in a cross build, tests that draw are skipped.
add_library(device_test_support STATIC sim/support/DeviceBuffer.cpp)
target_link_libraries(device_test_support PUBLIC test_support sim_egl sim_gles sim_nativewindow)

# huevance_device_test(target): the program may draw.
function(huevance_device_test target)
  target_link_libraries(${target} PRIVATE device_test_support)
  set_property(TEST ${target} APPEND PROPERTY ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sim/driver.supp:print_suppressions=0")
endfunction()

# Without any of the library.
foreach(test HardwareBuffer Gl)
  string(TOLOWER sim_${test}_test name)
  add_executable(${name} sim/${test}Test.cpp)
  target_link_libraries(${name} PRIVATE gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${HUEVANCE_TEST_ENVIRONMENT}")
  huevance_device_test(${name})
endforeach()
