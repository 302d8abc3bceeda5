# The ground floor and the objects at the door.
huevance_test(jni_test
  jni/FileOperationTest.cpp
  jni/HuevanceTest.cpp
  jni/ImageOperationTest.cpp
  jni/IniReaderTest.cpp
  jni/LogPrintfTest.cpp)
huevance_test(dispatch_test jni/HuevanceDispatchTest.cpp)
target_link_libraries(dispatch_test PRIVATE gpu_test_support device_test_support)
