# scripts/device.sh with a stand-in for adb, on the simulated phone. The AArch64 build, which has no tool, takes that of the release
# build, where there is one.
set(device_test ${CMAKE_CURRENT_SOURCE_DIR}/device/device_test.py)
if(CMAKE_CROSSCOMPILING)
  add_test(NAME device_test COMMAND ${device_test} ${CMAKE_SOURCE_DIR}/build/release ${CMAKE_BINARY_DIR})
  set_tests_properties(device_test PROPERTIES SKIP_RETURN_CODE 77)
elseif(TARGET huevance_tool AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT HUEVANCE_SANITIZE)
  add_test(NAME device_test COMMAND ${device_test} ${CMAKE_BINARY_DIR})
endif()
