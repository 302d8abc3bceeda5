#include "jni/algocommon/FileOperation.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

bool saveBuffer(const char* path, const void* data, std::size_t bytes) {
    File file = openFile(path, "wb+");
    return file && std::fwrite(data, 1, bytes, file.get()) == bytes && std::fflush(file.get()) == 0;
}

bool readFloats(const char* path, float* values, std::size_t count) {
    File file = openFile(path, "rb");
    if (!file) {
        return false;
    }
    // Through a small buffer, so that a file which ends inside an entry leaves that entry as it was.
    float chunk[256];
    for (std::size_t done = 0; done < count;) {
        const std::size_t wanted = std::min(count - done, std::size(chunk));
        const std::size_t got = std::fread(chunk, sizeof(float), wanted, file.get());
        std::transform(chunk, chunk + got, values + done,
                       [](float v) { return std::isfinite(v) ? v : 0.0F; });
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return true;
}
