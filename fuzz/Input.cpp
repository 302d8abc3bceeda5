#include "fuzz/Input.h"

#include <sim/log.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace fuzz {
namespace {

int firstOfInput = 0;

[[noreturn]] void fail() {
    std::perror("fuzz");
    std::abort();
}

}  // namespace

std::string memoryFile(const std::uint8_t* data, std::size_t size) {
    const int descriptor = memfd_create("fuzz", 0);
    if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size)) {
        fail();
    }
    return "/proc/self/fd/" + std::to_string(descriptor);
}

void begin() {
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
    firstOfInput = dup(STDERR_FILENO);
    if (firstOfInput < 0) {
        fail();
    }
}

void closeLeftOpen() { close_range(static_cast<unsigned>(firstOfInput) + 1, ~0U, 0); }

}  // namespace fuzz
