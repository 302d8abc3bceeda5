huevance_test(neon_test neon/CaptureIdentityTest.cpp neon/PhotoPipelineTest.cpp neon/Tuning.cpp)
