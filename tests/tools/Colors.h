// Colours in RGB for what has to be tried with many of them, and edits of them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/picture/Color.h"

namespace test {

using Edit = std::function<tool::Rgb(const tool::Rgb&)>;

// side^3 colours with the corners of the gamut, red fastest, as LUT files have them.
inline std::vector<tool::Rgb> colorGrid(int side) {
    std::vector<tool::Rgb> colors;
    for (int i = 0; i < side * side * side; ++i) {
        const double last = side - 1;
        colors.push_back({i % side / last, i / side % side / last, i / side / side / last});
    }
    return colors;
}

// What an edit makes of them, a line each.
inline std::string gridText(int side, const Edit& edit) {
    std::string text;
    for (const tool::Rgb& color : colorGrid(side)) {
        const tool::Rgb out = edit(color);
        text += std::to_string(out.r) + " " + std::to_string(out.g) + " " + std::to_string(out.b) + "\n";
    }
    return text;
}

// The edit of 8-bit samples, as an editor does it.
inline std::vector<std::uint8_t> editedSamples(std::vector<std::uint8_t> rgb, const Edit& edit) {
    const auto level = [](double v) {
        return static_cast<std::uint8_t>(255 * std::clamp(v, 0.0, 1.0) + 0.5);
    };
    for (std::size_t i = 0; i < rgb.size(); i += 3) {
        const tool::Rgb out = edit({rgb[i] / 255.0, rgb[i + 1] / 255.0, rgb[i + 2] / 255.0});
        rgb[i] = level(out.r);
        rgb[i + 1] = level(out.g);
        rgb[i + 2] = level(out.b);
    }
    return rgb;
}

inline double distance(const tool::Rgb& a, const tool::Rgb& b) {
    return std::hypot(a.r - b.r, a.g - b.g, a.b - b.b);
}

inline double distance(const tool::Yuv& a, const tool::Yuv& b) {
    return std::hypot(a.y - b.y, a.u - b.u, a.v - b.v);
}

}  // namespace test
