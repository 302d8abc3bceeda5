huevance_test(core_test core/StagesTest.cpp)
target_link_libraries(core_test PRIVATE test_model)
huevance_test(tuning_test core/TuningSetTest.cpp)
