// A photograph at any size, as a camera frame.
#pragma once

#include <vector>

#include "jni/algocommon/ImageTypes.h"

namespace bench {

// The portrait of samples/ scaled to the geometry, with sensor-like noise of a few levels so that
// neighbouring samples differ as in a real capture. 8 bits: NV21. Otherwise 16-bit samples, U first,
// significant bits at the bottom, the low bits noise. The bytes of a whole frame; padding is 0.
// Deterministic. Throws when the sample cannot be read.
std::vector<unsigned char> photograph(const RoiInfo& roi, int dataBit);

}  // namespace bench
