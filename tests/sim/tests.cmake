# Tests of the simulated device, and what every test that draws has in common. Where the system has no EGL and OpenGL ES
# behind it, as in a cross build, tests that draw are skipped.
add_library(device_test_support STATIC sim/support/DeviceBuffer.cpp)
target_link_libraries(device_test_support PUBLIC test_support sim_egl sim_gles sim_nativewindow)

# huevance_device_test(target): the program may draw. The leak checker must not look into thread-local storage, where it
# crashes on threads of the driver that are going.
function(huevance_device_test target)
  target_link_libraries(${target} PRIVATE device_test_support)
  set_property(TEST ${target} APPEND PROPERTY ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sim/driver.supp:print_suppressions=0:use_tls=0")
endfunction()

huevance_test(sim_hardwarebuffer_test sim/HardwareBufferTest.cpp)
huevance_device_test(sim_hardwarebuffer_test)
huevance_test(sim_gl_test sim/GlTest.cpp)
target_link_libraries(sim_gl_test PRIVATE ogl_test_support)
huevance_device_test(sim_gl_test)
