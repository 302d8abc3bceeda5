# The host program of docs/integrating.md must compile and work as it stands there.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/integrating.md)
file(READ ${CMAKE_SOURCE_DIR}/docs/integrating.md integrating)
string(REGEX MATCH "```cpp\n(#include.*return std::fclose[^\n]*\n}\n)```" found "${integrating}")
if(NOT found)
  message(FATAL_ERROR "docs/integrating.md has lost its host program")
endif()
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/documented_host.cpp CONTENT "${CMAKE_MATCH_1}" @ONLY)
add_executable(documented_host ${CMAKE_CURRENT_BINARY_DIR}/documented_host.cpp)
target_include_directories(documented_host PRIVATE ${CMAKE_SOURCE_DIR})
target_link_libraries(documented_host PRIVATE huevance_options ${CMAKE_DL_LIBS})

huevance_test(docs_test LIBRARY docs/DocumentedHostTest.cpp)
add_dependencies(docs_test documented_host)
target_compile_definitions(docs_test PRIVATE
  DOCUMENTED_HOST="$<TARGET_FILE:documented_host>"
  EMULATOR="$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >")
