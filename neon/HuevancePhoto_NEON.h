// The capture pipeline of the NEON back end: one still per call, in place, its scene's tuning read fresh. It
// drives the process-wide vector engine: one capture at a time. There is no preview pipeline.
#pragma once

#include <cstdint>

#include "jni/algocommon/ImageTypes.h"

class CHuevancePhoto_NEON {
public:
    int setDataBit(int dataBit);
    // Reads photoSet.ini and allocates everything that a capture needs. Always 0, on purpose: a step that
    // fails logs one error line, and captures are refused.
    int malloc(char* directory, RoiInfo roi);
    int setExtParam(char* key, void* value);
    // 0, or -1 with one error line and the frame untouched. Only when a stage's tables cannot be made, for
    // want of memory in mid-capture, is the line followed by the pipeline's own.
    int process(void* frame, IMAGE_FORMAT_TYPE yuvType, int scene);
    int free();

private:
    int m_iDumpCounter = 0;     // captures whose frames were saved
    std::uint64_t m_setUp = 0;  // of the shared engine, as TuningSet counts them
};
