# The house itself.
huevance_test(structure_test structure/IncludeArrowsTest.cpp)
