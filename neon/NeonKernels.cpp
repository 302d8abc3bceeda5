#include "neon/NeonKernels.h"

namespace huevance {

const KernelTable& neonKernels() {
    static constexpr KernelTable kTable = {
#define HUEVANCE_KERNEL_ENTRY(name) &::huevance::name##_neon,
        HUEVANCE_KERNELS(HUEVANCE_KERNEL_ENTRY)
#undef HUEVANCE_KERNEL_ENTRY
    };
    return kTable;
}

}  // namespace huevance
