# A second, independent calculation of every stage.
add_library(test_model STATIC support/Model.cpp)
target_link_libraries(test_model PUBLIC test_support)

huevance_test(core_test core/StagesTest.cpp)
target_link_libraries(core_test PRIVATE test_model)
huevance_test(tuning_test core/TuningSetTest.cpp)
