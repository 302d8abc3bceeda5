// `huevance lut` and `huevance fit` on tuning directories, through to what the library makes of pictures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/tools/Colors.h"
#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using tool::Rgb;

Rgb warmer(const Rgb& c) { return {std::min(1.0, 1.1 * c.r), c.g, 0.85 * c.b}; }
Rgb same(const Rgb& c) { return c; }

std::string cube(const Edit& edit) { return "LUT_3D_SIZE 9\n" + gridText(9, edit); }

// Slow waves of many colours, so that chroma at half the resolution loses nothing to speak of.
RgbPicture waves(double phase) {
    return painted(192, 128, [phase](int x, int y, int channel) {
        const double k = 1.0 + 0.65 * channel;
        return 127.5 + 55.0 * (std::sin(0.03 * k * x + phase * k) + std::sin(0.05 * y / k + phase));
    });
}

RgbPicture edited(const RgbPicture& picture, const Edit& edit) {
    return {picture.width, picture.height, editedSamples(picture.rgb, edit)};
}

struct LutCommandTest : testing::Test {
    ToolBench bench;
    std::string directory = bench.path("tuning");

    // A fresh tuning whose scene "vivid" does nothing.
    void SetUp() override {
        ASSERT_EQ(bench.run({"tuning", "new", directory}).exitCode, 0);
        const ToolResult result =
            bench.run({"look", "set", directory, "--scene", "vivid", "curve=off", "curveColor=0",
                       "claheStrength=0", "vibrance=off", "saturation=off"});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        bench.replace("tuning/photoSet.ini", "claheSwitch=1", "claheSwitch=0");
    }
    ToolResult lutImport(const std::string& file, const Words& more = {}) const {
        return bench.run(join({"lut", "import", directory, "--scene", "vivid", file}, more));
    }
    // What remains between the library's picture and the edit, CIEDE2000.
    double remains(const RgbPicture& picture, const Edit& edit) const {
        const std::string truth = bench.write("truth.png", encodePng(edited(picture, edit)));
        return difference(truth, enhanced(picture, "out.png"));
    }
    double difference(const std::string& a, const std::string& b) const {
        return bench.json({"compare", a, b})["delta_e_mean"];
    }
    // What `run` makes of a picture.
    std::string enhanced(const RgbPicture& picture, const std::string& out) const {
        const std::string in = bench.write("in.png", encodePng(picture));
        const ToolResult run = bench.run({"run", in, bench.path(out), "-t", directory, "-s", "vivid"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        return bench.path(out);
    }
};

TEST_F(LutCommandTest, ImportedLutsAreWhatTheLibraryShows) {
    const std::vector<float> before = bench.floats("tuning/colorLut0");
    ASSERT_EQ(lutImport(bench.writeText("identity.cube", cube(same))).exitCode, 0);
    EXPECT_THAT(bench.floats("tuning/colorLut0"), testing::Pointwise(testing::FloatNear(0.01F), before));
    ASSERT_EQ(lutImport(bench.writeText("warm.cube", cube(warmer))).exitCode, 0);
    EXPECT_LT(remains(waves(1), warmer), 0.6);
    EXPECT_GT(remains(waves(1), same), 3.0);
    // The same file again takes its own place; half of it is half as far.
    ASSERT_EQ(lutImport(bench.path("warm.cube"), {"--amount", "0.5"}).exitCode, 0);
    const Edit half = [](const Rgb& c) { return Rgb{(c.r + warmer(c).r) / 2, c.g, 0.925 * c.b}; };
    EXPECT_LT(remains(waves(1), half), 0.6);
    EXPECT_EQ(json::parse(bench.text("tuning/look0.json"))["adjustments"].size(), 2U);
    const std::vector<float> keep = bench.floats("tuning/colorLut0");
    ASSERT_EQ(lutImport(bench.path("warm.cube"), {"--gamut", "clamp"}).exitCode, 0);
    EXPECT_NE(bench.floats("tuning/colorLut0"), keep);
    EXPECT_EQ(bench.run({"tuning", "check", directory}).exitCode, 0);
}

// Contrast reaches the finest texture through the curve stage, while both modes have one right ahead of the
// table; a table that was made for it is named when a switch says otherwise.
TEST_F(LutCommandTest, TonesGoThroughTheCurveStage) {
    RgbPicture texture = waves(1);
    for (std::size_t i = 0; i < texture.rgb.size(); ++i) {
        const std::size_t pixel = i / 3;
        const int up = (pixel + pixel / 192) % 2 == 0 ? 10 : -10;
        texture.rgb[i] = static_cast<std::uint8_t>(std::clamp(texture.rgb[i] + up, 0, 255));
    }
    const Edit steep = [](const Rgb& c) {
        const auto s = [](double x) { return x * x * (3 - 2 * x); };
        return Rgb{s(c.r), s(c.g), s(c.b)};
    };
    ASSERT_EQ(lutImport(bench.writeText("steep.cube", cube(steep))).exitCode, 0);
    const double through = remains(texture, steep);
    EXPECT_LT(through, 1.0);
    bench.replace("tuning/frameSet.ini", "cCorrSwitch=0", "cCorrSwitch=1");
    EXPECT_THAT(bench.run({"tuning", "check", directory}).out, HasSubstr("HV804"));
    EXPECT_EQ(bench.run({"tuning", "check", directory, "--fix"}).exitCode, 0);
    EXPECT_GT(remains(texture, steep), through + 0.2);
}

TEST_F(LutCommandTest, HaldThereAndBackAndExports) {
    const std::string hald = bench.path("hald.png");
    ASSERT_EQ(bench.run({"lut", "hald", hald, "--level", "4"}).exitCode, 0);
    const Bytes png = bench.read("hald.png");
    ASSERT_GT(png.size(), 25U);
    EXPECT_EQ(png[24], 16);  // bits a sample
    const RgbPicture picture = decodePng(png);
    ASSERT_TRUE(picture.width == 64 && picture.height == 64);
    // The second colour is a little red, the last but one all but white.
    EXPECT_THAT(Bytes(picture.rgb.begin() + 3, picture.rgb.begin() + 6), testing::ElementsAre(17, 0, 0));
    EXPECT_THAT(Bytes(picture.rgb.end() - 6, picture.rgb.end() - 3), testing::ElementsAre(238, 255, 255));

    ASSERT_EQ(lutImport(bench.write("graded.png", encodePng(edited(picture, warmer)))).exitCode, 0);
    EXPECT_LT(remains(waves(2), warmer), 0.6);
    // The whole look, with a curve and less colour, into another scene without either.
    ASSERT_EQ(bench
                  .run({"look", "set", directory, "--scene", "vivid", "curve=0,0 128,150 255,255",
                        "satStrength=0.7"})
                  .exitCode,
              0);
    const std::string whole = enhanced(waves(3), "whole.png");
    for (const char* file : {"look.cube", "look.png"}) {
        const std::string out = bench.path(file);
        ASSERT_EQ(bench.run({"lut", "export", directory, "--scene", "vivid", out}).exitCode, 0);
        for (const char* off : {"curve=off", "satStrength=1", "lut=off"}) {
            bench.run({"look", "set", directory, "--scene", "vivid", off});
        }
        ASSERT_EQ(lutImport(out).exitCode, 0);
        EXPECT_LT(difference(whole, enhanced(waves(3), "one.png")), 0.6) << file;
    }
    EXPECT_EQ(bench.run({"lut", "export", directory, "--scene", "vivid", bench.path("look.3dl")}).exitCode,
              2);
    // The usual size, which makes a look of two megabytes; and a part of it, which is not quoted whole.
    ASSERT_EQ(bench.run({"lut", "hald", hald}).exitCode, 0);
    ASSERT_EQ(lutImport(hald).exitCode, 0);
    const std::string look = bench.text("tuning/look0.json");
    ASSERT_GT(look.size(), 2'000'000U);
    EXPECT_EQ(bench.run({"tuning", "check", directory, "--strict"}).exitCode, 0);
    bench.writeText("tuning/look0.json", look.substr(0, 1'500'000));
    const ToolResult cut = bench.run({"tuning", "check", directory, "--strict"});
    EXPECT_EQ(cut.exitCode, 1);
    EXPECT_LT(cut.out.size() + cut.err.size(), 2000U);
}

TEST_F(LutCommandTest, FitsPicturesAndHoldsOnOthers) {
    const auto file = [&](const std::string& name, const RgbPicture& picture) {
        return bench.write(name, encodePng(picture));
    };
    const Words before = {file("1.png", waves(1)), file("2.png", waves(2))};
    const Words after = {file("1w.png", edited(waves(1), warmer)), file("2w.png", edited(waves(2), warmer))};
    for (const Words& more : {Words{}, Words{"--curve"}}) {
        const json report = bench.json(join({"fit", directory, "--scene", "vivid", "--before", before[0],
                                             before[1], "--after", after[0], after[1]},
                                            more));
        ASSERT_EQ(report["pairs"].size(), 2U);
        EXPECT_EQ(report["pairs"][1]["before"], before[1]);
        EXPECT_EQ(report["pairs"][1]["after"], after[1]);
        EXPECT_LT(report["pairs"][1]["delta_e_mean"].get<double>(), 0.6);
        EXPECT_LT(report["held_out_delta_e_mean"].get<double>(), 1.0);
        EXPECT_GT(report["covered_percent"].get<double>(), 5.0);
        EXPECT_LT(remains(waves(5), warmer), 1.0);
        EXPECT_NEAR(remains(waves(2), warmer), report["pairs"][1]["delta_e_mean"].get<double>(), 0.1);
    }
    const json one =
        bench.json({"fit", directory, "--scene", "vivid", "--before", before[0], "--after", after[0]});
    EXPECT_TRUE(one["held_out_delta_e_mean"].is_null());
}

TEST_F(LutCommandTest, WhatIsRefusedChangesNothing) {
    const std::string a = bench.write("a.png", encodePng(waves(1)));
    const std::string b = bench.write("b.png", encodePng(solid(192, 96, 10, 20, 30)));
    const std::string bad = bench.writeText("bad.cube", "LUT_3D_SIZE 2\n0 0 0\n");
    bench.expectRefused(
        {{{"lut", "import", directory, "--scene", "vivid", bad}, 3, "bad.cube"},
         {{"lut", "import", directory, "--scene", "vivid", bench.path("none.cube")}, 3, "none.cube"},
         {{"lut", "import", directory, "--scene", "vivid", a}, 3, "192x128 is no HALD"},
         {{"lut", "import", directory, "--scene", "nobody", bad}, 2, "vivid"},
         {{"lut", "import", directory, "--scene", "vivid", bad, "--amount", "1.5"}, 2, "amount"},
         {{"fit", directory, "--scene", "vivid", "--before", a, "--after", b}, 2, "192x128 and 192x96"},
         {{"fit", directory, "--scene", "vivid", "--before", a, a, "--after", a},
          2,
          "2 pictures before and 1 after"},
         {{"fit", directory, "--scene", "vivid", "--before", a, "--after", bad}, 3, "bad.cube"},
         {{"lut", "hald", bench.path("no/where.png")}, 3, "no/where.png"}});
}

}  // namespace
}  // namespace test
