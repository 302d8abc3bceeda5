// The capture pipeline of the CPU back end: one still per call, in place, its scene's tuning read fresh. It
// drives the process-wide capture engine: one capture at a time.
#pragma once

#include <cstdint>

#include "core/HostKernels.h"
#include "jni/algocommon/ImageTypes.h"

class CHuevancePhoto_CPU {
public:
    int setDataBit(int dataBit);
    // From the next malloc on. The reference, unless told otherwise: the same bytes and lines from all.
    void useKernels(const huevance::HostKernels& kernels) { m_pKernels = &kernels; }
    // Reads photoSet.ini and allocates every buffer, whatever the switches say. 0, or -1 with one error line.
    int malloc(char* directory, RoiInfo roi);
    int setExtParam(char* key, void* value);
    // 0, or -1 with one error line and the frame untouched.
    int process(void* yuv, IMAGE_FORMAT_TYPE type, int scene);
    int free();

private:
    const huevance::HostKernels* m_pKernels = &huevance::referenceHostKernels();
    std::uint64_t m_setUp = 0;  // of the shared engine, as TuningSet counts them
};
