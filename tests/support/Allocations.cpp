#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {

int g_count = 0;
int g_failing = 0;

bool fails() {
    ++g_count;
    return g_failing > 0 && --g_failing == 0;
}

}  // namespace

namespace test {

int allocations() { return g_count; }
void failAllocation(int nth) { g_failing = nth; }
bool allocationFailed() { return g_failing == 0; }

}  // namespace test

// Visible, since the linker takes sanitizers' libraries for callers.
#pragma GCC visibility push(default)
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real__Znwm(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap_malloc(std::size_t size) { return fails() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap__Znwm(std::size_t size) { return fails() ? throw std::bad_alloc() : __real__Znwm(size); }
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return fails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
}
#pragma GCC visibility pop
