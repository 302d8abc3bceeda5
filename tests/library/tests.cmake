# The library as a host sees it: loaded at run time, through its table and its exports alone.
huevance_test(library_test LIBRARY
  library/ApiTest.cpp
  library/ExportsTest.cpp)

# Many handles and many frames. Sanitizers and emulators are slow, and find leaks in a few.
huevance_test(soak_test LIBRARY library/SoakTest.cpp)
set(cycles 10000)
if(HUEVANCE_SANITIZE OR CMAKE_CROSSCOMPILING)
  set(cycles 1000)
endif()
target_compile_definitions(soak_test PRIVATE HUEVANCE_SOAK_CYCLES=${cycles})
if(HUEVANCE_SANITIZE)
  target_compile_definitions(soak_test PRIVATE HUEVANCE_SANITIZED)
endif()

# A host that has nothing but the library's path: no test framework, and no log library in the process yet.
add_executable(plain_host library/PlainHost.cpp)
add_dependencies(plain_host Huevance)
target_link_libraries(plain_host PRIVATE huevance_options ${CMAKE_DL_LIBS})
add_test(NAME plain_host COMMAND plain_host $<TARGET_FILE:Huevance> WORKING_DIRECTORY /)
set_tests_properties(plain_host PROPERTIES ENVIRONMENT "${HUEVANCE_TEST_ENVIRONMENT}")
