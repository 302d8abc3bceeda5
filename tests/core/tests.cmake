# A second, independent calculation of every stage.
add_library(test_model STATIC support/Model.cpp)
target_link_libraries(test_model PUBLIC test_support)

huevance_test(core_test
  core/BitDepthTest.cpp
  core/ClaheTest.cpp
  core/ColorCorrectTest.cpp
  core/ColorLutTest.cpp
  core/GeometryTest.cpp
  core/PortraitTest.cpp
  core/ToneCurveTest.cpp)
target_link_libraries(core_test PRIVATE test_model)
