// The vector versions of the kernels, under the reference's names with the suffix _neon: same arguments, same
// result, and every byte the same.
#pragma once

#include "core/HostKernels.h"

namespace huevance {

#define HUEVANCE_NEON_KERNEL(name) decltype(name) name##_neon;
HUEVANCE_KERNELS(HUEVANCE_NEON_KERNEL)
#undef HUEVANCE_NEON_KERNEL

// computeClaheLut of the frame that a right shift leaves, without that frame: the lowest eight bits of each
// shifted sample count.
int computeClaheLut_16u_neon(const unsigned short* image, RoiInfo roi, int shift, float* hist, float* lut,
                             int sampRate, int gridWidth, int gridHeight, int tileWidth, int tileHeight,
                             float claheStrength);

const KernelTable& neonKernels();

// Whether this processor has the instructions that they are compiled to.
bool hasVectorInstructions();

// These kernels, and the walk in one pass.
const HostKernels& neonHostKernels();

}  // namespace huevance
