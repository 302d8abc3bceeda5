#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "core/ToneCurve.h"
#include "tests/support/Frames.h"

namespace {

TEST(UvCurve, ScalesAroundNeutralAndClamps) {
    struct Case {
        float strength;
        int level;
        float expected;
    };
    const Case cases[] = {{1, 0, 0},     {1, 77, 77},  {1, 255, 255}, {0, 0, 128},        {0, 255, 128},
                          {2, 0, 0},     {2, 64, 0},   {2, 65, 2},    {2, 191, 254},      {2, 200, 255},
                          {-1, 28, 228}, {-1, 1, 255}, {-1, 0, 255},  {0.5F, 129, 128.5F}};
    for (const Case& c : cases) {
        std::vector<float> curve(256, -1.0F);
        EXPECT_EQ(huevance::buildUvCurve(c.strength, curve.data()), 0);
        EXPECT_EQ(curve[static_cast<std::size_t>(c.level)], c.expected) << c.strength << " at " << c.level;
    }
}

TEST(CurveMap, RoundsByAddingAHalf) {
    // Output levels on both sides of a half, below 0 and above the range, and not a number.
    const float levels[] = {10.49F, 10.5F, 254.5F, 255.4F, 255.6F,
                            1e30F,  -0.4F, -0.6F,  -1e30F, std::numeric_limits<float>::quiet_NaN()};
    const int expected[] = {10, 11, 255, 255, 255, 255, 0, 0, 0, 0};
    test::Frame frame({10, 3, 11, 5}, 1);
    frame.fill(test::Content::kZero, 256);
    std::vector<float> y(256, 200.0F);
    std::vector<float> uv(256, 100.0F);
    for (int x = 0; x < 10; ++x) {
        frame.setLuma(x, 2, 20 * x);
        frame.setChroma(x, 0, 20 * x + 1);
        y[static_cast<std::size_t>(20 * x)] = levels[x];
        uv[static_cast<std::size_t>(20 * x + 1)] = levels[x];
    }
    EXPECT_EQ(huevance::curveMap_8u(frame.data8(), frame.roi(), y.data(), uv.data(), 256), 0);
    for (int x = 0; x < 10; ++x) {
        EXPECT_EQ(frame.luma(x, 2), expected[x]) << levels[x];
        EXPECT_EQ(frame.chroma(x, 0), expected[x]) << levels[x];
        EXPECT_EQ(frame.luma(x, 0), 10);
    }
    EXPECT_TRUE(frame.paddingUntouched());
}

}  // namespace
