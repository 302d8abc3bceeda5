#include "neon/NeonKernels.h"

#include <new>

#include "neon/FusedCapture.h"

namespace huevance {

const KernelTable& neonKernels() {
    static constexpr KernelTable kTable = {
#define HUEVANCE_KERNEL_ENTRY(name) &::huevance::name##_neon,
        HUEVANCE_KERNELS(HUEVANCE_KERNEL_ENTRY)
#undef HUEVANCE_KERNEL_ENTRY
    };
    return kTable;
}

const HostKernels& neonHostKernels() {
    static const HostKernels kVectors = {
        neonKernels(), [] { return std::unique_ptr<OnePass>(new (std::nothrow) neon::FusedCapture); }};
    return kVectors;
}

}  // namespace huevance
