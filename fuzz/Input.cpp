#include "fuzz/Input.h"

#include <sim/log.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>

namespace {

// What the library and memoryFile have opened and not closed. Descriptors of the fuzzer itself are not ours.
std::set<int> g_open;

[[noreturn]] void fail() {
    std::perror("fuzz");
    std::abort();
}

}  // namespace

namespace fuzz {

std::string memoryFile(const std::uint8_t* data, std::size_t size) {
    const int descriptor = memfd_create("fuzz", 0);
    if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size)) {
        fail();
    }
    g_open.insert(descriptor);
    return "/proc/self/fd/" + std::to_string(descriptor);
}

void require(bool holds, const std::string& what) {
    if (!holds) {
        std::fprintf(stderr, "%s\n", what.c_str());
        std::abort();
    }
}

void closeLeftOpen() {
    while (!g_open.empty()) {
        close(*g_open.begin());  // which takes it out
    }
}

}  // namespace fuzz

// Once, at the start: drops the library's log lines, whose texts would drown the fuzzer's own.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
    return 0;
}

// The linker sends the calls of the library, and the one above, through here.
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);

int __wrap_open(const char* path, int flags, mode_t mode) {
    const int descriptor = __real_open(path, flags, mode);
    if (descriptor >= 0) {
        g_open.insert(descriptor);
    }
    return descriptor;
}

int __wrap_close(int descriptor) {
    g_open.erase(descriptor);
    return __real_close(descriptor);
}
}
