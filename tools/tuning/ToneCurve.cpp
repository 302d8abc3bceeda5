#include "tools/tuning/ToneCurve.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace tool {

namespace {

// Slopes at the points that keep every piece monotone (Fritsch and Carlson, with Brodlie's weights).
std::vector<double> slopes(const std::vector<CurvePoint>& points) {
    const std::size_t last = points.size() - 1;
    std::vector<double> chord(last);
    for (std::size_t i = 0; i < last; ++i) {
        chord[i] = (points[i + 1].y - points[i].y) / (points[i + 1].x - points[i].x);
    }
    std::vector<double> slope(points.size());
    slope[0] = chord[0];
    slope[last] = chord[last - 1];
    for (std::size_t i = 1; i < last; ++i) {
        if (chord[i - 1] > 0 && chord[i] > 0) {
            const double before = points[i].x - points[i - 1].x, after = points[i + 1].x - points[i].x;
            const double part = (before + 2 * after) / (3 * (before + after));
            slope[i] = chord[i - 1] * chord[i] / (part * chord[i] + (1 - part) * chord[i - 1]);
        }
    }
    return slope;
}

double hermite(const CurvePoint& from, const CurvePoint& to, double slopeFrom, double slopeTo, double x) {
    const double width = to.x - from.x, t = (x - from.x) / width, s = 1 - t;
    return from.y * s * s * (1 + 2 * t) + to.y * t * t * (3 - 2 * t) +
           width * t * s * (slopeFrom * s - slopeTo * t);
}

}  // namespace

const char* wrongWith(const std::vector<CurvePoint>& points) {
    if (points.size() == 1) {
        return "a curve needs two points at least";
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto inside = [](double level) { return level >= 0 && level <= 255; };
        if (!inside(points[i].x) || !inside(points[i].y)) {
            return "levels are 0 to 255";
        }
        // Closer points would make slopes that no float can tell apart.
        if (i > 0 && points[i].x < points[i - 1].x + 0.01) {
            return "x must rise from point to point, by 0.01 at least";
        }
        if (i > 0 && points[i].y < points[i - 1].y) {
            return "y must not fall";
        }
    }
    return "";
}

CurveLevels levelsOf(const ToneCurve& curve) {
    CurveLevels levels{};
    if (!curve.levels.empty()) {
        if (curve.levels.size() != levels.size()) {
            throw std::invalid_argument("a curve has 256 levels");
        }
        std::copy(curve.levels.begin(), curve.levels.end(), levels.begin());
        return levels;
    }
    const std::vector<CurvePoint> points =
        curve.points.empty() ? std::vector<CurvePoint>{{0, 0}, {255, 255}} : curve.points;
    if (const char* wrong = wrongWith(points); *wrong != '\0') {
        throw std::invalid_argument(wrong);
    }
    const std::vector<double> slope = slopes(points);
    std::size_t piece = 0;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const double x = static_cast<double>(i);
        while (piece + 2 < points.size() && x > points[piece + 1].x) {
            ++piece;
        }
        const double inside = std::clamp(x, points.front().x, points.back().x);
        const double y = hermite(points[piece], points[piece + 1], slope[piece], slope[piece + 1], inside);
        levels[i] = static_cast<float>(std::clamp(y, 0.0, 255.0));
    }
    return levels;
}

double levelAt(const CurveLevels& curve, double x) {
    const double inside = std::clamp(x, 0.0, static_cast<double>(curve.size() - 1));
    const auto low = std::min(static_cast<std::size_t>(inside), curve.size() - 2);
    const double part = inside - static_cast<double>(low);
    return (1 - part) * curve[low] + part * curve[low + 1];
}

double inverseOf(const CurveLevels& curve, double level) {
    const auto below = std::lower_bound(curve.begin(), curve.end(), level,
                                        [](float value, double wanted) { return value < wanted; });
    const auto above = std::upper_bound(curve.begin(), curve.end(), level,
                                        [](double wanted, float value) { return wanted < value; });
    if (below != above) {
        return (static_cast<double>(below - curve.begin()) + static_cast<double>(above - curve.begin()) - 1) /
               2;
    }
    if (below == curve.begin()) {
        return 0;
    }
    if (below == curve.end()) {
        return 255;
    }
    const double low = *(below - 1), high = *below;
    return static_cast<double>(below - curve.begin()) - 1 + (level - low) / (high - low);
}

}  // namespace tool
