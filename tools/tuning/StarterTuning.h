// A complete tuning directory to start from.
#pragma once

#include <string>
#include <vector>

namespace tool {

// One look: a scene's numbers, and the formulas behind its two tables. Levels are 0..255 unless said
// otherwise.
struct StarterLook {
    const char* name;
    float colorStrength;  // blend of the colour table, 0..1
    float satStrength;    // gain of chroma in the curve stage, 1 neutral
    float claheStrength;  // local contrast, 0 least
    // The luma curve, on 0..1: lifted shadows, an S around the middle, and a shoulder that keeps highlights.
    float lift;      // how much the darkest third is raised
    float contrast;  // slope gained in the middle
    // The colour table.
    float vibrance;  // chroma gained by pale colours; saturated ones gain less
    float skinCalm;  // 0..1: how much of that gain skin tones are spared
    float warmth;    // degrees towards orange in warm mid-tones' chroma, in levels
    float deepBlue;  // luma taken from saturated blues, as a part of their luma
};

// Scene tables in the order of their index.
const std::vector<StarterLook>& starterLooks();
// Table index of each host scene number: neutral, vivid, night, portrait.
const std::vector<int>& starterSceneIdx();

std::vector<float> starterCurve(const StarterLook& look);  // 256 levels
std::vector<float> starterColorLut(
    const StarterLook& look);  // 3 x 16^3 levels, planar, luma fastest, then U, then V

// Writes every file into an existing directory; `backEnd` for both modes.
void writeStarterTuning(const std::string& directory, const std::string& backEnd);

}  // namespace tool
