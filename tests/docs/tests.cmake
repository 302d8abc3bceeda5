# The hosts of docs/hosts must compile and work as they stand there: with every warning, and with nothing but the host's headers.
add_executable(documented_capture ${CMAKE_SOURCE_DIR}/docs/hosts/capture.cpp)
add_executable(documented_capture_c ${CMAKE_SOURCE_DIR}/docs/hosts/capture.c)
add_executable(documented_preview ${CMAKE_SOURCE_DIR}/docs/hosts/preview.cpp)
add_executable(documented_preview_ogl ${CMAKE_SOURCE_DIR}/docs/hosts/preview_ogl.cpp)
foreach(host documented_capture documented_capture_c documented_preview documented_preview_ogl)
  target_include_directories(${host} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${host} PRIVATE huevance_options ${CMAKE_DL_LIBS})
endforeach()
set_target_properties(documented_capture_c PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
target_link_libraries(documented_capture_c PRIVATE Huevance)
target_link_libraries(documented_preview_ogl PRIVATE sim_nativewindow)

huevance_test(docs_test LIBRARY
  docs/BringUpTest.cpp
  docs/DocumentedHostTest.cpp)
add_dependencies(docs_test documented_capture documented_capture_c documented_preview documented_preview_ogl)
target_compile_definitions(docs_test PRIVATE
  HOSTS="$<TARGET_FILE_DIR:documented_capture>/documented_"
  EMULATOR="$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >")
