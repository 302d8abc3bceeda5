// Any file as a cache of compiled kernels: what it gives must lie within it.
#include <cstdlib>

#include "fuzz/Input.h"
#include "gpu/ProgramCache.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    for (const auto& binary : gpu::getBinariesFromCache(fuzz::memoryFile(data, size).c_str())) {
        if (bytes.find(std::string(binary.begin(), binary.end())) == std::string::npos) {
            std::abort();
        }
    }
    fuzz::closeLeftOpen();
    return 0;
}
