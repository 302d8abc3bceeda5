// Noise where a picture is flat: what an enhancement does to it shows there first.
#pragma once

#include <optional>

#include "tools/picture/Rgb.h"

namespace tool {

// Standard deviations in levels of BT.601 luma.
struct FlatNoise {
    double reference = 0.0, picture = 0.0;
};

// After Immerkaer, "Fast noise variance estimation", Computer Vision and Image Understanding 64(2), 1996,
// over those blocks of 16 x 16 whose luma varies least in the reference: a tenth of those that are neither
// black nor white (mean luma 16 to 240). Nothing when there are none, or for pictures smaller than a block.
// Equal sizes.
std::optional<FlatNoise> flatNoise(const RgbPicture& reference, const RgbPicture& picture);

}  // namespace tool
