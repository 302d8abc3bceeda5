# The pipelines drive process-wide engines: each file is a program of its own.
foreach(name Capture Preview FrameHash SetUp)
  string(TOLOWER ${name} lower)
  huevance_test(cpu_${lower}_test cpu/${name}Test.cpp)
  target_link_libraries(cpu_${lower}_test PRIVATE test_model)
endforeach()
