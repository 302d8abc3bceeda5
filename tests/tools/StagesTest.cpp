// `huevance stages`: every picture beside `run` on a tuning that somebody wrote with fewer switches, the mask
// and the tile curves beside what they must say, and the files that it leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>

#include "tests/support/Rig.h"
#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::Key;
using testing::Not;
namespace fs = std::filesystem;

// Smooth, with some noise, in all colours.
RgbPicture photoLike(int width, int height, bool gray) {
    const Bytes grain = noise(static_cast<std::size_t>(3 * width * height), 3);
    return painted(width, height, [&](int x, int y, int channel) {
        const int seen = gray ? 0 : channel;
        const double wave = 128 + 90 * std::sin(x / 17.0 + seen) * std::cos(y / 23.0 + seen);
        return wave + grain[static_cast<std::size_t>(3 * (y * width + x) + seen)] % 16;
    });
}

using Settings = std::map<std::string, std::string>;

struct StagesTest : testing::Test {
    ToolBench bench;
    TuningDir tuning;
    const std::string out = bench.path("shown");

    // Two tables that change everything.
    void write(const TuningDir& directory, const std::string& backEnd, const Settings& values) {
        directory.writePlatform(backEnd, bench.path("."));
        rig::write(directory, {rig::gentleTuning(0), rig::gentleTuning(1)}, values);
    }
    ToolResult stages(const std::string& picture, const Words& more = {}) {
        return bench.run(join({"stages", picture, "-t", tuning.path(), "-o", out}, more));
    }
    RgbPicture shown(const std::string& file) { return decodePng(bench.read("shown/" + file)); }
};

struct Stage {
    const char* file;
    const char* key;
};
constexpr Stage kStages[] = {{"1_clahe", "claheSwitch"},
                             {"2_curve", "curveSwitch"},
                             {"3_correction", "cCorrSwitch"},
                             {"4_table", "colorSwitch"},
                             {"5_protection", "pProtectSwitch"}};

TEST_F(StagesTest, EveryPictureIsWhatRunMakesWithFewerSwitches) {
    const struct {
        const char* backEnd;
        const char* mode;
        int frames;
        std::size_t left;    // stages that this back end leaves out
        std::size_t behind;  // a picture that no tuning with fewer switches makes: kStages' index, 5: none
    } cases[] = {{"CPU", "photo", 1, 0, 5}, {"NEON", "photo", 1, 0, 5}, {"OGL", "photo", 1, 0, 5},
                 {"CPU", "frame", 3, 2, 5}, {"GPU", "frame", 3, 0, 2},  {"OGL", "frame", 1, 0, 5}};
    const std::string in = bench.write("in.png", encodePng(photoLike(67, 49, false)));
    for (const auto& [backEnd, mode, frames, left, behind] : cases) {
        SCOPED_TRACE(std::string(backEnd) + " " + mode);
        Settings values = {
            {"sceneNum", "2"}, {"sceneIdx", "0/1/"}, {"transFrameNum", "5"}, {"maskSource", "2"}};
        for (const Stage& stage : kStages) {
            values[stage.key] = "1";
        }
        write(tuning, backEnd, values);
        const Words way = {"--mode", mode, "--scene", "0", "--frames", std::to_string(frames)};
        fs::remove_all(out);
        const ToolResult result = stages(in, way);
        if (result.exitCode == 5) {
            EXPECT_EQ(bench.run(join({"run", in, bench.path("run.png"), "-t", tuning.path()}, way)).exitCode,
                      5);
            continue;
        }
        ASSERT_EQ(result.exitCode, 0) << result.err;
        RgbPicture before = shown("0_input.png");
        std::size_t pictures = 0;
        Settings upTo = values;
        for (const Stage& stage : kStages) {
            upTo[stage.key] = "0";
        }
        for (const Stage& stage : kStages) {
            upTo[stage.key] = "1";
            const bool correction = &stage == kStages + 2, protection = &stage == kStages + 4;
            ASSERT_EQ(fs::exists(out + "/" + stage.file + ".png"), left == 0 || !(correction || protection));
            if (!fs::exists(out + "/" + stage.file + ".png")) {
                continue;
            }
            const RgbPicture after = shown(std::string(stage.file) + ".png");
            ++pictures;
            if (static_cast<std::size_t>(&stage - kStages) != behind) {
                TuningDir fewer;
                write(fewer, backEnd, upTo);
                ASSERT_EQ(
                    bench.run(join({"run", in, bench.path("run.png"), "-t", fewer.path()}, way)).exitCode, 0);
                EXPECT_EQ(after.rgb, decodePng(bench.read("run.png")).rgb) << stage.file;
            }
            const RgbPicture difference = shown(std::string(stage.file) + "_difference.png");
            std::size_t wrong = 0;
            for (std::size_t i = 0; i < after.rgb.size(); ++i) {
                wrong += difference.rgb[i] != std::clamp(128 + 8 * (after.rgb[i] - before.rgb[i]), 0, 255);
            }
            EXPECT_EQ(wrong, 0U) << stage.file;
            EXPECT_NE(after.rgb, before.rgb) << stage.file;
            before = after;
        }
        EXPECT_EQ(pictures, 5 - left);
        EXPECT_EQ(fs::exists(out + "/mask.png"), left == 0);
        EXPECT_THAT(bench.leftovers(), testing::IsEmpty());
    }
}

// 255 where the input is kept: the host's mask as it is, and skin's likelihood (neutral grey 0.57, green
// less).
TEST_F(StagesTest, Mask) {
    const auto half = [](int, int y, int channel) { return y >= 12 ? 128 : channel == 1 ? 255 : 0; };
    const std::string in = bench.write("in.png", encodePng(painted(32, 24, half)));
    const RgbPicture ramp = painted(32, 24, [](int x, int, int) { return 8 * x; });
    const std::string mask = bench.write("mask.png", encodePng(ramp));
    for (const std::string backEnd : {"CPU", "NEON"}) {
        write(tuning, backEnd, {{"maskSource", "2"}, {"curveSwitch", "1"}, {"pProtectSwitch", "1"}});
        ASSERT_EQ(stages(in).exitCode, 0);
        const RgbPicture skin = shown("mask.png");
        EXPECT_NEAR(skin.rgb[3 * 32 * 20], 0.57 * 255, 1.5) << backEnd;
        EXPECT_LT(skin.rgb[3 * 32 * 4], 80) << backEnd;

        write(tuning, backEnd, {{"maskSource", "1"}, {"curveSwitch", "1"}, {"pProtectSwitch", "1"}});
        ASSERT_EQ(stages(in, {"--mask", mask}).exitCode, 0);
        EXPECT_THAT(shown("mask.png").rgb, testing::Pointwise(testing::DoubleNear(1), ramp.rgb));
    }
    write(tuning, "CPU", {{"curveSwitch", "1"}});
    ASSERT_EQ(stages(in).exitCode, 0);
    // What is off is left out, with what an earlier run left.
    EXPECT_THAT(filesIn(out), testing::ElementsAre(Key("0_input.png"), Key("2_curve.png"),
                                                   Key("2_curve_difference.png"), Key("stages.html")));
}

// At the middle of each tile its curve must map what went in to what came out.
TEST_F(StagesTest, TileCurves) {
    const std::string in = bench.write("in.png", encodePng(photoLike(256, 192, true)));
    const std::regex tile("<polyline stroke=\"#ffd24d\" points=\"([^\"]*)\"");
    for (const std::string sampRate : {"1", "4"}) {
        write(tuning, "NEON",
              {{"claheSwitch", "1"}, {"gridWidth", "4"}, {"gridHeight", "3"}, {"sampRate", sampRate}});
        ASSERT_EQ(stages(in).exitCode, 0);
        const RgbPicture before = shown("0_input.png"), after = shown("1_clahe.png");
        const std::string svg = bench.text("shown/clahe_curves.svg");
        int number = 0;
        for (std::sregex_iterator found(svg.begin(), svg.end(), tile), end; found != end; ++found, ++number) {
            const int left = number % 4 * 64, top = number / 4 * 64;
            const std::size_t middle = 3 * static_cast<std::size_t>((top + 32) * 256 + left + 32);
            const double wanted = before.rgb[middle];
            double nearest = 1000, level = 0, x = 0, y = 0;
            char comma = 0;
            for (std::istringstream points((*found)[1].str()); points >> x >> comma >> y;) {
                const double at = (x - left) * 255 / 64;
                if (std::abs(at - wanted) < nearest) {
                    nearest = std::abs(at - wanted);
                    level = (top + 64 - y) * 255 / 64;
                }
            }
            EXPECT_LT(nearest, 2);
            EXPECT_NEAR(level, after.rgb[middle], 4) << "tile " << number << " sampRate " << sampRate;
        }
        EXPECT_EQ(number, 12);
    }
}

TEST_F(StagesTest, RefusalsAndNames) {
    write(tuning, "CPU", {{"curveSwitch", "1"}});
    const std::string odd = bench.write("a<b>&\"c\nd.png", encodePng(solid(15, 9, 200, 40, 40)));
    ASSERT_EQ(stages(odd).exitCode, 0);
    const std::string page = bench.text("shown/stages.html");
    EXPECT_THAT(page, HasSubstr("a&lt;b&gt;&amp;&quot;c"));
    EXPECT_THAT(page, Not(HasSubstr("a<b>")));
    EXPECT_THAT(page, Not(testing::ContainsRegex("(src|href)=\"(https?:)?//")));

    const std::string raw = bench.write("raw.nv21", noise(1000, 1));
    const std::string in = bench.write("in.png", encodePng(solid(16, 8, 1, 2, 3)));
    fs::remove_all(out);
    bench.expectRefused({{{"stages", raw, "-t", tuning.path(), "-o", out}, 3},
                         {{"stages", in, "-t", tuning.path(), "-o", out, "--scene", "beach"}, 2},
                         {{"stages", in, "-t", tuning.path(), "-o", out, "--backend", "TPU"}, 5},
                         {{"stages", in, "-t", bench.path("none"), "-o", out}, 3},
                         {{"stages", in, "-t", tuning.path(), "-o", in}, 3}});
}

}  // namespace
}  // namespace test
