// Models of this back end in plain C++. What the composed shader computes, written from its formulas in
// double precision: linear sampling with clamped edges (and a repeating third axis), the stages, and rounding
// to bytes. And the byte tables.
#pragma once

#include <vector>

#include "tests/support/Model.h"

namespace test {

using Bytes = std::vector<unsigned char>;

struct ShaderInput {
    model::Picture picture;
    IMAGE_FORMAT_TYPE format;
    model::Tuning tuning;  // switches, grid, and the table's strength
    Bytes clahe;           // 256 rows of grid.width x grid.height
    Bytes yCurve;
    Bytes uvCurve;
    Bytes color;  // 16 x 16 x 16 texels of three bytes
    int maskWidth = 0;
    int maskHeight = 0;
    Bytes mask;  // 1 keeps the enhanced value
};

// What a phone writes to the output: luma of every pixel, then rows of chroma, the means of four pixels, of
// whole blocks.
std::vector<int> drawnSamples(const ShaderInput& in);

// --- The byte tables: levels are truncated ---

Bytes claheTable(const model::Picture& picture, model::Grid grid, float strength);
Bytes uvCurve(double strength);
Bytes truncated(const std::vector<float>& levels);
// 4096 texels from three planes of 4096 levels.
Bytes colorTexels(const std::vector<float>& planes);

}  // namespace test
