# Tests of the simulated device, and what every test that draws has in common. Where the system has no EGL and OpenGL ES
# behind it, as in a cross build, tests that draw are skipped.
add_library(device_test_support STATIC sim/support/DeviceBuffer.cpp)
target_link_libraries(device_test_support PUBLIC test_support sim_egl sim_gles sim_nativewindow)

huevance_test(sim_hardwarebuffer_test sim/HardwareBufferTest.cpp)
target_link_libraries(sim_hardwarebuffer_test PRIVATE device_test_support)
huevance_test(sim_gl_test sim/GlTest.cpp)
target_link_libraries(sim_gl_test PRIVATE ogl_test_support)
