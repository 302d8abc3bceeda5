# The installed tree and the package. Only where everything that is installed is built, and as it ships.
if(TARGET huevance_tool AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT HUEVANCE_SANITIZE)
  add_test(NAME install_test COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/install_test.sh ${CMAKE_BINARY_DIR})
endif()
