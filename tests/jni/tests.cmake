# The ground floor, the door's objects.
huevance_test(jni_test
  jni/FileOperationTest.cpp
  jni/HuevanceDispatchTest.cpp
  jni/HuevanceTest.cpp
  jni/ImageOperationTest.cpp
  jni/IniReaderTest.cpp
  jni/LogPrintfTest.cpp)
