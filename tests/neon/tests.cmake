huevance_test(neon_test neon/PhotoPipelineTest.cpp)
target_link_libraries(neon_test PRIVATE test_model)
target_link_options(neon_test PRIVATE -Wl,--wrap=open)
