# The ground floor, the door's objects, and the tuning set with its scenes.
huevance_test(jni_test
  jni/FileOperationTest.cpp
  jni/HuevanceDispatchTest.cpp
  jni/HuevanceTest.cpp
  jni/ImageOperationTest.cpp
  jni/IniReaderTest.cpp
  jni/LogPrintfTest.cpp)
huevance_test(tuning_test
  core/SceneTablesTest.cpp
  core/TuningSetTest.cpp)
