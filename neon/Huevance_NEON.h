// The vector engine: the host engine with the vector kernels. One object in the process serves all captures.
#pragma once

#include "core/HostEngine.h"
#include "neon/FusedCapture.h"
#include "neon/NeonKernels.h"

class CHuevance_NEON final : public huevance::HostEngine {
public:
    CHuevance_NEON() : HostEngine(huevance::neonKernels()) {}

    // After the other allocations: the tables of fused captures. -1 with one error line when memory is
    // missing.
    int fusedCaptureMalloc();
    void fusedCaptureFree() { m_fused.release(); }
    bool canFuse() const { return m_fused.usable(*this); }
    // All stages that are on, in one pass over the frame: the bytes that the stage operations give one after
    // the other. Only when canFuse(), and after the tables of those stages were made (setClaheLut,
    // readCurveLut, readColorLut).
    int fusedCapture();

private:
    huevance::neon::FusedCapture m_fused;
};
