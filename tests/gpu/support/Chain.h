// What a preview frame of this back end must become, from the reference's kernels.
#pragma once

#include <vector>

#include "core/Stages.h"
#include "tests/support/Frames.h"

namespace test {

struct Chain {
    huevance::StageSwitches on;
    int gridWidth = 8;
    int gridHeight = 6;
    int sampRate = 4;
    float colorStrength = 0;
    float satStrength = 0;
    float claheStrength = 0;
    std::vector<float> curve;    // 256
    std::vector<float> lattice;  // 12288
    // The host's mask at its full size; empty: detected skin.
    std::vector<float> mask;
    RoiInfo maskRoi = {};

    void apply(Frame& frame, IMAGE_FORMAT_TYPE type) const;
};

// The stages of five bits: CLAHE, curve, correction, colour, protection.
huevance::StageSwitches stagesOf(int bits);

// Tables as a camera's tuning has them: a curve and a lattice that bend levels gently, `bend` (-1 to 1) to
// one side. Blends of such tables are those of the blended bend.
std::vector<float> gentleCurve(float bend);
std::vector<float> gentleLattice(float bend);

}  // namespace test
