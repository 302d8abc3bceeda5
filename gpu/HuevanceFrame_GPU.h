// The preview pipeline of the OpenCL back end: a stream of frames, enhanced in place, with cross-fades
// between scenes. It drives the process-wide GPU engine: one stream at a time.
#pragma once

#include <cstdint>

#include "core/SceneTables.h"
#include "jni/algocommon/ImageTypes.h"

class CHuevanceFrame_GPU {
public:
    // Where the program cache lies, at most 2996 characters (longer is fatal).
    int setCachePath(char* path);
    // Samples are 8 bits wide: malloc() refuses any other depth.
    int setDataBit(int bits);
    // Reads frameSet.ini, and when the frame switch is on sets the device up and runs the kernels once. 0, or
    // -1 with the failed step's line and everything made so far released.
    int malloc(char* sensorPath, RoiInfo roi);
    int setExtParam(char* key, void* value);
    // `fd` is the frame's buffer descriptor, negative when it has none. 0, or -1 with one error line and the
    // frame untouched; a frame that is refused for its mask must stay where it is until the next process() or
    // free(), since the device keeps it wrapped. A stage that fails is only logged.
    int process(void* frame, int fd, IMAGE_FORMAT_TYPE yuvType, int scene);
    int free();

private:
    int allocate();
    int enhance(void* frame, int fd, IMAGE_FORMAT_TYPE yuvType, int scene);
    void runStages(void* frame);

    // These five numbers come first.
    huevance::SceneFade m_fade;  // outlives malloc and free, on purpose
    int m_iDumpCounter = 0;
    int m_iDumpInterval = 30;
    std::uint64_t m_setUp = 0;  // of the shared engine, as TuningSet counts them

public:
    const char* m_pcDumpDirectory = "/data/hvcSave";  // not owned
};
