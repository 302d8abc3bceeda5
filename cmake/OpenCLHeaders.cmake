# huevance_opencl_headers: Khronos's <CL/...>, and no other header of the folder that holds them. No phone SDK has them; they are
# the same for every target, so that the build machine's will do for a phone, too.
set(HUEVANCE_OPENCL_HEADERS "" CACHE PATH "The folder that holds CL/cl.h; empty: the build machine's own")
set(folder "${HUEVANCE_OPENCL_HEADERS}")
if(NOT folder)
  find_path(HUEVANCE_OPENCL_SYSTEM_HEADERS CL/cl.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
  mark_as_advanced(HUEVANCE_OPENCL_SYSTEM_HEADERS)
  set(folder "${HUEVANCE_OPENCL_SYSTEM_HEADERS}")
endif()
if(NOT EXISTS "${folder}/CL/cl.h" OR NOT EXISTS "${folder}/CL/cl_ext.h")
  message(FATAL_ERROR "There are no OpenCL headers in \"${folder}\" to compile the GPU back end with: install Debian's "
    "opencl-headers, or name the folder that holds CL/cl.h with -DHUEVANCE_OPENCL_HEADERS=FOLDER (Khronos publishes them as "
    "OpenCL-Headers).")
endif()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/opencl)
file(REMOVE ${CMAKE_BINARY_DIR}/opencl/CL)
file(CREATE_LINK ${folder}/CL ${CMAKE_BINARY_DIR}/opencl/CL SYMBOLIC)
add_library(huevance_opencl_headers INTERFACE)
target_include_directories(huevance_opencl_headers SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/opencl)
