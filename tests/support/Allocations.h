// The allocations of a test program: the library's and the test's own, not the driver's, whose code the
// linker does not redirect. For programs linked with huevance_watch_allocations.
#pragma once

namespace test {

int allocations();

// The nth coming one fails; 0: none. Whether the last one that was to fail has done so.
void failAllocation(int nth);
bool allocationFailed();

}  // namespace test
