# The ground floor and the objects at the door.
huevance_test(jni_test
  jni/FileOperationTest.cpp
  jni/HuevanceDispatchTest.cpp
  jni/HuevanceTest.cpp
  jni/ImageOperationTest.cpp
  jni/IniReaderTest.cpp
  jni/LogPrintfTest.cpp)
