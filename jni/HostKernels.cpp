#include "jni/HostKernels.h"

#include "neon/NeonKernels.h"

namespace dispatch {

const huevance::HostKernels& hostKernels() {
    static const bool vectors = huevance::hasVectorInstructions();
    return vectors ? huevance::neonHostKernels() : huevance::referenceHostKernels();
}

}  // namespace dispatch
