// What the capture and the preview pipeline of this back end have in common.
#pragma once

#include "cpu/Huevance_CPU.h"

namespace cpu {

// The three strengths in force.
void logStrengths(const CHuevance_CPU& engine);

// Tries to write the frame to this back end's dump file. The file's name is empty, on purpose, so that this
// fails and logs `failure`; dumps with names belong to other back ends.
void dumpFrame(const void* frame, const RoiInfo& roi, const char* failure);

}  // namespace cpu
