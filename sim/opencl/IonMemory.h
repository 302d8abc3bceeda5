// Whether a descriptor's memory really lies at a host address: what a phone's driver checks before it maps
// it.
#pragma once

#include <cstddef>

namespace sim {

// True when [address, address + size) lies in one shared mapping of `descriptor`, inside the file.
bool descriptorCovers(int descriptor, const void* address, std::size_t size);

}  // namespace sim
