// What the random cases of this program are drawn from: where they begin, and contents of tables.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

#include "tests/support/Frames.h"

namespace test {

// 1, or one more than --gtest_random_seed=N asks for.
inline std::uint32_t firstSeed() { return 1 + static_cast<std::uint32_t>(GTEST_FLAG_GET(random_seed)); }

// A place of a table of levels 0 .. top, and what a table that changes nothing holds there.
struct Place {
    Random& random;
    float neutral, top = 255;

    float inRange(float level) const { return std::clamp(level, 0.0F, top); }
    float near() const { return neutral + 16 * random.unit() - 8; }
    float rarely(float odd, float level) const { return random.below(500) == 0 ? odd : level; }
};

inline constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Each the content of a table.
inline constexpr float (*kLevels[])(const Place& at) = {
    // A picture's: near the identity, and inside the range.
    [](const Place& at) { return at.inRange(at.near()); },
    // Sums with samples end in exactly one half, or next to it.
    [](const Place& at) { return at.inRange(std::floor(at.neutral) + 0.5F); },
    [](const Place& at) { return at.inRange(std::floor(at.neutral) + 0.5F - 1.0F / 32768.0F); },
    [](const Place& at) {
        const float half = std::floor(at.neutral) + static_cast<float>(at.random.below(7)) - 2.5F;
        return at.inRange(std::nextafter(half, at.random.below(2) == 0 ? 0.0F : kInfinity));
    },
    // Offsets around those that one signed byte holds, from -129 to 129, and beyond.
    [](const Place& at) {
        const float sign = at.random.below(2) == 0 ? -1.0F : 1.0F;
        return at.inRange(at.neutral + sign * (126.0F + 3 * at.random.unit()));
    },
    [](const Place& at) { return at.top * at.random.unit(); },
    [](const Place& at) { return std::floor((at.top + 1) * at.random.unit()); },
    // Far enough up that chroma leaves the range where the strength or the levels do.
    [](const Place& at) { return at.inRange(at.neutral + 60); },
    [](const Place& at) { return at.neutral + 60; },
    [](const Place& at) { return at.neutral - 60; },
    // At the ends of the range, just outside, and far outside.
    [](const Place& at) { return at.random.below(2) == 0 ? 0.0F : at.top; },
    [](const Place& at) { return at.rarely(std::nextafter(at.top, kInfinity), at.inRange(at.near())); },
    [](const Place& at) { return at.rarely(-1e-6F, at.inRange(at.near())); },
    [](const Place& at) { return 3 * at.top * at.random.unit() - at.top; },
    // No levels at all.
    [](const Place& at) { return at.rarely(kNan, at.inRange(at.near())); },
    [](const Place& at) {
        const float odd[] = {kNan, kInfinity, -kInfinity, -0.0F, 3e38F, -3e38F, 1e30F, at.top + 0.5F, -0.75F};
        return at.random.below(3) == 0 ? odd[at.random.below(9)] : at.top * at.random.unit();
    },
};
inline constexpr int kTables = static_cast<int>(std::size(kLevels));

}  // namespace test
