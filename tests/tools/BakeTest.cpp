// From looks to tables, beside the formulas and through the library's own look-ups.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tools/tuning/Bake.h"
#include "tools/tuning/LookEdit.h"

namespace tool {
namespace {

Look kept(bool texels, double strength) {
    std::vector<float> values(Lattice::kFloats);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<float>(i % 2551) / 10;
    }
    values[9] = std::nanf("");
    Look look;
    look.name = "kept";
    look.colorStrength = strength;
    look.curve.levels.assign(256, 1.0F / 3);
    look.adjustments = {Table{"adopted", 1, texels, Lattice(values)}};
    return look;
}

TEST(BakeTest, PlainLooksAreTheIdentity) {
    const BakedTable plain = bake(Look{}), texels = bake(Look{}, TableReader::kTexels);
    EXPECT_EQ(plain.color, Lattice().values());
    for (std::size_t i = 0; i < 256; ++i) {
        EXPECT_EQ(plain.curve[i], static_cast<float>(i));
        EXPECT_EQ(texels.curve[i], static_cast<float>(i));
    }
    EXPECT_EQ(plain.colorStrength, 1.0F);
    EXPECT_EQ(texels.colorStrength, 0.0F);
    // As OGL samples it, an identity stays one but for the half cells at the ends.
    const Lattice lattice(texels.color);
    for (const double level : {16.0, 64.0, 128.0, 200.0, 240.0}) {
        const Yuv out = lattice.atTexel({level, 128, level});
        EXPECT_NEAR(out.y, level, 2.5);
        EXPECT_NEAR(out.u, 128, 0.6);
        EXPECT_NEAR(out.v, level, 0.6);
    }
}

TEST(BakeTest, KeptTablesComeOutBitForBit) {
    for (const TableReader reader : {TableReader::kLevels, TableReader::kTexels, TableReader::kBoth}) {
        const bool texels = reader == TableReader::kTexels;
        const Look look = kept(texels, lookStrength(0.3F, texels));
        const BakedTable baked = bake(look, reader);
        const std::vector<float>& held = std::get<Table>(look.adjustments[0]).lattice.values();
        EXPECT_EQ(std::memcmp(baked.color.data(), held.data(), held.size() * sizeof(float)), 0);
        EXPECT_EQ(baked.curve, look.curve.levels);
        EXPECT_EQ(baked.colorStrength, 0.3F);
    }
}

TEST(BakeTest, StrengthsReturn) {
    for (int i = 0; i <= 1000; ++i) {
        for (const float strength :
             {static_cast<float>(i) / 1000, static_cast<float>(i) * 0.001F, std::sqrt(i / 1e3F)}) {
            for (const bool reversed : {false, true}) {
                const double look = lookStrength(strength, reversed);
                EXPECT_EQ(static_cast<float>(reversed ? 1 - look : look), strength);
            }
        }
    }
    EXPECT_EQ(lookStrength(0.1F, false), 0.1);
    EXPECT_EQ(lookStrength(0.1F, true), 0.9);
}

// With OGL for one mode and another back end for the other, half of a table that does twice as much.
TEST(BakeTest, BothReadersGetTheSameLook) {
    Look look;
    look.adjustments = {Saturation{0.2}};
    look.colorStrength = 0.75;
    const BakedTable alone = bake(look), both = bake(look, TableReader::kBoth);
    EXPECT_EQ(both.colorStrength, 0.5F);
    for (std::size_t i = 0; i < Lattice::kPoints; ++i) {
        const Yuv in = Lattice::levels(i), a = Lattice(alone.color).point(i),
                  b = Lattice(both.color).point(i);
        const double cpu = in.u + 0.75 * (a.u - in.u), mixed = in.u + 0.5 * (b.u - in.u);
        if (b.u > 0 && b.u < 255) {
            EXPECT_NEAR(mixed, cpu, 1e-2);
        }
    }
}

// Colours keep their hue behind a curve, and what was an RGB colour stays one.
TEST(BakeTest, ColoursFollowTheCurve) {
    const CurveLevels curve = levelsOf({{{0, 0}, {48, 72}, {128, 156}, {255, 255}}, {}});
    int checked = 0;
    for (int i = 0; i < 9 * 9 * 9; ++i) {
        const Rgb rgb = {i % 9 / 8.0, i / 9 % 9 / 8.0, i / 81 / 8.0};
        const Yuv before = toYuv(rgb);
        const auto level = static_cast<std::size_t>(std::lround(before.y));
        const Yuv lifted = {curve[level], before.u, before.v};
        const Yuv full = followCurve(curve, 1, lifted);
        EXPECT_TRUE(inGamut(toRgb(full), 0.02)) << i;
        const OkLch from = toOkLch(toOklab(rgb)), to = toOkLch(toOklab(clamped(toRgb(full))));
        if (from.c > 0.03 && to.c > 0.03 && before.y > 20) {
            EXPECT_LT(hueDistance(from.h, to.h), 2.5) << i;
            // The brightest colours give way, so that no channel is clipped.
            EXPECT_NEAR(full.y, lifted.y, lifted.y > 215 ? 12 : 1.5) << i;
            ++checked;
        }
        const Yuv none = followCurve(curve, 0, lifted);
        if (inGamut(toRgb(lifted), -0.2)) {
            EXPECT_NEAR(none.u, lifted.u, 0.5);
        }
    }
    EXPECT_GT(checked, 500);
}

TEST(LookEditTest, ChangesInWords) {
    const struct {
        const char* change;
        const char* error;  // empty: none
    } cases[] = {
        {"colorStrength=0.5", ""},
        {"curve=0,0 64,50.5 255,255", ""},
        {"vibrance=0.25", ""},
        {"vibrance.skin=1", ""},
        {"selective.hue=140", ""},
        {"selective.2.hue=250", ""},
        {"selective.2.chroma=-0.5", ""},
        {"tint.highlights.hue=80", ""},
        {"tint.chroma=0.01", ""},
        {"saturation=0.1", ""},
        {"saturation=off", ""},
        {"name=other", ""},
        {"colorStrength", "'colorStrength' is not KEY=VALUE"},
        {"colorStrength=1.5", "colorStrength must be a number from 0 to 1, not '1.5'"},
        {"colorStrength=nan", "colorStrength must be a number from 0 to 1, not 'nan'"},
        {"colorStrength=1,5", "colorStrength must be a number from 0 to 1, not '1,5'"},
        {"colourStrength=1", "there is no key 'colourStrength' ('huevance look set --list' shows the keys)"},
        {"vibrance.hue=1", "there is no key 'vibrance.hue' ('huevance look set --list' shows the keys)"},
        {"selective.0.hue=1",
         "there is no key 'selective.0.hue' ('huevance look set --list' shows the keys)"},
        {"selective.4.hue=1", "selective.4.hue: the look has 2 of these"},
        {"tint.shadow.hue=1",
         "there is no key 'tint.shadow.hue' ('huevance look set --list' shows the keys)"},
        {"curve=0,0 9", "a point is X,Y with levels from 0 to 255, not '9'"},
        {"curve=9,9", "curve: a curve needs two points at least"},
        {"curve=9,9 8,8", "curve: x must rise from point to point, by 0.01 at least"},
        {"name=4", "name must be 1 to 31 letters, digits, \"-\" or \"_\", beginning with a letter"},
    };
    Look look;
    look.name = "one";
    for (const auto& c : cases) {
        const Look before = look;
        std::string error;
        try {
            editLook(look, c.change);
        } catch (const ToolError& e) {
            error = e.what();
            EXPECT_EQ(e.code(), ExitCode::kUsage);
            EXPECT_TRUE(look == before);
        }
        EXPECT_EQ(error, c.error) << c.change;
    }
    Look expected;
    expected.name = "other";
    expected.colorStrength = 0.5;
    expected.curve.points = {{0, 0}, {64, 50.5}, {255, 255}};
    expected.adjustments = {Vibrance{0.25, 1}, Selective{140, 30, 0, 0, 0}, Selective{250, 30, 0, -0.5, 0},
                            Tint{Tint::Range::kHighlights, 80, 0.01}};
    EXPECT_TRUE(look == expected);
}

}  // namespace
}  // namespace tool
