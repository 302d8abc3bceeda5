// Colour adjustments: what a look does to colours, in the order of its list. docs/looks.md has the formulas.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "tools/tuning/Lattice.h"

namespace tool {

// Chroma times 1 + amount.
struct Saturation {
    double amount = 0;  // -1 (grey) to 1
    bool operator==(const Saturation&) const = default;
};

// Chroma of pale colours times 1 + amount, less of it the more colour there is already.
struct Vibrance {
    double amount = 0;  // -1 to 1
    double skin = 0.7;  // 0 to 1: the part of it that skin hues are spared
    bool operator==(const Vibrance&) const = default;
};

// Balance of the light: moves colours along Oklab's axes in proportion to their lightness.
struct Warmth {
    double warmth = 0;  // -1 (blue) to 1 (yellow)
    double tint = 0;    // -1 (green) to 1 (magenta)
    bool operator==(const Warmth&) const = default;
};

// A range of hues, moved. Greys stay.
struct Selective {
    double hue = 0;        // its middle, degrees 0 to 360
    double width = 30;     // degrees to either side, where the effect is gone; 5 to 180
    double shift = 0;      // degrees -60 to 60 that are added to the hue
    double chroma = 0;     // -1 to 1: chroma times 1 + chroma
    double lightness = 0;  // -0.5 to 0.5: added to Oklab's lightness
    bool operator==(const Selective&) const = default;
};

// A tint of shadows or highlights.
struct Tint {
    enum class Range { kShadows, kHighlights };
    Range range = Range::kShadows;
    double hue = 0;     // degrees 0 to 360
    double chroma = 0;  // 0 to 0.1, Oklab
    bool operator==(const Tint&) const = default;
};

// An imported LUT: RGB to RGB on a grid.
struct RgbLut {
    std::string source;  // where it came from, a file's name
    double amount = 1;   // 0 to 1: blend with the input, in RGB
    OutsideGamut outside = OutsideGamut::kKeep;
    LumaWeights weights = LumaWeights::kBt601;  // of the frames that it is meant for
    int size = 2;                               // points of an axis, 2 to 65
    // size^3 colours on 0..1, red fastest, then green, then blue, the order of .cube files; held with 16
    // bits.
    std::vector<Rgb> points;
    bool operator==(const RgbLut&) const = default;

    // Tetrahedral between the points, without the amount.
    Rgb at(const Rgb& color) const;
};

// A table that is kept as it is: adopted, or fitted to pictures.
struct Table {
    std::string source;   // "adopted", "fitted", or other words
    double amount = 1;    // 0 to 1: blend with the input, in YUV
    bool texels = false;  // it was made for the OGL back end: see Lattice::atTexel
    Lattice lattice;
    bool operator==(const Table&) const = default;
};

using Adjustment = std::variant<Saturation, Vibrance, Warmth, Selective, Tint, RgbLut, Table>;

// One of those that work in Oklab, on a colour of any kind; without the roll-off. Lists apply them with
// `applyAdjustments`.
Oklab adjusted(const Adjustment& adjustment, const Oklab& color);

// The whole list on one colour: neighbours that work in Oklab share one conversion and one roll-off to the
// gamut. An empty list returns `color` exactly; so does a table of its own point's value.
Yuv applyAdjustments(const std::vector<Adjustment>& adjustments, const Yuv& color);

// How much a hue is skin's, 0 to 1.
double skinWeight(const OkLch& color);

}  // namespace tool
