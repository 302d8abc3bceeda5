# huevance_embed_file(target NAME file): the file's text compiled into the target as `extern const char NAME[]` and its length
# as `extern const std::size_t NAMELength` (see EmbedText.cmake).
function(huevance_embed_file target name file)
  set(source ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  set(output ${CMAKE_CURRENT_BINARY_DIR}/embedded/${name}.cpp)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DNAME=${name} -DINPUTS=${source} -P ${CMAKE_SOURCE_DIR}/cmake/EmbedText.cmake
    DEPENDS ${source} ${CMAKE_SOURCE_DIR}/cmake/EmbedText.cmake
    COMMENT "Embedding ${file}"
    VERBATIM)
  target_sources(${target} PRIVATE ${output})
endfunction()
