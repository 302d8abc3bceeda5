# Run as a script: cmake -DOUTPUT=file.cpp -DNAME=kName "-DINPUTS=a;b" -P EmbedText.cmake
# Writes a C++ file that defines the text of the inputs, one after the other, as `extern const char NAME[]` and its
# length without the terminating NUL as `extern const std::size_t NAMELength`. Characters, not literals: compilers limit those.
set(text "")
foreach(input IN LISTS INPUTS)
  file(READ ${input} hex HEX)
  string(APPEND text "${hex}")
endforeach()
string(LENGTH "${text}" length)
math(EXPR length "${length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${text}")
string(REPEAT "'.x..'," 16 line)
string(REGEX REPLACE "(${line})" "\\1\n" bytes "${bytes}")
file(WRITE ${OUTPUT} "#include <cstddef>\nextern const char ${NAME}[];\nextern const std::size_t ${NAME}Length;\n"
  "const char ${NAME}[] = {\n${bytes}0};\nconst std::size_t ${NAME}Length = ${length};\n")
