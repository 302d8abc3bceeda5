# The library as a host sees it: loaded at run time, through its table and its exports alone.
huevance_test(library_test LIBRARY
  library/ApiTest.cpp
  library/ExportsTest.cpp)

# Many handles and many frames. Sanitizers and emulators are slow, and find leaks in a few.
huevance_test(soak_test LIBRARY library/SoakTest.cpp)
target_link_libraries(soak_test PRIVATE test_model)
set(cycles 10000)
if(HUEVANCE_SANITIZE OR CMAKE_CROSSCOMPILING)
  set(cycles 1000)
endif()
target_compile_definitions(soak_test PRIVATE HUEVANCE_SOAK_CYCLES=${cycles})
if(HUEVANCE_SANITIZE)
  target_compile_definitions(soak_test PRIVATE HUEVANCE_SANITIZED)
endif()
