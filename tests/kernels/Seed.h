// Where the random cases of this program begin.
#pragma once

#include <cstdint>

namespace test {

// 1, or what --seed=N asks for.
std::uint32_t kernelSeed();

}  // namespace test
