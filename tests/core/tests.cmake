# A second, independent calculation of every stage, and what drives a pipeline beside it.
add_library(test_model STATIC support/Model.cpp support/Rig.cpp)
target_link_libraries(test_model PUBLIC test_support)

huevance_test(core_test core/StagesTest.cpp)
target_link_libraries(core_test PRIVATE test_model)
huevance_test(tuning_test core/TuningSetTest.cpp)
