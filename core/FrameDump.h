// Dumps of frames, for every back end.
#pragma once

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// Writes a frame to a file of dumpBytes(roi) bytes. The file's last rows may lie behind the frame's: those
// are not read, and stay zero. False when it cannot be written; the names of dumps, and the line about one
// that failed, are the back end's.
bool dumpFrame(const char* path, const void* frame, const RoiInfo& roi);

}  // namespace huevance
