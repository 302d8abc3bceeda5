// From looks to tables, beside the formulas and through the library's own look-ups.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/tools/Colors.h"
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

// The curve stage takes a LUT's tones and the table gives what is left: together they are the look, and
// nearer to it than the table alone.
TEST(BakeTest, ShapedTablesAreTheLook) {
    const auto lutOf = [](double power, double amount) {
        RgbLut lut{"power", amount, OutsideGamut::kKeep, LumaWeights::kBt601, 33, test::colorGrid(33)};
        for (Rgb& c : lut.points) {
            c = {std::pow(c.r, power), std::pow(c.g, power), std::pow(c.b, power)};
        }
        return lut;
    };
    const ToneCurve curve = {{{0, 0}, {128, 150}, {255, 255}}, {}};
    const struct {
        const char* name;
        Look look;
        double steepest;  // of the curve's steps
    } cases[] = {
        {"bright", {"a", "", 1, 1, 0, {}, 0, {lutOf(1 / 1.8, 1)}}, 5.0},
        {"dark", {"a", "", 1, 1, 0, {}, 0, {lutOf(1.8, 1)}}, 1.8},
        {"half, behind a curve",
         {"a", "", 0.5, 1, 0, curve, 0.5, {Saturation{-0.2}, lutOf(1 / 1.8, 0.7)}},
         3.0},
        {"a negative", {"a", "", 1, 1, 0, {}, 0, {lutOf(1, 1)}}, 1.01},
        {"nothing", {"a", "", 1, 1, 0, curve, 0, {lutOf(1, 1)}}, 1.25},
    };
    for (const auto& c : cases) {
        Look look = c.look;
        if (c.name == std::string("a negative")) {
            for (Rgb& color : std::get<RgbLut>(look.adjustments[0]).points) {
                color = {1 - color.r, 1 - color.g, 1 - color.b};
            }
        }
        const CurveLevels own = levelsOf(look.curve);
        const BakedTable baked = bake(look, TableReader::kShaped);
        const Lattice lattice(baked.color);
        double error = 0;
        for (std::size_t y = 0; y < 256; ++y) {
            const Yuv in = {own[y], 120, 132};
            const Yuv followed = look.curveColor > 0 ? followCurve(own, look.curveColor, in) : in;
            const double expected =
                in.y + look.colorStrength * (applyAdjustments(look.adjustments, followed).y - in.y);
            const Yuv out = lattice.at({baked.curve[y], 120, 132});
            error +=
                std::abs(baked.curve[y] + look.colorStrength * (out.y - baked.curve[y]) - expected) / 256;
            if (y > 0) {
                const float step = baked.curve[y] - baked.curve[y - 1];
                EXPECT_GT(step, 0.05F) << c.name << y;
                EXPECT_LT(step, static_cast<float>(c.steepest)) << c.name << y;
            }
        }
        EXPECT_LT(error, 0.5) << c.name;
    }
    // An identity leaves the curve alone, and so does a look that keeps one's levels or has no LUT.
    Look kept = cases[0].look, plain = cases[2].look;
    kept.curve.levels.assign(256, 7.0F);
    plain.adjustments.pop_back();
    for (const Look& look : {cases[4].look, kept, plain}) {
        const BakedTable levels = bake(look), shaped = bake(look, TableReader::kShaped);
        EXPECT_EQ(shaped.curve, levels.curve);
        EXPECT_EQ(shaped.color, levels.color);
    }
}

TEST(BakeTest, ReadersAreWhatBothModesAllow) {
    using R = TableReader;
    const struct {
        const char *photo, *frame;
        int switches[3];  // of previews: curve, table, correction
        R reader;
    } cases[] = {
        {"NEON", "GPU", {1, 1, 0}, R::kShaped}, {"CPU", "CPU", {1, 1, 7}, R::kShaped},
        {"NEON", "GPU", {0, 1, 0}, R::kLevels}, {"NEON", "GPU", {1, 0, 0}, R::kLevels},
        {"NEON", "GPU", {1, 1, 1}, R::kLevels}, {"NEON", "OGL", {1, 1, 0}, R::kBoth},
        {"OGL", "OGL", {1, 1, 0}, R::kTexels},
    };
    for (const auto& c : cases) {
        const auto at = [&c](const char* key) {
            return c.switches[std::string(key) == "curveSwitch"   ? 0
                              : std::string(key) == "colorSwitch" ? 1
                                                                  : 2];
        };
        const auto on = [](const char* key) { return key == std::string("cCorrSwitch") ? 0 : 1; };
        EXPECT_EQ(tableReader(c.photo, on, c.frame, at), c.reader);
        const bool mixed = c.reader == R::kBoth;
        EXPECT_EQ(tableReader(mixed ? c.frame : c.photo, at, mixed ? c.photo : c.frame, on), c.reader);
    }
}

// Colours keep their hue behind a curve, and what was an RGB colour stays one.
TEST(BakeTest, ColoursFollowTheCurve) {
    const CurveLevels curve = levelsOf({{{0, 0}, {48, 72}, {128, 156}, {255, 255}}, {}});
    int checked = 0;
    for (const Rgb& rgb : test::colorGrid(9)) {
        SCOPED_TRACE(testing::Message() << rgb.r << " " << rgb.g << " " << rgb.b);
        const Yuv before = toYuv(rgb);
        const auto level = static_cast<std::size_t>(std::lround(before.y));
        const Yuv lifted = {curve[level], before.u, before.v};
        const Yuv full = followCurve(curve, 1, lifted);
        EXPECT_TRUE(inGamut(toRgb(full), 0.02));
        const OkLch from = toOkLch(toOklab(rgb)), to = toOkLch(toOklab(clamped(toRgb(full))));
        if (from.c > 0.03 && to.c > 0.03 && before.y > 20) {
            EXPECT_LT(hueDistance(from.h, to.h), 2.5);
            // The brightest colours give way, so that no channel is clipped.
            EXPECT_NEAR(full.y, lifted.y, lifted.y > 215 ? 12 : 1.5);
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
