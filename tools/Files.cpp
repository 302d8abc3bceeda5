#include "tools/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/Stdio.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

class Descriptor {
public:
    explicit Descriptor(int value, bool owned) : m_value(value), m_owned(owned) {}
    ~Descriptor() {
        if (m_owned && m_value >= 0) {
            close(m_value);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_value; }
    // Errors of delayed writing show here.
    bool finish() {
        const bool good = !m_owned || close(m_value) == 0;
        m_owned = false;
        return good;
    }

private:
    int m_value;
    bool m_owned;
};

}  // namespace

Bytes readFile(const std::string& name) {
    const bool standard = name == "-";
    const Descriptor file(standard ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC), !standard);
    struct stat info {};
    if (file.get() < 0 || fstat(file.get(), &info) != 0) {
        throw fileError("cannot read " + name + ": " + std::strerror(errno));
    }
    Bytes contents;
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t count = read(file.get(), buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw fileError("cannot read " + name + ": " + std::strerror(errno));
        }
        if (count == 0) {
            return contents;
        }
        contents.insert(contents.end(), buffer, buffer + count);
    }
}

void writeFile(const std::string& name, const Bytes& contents) {
    const bool standard = name == "-";
    Descriptor file(
        standard ? stdoutDescriptor() : open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666),
        !standard);
    if (file.get() < 0) {
        throw fileError("cannot write " + name + ": " + std::strerror(errno));
    }
    writeAll(file.get(), contents.data(), contents.size(), name);
    if (!file.finish()) {
        throw fileError("cannot write " + name + ": " + std::strerror(errno));
    }
}

}  // namespace tool
