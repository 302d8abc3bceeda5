// The CPU back end's engine: the host engine, with the reference kernels until it is handed others. There is
// one for captures and one for previews in the process, shared by all handles of that mode.
#pragma once

#include "core/HostEngine.h"

class CHuevance_CPU final : public huevance::HostEngine {
public:
    explicit CHuevance_CPU(Use use) : HostEngine(use, huevance::referenceHostKernels()) {}
};
