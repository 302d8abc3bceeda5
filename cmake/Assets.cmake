include(${CMAKE_SOURCE_DIR}/cmake/EmbedFile.cmake)

# huevance_embed_assets(target directory): every file of the directory compiled into the target, and their list as
# embeddedAssets() (see tools/studio/Assets.h).
function(huevance_embed_assets target directory)
  file(GLOB files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${directory}/*)
  list(SORT files)
  set(declarations "")
  set(rows "")
  foreach(source IN LISTS files)
    get_filename_component(name ${source} NAME)
    string(MAKE_C_IDENTIFIER "kAsset_${name}" symbol)
    huevance_embed_file(${target} ${symbol} ${directory}/${name})
    string(APPEND declarations "extern const char ${symbol}[];\nextern const std::size_t ${symbol}Length;\n")
    string(APPEND rows "        {\"${name}\", {${symbol}, ${symbol}Length}},\n")
  endforeach()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/assets/Assets.cpp CONTENT
"#include \"tools/studio/Assets.h\"\n
#include <cstddef>\n
${declarations}
namespace tool {
const std::vector<Asset>& embeddedAssets() {
    static const std::vector<Asset> assets = {\n${rows}    };
    return assets;
}
}  // namespace tool
" @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/assets/Assets.cpp)
endfunction()
