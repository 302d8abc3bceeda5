# Run as a script: cmake -DFOLDER=path [-DBEGIN=ON] -P CheckTemporaryFolder.cmake
# With BEGIN it makes the folder new and empty, else it fails when there is anything in it.
if(BEGIN)
  file(REMOVE_RECURSE ${FOLDER})
  file(MAKE_DIRECTORY ${FOLDER})
  return()
endif()
file(GLOB left LIST_DIRECTORIES ON RELATIVE ${FOLDER} ${FOLDER}/* ${FOLDER}/.*)
list(FILTER left EXCLUDE REGEX "^\\.\\.?$")
if(left)
  list(LENGTH left count)
  string(REPLACE ";" "\n  " left "${left}")
  message(FATAL_ERROR "${count} left in ${FOLDER}:\n  ${left}")
endif()
