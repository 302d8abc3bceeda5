// Tone curves: one 1-D table for luma, one for U and V alike.
#pragma once

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// uvCurve[i] = clamp(satStrength x (i - 128) + 128, 0, 255) for i = 0 .. 255. Returns 0.
int buildUvCurve(float satStrength, float* uvCurve);

// Maps luma through yCurve and chroma through uvCurve (each `bins` output levels, rounded), in place. A
// sample above bins - 1 uses the last entry. Returns 0.
int curveMap_8u(unsigned char* image, RoiInfo roi, const float* yCurve, const float* uvCurve, int bins);
int curveMap_16u(unsigned short* image, RoiInfo roi, const float* yCurve, const float* uvCurve, int bins);

}  // namespace huevance
