// Tuning and frames for whole captures on the CPU and the NEON back end.
#pragma once

#include <string>

#include "core/TuningSet.h"
#include "tests/support/Frames.h"
#include "tests/support/TuningDir.h"

namespace test {

// One table of everything, with strengths and contents that leave no stage without effect.
class CaptureTuning {
public:
    CaptureTuning();

    // Bit 0 CLAHE, 1 curves, 2 colour correction, 3 colour table, 4 portrait protection.
    void select(int switches, int maskSource, int gridWidth = 3, int gridHeight = 2);
    const TuningDir& directory() const { return m_directory; }
    std::string path() const { return m_directory.path(); }

private:
    TuningDir m_directory;
};

// A host mask for a frame: values of 0 .. 1 with some below, above and not a number.
class HostMask {
public:
    HostMask(const RoiInfo& frame, int padding);
    float* data() { return reinterpret_cast<float*>(m_memory.data()); }
    RoiInfo& roi() { return m_roi; }

private:
    RoiInfo m_roi;
    GuardedMemory m_memory;
};

}  // namespace test
