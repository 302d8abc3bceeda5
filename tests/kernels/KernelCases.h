// The cases that every table of kernels is checked on: for each kernel, how to set its arguments up from a
// scenario.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/KernelTable.h"
#include "tests/support/Frames.h"

namespace test {

// What a case is made of. Everything random comes from the seed.
struct Scenario {
    int width = 64;
    int height = 48;
    int padding = 0;     // samples between the rows
    int extraLines = 0;  // rows between luma and chroma
    Content content = Content::kNoise;
    int dataBit = 10;  // of the 16-bit kernels
    IMAGE_FORMAT_TYPE type = IMAGE_FORMAT_TYPE_NV12;
    int grid = 0;   // which tile grid
    int table = 0;  // which contents of curves, lattices, masks and CLAHE tables
    std::uint32_t seed = 1;
};
std::string toString(const Scenario& scenario);

// Widths 1 to 67 and two larger ones with every content, the rest drawn by seeds that count from `seed`.
std::vector<Scenario> allScenarios(std::uint32_t seed);

// Floats in guarded memory.
class GuardedFloats {
public:
    explicit GuardedFloats(std::size_t count);
    float* get() { return reinterpret_cast<float*>(m_memory.data()); }
    const float* get() const { return reinterpret_cast<const float*>(m_memory.data()); }
    std::size_t size() const { return m_memory.size() / sizeof(float); }

private:
    GuardedMemory m_memory;
};

// One call, ready to be made. Made once with the reference and once with another table, all buffers must be
// equal: every byte of the frames, padding included, and every float, where any not-a-number equals any
// other.
struct PreparedCall {
    std::vector<std::shared_ptr<Frame>> frames;
    std::vector<std::shared_ptr<GuardedFloats>> floats;
    std::function<int(const huevance::KernelTable&)> call;
};

struct KernelCase {
    std::string name;
    std::function<PreparedCall(const Scenario&)> prepare;
    // Scenarios of this kernel alone, beside the common ones.
    std::vector<Scenario> extra;
};
// One for each kernel, in the order of HUEVANCE_KERNELS.
const std::vector<KernelCase>& kernelCases();

}  // namespace test
