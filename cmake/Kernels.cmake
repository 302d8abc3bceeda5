# huevance_embed_kernels(target name sources...): one program text from OpenCL sources, in the given order, compiled into
# the target under a C++ name (see EmbedText.cmake). Where there is a clang, it checks the text first.
find_program(HUEVANCE_OPENCL_CHECKER NAMES clang clang-19 clang-16 clang-15 clang-14
  DOC "clang, to check the OpenCL kernels at build time")
if(HUEVANCE_OPENCL_CHECKER)
  message(STATUS "The OpenCL kernels are checked with ${HUEVANCE_OPENCL_CHECKER}")
else()
  message(WARNING "The OpenCL kernels are NOT checked at build time: there is no clang (`scripts/setup.sh test`).")
endif()

function(huevance_embed_kernels target name)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE sources)
  set(output ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  set(check "")
  if(HUEVANCE_OPENCL_CHECKER)
    set(includes "")
    foreach(source IN LISTS sources)
      string(APPEND includes "#include \"${source}\"\n")
    endforeach()
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cl CONTENT "${includes}" @ONLY)
    # As phones compile it, for a 64-bit device: OpenCL C 1.2, or 2.0 where that is a driver's own. With all warnings but
    # those about C of the last century and about casts of what a function gives.
    foreach(standard CL1.2 CL2.0)
      list(APPEND check COMMAND ${HUEVANCE_OPENCL_CHECKER} -x cl -cl-std=${standard} -cl-fast-relaxed-math -target spir64
        -Xclang -finclude-default-header -Weverything -Wno-declaration-after-statement -Wno-missing-prototypes
        -Wno-bad-function-cast -Wno-unknown-warning-option -Wno-unsafe-buffer-usage -Werror -fsyntax-only
        ${CMAKE_CURRENT_BINARY_DIR}/${name}.cl)
    endforeach()
  endif()
  add_custom_command(OUTPUT ${output}
    ${check}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DNAME=${name} "-DINPUTS=${sources}"
      -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/EmbedText.cmake
    DEPENDS ${sources} ${CMAKE_CURRENT_SOURCE_DIR}/cmake/EmbedText.cmake
    COMMENT "Embedding the OpenCL kernels"
    VERBATIM)
  target_sources(${target} PRIVATE ${output})
endfunction()
