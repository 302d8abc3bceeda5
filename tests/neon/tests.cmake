huevance_test(neon_test neon/CaptureIdentityTest.cpp neon/PhotoPipelineTest.cpp neon/Tuning.cpp)
if(NOT HUEVANCE_SANITIZE)
  # Sanitizers have allocators of their own.
  target_compile_definitions(neon_test PRIVATE HUEVANCE_COUNT_ALLOCATIONS)
  target_link_options(neon_test PRIVATE -Wl,--wrap=calloc,--wrap=malloc,--wrap=_Znwm)
endif()
