// The preview pipeline of the CPU back end: a stream of frames, enhanced in place, with cross-fades between
// scenes. It drives the process-wide preview engine: one stream at a time.
#pragma once

#include <cstdint>

#include "core/HostKernels.h"
#include "core/SceneTables.h"
#include "jni/algocommon/ImageTypes.h"

class CHuevanceFrame_CPU {
public:
    int setDataBit(int dataBit);
    // From the next malloc on. The reference, unless told otherwise: the same bytes and lines from all.
    void useKernels(const huevance::HostKernels& kernels) { m_pKernels = &kernels; }
    // Reads frameSet.ini, and when the frame switch is on loads all scene tables and allocates the buffers of
    // the stages that are on. 0, or -1 with one error line.
    int malloc(char* directory, RoiInfo roi);
    int setExtParam(char* key, void* value);
    // 0, or -1 with one error line, the frame untouched and no state changed.
    int process(void* yuv, IMAGE_FORMAT_TYPE type, int scene);
    int free();

private:
    int enhance(void* yuv, IMAGE_FORMAT_TYPE type, int scene);

    const huevance::HostKernels* m_pKernels = &huevance::referenceHostKernels();
    huevance::SceneFade m_fade;  // outlives malloc and free, on purpose
    int m_iDumpCounter = 0;
    int m_iDumpPeriod = 30;
    std::uint64_t m_setUp = 0;  // of the shared engine, as TuningSet counts them
};
