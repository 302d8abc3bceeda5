huevance_test(neon_test neon/PhotoPipelineTest.cpp)
target_link_libraries(neon_test PRIVATE test_model)
if(NOT HUEVANCE_SANITIZE)
  # Sanitizers have allocators of their own.
  target_compile_definitions(neon_test PRIVATE HUEVANCE_COUNT_ALLOCATIONS)
  target_link_options(neon_test PRIVATE -Wl,--wrap=calloc,--wrap=malloc,--wrap=_Znwm)
endif()
