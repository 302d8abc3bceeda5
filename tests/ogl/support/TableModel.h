// The byte tables of the OpenGL ES back end, step by step as they are described: one float at a time, nothing
// shared with the code under test.
#pragma once

#include <vector>

#include "tests/ogl/support/ShaderModel.h"

namespace test {

// 256 rows of gridWidth x gridHeight bytes, of a tight luma plane.
Bytes modelClaheTable(const Bytes& luma, int width, int height, int gridWidth, int gridHeight, int sampleRate,
                      float strength);

Bytes modelUvCurve(float strength);
Bytes modelCurve(const std::vector<float>& levels);
// 4096 texels from three planes of 4096 levels.
Bytes modelColors(const std::vector<float>& planes);

}  // namespace test
