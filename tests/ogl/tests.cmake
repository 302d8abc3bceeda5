add_library(ogl_test_support STATIC ogl/support/GlFixture.cpp)
target_link_libraries(ogl_test_support PUBLIC device_test_support huevance_objects)

# huevance_ogl_test(name sources...): a test program of the OpenGL ES back end on the simulated device.
function(huevance_ogl_test name)
  huevance_test(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE ogl_test_support)
  huevance_device_test(${name})
endfunction()

huevance_ogl_test(ogl_wrappers_test ogl/WrappersTest.cpp)
