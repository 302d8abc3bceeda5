// CIEDE2000, the difference of two colours as eyes see it: 1 is just noticed side by side.
// After Sharma, Wu and Dalal, "The CIEDE2000 color-difference formula: implementation notes, supplementary
// test data, and mathematical observations", Color Research and Application 30(1), 2005.
#pragma once

#include <cstdint>

namespace tool {

// CIE 1976 L*a*b* under D65: l 0..100, a and b around 0.
struct Lab {
    double l = 0.0, a = 0.0, b = 0.0;
};

// Of an sRGB colour of levels 0..255.
Lab labOfSrgb(double red, double green, double blue);

double deltaE2000(const Lab& x, const Lab& y);

// The same for a row of pixels (sRGB levels, 3 bytes each), in floats and without branches, for large
// pictures: within 0.01 of deltaE2000, but where two hues lie opposite each other, at which the formula
// itself jumps.
void deltaE2000OfRow(const std::uint8_t* x, const std::uint8_t* y, int pixels, float* result);

}  // namespace tool
