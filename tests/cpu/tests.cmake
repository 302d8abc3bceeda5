# The pipelines drive process-wide engines: each file is a program of its own.
foreach(name Capture Preview FrameHash SetUp)
  string(TOLOWER ${name} lower)
  huevance_test(cpu_${lower}_test cpu/${name}Test.cpp)
  target_link_libraries(cpu_${lower}_test PRIVATE test_model)
endforeach()
if(NOT HUEVANCE_SANITIZE)
  # Sanitizers have allocators of their own.
  target_compile_definitions(cpu_setup_test PRIVATE HUEVANCE_FAIL_ALLOCATIONS)
  target_link_options(cpu_setup_test PRIVATE -Wl,--wrap=calloc)
endif()
