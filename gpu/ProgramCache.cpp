#include "gpu/ProgramCache.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>

#include "gpu/OpenCLErrors.h"
#include "jni/algocommon/LogPrintf.h"

namespace gpu {

namespace {

constexpr std::uint64_t kMagic = 0x01010101;
constexpr std::size_t kWord = sizeof(std::uint64_t);

using Bytes = std::vector<unsigned char>;

std::uint64_t wordAt(const Bytes& bytes, std::size_t index) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < kWord; ++i) {
        value |= std::uint64_t{bytes[index * kWord + i]} << (8 * i);
    }
    return value;
}

void setWord(Bytes& bytes, std::size_t index, std::uint64_t value) {
    for (std::size_t i = 0; i < kWord; ++i) {
        bytes[index * kWord + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// No program comes near. It bounds what a file of any content makes this process hold.
constexpr std::uint64_t kMaxBytes = 64U << 20;

// The whole file; nothing when it cannot be opened or read, or is over kMaxBytes. `missing` tells whether
// there is none.
std::optional<Bytes> readFile(const char* path, bool* missing = nullptr) {
    const File file(std::fopen(path, "rb"));
    if (missing != nullptr) {
        *missing = !file && errno == ENOENT;
    }
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) {
        return std::nullopt;
    }
    const long end = std::ftell(file.get());  // of a directory, the largest number there is
    std::rewind(file.get());
    if (end < 0 || static_cast<std::uint64_t>(end) > kMaxBytes) {
        return std::nullopt;
    }
    Bytes bytes(static_cast<std::size_t>(end));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return bytes;
}

// New contents of a file, on the disk under a temporary name until they take its place: readers see the old
// file or the new one, never half of one, also after a loss of power.
class NewFile {
public:
    NewFile(const std::string& path, const void* data, std::size_t size)
        : m_path(path), m_temporary(path + "." + std::to_string(getpid()) + ".tmp") {
        const File file(std::fopen(m_temporary.c_str(), "wb"));
        m_whole = file && std::fwrite(data, 1, size, file.get()) == size && std::fflush(file.get()) == 0 &&
                  fsync(fileno(file.get())) == 0;
    }
    ~NewFile() { std::remove(m_temporary.c_str()); }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool whole() const { return m_whole; }
    bool takePlace() const { return m_whole && std::rename(m_temporary.c_str(), m_path.c_str()) == 0; }

private:
    std::string m_path;
    std::string m_temporary;
    bool m_whole = false;
};

std::uint64_t digest(const void* data, std::size_t size) {
    // FNV-1a: no single changed byte goes unseen.
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001b3ULL;
    }
    return hash;
}

// A line with the text that `query` (an information query of one object) gives, or with the code of its
// failure.
template <typename Query, typename Object>
std::string infoLine(const char* name, Query query, Object object, cl_uint what) {
    std::size_t size = 0;
    cl_int code = query(object, what, 0, nullptr, &size);
    std::string text(std::min<std::size_t>(size, 4096), '\0');
    if (code == CL_SUCCESS) {
        code = query(object, what, text.size(), text.data(), nullptr);
    }
    return std::string(name) + ": " + (code == CL_SUCCESS ? text.c_str() : std::to_string(code)) + "\n";
}

std::string sealText(const Bytes& cache, const CacheOrigin& origin) {
    char text[160];
    std::snprintf(text, sizeof(text), "bytes: %zu\ndigest: %016" PRIx64 "\nsource: %zu %016" PRIx64 "\n",
                  cache.size(), digest(cache.data(), cache.size()), origin.source.size(),
                  digest(origin.source.data(), origin.source.size()));
    cl_platform_id platform = nullptr;
    clGetDeviceInfo(origin.device, CL_DEVICE_PLATFORM, sizeof(platform), &platform, nullptr);
    return text + infoLine("platform", clGetPlatformInfo, platform, CL_PLATFORM_NAME) +
           infoLine("platform version", clGetPlatformInfo, platform, CL_PLATFORM_VERSION) +
           infoLine("device", clGetDeviceInfo, origin.device, CL_DEVICE_NAME) +
           infoLine("device version", clGetDeviceInfo, origin.device, CL_DEVICE_VERSION) +
           infoLine("driver", clGetDeviceInfo, origin.device, CL_DRIVER_VERSION);
}

// Whether there is no seal beside the cache file, or the one of these contents.
bool sealAllows(const char* path, const Bytes& cache, const CacheOrigin& origin) {
    bool missing = false;
    const std::optional<Bytes> seal = readFile(cacheSealPath(path).c_str(), &missing);
    if (!seal) {
        return missing;
    }
    const std::string expected = sealText(cache, origin);
    return std::equal(seal->begin(), seal->end(), expected.begin(), expected.end(),
                      [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); });
}

// Puts a cache file, and where it has an origin its seal, in the place of the old ones. Nothing is replaced
// before all of it is on the disk.
bool replaceCache(const char* path, const Bytes& cache, const CacheOrigin* origin) {
    const NewFile file(path, cache.data(), cache.size());
    if (origin == nullptr) {
        return file.takePlace();
    }
    const std::string text = sealText(cache, *origin);
    const NewFile seal(cacheSealPath(path), text.data(), text.size());
    return file.whole() && seal.takePlace() && file.takePlace();
}

// The binaries in the contents of a cache file; empty, with a line in the log, when they are not whole.
std::vector<Bytes> parse(const Bytes& file, const char* caller) {
    if (file.empty()) {
        ALOG_ERROR("filesize cannot be 0");
        return {};
    }
    if (file.size() < kWord || wordAt(file, 0) != kMagic) {
        ALOG_ERROR("error: not cache file");
        return {};
    }
    // Divisions instead of products: the numbers in the file may be anything.
    const std::uint64_t count = file.size() >= 2 * kWord ? wordAt(file, 1) : 0;
    if (count == 0 || count > (file.size() - 2 * kWord) / (2 * kWord)) {
        ALOG_ERROR("%s error:wrong fromat", caller);
        return {};
    }
    std::vector<Bytes> binaries;
    std::uint64_t left = kMaxBytes;  // binaries that overlap would add up to any size
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t offset = wordAt(file, 2 + 2 * i);
        const std::uint64_t size = wordAt(file, 3 + 2 * i);
        if (offset > file.size() || size > file.size() - offset || size > left) {
            ALOG_ERROR("%s wrong cache", caller);
            return {};
        }
        left -= size;
        const auto begin = file.begin() + static_cast<std::ptrdiff_t>(offset);
        binaries.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(size));
    }
    return binaries;
}

cl_int logQuery(cl_int code, const char* query) {
    if (code != CL_SUCCESS) {
        ALOG_ERROR("!!!ERROR!!! checkErr: %d %s, %s", code, getCLErrString(code), query);
    }
    return code;
}

}  // namespace

std::vector<Bytes> getBinariesFromCache(const char* path, const CacheOrigin* origin) {
    const std::optional<Bytes> file = readFile(path);
    if (!file) {
        ALOG_ERROR("%s open %s is failed", __func__, path);
        return {};
    }
    ALOG_INFO("filesize: %d", static_cast<int>(file->size()));
    std::vector<Bytes> binaries = parse(*file, __func__);
    if (binaries.empty()) {
        return {};
    }
    ALOG_INFO("%s get size:%d", __func__, static_cast<int>(binaries.size()));
    if (origin != nullptr && !sealAllows(path, *file, *origin)) {
        ALOG_ERROR("%s is not what was sealed for this driver, kernel bin will be updated.", path);
        return {};
    }
    return binaries;
}

int saveProgramsToBinary(const std::vector<cl_program>& programs, const char* path,
                         const CacheOrigin* origin) {
    Bytes file((2 + 2 * programs.size()) * kWord);
    setWord(file, 0, kMagic);
    setWord(file, 1, programs.size());
    for (std::size_t i = 0; i < programs.size(); ++i) {
        std::size_t size = 0;
        if (logQuery(clGetProgramInfo(programs[i], CL_PROGRAM_BINARY_SIZES, sizeof(size), &size, nullptr),
                     "CL_PROGRAM_BINARY_SIZES") != CL_SUCCESS) {
            return -1;
        }
        ALOG_INFO("%d binarySize: %d", static_cast<int>(i), static_cast<int>(size));
        if (size > kMaxBytes - std::min<std::uint64_t>(kMaxBytes, file.size())) {
            ALOG_ERROR("%s: a program of %zu bytes is too large to be kept", __func__, size);
            return -1;
        }
        const std::size_t offset = file.size();
        file.resize(offset + size);
        unsigned char* binary = file.data() + offset;
        if (logQuery(clGetProgramInfo(programs[i], CL_PROGRAM_BINARIES, sizeof(binary), &binary, nullptr),
                     "CL_PROGRAM_BINARIES") != CL_SUCCESS) {
            return -1;
        }
        setWord(file, 2 + 2 * i, offset);
        setWord(file, 3 + 2 * i, size);
    }
    if (!replaceCache(path, file, origin)) {
        ALOG_ERROR("%s open %s is failed", __func__, path);
        return -1;
    }
    return 0;
}

std::string cacheSealPath(const char* path) { return std::string(path) + ".seal"; }

}  // namespace gpu
