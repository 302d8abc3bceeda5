#include "core/KernelTable.h"

#include "core/HostKernels.h"

namespace huevance {

const KernelTable& referenceKernels() {
    static constexpr KernelTable kTable = {
#define HUEVANCE_KERNEL_ENTRY(name) &::huevance::name,
        HUEVANCE_KERNELS(HUEVANCE_KERNEL_ENTRY)
#undef HUEVANCE_KERNEL_ENTRY
    };
    return kTable;
}

const HostKernels& referenceHostKernels() {
    static const HostKernels kReference = {referenceKernels(), nullptr};
    return kReference;
}

}  // namespace huevance
