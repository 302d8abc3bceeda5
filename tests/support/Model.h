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

    int& y(int column, int row) { return luma[static_cast<std::size_t>(row * width + column)]; }
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

// The curve of 256 levels of one tile's histogram, before smoothing.
Curve clippedCurve(const std::vector<float>& histogram, float strength);
// One smoothed curve per tile; tile = row x grid.width + column.
std::vector<Curve> tileCurves(Picture picture8, Grid grid, float strength);

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
    std::vector<float> hostMask = {};
};
Picture enhanced(Picture picture, const Tuning& tuning, int format, int bits);

// Some stages by themselves. Writes `after`s chroma, from the chroma of the picture before and the luma of
// both.
void correctColor(Picture before, Picture& after, int range);
// One weight per luma sample; 0 outside whole blocks.
std::vector<float> skinMask(Picture picture8, bool uFirst);
// Blends the picture before into the one after. `top`: what a sample can hold.
void protect(Picture before, Picture& after, const std::vector<float>& mask, int top);

// Preview: the blend of two tunings' strengths and tables in frame k of a fade over T frames; p == q copies.
Tuning faded(const Tuning& p, const Tuning& q, int k, int T);

// Where the frames of a stream stand: between the tables p and q, k frames after the change; p == q: no fade.
// A stream starts at table 1, where there is one. A change of q in mid-fade keeps k; the frame with k = T is
// the last.
struct Fade {
    int p = 1;
    int q = 1;
    int k = 0;

    // This frame's, of the given table.
    Fade next(int table, int tables, int T) {
        q = table;
        if (T < 1 || p >= tables) {
            p = q;
            k = 0;
        }
        const Fade frame = *this;
        const bool ends = p != q && k >= T;
        k = p == q ? k : ends ? 0 : k + 1;
        p = ends ? q : p;
        return frame;
    }
};

}  // namespace model
