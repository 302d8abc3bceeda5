#include "tests/support/StdoutCapture.h"

#include <unistd.h>

namespace test {

StdoutCapture::StdoutCapture() : m_file(std::tmpfile()), m_saved(-1) {
    std::fflush(stdout);
    m_saved = dup(STDOUT_FILENO);
    dup2(fileno(m_file), STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture() {
    std::fflush(stdout);
    dup2(m_saved, STDOUT_FILENO);
    close(m_saved);
    std::fclose(m_file);
}

std::string StdoutCapture::text() {
    std::fflush(stdout);
    std::string result;
    char buffer[4096];
    off_t offset = 0;
    for (ssize_t got; (got = pread(fileno(m_file), buffer, sizeof(buffer), offset)) > 0; offset += got) {
        result.append(buffer, static_cast<std::size_t>(got));
    }
    return result;
}

}  // namespace test
