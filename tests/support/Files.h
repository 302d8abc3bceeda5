// Files that a test looks into.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace test {

// All bytes of a file; none when it is not there.
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace test
