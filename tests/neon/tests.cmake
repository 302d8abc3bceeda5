huevance_test(neon_test neon/CaptureIdentityTest.cpp neon/PhotoPipelineTest.cpp neon/Tuning.cpp)
target_link_options(neon_test PRIVATE -Wl,--wrap=calloc,--wrap=malloc,--wrap=_Znwm)
