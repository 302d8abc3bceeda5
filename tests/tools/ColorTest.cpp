// Colour conversion, adjustments, and the lattice beside the library's own look-up.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "core/ColorLut.h"
#include "tests/tools/Colors.h"
#include "tools/tuning/Adjustment.h"

namespace tool {
namespace {

using test::colorGrid;
using test::distance;

// Published values: Ottosson's table for Oklab, JFIF for YUV.
TEST(Color, KnownValues) {
    const struct {
        Rgb rgb;
        Oklab lab;
        Yuv yuv;
    } cases[] = {
        {{1, 1, 1}, {1, 0, 0}, {255, 128, 128}},
        {{0, 0, 0}, {0, 0, 0}, {0, 128, 128}},
        {{1, 0, 0}, {0.62796, 0.22486, 0.12585}, {76.245, 84.972, 255.5}},
        {{0, 1, 0}, {0.86644, -0.23389, 0.17950}, {149.685, 43.528, 21.235}},
        {{0, 0, 1}, {0.45201, -0.03246, -0.31153}, {29.07, 255.5, 107.265}},
    };
    for (const auto& c : cases) {
        const Oklab lab = toOklab(c.rgb);
        EXPECT_NEAR(lab.l, c.lab.l, 1e-4);
        EXPECT_NEAR(lab.a, c.lab.a, 1e-4);
        EXPECT_NEAR(lab.b, c.lab.b, 1e-4);
        EXPECT_LT(distance(toYuv(c.rgb), c.yuv), 1e-2);
    }
    EXPECT_NEAR(toOkLch(toOklab(Rgb{1, 0, 0})).h, 29.23, 0.02);
    EXPECT_NEAR(srgbToLinear(0.5), 0.21404, 1e-5);
}

TEST(Color, ConversionsReturn) {
    for (const Rgb& rgb : colorGrid(9)) {
        EXPECT_LT(distance(toRgb(toOklab(rgb)), rgb), 1e-4);
        EXPECT_LT(distance(toRgb(toOklab(toOkLch(toOklab(rgb)))), rgb), 1e-4);
        EXPECT_LT(distance(toRgb(toYuv(rgb)), rgb), 1e-12);
        EXPECT_LT(distance(toRgb(toYuv(rgb, LumaWeights::kBt709), LumaWeights::kBt709), rgb), 1e-12);
        EXPECT_EQ(gamutShare(toYuv({0.1 + 0.8 * rgb.r, 0.1 + 0.8 * rgb.g, 0.1 + 0.8 * rgb.b})), 1.0);
    }
}

// Every colour of the YUV cube meets the gamut's edge exactly where the share says.
TEST(Color, GamutShareIsTheEdge) {
    int outside = 0;
    for (std::size_t point = 0; point < Lattice::kPoints; ++point) {
        const Yuv color = Lattice::levels(point);
        const double share = gamutShare(color);
        const auto at = [&](double part) {
            return toRgb(Yuv{color.y, 128 + part * (color.u - 128), 128 + part * (color.v - 128)});
        };
        EXPECT_TRUE(inGamut(at(share), 1e-9));
        if (share < 1) {
            ++outside;
            EXPECT_FALSE(inGamut(at(share + 1e-6), 1e-9));
        }
    }
    EXPECT_GT(outside, 2500);  // three quarters of the cube are no colours
}

TEST(Color, RollOffKeepsLightnessAndHueAndOrder) {
    for (double hue = 0; hue < 360; hue += 15) {
        for (const double lightness : {0.05, 0.3, 0.6, 0.95}) {
            const double most = maxChroma(lightness, hue);
            double last = -1;
            for (double chroma = 0; chroma < 3 * most; chroma += most / 20) {
                const OkLch in = {lightness, chroma, hue}, out = toOkLch(rolledOff(toOklab(in), 0));
                EXPECT_TRUE(inGamut(toRgb(toOklab(out)), 1e-6));
                EXPECT_GE(out.c, last);
                EXPECT_NEAR(out.l, lightness, 1e-9);
                EXPECT_TRUE(out.c < 1e-6 || hueDistance(out.h, hue) < 1e-6);
                if (chroma <= 0.8 * maxChroma(lightness, hue, kRollOffTop)) {
                    EXPECT_NEAR(out.c, chroma, 1e-9);
                }
                last = out.c;
            }
            EXPECT_NEAR(toOkLch(rolledOff(toOklab(OkLch{lightness, most, hue}), 1)).c, most, 1e-6);
        }
    }
}

std::vector<float> randomLattice(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<float> values(Lattice::kFloats);
    for (float& value : values) {
        value = static_cast<float>(random() % 2550) / 10.0F;
    }
    return values;
}

// The library's look-up of one block, at full strength and 16 bits for its finer levels.
Yuv libraryLookUp(const std::vector<float>& values, const Yuv& color) {
    constexpr double kScale = 65535.0 / 255.0;
    std::vector<float> wide(values.size());
    huevance::convertColorLut(values.data(), 256, wide.data(), 65536, static_cast<int>(wide.size()));
    const auto level = [&](double value) { return static_cast<unsigned short>(value * kScale); };
    unsigned short block[6] = {level(color.y), level(color.y), level(color.y),
                               level(color.y), level(color.u), level(color.v)};
    RoiInfo roi{};
    roi.width = roi.height = roi.scanline = 2;
    roi.stride = 4;
    huevance::colorMap_16u(block, roi, IMAGE_FORMAT_TYPE_YUV16_LOW, 65536, wide.data(), 16, 1.0F);
    return {block[0] / kScale, block[4] / kScale, block[5] / kScale};
}

TEST(LatticeTest, LooksUpAsTheLibraryDoes) {
    const std::vector<float> values = randomLattice(1);
    const Lattice lattice(values);
    std::mt19937 random(2);
    for (int i = 0; i < 2000; ++i) {
        const auto level = [&] { return static_cast<double>(random() % 256); };
        const Yuv color = {level(), level(), level()};
        EXPECT_LT(distance(lattice.at(color), libraryLookUp(values, color)), 0.02);
        EXPECT_LT(distance(Lattice().at(color), color), 1e-9);
    }
}

// One of every kind, strong.
std::vector<Adjustment> strongAdjustments() {
    return {Saturation{1},
            Saturation{-1},
            Vibrance{1, 0.5},
            Vibrance{-1, 0},
            Warmth{1, -1},
            Selective{30, 60, 60, 1, 0.5},
            Selective{200, 180, -60, -1, -0.5},
            Tint{Tint::Range::kShadows, 270, 0.1},
            Tint{Tint::Range::kHighlights, 60, 0.1}};
}

TEST(Adjustments, StayInTheGamutAndLeaveBlackAndWhite) {
    for (const Adjustment& adjustment : strongAdjustments()) {
        SCOPED_TRACE(adjustment.index());
        for (const Rgb& rgb : colorGrid(9)) {
            EXPECT_TRUE(inGamut(toRgb(applyAdjustments({adjustment}, toYuv(rgb))), 1e-6));
        }
        for (const double grey : {0.0, 1.0}) {
            const Yuv end = toYuv(Rgb{grey, grey, grey});
            EXPECT_LT(distance(applyAdjustments({adjustment}, end), end), 0.02);
        }
    }
}

// Nothing in, nothing done: also for colours on the gamut's edge and outside of it.
TEST(Adjustments, OfNoAmountAreTheIdentity) {
    const std::vector<Adjustment> none = {Saturation{}, Vibrance{}, Warmth{}, Selective{}, Tint{}};
    for (std::size_t point = 0; point < Lattice::kPoints; ++point) {
        const Yuv color = Lattice::levels(point);
        EXPECT_LT(distance(applyAdjustments(none, color), color), 0.02) << point;
        EXPECT_EQ(applyAdjustments({}, color), color);
    }
}

// A step in the input is no jump in the output: twice around the hues at three chromas.
TEST(Adjustments, AreSmooth) {
    for (const Adjustment& adjustment : strongAdjustments()) {
        SCOPED_TRACE(adjustment.index());
        for (const double chroma : {0.02, 0.06, 0.1}) {
            Oklab last = adjusted(adjustment, toOklab(OkLch{0.6, chroma, -0.5}));
            for (double hue = 0; hue < 720; hue += 0.5) {
                const Oklab next = adjusted(adjustment, toOklab(OkLch{0.6, chroma, hue}));
                EXPECT_LT(std::hypot(next.l - last.l, next.a - last.a, next.b - last.b), 0.013);
                last = next;
            }
        }
    }
}

TEST(Adjustments, DoWhatTheirNamesSay) {
    const Oklab skin = toOklab(OkLch{0.65, 0.08, 55}), sky = toOklab(OkLch{0.65, 0.08, 240});
    const auto chroma = [](const Oklab& lab) { return toOkLch(lab).c; };
    EXPECT_NEAR(chroma(adjusted(Saturation{0.5}, sky)), 0.12, 1e-9);
    const Vibrance vibrance{0.5, 1};
    EXPECT_NEAR(chroma(adjusted(vibrance, skin)), 0.08, 1e-9);  // spared
    EXPECT_GT(chroma(adjusted(vibrance, sky)), 0.105);
    EXPECT_GT(adjusted(Warmth{0.5, 0}, sky).b, sky.b);
    EXPECT_GT(adjusted(Warmth{0, 0.5}, sky).a, sky.a);
    const OkLch moved = toOkLch(adjusted(Selective{240, 30, 10, 0.5, -0.1}, sky));
    EXPECT_NEAR(moved.h, 250, 1e-6);
    EXPECT_NEAR(moved.c, 0.12, 1e-9);
    EXPECT_NEAR(moved.l, 0.55, 1e-9);
    const Oklab dark = {0.28, 0, 0}, light = {0.9, 0, 0};
    const Tint shadows{Tint::Range::kShadows, 240, 0.05};
    EXPECT_NEAR(chroma(adjusted(shadows, dark)), 0.05, 1e-3);
    EXPECT_NEAR(chroma(adjusted(shadows, light)), 0, 1e-3);
}

// A LUT that is linear in its corners is looked up linearly; the amount blends; an identity is one outside
// of the gamut, too.
TEST(Adjustments, ImportedLuts) {
    RgbLut lut;
    for (const int size : {2, 3, 33}) {
        lut.size = size;
        lut.points = colorGrid(size);
        lut.amount = 1;
        for (const Rgb& rgb : colorGrid(9)) {
            EXPECT_LT(
                distance(lut.at({0.97 * rgb.r, 0.9 * rgb.g, rgb.b}), {0.97 * rgb.r, 0.9 * rgb.g, rgb.b}),
                1e-9);
        }
        const std::vector<Adjustment> identity = {lut};
        for (std::size_t point = 0; point < Lattice::kPoints; ++point) {
            const Yuv color = Lattice::levels(point);
            EXPECT_LT(distance(applyAdjustments(identity, color), color), 1e-9);
        }
        for (Rgb& point : lut.points) {
            point = {1 - point.b, point.r, 0.25 + point.g / 2};
        }
        for (const Rgb& rgb : colorGrid(9)) {
            EXPECT_LT(distance(lut.at(rgb), {1 - rgb.b, rgb.r, 0.25 + rgb.g / 2}), 1e-9);
        }
        lut.amount = 0.5;
        EXPECT_LT(distance(toRgb(applyAdjustments({lut}, toYuv({0.5, 0.25, 1}))), {0.25, 0.375, 0.6875}),
                  1e-9);
    }
    // Between four corners of a cell, by the order of what is left of each channel: here black, red, red with
    // blue, white.
    lut = {"red", 1, OutsideGamut::kKeep, LumaWeights::kBt601, 2, std::vector<Rgb>(8)};
    lut.points[1] = {1, 1, 1};
    EXPECT_LT(distance(lut.at({0.7, 0.2, 0.4}), {0.3, 0.3, 0.3}), 1e-9);
}

}  // namespace
}  // namespace tool
