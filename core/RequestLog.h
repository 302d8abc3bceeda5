// The log lines with which the pipelines announce a frame. Each begins with `who`: "<class>: ", or nothing.
#pragma once

#include "core/TuningSet.h"
#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// "yuvType: ..." for NV12 and NV21, and "scene: ...".
void logRequest(const char* who, IMAGE_FORMAT_TYPE type, int scene);

// Three lines, each with a line feed at its end. `name` and `value` are the mode's own switch.
void logSwitches(const char* who, const char* name, int value, const TuningSet& tuning);

}  // namespace huevance
