#include "jni/algocommon/FileOperation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "jni/algocommon/ImageOperation.h"
#include "jni/algocommon/LogPrintf.h"

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File openFile(const char* path, const char* mode) {
    return File(path != nullptr ? std::fopen(path, mode) : nullptr);
}

// The bytes of a file that an int can count, from the end position; 0 for what has none.
int sizeOf(std::FILE* file) {
    std::fseek(file, 0, SEEK_END);
    const long end = std::ftell(file);
    return end >= 0 && end < INT_MAX ? static_cast<int>(end) : 0;
}

bool writeAll(int descriptor, const Bytes& piece) {
    const auto* from = static_cast<const char*>(piece.data);
    for (std::size_t done = 0; done < piece.count;) {
        const ssize_t count = write(descriptor, from + done, piece.count - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

void* fread_file(const char* path, int& size) {
    const char* const name = path != nullptr ? path : "(null)";
    LOG_INFO("read_files %s", name);
    size = 0;
    char* data = nullptr;
    if (const File file = openFile(path, "rb+"); !file) {
        // On purpose: the path goes to a decimal conversion.
        LOG_ERROR("not find path %d", static_cast<int>(reinterpret_cast<std::intptr_t>(path)));
    } else {
        const int bytes = sizeOf(file.get());
        LOG_INFO("read_size %d", bytes);
        std::rewind(file.get());
        LOG_INFO("read_size %d", bytes);  // on purpose: once before and once after rewinding
        data = static_cast<char*>(galloc_malloc(static_cast<std::size_t>(bytes) + 1));
        if (data == nullptr) {
            LOG_ERROR("malloc error");
        } else {
            size = static_cast<int>(std::fread(data, 1, static_cast<std::size_t>(bytes), file.get()));
            data[size] = '\0';
        }
    }
    LOG_INFO("end_files %s", name);
    return data;
}

void formatPath(char* buffer, std::size_t capacity, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(buffer, capacity, format, args);
    va_end(args);
    if (length < 0 || static_cast<std::size_t>(length) >= capacity) {
        ALOG_ERROR("a path exceeds %zu characters", capacity - 1);
        std::abort();
    }
}

InputFile::InputFile(const char* path, std::uint64_t maxBytes) {
    // Without blocking: a FIFO would wait for its writer, and what reads like a file may not end.
    const int descriptor = path != nullptr ? open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY) : -1;
    if (descriptor < 0) {
        m_missing = errno == ENOENT;
        return;
    }
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) > maxBytes) {
        close(descriptor);
        return;
    }
    m_descriptor = descriptor;
    m_size = static_cast<std::uint64_t>(status.st_size);
}

InputFile::~InputFile() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

bool InputFile::fill() {
    ssize_t got = -1;
    do {
        got = ::read(m_descriptor, m_buffer, sizeof(m_buffer));
    } while (got < 0 && errno == EINTR);
    m_failed = got < 0;
    m_next = 0;
    m_end = got > 0 ? static_cast<std::size_t>(got) : 0;
    return m_end > 0;
}

std::size_t InputFile::read(void* data, std::size_t bytes) {
    auto* to = static_cast<unsigned char*>(data);
    std::size_t done = 0;
    while (done < bytes && (m_next < m_end || fill())) {
        const std::size_t count = std::min(bytes - done, m_end - m_next);
        std::memcpy(to + done, m_buffer + m_next, count);
        m_next += count;
        done += count;
    }
    return done;
}

bool isFileRefused(const char* path, std::uint64_t maxBytes) {
    struct stat status = {};
    const bool refused = stat(path, &status) == 0 &&
                         (!S_ISREG(status.st_mode) || static_cast<std::uint64_t>(status.st_size) > maxBytes);
    if (refused) {
        ALOG_ERROR("%s cannot be read: it is no regular file, or too large!", path);
    }
    return refused;
}

bool saveFile(const char* path, std::initializer_list<Bytes> pieces, std::size_t fileBytes) {
    const int descriptor =
        path != nullptr
            ? open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600)
            : -1;
    if (descriptor < 0) {
        return false;
    }
    struct stat status = {};
    bool good = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (good && (status.st_mode & 0077) != 0) {
        // One that was there before. Where a file system knows no modes there is nothing to guard.
        [[maybe_unused]] const int ignored = fchmod(descriptor, 0600);
    }
    std::size_t written = 0;
    for (const Bytes& piece : pieces) {
        good = good && writeAll(descriptor, piece);
        written += piece.count;
    }
    good = good && (fileBytes <= written || ftruncate(descriptor, static_cast<off_t>(fileBytes)) == 0);
    return close(descriptor) == 0 && good;
}

bool readFloats(const char* path, float* values, std::size_t count) {
    // Only the floats that are wanted are read: the file itself may be of any size.
    InputFile file(path, UINT64_MAX);
    if (!file.isOpen()) {
        return false;
    }
    // Through a small buffer, so that a file which ends inside an entry leaves that entry as it was.
    float chunk[256];
    for (std::size_t done = 0; done < count;) {
        const std::size_t wanted = std::min(count - done, std::size(chunk));
        const std::size_t got = file.read(chunk, wanted * sizeof(float)) / sizeof(float);
        std::transform(chunk, chunk + got, values + done,
                       [](float v) { return std::isfinite(v) ? v : 0.0F; });
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return true;
}
