// Catches what the process writes to standard output (through C stdio or the descriptor) for as long as it
// lives.
#pragma once

#include <cstdio>
#include <string>

namespace test {

class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Everything written so far.
    std::string text();

private:
    std::FILE* m_file;
    int m_saved;
};

}  // namespace test
