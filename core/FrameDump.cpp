#include "core/FrameDump.h"

#include <algorithm>

#include "core/Geometry.h"
#include "jni/algocommon/FileOperation.h"

namespace huevance {

bool dumpFrame(const char* path, const void* frame, const RoiInfo& roi) {
    const std::size_t bytes = dumpBytes(roi);
    return saveFile(path, {{frame, std::min(bytes, frameBytes(roi))}}, bytes);
}

}  // namespace huevance
