// A tuning directory as its tables say it, with or without looks: what reports show and compare.
#pragma once

#include <string>
#include <vector>

#include "tools/tuning/Lattice.h"
#include "tools/tuning/TuningFiles.h"

namespace tool {

// One scene table.
struct TableView {
    int number = 0;
    std::string name;   // its look's, else "table 3"
    std::string about;  // its look's sentence; may be empty
    Strengths strengths;
    bool hasCurve = true,
         hasColors = true;     // whole files; what is missing counts as zeros, as in the library
    std::vector<float> curve;  // 256
    Lattice lattice;
    bool reversed = false;                      // strength and sampling as OGL has them
    std::vector<int> photoScenes, frameScenes;  // host scene numbers that show it

    // What tone curve, saturation and colour table make of a colour, on 0..255; without local contrast,
    // correction and protection, which depend on the picture.
    Yuv through(const Yuv& color) const;
};

struct TuningView {
    TuningFiles files;
    ModeSettings photo, frame;
    std::vector<TableView> tables;

    // Throws (exit code 3) when the directory cannot be read.
    explicit TuningView(const std::string& directory);
    // Null when there is none.
    const TableView* find(const std::string& name) const;
};

// A colour within RGB as an SVG colour.
std::string svgColor(const Rgb& color);

}  // namespace tool
