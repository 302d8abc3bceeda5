# huevance_embed_shaders(target files...): each file's text, compiled into the target as kShader<file name> (see
# EmbedText.cmake and ogl/ShaderTexts.h).
function(huevance_embed_shaders target)
  foreach(file IN LISTS ARGN)
    get_filename_component(stem ${file} NAME_WE)
    set(source ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    set(output ${CMAKE_CURRENT_BINARY_DIR}/shaders/${stem}.cpp)
    add_custom_command(OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DNAME=kShader${stem} -DINPUTS=${source}
        -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/EmbedText.cmake
      DEPENDS ${source} ${CMAKE_CURRENT_SOURCE_DIR}/cmake/EmbedText.cmake
      COMMENT "Embedding ${file}"
      VERBATIM)
    target_sources(${target} PRIVATE ${output})
  endforeach()
endfunction()
