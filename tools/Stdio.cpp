#include "tools/Stdio.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/ToolError.h"

namespace tool {

namespace {
int g_stdout = STDOUT_FILENO;
}

void claimStdout(bool verbose) {
    std::fflush(stdout);
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int other = verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (other < 0 || dup2(other, STDOUT_FILENO) < 0) {
        throw fileError(std::string("cannot redirect standard output: ") + std::strerror(errno));
    }
    close(other);
    g_stdout = own;  // -1 when the program was started without one: writing then fails with its own message
}

int stdoutDescriptor() { return g_stdout; }

void writeAll(int descriptor, const void* data, std::size_t size, const std::string& name) {
    const char* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(descriptor, at, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            throw fileError("cannot write " + name + ": " + std::strerror(errno));
        }
        at += written;
        size -= static_cast<std::size_t>(written);
    }
}

void print(const std::string& text) {
    writeAll(stdoutDescriptor(), text.data(), text.size(), "standard output");
}

void note(const std::string& text) { std::fprintf(stderr, "huevance: %s\n", text.c_str()); }

Progress::Progress(std::size_t total) : m_visible(isatty(STDERR_FILENO) != 0 && total != 1), m_total(total) {}

Progress::~Progress() {
    if (m_visible) {
        std::fputs("\r\033[K", stderr);
    }
}

void Progress::show(std::size_t done) {
    if (!m_visible) {
        return;
    }
    if (m_total == 0) {
        std::fprintf(stderr, "\rframe %zu", done);
        return;
    }
    const int percent = static_cast<int>(100 * done / m_total);
    if (percent != m_lastPercent) {
        m_lastPercent = percent;
        constexpr int kCells = 40;
        const int filled = percent * kCells / 100;
        std::fprintf(stderr, "\r[%.*s%*s] %zu/%zu", filled, "########################################",
                     kCells - filled, "", done, m_total);
    }
}

}  // namespace tool
