// stages.html and clahe_curves.svg.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/picture/Rgb.h"
#include "tools/stages/StagePictures.h"

namespace tool {

struct ShownStage {
    std::string file;   // "2_curve", without its ending
    std::string title;  // "Tone curve and saturation"
    RgbPicture picture;
    std::optional<RgbPicture> difference;  // to the one before
};

struct StagesShown {
    std::string input, tuning, about;  // "photo on NEON, scene food"
    std::vector<ShownStage> stages;    // the input first
    std::optional<RgbPicture> mask;
    std::string curves;  // the text of clahe_curves.svg; empty without it
};

// The curves of the tiles, each in its place over the dimmed picture, which is as it lies in its file.
std::string tileCurvesSvg(const std::vector<TileCurve>& curves, const Picture& picture, int columns,
                          int rows);

std::string stagesPage(const StagesShown& shown);

}  // namespace tool
