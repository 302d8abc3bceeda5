// From float arithmetic to samples, defined for every float: below 0 and not-a-number give 0, above `max`
// gives `max`. For values in range this is plain truncation.
#pragma once

namespace huevance {

inline float clampLevel(float value, float max) {
    value = value > 0.0F ? value : 0.0F;  // not-a-number compares false
    return value < max ? value : max;
}

template <typename T>
inline T toSample(float value, float max) {
    return static_cast<T>(static_cast<int>(clampLevel(value, max)));
}

}  // namespace huevance
