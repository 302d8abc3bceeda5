# Compiler options of every target. Warnings are errors here, but not on the newer compiler of somebody who builds the library
# for a phone or inside another project.
set(default ON)
if(ANDROID OR NOT PROJECT_IS_TOP_LEVEL)
  set(default OFF)
endif()
option(HUEVANCE_WERROR "Warnings are errors" ${default})

add_library(huevance_options INTERFACE)
target_compile_options(huevance_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wcast-qual -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>
  $<$<BOOL:${HUEVANCE_WERROR}>:-Werror>
  # The same bytes everywhere: no compiler may fuse a multiplication with an addition.
  -ffp-contract=off
  # No path of the machine that built it.
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 notes an ABI change of GCC 10 for homogeneous aggregates.
  target_compile_options(huevance_options INTERFACE -Wno-psabi)
endif()

set(HUEVANCE_SANITIZE "" CACHE STRING "Value of -fsanitize= for the whole build, or empty")
if(HUEVANCE_SANITIZE)
  target_compile_options(huevance_options INTERFACE
    -fsanitize=${HUEVANCE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(huevance_options INTERFACE -fsanitize=${HUEVANCE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With sanitizers, GCC sees uninitialised values in the standard library's own headers (std::regex).
    target_compile_options(huevance_options INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()
