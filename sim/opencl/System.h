// The system's OpenCL behind the simulated driver: the same table of entry points, null where it lacks them.
#pragma once

#include "jni/opticommon/symb/OpenCL.h"

namespace sim {

struct SystemOpenCL {
#define HUEVANCE_CL_ENTRY(name, arguments) decltype(&::name) name = nullptr;
#include "jni/opticommon/symb/OpenCLEntries.inc"
};

// Loaded on first use.
const SystemOpenCL& systemOpenCL();

}  // namespace sim
