// The byte tables of the OpenGL ES back end as they are described, in double precision and tile by tile:
// nothing is shared with the code under test.
#pragma once

#include <vector>

#include "tests/ogl/support/ShaderModel.h"

namespace test {

// The CLAHE table of a tight luma plane before it is truncated: 256 rows of gridWidth x gridHeight levels.
//
// Tiles whose filled bins all exceed the clip level leave the clip limit to rounding, unless their sample
// count is a power of two and the strength a short binary fraction: then it is 0, as here.
std::vector<double> modelClaheLevels(const Bytes& luma, int width, int height, int gridWidth, int gridHeight,
                                     int sampleRate, double strength);
// Whether the bytes are the levels truncated. Levels next to a whole number may go either way.
bool truncates(const unsigned char* bytes, const std::vector<double>& levels);

Bytes modelUvCurve(double strength);
// Truncated.
Bytes modelCurve(const std::vector<float>& levels);
// 4096 texels from three planes of 4096 levels, truncated.
Bytes modelColors(const std::vector<float>& planes);

}  // namespace test
