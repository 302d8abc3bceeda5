// What the door hands the CPU back end, which knows no other back end.
#pragma once

#include "core/HostKernels.h"

namespace dispatch {

// The vector kernels and the walk in one pass where the processor has the instructions, else the reference.
// Whichever it is, frames get the same bytes and the log the same lines.
const huevance::HostKernels& hostKernels();

}  // namespace dispatch
