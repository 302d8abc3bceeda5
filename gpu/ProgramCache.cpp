#include "gpu/ProgramCache.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "gpu/OpenCLErrors.h"
#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/LogPrintf.h"

namespace gpu {

namespace {

constexpr std::uint64_t kMagic = 0x01010101;
constexpr std::size_t kWord = sizeof(std::uint64_t);

using Binary = std::vector<unsigned char>;

std::uint64_t wordAt(const Binary& bytes, std::size_t index) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < kWord; ++i) {
        value |= std::uint64_t{bytes[index * kWord + i]} << (8 * i);
    }
    return value;
}

void setWord(Binary& bytes, std::size_t index, std::uint64_t value) {
    for (std::size_t i = 0; i < kWord; ++i) {
        bytes[index * kWord + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

// No program comes near. It bounds what a file of any content makes this process hold.
constexpr std::uint64_t kMaxBytes = 64U << 20;

// The whole file; nothing when it cannot be opened or is over kMaxBytes. `missing` tells whether there is
// none.
std::optional<Binary> readFile(const char* path, bool* missing = nullptr) {
    InputFile file(path, kMaxBytes);
    if (missing != nullptr) {
        *missing = file.isMissing();
    }
    if (!file.isOpen()) {
        return std::nullopt;
    }
    Binary bytes(static_cast<std::size_t>(file.size()));
    bytes.resize(file.read(bytes.data(), bytes.size()));
    return bytes;
}

constexpr const char* kTemporaryEnd = ".tmp";
constexpr std::time_t kTemporaryLife = 3600;  // seconds; no save takes as long

// Removes "<path>.<process>.tmp" of processes that died while they saved: of those that are no more, and of
// those whose number another process has by now.
void removeStale(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash != std::string::npos ? path.substr(0, slash + 1) : "./";
    const std::string begin = path.substr(slash != std::string::npos ? slash + 1 : 0) + ".";
    DIR* const directory = opendir(folder.c_str());
    if (directory == nullptr) {
        return;
    }
    while (const dirent* entry = readdir(directory)) {
        const std::string name = entry->d_name;
        char* end = nullptr;
        const long process = name.compare(0, begin.size(), begin) == 0
                                 ? std::strtol(name.c_str() + begin.size(), &end, 10)
                                 : 0;
        struct stat status = {};
        if (process < 1 || std::strcmp(end, kTemporaryEnd) != 0 ||
            lstat((folder + name).c_str(), &status) != 0) {
            continue;
        }
        const bool gone = kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
        if (gone || status.st_mtime + kTemporaryLife < std::time(nullptr)) {
            std::remove((folder + name).c_str());
        }
    }
    closedir(directory);
}

bool sync(const char* path) {
    const int descriptor = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    const bool done = descriptor >= 0 && fsync(descriptor) == 0;
    return (descriptor < 0 || close(descriptor) == 0) && done;
}

// New contents of a file, on the disk under a temporary name until they take its place: readers see the old
// file or the new one, never half of one, also after a loss of power.
class NewFile {
public:
    NewFile(const std::string& path, const void* data, std::size_t size)
        : m_path(path), m_temporary(path + "." + std::to_string(getpid()) + kTemporaryEnd) {
        removeStale(path);
        // Whatever has the name by now, a symbolic link too, is not written to but removed.
        std::remove(m_temporary.c_str());
        m_whole = saveFile(m_temporary.c_str(), {{data, size}}) && sync(m_temporary.c_str());
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

std::string sealText(const Binary& cache, const CacheOrigin& origin) {
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
bool sealAllows(const char* path, const Binary& cache, const CacheOrigin& origin) {
    bool missing = false;
    const std::optional<Binary> seal = readFile(cacheSealPath(path).c_str(), &missing);
    if (!seal) {
        return missing;
    }
    const std::string expected = sealText(cache, origin);
    return std::equal(seal->begin(), seal->end(), expected.begin(), expected.end(),
                      [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); });
}

// Puts a cache file, and where it has an origin its seal, in the place of the old ones. Nothing is replaced
// before all of it is on the disk.
bool replaceCache(const char* path, const Binary& cache, const CacheOrigin* origin) {
    const NewFile file(path, cache.data(), cache.size());
    if (origin == nullptr) {
        return file.takePlace();
    }
    const std::string text = sealText(cache, *origin);
    const NewFile seal(cacheSealPath(path), text.data(), text.size());
    return file.whole() && seal.takePlace() && file.takePlace();
}

// The binaries in the contents of a cache file; empty, with a line in the log, when they are not whole.
std::vector<Binary> parse(const Binary& file, const char* caller) {
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
    std::vector<Binary> binaries;
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

std::vector<Binary> getBinariesFromCache(const char* path, const CacheOrigin* origin) {
    const std::optional<Binary> file = readFile(path);
    if (!file) {
        ALOG_ERROR("%s open %s is failed", __func__, path);
        return {};
    }
    ALOG_INFO("filesize: %d", static_cast<int>(file->size()));
    std::vector<Binary> binaries = parse(*file, __func__);
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
    Binary file((2 + 2 * programs.size()) * kWord);
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
