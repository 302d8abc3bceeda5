add_library(ogl_test_support STATIC
  ogl/support/GlFixture.cpp
  ogl/support/OglTuning.cpp
  ogl/support/ShaderModel.cpp
  ogl/support/TableModel.cpp)
target_link_libraries(ogl_test_support PUBLIC device_test_support photo_test_support test_model huevance_objects)

# huevance_ogl_test(name sources...): a test program of the OpenGL ES back end on the simulated device.
function(huevance_ogl_test name)
  huevance_test(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE ogl_test_support)
endfunction()

huevance_ogl_test(ogl_wrappers_test ogl/WrappersTest.cpp)
huevance_ogl_test(ogl_shader_composer_test ogl/ShaderComposerTest.cpp)
find_program(HUEVANCE_GLSLANG glslangValidator DOC "Khronos' shader compiler, to check the composed shaders")
if(HUEVANCE_GLSLANG AND NOT CMAKE_CROSSCOMPILING)
  target_compile_definitions(ogl_shader_composer_test PRIVATE HUEVANCE_GLSLANG="${HUEVANCE_GLSLANG}")
elseif(NOT CMAKE_CROSSCOMPILING)
  message(WARNING "The shaders are NOT checked: there is no glslangValidator (`scripts/setup.sh test`).")
endif()
huevance_ogl_test(ogl_tables_test ogl/TablesTest.cpp)
huevance_ogl_test(ogl_pipeline_test ogl/PipelineTest.cpp)
huevance_ogl_test(ogl_frame_test ogl/FrameTest.cpp)
huevance_ogl_test(ogl_no_driver_test ogl/NoDriverTest.cpp)
huevance_ogl_test(ogl_handles_test ogl/HandlesTest.cpp)

# Again on the strict driver of sim/gl.h, where every frame comes late: the tests that do not look for error lines.
huevance_strict_test(ogl_pipeline_test "*Draws*:*LiesInItsOutput*")
huevance_strict_test(ogl_frame_test "*Fades*:*QueuesEach*")
