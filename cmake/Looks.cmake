# huevance_embed_looks(target files...): the starter's looks, each file's text compiled into the target, and their list in the
# given order as kStarterLooks (see EmbedText.cmake and tools/tuning/StarterTuning.cpp).
function(huevance_embed_looks target)
  set(declarations "")
  set(rows "")
  foreach(file IN LISTS ARGN)
    get_filename_component(stem ${file} NAME_WE)
    set(source ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    set(output ${CMAKE_CURRENT_BINARY_DIR}/looks/${stem}.cpp)
    add_custom_command(OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DNAME=kLook_${stem} -DINPUTS=${source}
        -P ${CMAKE_SOURCE_DIR}/cmake/EmbedText.cmake
      DEPENDS ${source} ${CMAKE_SOURCE_DIR}/cmake/EmbedText.cmake
      COMMENT "Embedding ${file}"
      VERBATIM)
    target_sources(${target} PRIVATE ${output})
    string(APPEND declarations "extern const char kLook_${stem}[];\n")
    string(APPEND rows "    {\"${stem}\", kLook_${stem}},\n")
  endforeach()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/looks/StarterLooks.cpp CONTENT
"#include \"tools/tuning/StarterLooks.h\"\n
${declarations}
namespace tool {
const std::vector<EmbeddedLook>& embeddedLooks() {
    static const std::vector<EmbeddedLook> looks = {\n${rows}    };
    return looks;
}
}  // namespace tool
" @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/looks/StarterLooks.cpp)
endfunction()
