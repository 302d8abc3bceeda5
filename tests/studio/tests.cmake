# The studio in a real browser. The page is the same in every build, so once is enough.
if(TARGET huevance_tool AND CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  find_program(HUEVANCE_CHROMEDRIVER chromedriver DOC "drives the browser that the studio's tests need")
  mark_as_advanced(HUEVANCE_CHROMEDRIVER)
  if(HUEVANCE_CHROMEDRIVER)
    add_test(NAME studio_test
      COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/studio/studio_test.py $<TARGET_FILE:huevance_tool>)
    set_tests_properties(studio_test PROPERTIES TIMEOUT 400)
  else()
    message(WARNING "The studio's tests are left out: there is no chromedriver (`scripts/setup.sh test`).")
  endif()
endif()
