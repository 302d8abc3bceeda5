# The host program is not built for other machines than this one.
if(TARGET huevance_tool)
  find_package(PNG REQUIRED)
  find_package(nlohmann_json REQUIRED)
  find_library(TURBOJPEG_LIBRARY turbojpeg REQUIRED)
  find_library(LCMS_LIBRARY lcms2 REQUIRED)
  add_library(tool_process STATIC tools/ToolProcess.cpp)
  target_link_libraries(tool_process PUBLIC
    test_model nlohmann_json::nlohmann_json ${LCMS_LIBRARY} PRIVATE PNG::PNG ${TURBOJPEG_LIBRARY})

  function(huevance_tool_test name source)
    huevance_test(${name} LIBRARY ${source})
    add_dependencies(${name} huevance_tool)
    target_link_libraries(${name} PRIVATE tool_process)
  endfunction()
  # These compare with the library's own objects.
  huevance_test(tool_tuning_files_test tools/TuningFilesTest.cpp)
  target_link_libraries(tool_tuning_files_test PRIVATE huevance_workbench)
  huevance_test(tool_look_test tools/BakeTest.cpp tools/ColorTest.cpp tools/LookTest.cpp)
  target_link_libraries(tool_look_test PRIVATE huevance_workbench)
  huevance_test(tool_tuning_rules_test tools/TuningRulesTest.cpp)
  target_link_libraries(tool_tuning_rules_test PRIVATE huevance_workbench test_model)

  huevance_tool_test(tool_run_test tools/RunTest.cpp)
  huevance_tool_test(tool_files_test tools/FilesTest.cpp)
  huevance_tool_test(tool_stages_test tools/StagesTest.cpp)
  huevance_tool_test(tool_batch_test tools/BatchTest.cpp)
  huevance_tool_test(tool_tuning_show_test tools/TuningShowTest.cpp)
  huevance_tool_test(tool_compare_test tools/CompareTest.cpp)
  huevance_tool_test(tool_tuning_new_test tools/TuningNewTest.cpp)
  huevance_tool_test(tool_tuning_check_test tools/TuningCheckTest.cpp)
  huevance_tool_test(tool_tuning_edit_test tools/TuningEditTest.cpp)

  huevance_tool_test(tool_lut_test tools/LutCommandTest.cpp)

  huevance_tool_test(tool_studio_test tools/StudioTest.cpp)
  target_sources(tool_studio_test PRIVATE tools/StudioBench.cpp tools/StudioServerTest.cpp)
  target_link_libraries(tool_studio_test PRIVATE huevance_workbench)

  # The rooms of the program without the program around them.
  huevance_test(workbench_test LIBRARY tools/FitTest.cpp tools/LutFileTest.cpp tools/MetricsTest.cpp)
  target_link_libraries(workbench_test PRIVATE huevance_workbench tool_process)
endif()
