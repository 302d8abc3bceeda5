// A second, plain calculation of every stage, to compare the library with. It works on bare pictures (no
// strides, no chroma offset) and on tables with one curve per tile, so that it shares no layout with the
// library. Float expressions are evaluated from left to right: results are compared bit for bit.
#pragma once

#include <vector>

#include "tests/support/Frames.h"

namespace model {

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<int> luma;    // height rows of width
    std::vector<int> chroma;  // height / 2 rows of width

    int y(int column, int row) const { return luma[static_cast<std::size_t>(row * width + column)]; }
    int& y(int column, int row) { return luma[static_cast<std::size_t>(row * width + column)]; }
    int c(int column, int row) const { return chroma[static_cast<std::size_t>(row * width + column)]; }
    int& c(int column, int row) { return chroma[static_cast<std::size_t>(row * width + column)]; }
    // Luma rows, then chroma rows: comparable with test::Frame::samples().
    std::vector<int> samples() const;
};

Picture fromFrame(const test::Frame& frame);

using Curve = std::vector<float>;

struct Grid {
    int width;
    int height;
    int rate;
};

// One curve of 256 levels per tile, before and after smoothing; tile = row x grid.width + column.
Curve clippedCurve(const std::vector<float>& histogram, float strength);
std::vector<Curve> tileCurves(const Picture& picture8, Grid grid, float strength);
std::vector<Curve> smoothed(const std::vector<Curve>& curves, Grid grid);
Curve widened(const Curve& curve, int bins);
void mapTiles(Picture& picture, const std::vector<Curve>& curves, Grid grid);

Curve saturationCurve(float satStrength);
void mapCurves(Picture& picture, const Curve& y, const Curve& uv);

void correctColor(const Picture& before, Picture& after, int range);

// `first` is the column of axis A's sample in a chroma pair.
void mapColor(Picture& picture, const std::vector<float>& lattice, int first, int range, float strength);

// One weight per luma sample; 0 outside whole blocks.
std::vector<float> skinMask(const Picture& picture8, bool uFirst);
void protect(const Picture& before, Picture& after, const std::vector<float>& mask);

// What a capture or one preview frame does to a picture.
struct Tuning {
    bool clahe = false;
    bool curve = false;
    bool correct = false;
    bool color = false;
    bool protect = false;
    int maskSource = 0;
    Grid grid = {8, 6, 4};
    float colorStrength = 0;
    float satStrength = 0;
    float claheStrength = 0;
    Curve yCurve = Curve(256);
    std::vector<float> lattice = std::vector<float>(3 * 16 * 16 * 16);
    std::vector<float> hostMask;
};
Picture enhanced(Picture picture, const Tuning& tuning, int format, int bits);

// Preview: the blend of two tunings' strengths and tables in frame k of a fade over T frames; p == q copies.
Tuning faded(const Tuning& p, const Tuning& q, int k, int T);

}  // namespace model
