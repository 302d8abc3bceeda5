// The vector engine: the host engine with the vector kernels. One object in the process serves all captures.
#pragma once

#include "core/HostEngine.h"
#include "neon/NeonKernels.h"

class CHuevance_NEON final : public huevance::HostEngine {
public:
    CHuevance_NEON() : HostEngine(Use::kCaptures, huevance::neonHostKernels()) {}
};
