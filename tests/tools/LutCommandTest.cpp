// `huevance lut` and `huevance fit` on tuning directories, through to what the library makes of pictures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

struct Color {
    double r, g, b;
};
using Edit = std::function<Color(Color)>;

Color warmer(Color c) { return {std::min(1.0, 1.1 * c.r), c.g, 0.85 * c.b}; }
Color same(Color c) { return c; }

std::string cube(const Edit& edit) {
    std::string text = "LUT_3D_SIZE 9\n";
    for (int i = 0; i < 729; ++i) {
        const Color out = edit({i % 9 / 8.0, i / 9 % 9 / 8.0, i / 81 / 8.0});
        text += std::to_string(out.r) + " " + std::to_string(out.g) + " " + std::to_string(out.b) + "\n";
    }
    return text;
}

// Slow waves of many colours, so that chroma at half the resolution loses nothing to speak of.
RgbPicture waves(double phase) {
    RgbPicture picture{192, 128, {}};
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            for (const double k : {1.0, 1.7, 2.3}) {
                const double value = std::sin(0.03 * k * x + phase * k) + std::sin(0.05 * y / k + phase);
                picture.rgb.push_back(static_cast<std::uint8_t>(127.5 + 55.0 * value));
            }
        }
    }
    return picture;
}

RgbPicture edited(RgbPicture picture, const Edit& edit) {
    for (std::size_t i = 0; i < picture.rgb.size(); i += 3) {
        const Color out =
            edit({picture.rgb[i] / 255.0, picture.rgb[i + 1] / 255.0, picture.rgb[i + 2] / 255.0});
        picture.rgb[i] = static_cast<std::uint8_t>(255 * out.r + 0.5);
        picture.rgb[i + 1] = static_cast<std::uint8_t>(255 * out.g + 0.5);
        picture.rgb[i + 2] = static_cast<std::uint8_t>(255 * out.b + 0.5);
    }
    return picture;
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
        std::string sets = text("photoSet.ini");
        const std::size_t at = sets.find("claheSwitch=1");
        ASSERT_NE(at, std::string::npos);
        sets[at + std::strlen("claheSwitch=")] = '0';
        write("tuning/photoSet.ini", sets);
    }
    std::string write(const std::string& name, const std::string& contents) const {
        return bench.write(name, Bytes(contents.begin(), contents.end()));
    }
    std::string text(const std::string& file) const {
        const Bytes bytes = bench.read("tuning/" + file);
        return {bytes.begin(), bytes.end()};
    }
    std::map<std::string, std::string> all() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            const std::string name = entry.path().filename().string();
            files[name] = text(name);
        }
        return files;
    }
    std::vector<float> table(int scene) const {
        const Bytes bytes = bench.read("tuning/colorLut" + std::to_string(scene));
        std::vector<float> values(bytes.size() / sizeof(float));
        std::memcpy(values.data(), bytes.data(), bytes.size());
        return values;
    }
    ToolResult lutImport(const std::string& file, const Words& more = {}) const {
        return bench.run(join({"lut", "import", directory, "--scene", "vivid", file}, more));
    }
    // What remains between the library's picture and the edit, CIEDE2000.
    double remains(const RgbPicture& picture, const Edit& edit) const {
        const std::string in = bench.write("in.png", encodePng(picture));
        const std::string truth = bench.write("truth.png", encodePng(edited(picture, edit)));
        const ToolResult run =
            bench.run({"run", in, bench.path("out.png"), "-t", directory, "--scene", "vivid"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        return json::parse(
            bench.run({"compare", truth, bench.path("out.png"), "--json"}).out)["delta_e_mean"];
    }
};

TEST_F(LutCommandTest, ImportedLutsAreWhatTheLibraryShows) {
    const std::vector<float> before = table(0);
    ASSERT_EQ(lutImport(write("identity.cube", cube(same))).exitCode, 0);
    const std::vector<float> identity = table(0);
    for (std::size_t i = 0; i < before.size(); ++i) {
        ASSERT_NEAR(before[i], identity[i], 0.01) << i;
    }
    ASSERT_EQ(lutImport(write("warm.cube", cube(warmer))).exitCode, 0);
    EXPECT_LT(remains(waves(1), warmer), 0.6);
    EXPECT_GT(remains(waves(1), same), 3.0);
    // The same file again takes its own place; half of it is half as far.
    ASSERT_EQ(lutImport(bench.path("warm.cube"), {"--amount", "0.5"}).exitCode, 0);
    const Edit half = [](Color c) {
        const Color w = warmer(c);
        return Color{(c.r + w.r) / 2, (c.g + w.g) / 2, (c.b + w.b) / 2};
    };
    EXPECT_LT(remains(waves(1), half), 0.6);
    EXPECT_EQ(json::parse(text("look0.json"))["adjustments"].size(), 2U);
    const std::vector<float> keep = table(0);
    ASSERT_EQ(lutImport(bench.path("warm.cube"), {"--gamut", "clamp"}).exitCode, 0);
    EXPECT_NE(table(0), keep);
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
    const Edit steep = [](Color c) {
        const auto s = [](double x) { return x * x * (3 - 2 * x); };
        return Color{s(c.r), s(c.g), s(c.b)};
    };
    ASSERT_EQ(lutImport(write("steep.cube", cube(steep))).exitCode, 0);
    const double through = remains(texture, steep);
    EXPECT_LT(through, 1.0);
    std::string frames = text("frameSet.ini");
    frames[frames.find("cCorrSwitch=0") + std::strlen("cCorrSwitch=")] = '1';
    write("tuning/frameSet.ini", frames);
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
    bench.run({"run", bench.write("in.png", encodePng(waves(3))), bench.path("whole.png"), "-t", directory,
               "--scene", "vivid"});
    for (const char* file : {"look.cube", "look.png"}) {
        const std::string out = bench.path(file);
        ASSERT_EQ(bench.run({"lut", "export", directory, "--scene", "vivid", out}).exitCode, 0);
        for (const char* off : {"curve=off", "satStrength=1", "lut=off"}) {
            bench.run({"look", "set", directory, "--scene", "vivid", off});
        }
        ASSERT_EQ(lutImport(out).exitCode, 0);
        ASSERT_EQ(bench
                      .run({"run", bench.path("in.png"), bench.path("one.png"), "-t", directory, "--scene",
                            "vivid"})
                      .exitCode,
                  0);
        const json report =
            json::parse(bench.run({"compare", bench.path("whole.png"), bench.path("one.png"), "--json"}).out);
        EXPECT_LT(report["delta_e_mean"].get<double>(), 0.6) << file;
    }
    EXPECT_EQ(bench.run({"lut", "export", directory, "--scene", "vivid", bench.path("look.3dl")}).exitCode,
              2);
    // The usual size, which makes a look of two megabytes; and a part of it, which is not quoted whole.
    ASSERT_EQ(bench.run({"lut", "hald", hald}).exitCode, 0);
    ASSERT_EQ(lutImport(hald).exitCode, 0);
    const std::string whole = text("look0.json");
    ASSERT_GT(whole.size(), 2'000'000U);
    EXPECT_EQ(bench.run({"tuning", "check", directory, "--strict"}).exitCode, 0);
    std::ofstream(directory + "/look0.json") << whole.substr(0, 1'500'000);
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
        const ToolResult result = bench.run(join({"fit", directory, "--scene", "vivid", "--json", "--before",
                                                  before[0], before[1], "--after", after[0], after[1]},
                                                 more));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const json report = json::parse(result.out);
        ASSERT_EQ(report["pairs"].size(), 2U);
        EXPECT_EQ(report["pairs"][1]["before"], before[1]);
        EXPECT_EQ(report["pairs"][1]["after"], after[1]);
        EXPECT_LT(report["pairs"][1]["delta_e_mean"].get<double>(), 0.6);
        EXPECT_LT(report["held_out_delta_e_mean"].get<double>(), 1.0);
        EXPECT_GT(report["covered_percent"].get<double>(), 5.0);
        EXPECT_LT(remains(waves(5), warmer), 1.0);
        EXPECT_NEAR(remains(waves(2), warmer), report["pairs"][1]["delta_e_mean"].get<double>(), 0.1);
    }
    const ToolResult one = bench.run(
        {"fit", directory, "--scene", "vivid", "--json", "--before", before[0], "--after", after[0]});
    EXPECT_TRUE(json::parse(one.out)["held_out_delta_e_mean"].is_null());
}

TEST_F(LutCommandTest, WhatIsRefusedChangesNothing) {
    const std::string a = bench.write("a.png", encodePng(waves(1)));
    const std::string b = bench.write("b.png", encodePng(solid(192, 96, 10, 20, 30)));
    const std::string bad = write("bad.cube", "LUT_3D_SIZE 2\n0 0 0\n");
    const auto files = all();
    const struct {
        Words words;
        int exitCode;
        const char* text;
    } cases[] = {
        {{"lut", "import", directory, "--scene", "vivid", bad}, 3, "bad.cube"},
        {{"lut", "import", directory, "--scene", "vivid", bench.path("none.cube")}, 3, "none.cube"},
        {{"lut", "import", directory, "--scene", "vivid", a}, 3, "192x128 is no HALD"},
        {{"lut", "import", directory, "--scene", "nobody", bad}, 2, "vivid"},
        {{"lut", "import", directory, "--scene", "vivid", bad, "--amount", "1.5"}, 2, "amount"},
        {{"fit", directory, "--scene", "vivid", "--before", a, "--after", b}, 2, "192x128 and 192x96"},
        {{"fit", directory, "--scene", "vivid", "--before", a, a, "--after", a},
         2,
         "2 pictures before and 1 after"},
        {{"fit", directory, "--scene", "vivid", "--before", a, "--after", bad}, 3, "bad.cube"},
        {{"lut", "hald", bench.path("no/where.png")}, 3, "no/where.png"},
    };
    for (const auto& c : cases) {
        const ToolResult result = bench.run(c.words);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.text;
        EXPECT_THAT(result.err, HasSubstr(c.text));
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(all() == files) << c.text;
    }
}

}  // namespace
}  // namespace test
