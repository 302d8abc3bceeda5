#include "tools/tuning/Shaper.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace tool {

namespace {

constexpr std::size_t kLevels = std::tuple_size_v<CurveLevels>;
constexpr std::size_t kLattice = 17;  // levels between two of the table's points

// How fast the luma of any colour changes within each of the lattice's steps of luma, at most.
std::array<double, Lattice::kSide - 1> steepest(const std::function<Yuv(const Yuv&)>& map) {
    std::array<double, Lattice::kSide - 1> slopes{};
    for (int chroma = 0; chroma < 49; ++chroma) {
        const double u = 32.0 * (chroma % 7) + 32, v = 32.0 * (chroma / 7) + 32;
        bool lowIs = false;
        double low = 0;
        for (std::size_t step = 0; step <= slopes.size(); ++step) {
            const Yuv color = {static_cast<double>(step * kLattice), u, v};
            const bool is = inGamut(toRgb(color));
            const double luma = is ? map(color).y : 0;
            if (is && lowIs) {
                slopes[step - 1] = std::max(slopes[step - 1], std::abs(luma - low) / kLattice);
            }
            lowIs = is;
            low = luma;
        }
    }
    return slopes;
}

}  // namespace

CurveLevels shaperOf(const std::function<Yuv(const Yuv&)>& map) {
    constexpr double kLeast = 1.0 / 16, kApart = 3;
    std::array<double, kLevels> greys{}, curve{};
    for (std::size_t i = 0; i < kLevels; ++i) {
        greys[i] = map({static_cast<double>(i), 128, 128}).y;
    }
    const auto slopes = steepest(map);
    for (std::size_t i = 1; i < kLevels; ++i) {
        const double slope = greys[i] - greys[i - 1];
        // Where greys fall the table turns them round, and the curve only leaves room for that.
        curve[i] = curve[i - 1] + std::max({slope, -slope, kLeast, slopes[(i - 1) / kLattice] / kApart});
    }
    const double scale = std::min(1.0, 255 / curve.back());
    double offset = 0;
    for (std::size_t i = 0; i < kLevels; ++i) {
        curve[i] *= scale;
        offset += (greys[i] - curve[i]) / kLevels;
    }
    offset = std::clamp(offset, 0.0, 255 - curve.back());
    CurveLevels shaper{}, identity{};
    std::iota(identity.begin(), identity.end(), 0.0F);
    double moved = 0;
    for (std::size_t i = 0; i < kLevels; ++i) {
        shaper[i] = static_cast<float>(curve[i] + offset);
        moved = std::max(moved, std::abs(curve[i] + offset - static_cast<double>(i)));
    }
    return moved < 1 ? identity : shaper;
}

}  // namespace tool
