// The luma curve of a look: control points, or the levels of an adopted curve.
#pragma once

#include <array>
#include <vector>

namespace tool {

struct CurvePoint {
    double x = 0, y = 0;  // levels 0..255
    bool operator==(const CurvePoint&) const = default;
};

using CurveLevels = std::array<float, 256>;  // as curveLut<n> holds them

struct ToneCurve {
    // At least two with rising x and y that does not fall, or none for the identity.
    std::vector<CurvePoint> points;
    // Not empty: exactly these 256 levels instead of points.
    std::vector<float> levels;
    bool operator==(const ToneCurve&) const = default;
};

// Through the points without overshoot (Fritsch and Carlson's monotone cubic, 1980); level before the first
// point and after the last. Throws std::invalid_argument, with what is wrong, for points that are no curve.
CurveLevels levelsOf(const ToneCurve& curve);

// What is wrong with control points, empty when nothing is.
const char* wrongWith(const std::vector<CurvePoint>& points);

// The output of an input level, with straight lines between the levels; beyond 0..255 as at its ends.
double levelAt(const CurveLevels& curve, double x);

// The input level whose output is `level`, with straight lines between the levels; the middle of a flat
// piece. For rising curves.
double inverseOf(const CurveLevels& curve, double level);

}  // namespace tool
