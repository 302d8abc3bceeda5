// The image kernels of a back end that runs on the host's processor, chosen once per engine.
#pragma once

#include "core/BitDepth.h"
#include "core/Clahe.h"
#include "core/ColorCorrect.h"
#include "core/ColorLut.h"
#include "core/Portrait.h"
#include "core/ToneCurve.h"

namespace huevance {

// Every kernel's name, once.
#define HUEVANCE_KERNELS(X) \
    X(computeClaheLut)      \
    X(resizeClaheLut)       \
    X(claheMap_8u)          \
    X(claheMap_16u)         \
    X(curveMap_8u)          \
    X(curveMap_16u)         \
    X(colorCorrect_8u)      \
    X(colorCorrect_16u)     \
    X(colorMap_8u)          \
    X(colorMap_16u)         \
    X(skinColorDetect)      \
    X(portraitProtect_8u)   \
    X(portraitProtect_16u)  \
    X(covertYuv_16u8u)      \
    X(covertYuv_8u16u)      \
    X(leftBitShift_8u16u)   \
    X(rightBitShift_16u8u)  \
    X(leftBitShift_16u16u)  \
    X(rightBitShift_16u16u)

struct KernelTable {
#define HUEVANCE_KERNEL_SLOT(name) decltype(&::huevance::name) name;
    HUEVANCE_KERNELS(HUEVANCE_KERNEL_SLOT)
#undef HUEVANCE_KERNEL_SLOT
};

// The plain versions: the truth that every other table is tested against.
const KernelTable& referenceKernels();

}  // namespace huevance
