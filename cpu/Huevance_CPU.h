// The plain engine: the host engine with the reference kernels. There is one for captures and one for
// previews in the process, shared by all handles of that mode.
#pragma once

#include "core/HostEngine.h"

class CHuevance_CPU final : public huevance::HostEngine {
public:
    CHuevance_CPU() : HostEngine(huevance::referenceKernels()) {}
};
