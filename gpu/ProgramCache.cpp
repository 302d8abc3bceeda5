#include "gpu/ProgramCache.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "gpu/OpenCLErrors.h"
#include "jni/algocommon/FileOperation.h"
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

// The whole file; nothing when it cannot be opened or read.
std::optional<Bytes> readFile(const char* path) {
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path, "rb"));
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) {
        return std::nullopt;
    }
    const long end = std::ftell(file.get());
    std::rewind(file.get());
    constexpr long kMaxBytes =
        64L << 20;  // no program comes near; a directory reports the largest number there is
    if (end < 0 || end > kMaxBytes) {
        return std::nullopt;
    }
    Bytes bytes(static_cast<std::size_t>(end));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return bytes;
}

// Under a temporary name first: readers see the old file or the new one, never half of one.
bool replaceFile(const char* path, const void* data, std::size_t size) {
    const std::string temporary = std::string(path) + "." + std::to_string(getpid()) + ".tmp";
    if (saveBuffer(temporary.c_str(), data, size) && std::rename(temporary.c_str(), path) == 0) {
        return true;
    }
    std::remove(temporary.c_str());
    return false;
}

std::uint64_t digest(const void* data, std::size_t size) {
    // FNV-1a: no single changed byte goes unseen.
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001b3ULL;
    }
    return hash;
}

using Query = cl_int (*)(void* object, cl_uint what, std::size_t size, void* value);

// A text from an information query on one line of its own.
void appendInfo(std::string& seal, const char* name, void* object, cl_uint what, Query query) {
    char text[512] = {};
    query(object, what, sizeof(text) - 1, text);
    seal += std::string(name) + ": " + text + "\n";
}

std::string sealText(const Bytes& cache, cl_device_id device, std::string_view source) {
    char text[160];
    std::snprintf(text, sizeof(text), "bytes: %zu\ndigest: %016" PRIx64 "\nsource: %zu %016" PRIx64 "\n",
                  cache.size(), digest(cache.data(), cache.size()), source.size(),
                  digest(source.data(), source.size()));
    std::string seal = text;

    const Query platformInfo = [](void* object, cl_uint what, std::size_t size, void* value) {
        return clGetPlatformInfo(static_cast<cl_platform_id>(object), what, size, value, nullptr);
    };
    const Query deviceInfo = [](void* object, cl_uint what, std::size_t size, void* value) {
        return clGetDeviceInfo(static_cast<cl_device_id>(object), what, size, value, nullptr);
    };
    cl_platform_id platform = nullptr;
    clGetDeviceInfo(device, CL_DEVICE_PLATFORM, sizeof(platform), &platform, nullptr);
    appendInfo(seal, "platform", platform, CL_PLATFORM_NAME, platformInfo);
    appendInfo(seal, "platform version", platform, CL_PLATFORM_VERSION, platformInfo);
    appendInfo(seal, "device", device, CL_DEVICE_NAME, deviceInfo);
    appendInfo(seal, "device version", device, CL_DEVICE_VERSION, deviceInfo);
    appendInfo(seal, "driver", device, CL_DRIVER_VERSION, deviceInfo);
    return seal;
}

cl_int logQuery(cl_int code, const char* query) {
    if (code != CL_SUCCESS) {
        ALOG_ERROR("!!!ERROR!!! checkErr: %d %s, %s", code, getCLErrString(code), query);
    }
    return code;
}

}  // namespace

std::vector<Bytes> getBinariesFromCache(const char* path) {
    const std::optional<Bytes> read = readFile(path);
    if (!read) {
        ALOG_ERROR("%s open %s is failed", __func__, path);
        return {};
    }
    const Bytes& file = *read;
    ALOG_INFO("filesize: %d", static_cast<int>(file.size()));
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
        ALOG_ERROR("%s error:wrong fromat", __func__);
        return {};
    }
    std::vector<Bytes> binaries;
    std::uint64_t left = file.size();  // programs that overlap would add up to any size
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t offset = wordAt(file, 2 + 2 * i);
        const std::uint64_t size = wordAt(file, 3 + 2 * i);
        if (offset > file.size() || size > file.size() - offset || size > left) {
            ALOG_ERROR("%s wrong cache", __func__);
            return {};
        }
        left -= size;
        const auto begin = file.begin() + static_cast<std::ptrdiff_t>(offset);
        binaries.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(size));
    }
    ALOG_INFO("%s get size:%d", __func__, static_cast<int>(binaries.size()));
    return binaries;
}

int saveProgramsToBinary(const std::vector<cl_program>& programs, const char* path) {
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
    if (!replaceFile(path, file.data(), file.size())) {
        ALOG_ERROR("%s open %s is failed", __func__, path);
        return -1;
    }
    return 0;
}

std::string cacheSealPath(const char* path) { return std::string(path) + ".seal"; }

CacheSeal checkCacheSeal(const char* path, cl_device_id device, std::string_view source) {
    const std::optional<Bytes> seal = readFile(cacheSealPath(path).c_str());
    if (!seal) {
        return CacheSeal::kAbsent;
    }
    const std::optional<Bytes> cache = readFile(path);
    const std::string expected = cache ? sealText(*cache, device, source) : std::string();
    const bool same = cache && seal->size() == expected.size() &&
                      std::memcmp(seal->data(), expected.data(), expected.size()) == 0;
    return same ? CacheSeal::kMatches : CacheSeal::kDiffers;
}

int writeCacheSeal(const char* path, cl_device_id device, std::string_view source) {
    const std::optional<Bytes> cache = readFile(path);
    if (!cache) {
        return -1;
    }
    const std::string seal = sealText(*cache, device, source);
    return replaceFile(cacheSealPath(path).c_str(), seal.data(), seal.size()) ? 0 : -1;
}

}  // namespace gpu
