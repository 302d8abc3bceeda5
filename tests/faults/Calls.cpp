#include "tests/faults/Calls.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace {

struct Counter {
    int calls = 0;
    int failing = 0;
    faults::Way way = faults::Way::kOnce;

    bool fails() {
        ++calls;
        return failing > 0 && (calls == failing || (calls > failing && way == faults::Way::kFromThereOn));
    }
};
Counter g_counters[2];
thread_local int g_inside = 0;
int g_opens = 0;
char g_dumpFolder[512];

// The call; or when it fails -1, or silently what says that there is no more.
template <typename Call, typename... Arguments>
std::invoke_result_t<Call, Arguments...> fileCall(std::invoke_result_t<Call, Arguments...> noMore, Call call,
                                                  Arguments... arguments) {
    Counter& files = g_counters[static_cast<int>(faults::Kind::kFile)];
    if (g_inside == 0 || !files.fails()) {
        return call(arguments...);
    }
    errno = EIO;
    return files.way == faults::Way::kSilently ? noMore : -1;
}

bool allocationFails() {
    return g_inside > 0 && g_counters[static_cast<int>(faults::Kind::kAllocation)].fails();
}

// Blocks, by their address. It has no place for more than a life's; a block that finds none does not count.
constexpr std::size_t kPlaces = 1 << 14;
std::atomic<void*> g_blocks[kPlaces];
std::atomic<int> g_live = 0;

std::atomic<void*>& place(void* block, int probe) {
    return g_blocks[((reinterpret_cast<std::uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15ULL + probe) >> 7 &
                    (kPlaces - 1)];
}

void* remember(void* block) {
    for (int probe = 0; block != nullptr && g_inside > 0 && probe < 1 << 12; probe += 1 << 7) {
        void* free = nullptr;
        if (place(block, probe).compare_exchange_strong(free, block)) {
            ++g_live;
            break;
        }
    }
    return block;
}

void forget(void* block) {
    for (int probe = 0; block != nullptr && probe < 1 << 12; probe += 1 << 7) {
        void* expected = block;
        if (place(block, probe).compare_exchange_strong(expected, nullptr)) {
            --g_live;
            break;
        }
    }
}

// The same without counting again what it calls.
template <typename... Arguments>
void* counted(void* (*allocate)(Arguments...), std::common_type_t<Arguments>... arguments) {
    const int inside = std::exchange(g_inside, 0);
    void* block = nullptr;
    try {
        block = allocate(arguments...);
    } catch (...) {
        g_inside = inside;
        throw;
    }
    g_inside = inside;
    return block;
}

}  // namespace

namespace faults {

Inside::Inside() { ++g_inside; }
Inside::~Inside() { --g_inside; }

void arm(Kind kind, int nth, Way way) { g_counters[static_cast<int>(kind)] = {0, nth, way}; }

int disarm(Kind kind) {
    g_counters[static_cast<int>(kind)].failing = 0;
    return g_counters[static_cast<int>(kind)].calls;
}

int takeOpens() { return std::exchange(g_opens, 0); }

int liveBlocks() { return g_live; }

void forgetBlocks(int count) { g_live -= count; }

void setDumpFolder(const std::string& path) { path.copy(g_dumpFolder, sizeof(g_dumpFolder) - 1); }

}  // namespace faults

// Visible, since the linker takes sanitizers' libraries for callers.
#pragma GCC visibility push(default)
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);
int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_fstat(int descriptor, struct stat* status);
int __real_stat(const char* path, struct stat* status);
int __real_fsync(int descriptor);
int __real_ftruncate(int descriptor, off_t bytes);
int __real_rename(const char* from, const char* to);
ssize_t __real_read(int descriptor, void* data, std::size_t bytes);
ssize_t __real_write(int descriptor, const void* data, std::size_t bytes);

void* __wrap_malloc(std::size_t size) { return allocationFails() ? nullptr : remember(__real_malloc(size)); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return allocationFails() ? nullptr : remember(__real_calloc(count, size));
}
void __wrap_free(void* block) {
    forget(block);
    __real_free(block);
}

int __wrap_open(const char* path, int flags, mode_t mode) {
    ++g_opens;
    constexpr char kDeviceFolder[] = "/data/hvcSave/";
    constexpr std::size_t kLength = sizeof(kDeviceFolder) - 1;
    char moved[1024];
    const bool dumps = std::strncmp(path, kDeviceFolder, kLength) == 0;
    std::snprintf(moved, sizeof(moved), "%s%s", dumps ? g_dumpFolder : "", path + (dumps ? kLength - 1 : 0));
    return fileCall(-1, __real_open, moved, flags, mode);
}
int __wrap_close(int descriptor) {
    const int code = __real_close(descriptor);  // in any case
    return fileCall(0, [code] { return code; });
}
int __wrap_fstat(int descriptor, struct stat* status) {
    return fileCall(-1, __real_fstat, descriptor, status);
}
int __wrap_stat(const char* path, struct stat* status) { return fileCall(-1, __real_stat, path, status); }
int __wrap_fsync(int descriptor) { return fileCall(0, __real_fsync, descriptor); }
int __wrap_ftruncate(int descriptor, off_t bytes) { return fileCall(0, __real_ftruncate, descriptor, bytes); }
int __wrap_rename(const char* from, const char* to) { return fileCall(0, __real_rename, from, to); }
ssize_t __wrap_read(int descriptor, void* data, std::size_t bytes) {
    return fileCall(0, __real_read, descriptor, data, bytes);
}
ssize_t __wrap_write(int descriptor, const void* data, std::size_t bytes) {
    return fileCall(0, __real_write, descriptor, data, bytes);
}

void* __real__Znwm(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void __real__ZdlPv(void* block);
void __real__ZdlPvm(void* block, std::size_t size);
void* __wrap__Znwm(std::size_t size) {
    return allocationFails() ? throw std::bad_alloc() : remember(counted(__real__Znwm, size));
}
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return allocationFails() ? nullptr : remember(counted(__real__ZnwmRKSt9nothrow_t, size, tag));
}
void __wrap__ZdlPv(void* block) {
    forget(block);
    __real__ZdlPv(block);
}
void __wrap__ZdlPvm(void* block, std::size_t size) {
    forget(block);
    __real__ZdlPvm(block, size);
}
}
#pragma GCC visibility pop
