// Models of this back end in plain C++ and double precision. What the composed shader computes, written from
// its formulas: linear sampling with clamped edges (and a repeating third axis), the stages, and rounding to
// bytes. And the byte tables.
#pragma once

#include <vector>

#include "core/Stages.h"
#include "jni/algocommon/ImageTypes.h"

namespace test {

using Bytes = std::vector<unsigned char>;

struct ShaderInput {
    int width = 0;
    int height = 0;
    Bytes luma;    // width x height
    Bytes chroma;  // width / 2 x height / 2 pairs
    IMAGE_FORMAT_TYPE format = IMAGE_FORMAT_TYPE_NV12;
    huevance::StageSwitches on;
    int maskType = 0;
    int gridWidth = 8;
    int gridHeight = 6;
    Bytes clahe;  // 256 rows of gridWidth x gridHeight
    Bytes yCurve;
    Bytes uvCurve;
    Bytes color;  // 16 x 16 x 16 texels of three bytes
    float colorStrength = 0.0F;
    int maskWidth = 0;
    int maskHeight = 0;
    Bytes mask;  // 1 keeps the enhanced value
};

// What a phone writes to the output: luma of every pixel, chroma the mean of four.
struct ModelFrame {
    int width = 0;
    Bytes texels;  // Y, U, V of every pixel, as the shader's output is rounded
    int luma(int x, int y) const { return texels[static_cast<std::size_t>(y * width + x) * 3]; }
    // channel 0: U, 1: V, of a 2 x 2 block.
    int chroma(int x, int y, int channel) const;
};
ModelFrame modelFrame(const ShaderInput& in);

// --- The byte tables, tile by tile: nothing is shared with the code under test ---

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
