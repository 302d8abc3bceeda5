// Catches what the process writes to standard output (through C stdio or the descriptor) for as long as it
// lives.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

namespace test {

class StdoutCapture {
public:
    StdoutCapture() {
        std::fflush(stdout);
        dup2(fileno(m_file), STDOUT_FILENO);
    }
    ~StdoutCapture() {
        std::fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
        std::fclose(m_file);
    }
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Everything written so far.
    std::string text() {
        std::fflush(stdout);
        std::string result(static_cast<std::size_t>(lseek(fileno(m_file), 0, SEEK_END)), '\0');
        result.resize(static_cast<std::size_t>(pread(fileno(m_file), result.data(), result.size(), 0)));
        return result;
    }

private:
    std::FILE* m_file = std::tmpfile();
    int m_saved = dup(STDOUT_FILENO);
};

}  // namespace test
