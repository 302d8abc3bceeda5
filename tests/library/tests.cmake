# The library as a host sees it: loaded at run time, through its table and its exports alone.
huevance_test(library_test LIBRARY
  library/ApiTest.cpp
  library/ExportsTest.cpp)

if(HUEVANCE_SANITIZE)
  target_compile_definitions(library_test PRIVATE HUEVANCE_SANITIZED)
endif()

# The exported functions and their records against docs/libHuevance.abi, read from the debug information of their sources alone.
# (Compilers describe the same types differently: GCC's are compared. Entry points of OpenCL have Khronos's types.)
find_program(HUEVANCE_ABIDIFF abidiff DOC "compares the library's interface with the committed one")
find_program(HUEVANCE_ABIDW abidw)
mark_as_advanced(HUEVANCE_ABIDIFF HUEVANCE_ABIDW)
if(NOT HUEVANCE_ABIDIFF OR NOT HUEVANCE_ABIDW)
  message(WARNING "The interface is NOT compared with docs/libHuevance.abi: there is no abidiff (`scripts/setup.sh test`).")
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT HUEVANCE_SANITIZE)
  add_library(abi_library SHARED
    library/AbiRecords.cpp
    ${CMAKE_SOURCE_DIR}/jni/HuevanceAPI.cpp
    ${CMAKE_SOURCE_DIR}/jni/HuevanceFrame.cpp
    ${CMAKE_SOURCE_DIR}/jni/HuevancePhoto.cpp
    ${CMAKE_SOURCE_DIR}/jni/algocommon/FileOperation.cpp
    ${CMAKE_SOURCE_DIR}/jni/algocommon/ImageOperation.cpp)
  target_include_directories(abi_library PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(abi_library PRIVATE huevance_options huevance_opencl_headers huevance_platform)
  target_compile_options(abi_library PRIVATE -O0 -g)
  target_link_options(abi_library PRIVATE -Wl,--unresolved-symbols=ignore-all)
  set(abi_command ${HUEVANCE_ABIDW} --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-architecture
    --type-id-style hash --exported-interfaces-only --drop-undefined-syms $<TARGET_FILE:abi_library>)
  add_test(NAME abi_test COMMAND ${HUEVANCE_ABIDIFF} --no-architecture --exported-interfaces-only
    ${CMAKE_SOURCE_DIR}/docs/libHuevance.abi $<TARGET_FILE:abi_library>)
  # After a function or a record was added: `cmake --build build/release --target abi_baseline`.
  add_custom_target(abi_baseline
    COMMAND ${abi_command} --out-file ${CMAKE_SOURCE_DIR}/docs/libHuevance.abi
    DEPENDS abi_library VERBATIM)
endif()
