// Whole files; "-" is standard input or output. `name` also stands in the messages of what is thrown (exit
// code 3).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

using Bytes = std::vector<std::uint8_t>;

Bytes readFile(const std::string& name);
void writeFile(const std::string& name, const Bytes& contents);

}  // namespace tool
