include(${CMAKE_SOURCE_DIR}/cmake/EmbedFile.cmake)

# huevance_embed_looks(target files...): the starter's looks, each file's text compiled into the target, and their list in the
# given order as kStarterLooks (see tools/tuning/StarterTuning.cpp).
function(huevance_embed_looks target)
  set(declarations "")
  set(rows "")
  foreach(file IN LISTS ARGN)
    get_filename_component(stem ${file} NAME_WE)
    huevance_embed_file(${target} kLook_${stem} ${file})
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
