// Apart from the kernels: compiled for every processor of its kind, so that it can be asked on any.
#include "neon/NeonKernels.h"

namespace huevance {

bool hasVectorInstructions() {
#if defined(__x86_64__)
    // What the files of this folder are compiled for there, x86-64-v2.
    return __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("popcnt") != 0;
#else
    return true;  // part of AArch64
#endif
}

}  // namespace huevance
