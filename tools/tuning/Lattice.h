// A colour table as a value: 16 x 16 x 16 points in YUV, as colorLut<n> holds them.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tools/picture/Color.h"

namespace tool {

class Lattice {
public:
    static constexpr std::size_t kSide = 16;
    static constexpr std::size_t kPoints = kSide * kSide * kSide;
    static constexpr std::size_t kFloats = 3 * kPoints;
    static constexpr double kStep = 255.0 / (kSide - 1);  // levels between two points

    // The identity: every point holds its own levels.
    Lattice();
    // The floats of a colorLut<n>, planar: luma, U, V. There must be kFloats of them.
    explicit Lattice(std::vector<float> values);
    // `map` of every point.
    static Lattice of(const std::function<Yuv(const Yuv&)>& map);

    const std::vector<float>& values() const { return m_values; }
    bool operator==(const Lattice&) const = default;

    // Where point (y, u, v), each 0..15, stands within a plane; and the inverse.
    static std::size_t index(std::size_t y, std::size_t u, std::size_t v) {
        return v * kSide * kSide + u * kSide + y;
    }
    static Yuv levels(std::size_t point);

    Yuv point(std::size_t index) const;
    void setPoint(std::size_t index, const Yuv& value);

    // Trilinear between the points, as the library does it (in double precision); levels outside 0..255 are
    // limited first. What stands at a point is returned exactly there, finite or not.
    Yuv at(const Yuv& color) const;

    // The same for a table that the OGL back end reads: it samples at texel centres, so that point i of an
    // axis is the level of texelLevel(i), and levels before the first centre and behind the last are flat.
    // (Its third axis repeats beyond them; colours of that much chroma do not occur.)
    Yuv atTexel(const Yuv& color) const;
    static double texelLevel(std::size_t i) { return (static_cast<double>(i) + 0.5) * 255.0 / kSide; }
    static Yuv texelLevels(std::size_t point);

private:
    Yuv between(double y, double u, double v) const;

    std::vector<float> m_values;
};

// What becomes of lattice points that are no RGB colours, most of its corners. Photographs hold none of
// them, but the points are neighbours of colours that photographs do hold.
enum class OutsideGamut {
    kKeep,   // mapped where luma and hue leave the gamut, and the rest of their chroma is added again
    kClamp,  // mapped from RGB channels limited to 0..1
};

// A function of RGB colours within the gamut, as a function of any YUV colour. The result is not limited.
Yuv mapYuv(const Yuv& color, OutsideGamut outside, LumaWeights weights,
           const std::function<Rgb(const Rgb&)>& map);

}  // namespace tool
