// `huevance tuning new`: read back with a reader of its own, and judged as a tuning.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numeric>
#include <sstream>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

constexpr int kTables = 4;
constexpr std::size_t kPlane = 16 * 16 * 16;

struct TuningNewTest : testing::Test {
    ToolBench bench;

    void SetUp() override {
        const ToolResult result = bench.run({"tuning", "new", bench.path("t")});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, "");
    }

    std::vector<float> floats(const std::string& name) {
        const Bytes bytes = bench.read("t/" + name);
        std::vector<float> values(bytes.size() / sizeof(float));
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
        return values;
    }

    // "section.key" -> value, of a file without blank lines or comments whose lines all end in CR LF.
    std::map<std::string, std::string> ini(const std::string& name) {
        std::map<std::string, std::string> values;
        const Bytes bytes = bench.read("t/" + name);
        std::istringstream in(std::string(bytes.begin(), bytes.end()));
        std::string section, earlier;  // earlier: the section's lines so far
        for (std::string line; std::getline(in, line);) {
            EXPECT_TRUE(line.size() > 1 && line.back() == '\r' && !in.eof()) << name << ": " << line;
            line.pop_back();
            const std::size_t equals = line.find('=');
            if (line.front() == '[') {
                section = line.substr(1, line.size() - 2);
                earlier.clear();
                continue;
            }
            // The library finds a key anywhere in a line: an earlier line must not hold a later one's key.
            const std::string key = line.substr(0, equals);
            EXPECT_TRUE(equals != std::string::npos && earlier.find(key) == std::string::npos)
                << name << line;
            earlier += line + '\n';
            values[section + "." + key] = line.substr(equals + 1);
        }
        return values;
    }
};

// The colour stage's look-up, written down anew: trilinear on levels 0..255.
std::array<double, 3> lookUp(const std::vector<float>& lut, std::array<double, 3> yuv) {
    std::array<double, 3> out = {};
    for (int corner = 0; corner < 8; ++corner) {
        double weight = 1.0;
        std::size_t index = 0;
        for (std::size_t axis = 3; axis-- > 0;) {
            const double at = yuv[axis] * 15 / 255;
            const int low = std::min(static_cast<int>(at), 14), high = corner >> axis & 1;
            weight *= high != 0 ? at - low : 1.0 - (at - low);
            index = index * 16 + static_cast<std::size_t>(low + high);
        }
        for (std::size_t plane = 0; plane < 3; ++plane) {
            out[plane] += weight * static_cast<double>(lut[plane * kPlane + index]);
        }
    }
    return out;
}

TEST_F(TuningNewTest, IniFilesAreComplete) {
    using Ini = std::map<std::string, std::string>;
    EXPECT_EQ(ini("platformSet.ini"),
              (Ini{{"platform.photo", "CPU"}, {"platform.frame", "CPU"}, {"cache.path", bench.path("t")}}));
    for (const bool photo : {true, false}) {
        Ini values = ini(photo ? "photoSet.ini" : "frameSet.ini");
        Words keys = {"hvc.claheSwitch",         "hvc.curveSwitch", "hvc.colorSwitch", "hvc.cCorrSwitch",
                      "hvc.gridWidth",           "hvc.gridHeight",  "hvc.sampRate",    "portrait.maskSource",
                      "portrait.pProtectSwitch", "scene.sceneNum",  "scene.sceneIdx"};
        keys = join(keys, photo ? Words{"save.photo", "switch.photoSwitch"}
                                : Words{"save.frame", "switch.frameSwitch", "hvc.transFrameNum"});
        Words got;
        for (const auto& [key, value] : values) {
            got.push_back(key);
        }
        EXPECT_THAT(got, testing::UnorderedElementsAreArray(keys));
        EXPECT_EQ(values[photo ? "switch.photoSwitch" : "switch.frameSwitch"], "1");
        EXPECT_EQ(values["scene.sceneNum"], "4");
        EXPECT_EQ(values["scene.sceneIdx"], "1/0/2/3/");  // every table once, and a "/" after every element
    }
    for (int table = 0; table < kTables; ++table) {
        Ini values = ini("param" + std::to_string(table) + ".ini");
        EXPECT_EQ(values.size(), 3U);
        const float color = std::stof(values["hvc.colorStrength"]),
                    saturation = std::stof(values["hvc.satStrength"]);
        EXPECT_TRUE(color > 0.0F && color <= 1.0F && saturation >= 1.0F && saturation < 1.5F);
        EXPECT_GT(std::stof(values["hvc.claheStrength"]), 0.0F);
    }
}

TEST_F(TuningNewTest, TablesAreSane) {
    std::vector<float> curves, colors;
    for (int table = 0; table < kTables; ++table) {
        const std::vector<float> curve = floats("curveLut" + std::to_string(table));
        ASSERT_EQ(curve.size(), 256U);
        EXPECT_TRUE(std::is_sorted(curve.begin(), curve.end())) << table;
        EXPECT_EQ(curve.front(), 0.0F);
        EXPECT_NEAR(curve.back(), 255.0F, 0.01F);
        curves.insert(curves.end(), curve.begin(), curve.end());

        const std::vector<float> color = floats("colorLut" + std::to_string(table));
        ASSERT_EQ(color.size(), 3 * kPlane);
        EXPECT_GE(*std::min_element(color.begin(), color.end()), 0.0F);
        EXPECT_LE(*std::max_element(color.begin(), color.end()), 255.0F);
        colors.insert(colors.end(), color.begin(), color.end());
        // Grays stay gray, at every level.
        for (int level = 0; level < 256; level += 5) {
            const auto [y, u, v] = lookUp(color, {static_cast<double>(level), 128, 128});
            EXPECT_TRUE(std::abs(y - level) < 0.5 && std::abs(u - 128) < 0.5 && std::abs(v - 128) < 0.5)
                << table << " " << level;
        }
        // Skin keeps its hue; blue and green get more colour, or at least no less.
        const auto skin = lookUp(color, {170, 108, 152});
        const double turn = std::atan2(skin[2] - 128, skin[1] - 128) - std::atan2(24.0, -20.0);
        EXPECT_LT(std::abs(turn) * 180 / 3.14159265, 4.0) << table;
        EXPECT_GT(lookUp(color, {100, 160, 110})[1], 160.0) << table;
        EXPECT_LT(lookUp(color, {120, 100, 110})[2], 110.0) << table;
    }
    EXPECT_EQ(floats("CurveLut"), curves);
    EXPECT_EQ(floats("ColorLut"), colors);
    EXPECT_NE(floats("curveLut0"), floats("curveLut2"));
}

TEST_F(TuningNewTest, EverySceneMakesAnotherPicture) {
    const std::string photo = std::string(HUEVANCE_SOURCE_DIR) + "/samples/portrait.jpg",
                      out = bench.path("out.nv12");
    for (const char* mode : {"photo", "frame"}) {
        std::vector<Words> commands = {{"convert", photo, out, "--format", "nv12"}};
        for (const char* scene : {"0", "1", "2", "3"}) {
            commands.push_back(
                {"run", photo, out, "-t", bench.path("t"), "-m", mode, "-s", scene, "--format", "nv12"});
        }
        std::vector<Bytes> pictures;
        std::vector<double> means;
        for (const Words& command : commands) {
            ASSERT_EQ(bench.run(command).exitCode, 0);
            const Bytes frame = bench.read("out.nv12");
            EXPECT_EQ(std::count(pictures.begin(), pictures.end(), frame), 0) << mode << means.size();
            pictures.push_back(frame);
            means.push_back(std::accumulate(frame.begin(), frame.begin() + 512 * 512, 0.0) / (512.0 * 512.0));
            EXPECT_NEAR(means.back(), means[0], 25.0) << "brightness beyond taste";
        }
        EXPECT_EQ(std::max_element(means.begin() + 1, means.end()) - means.begin(), 3)
            << "night lifts the shadows most";
    }
}

TEST_F(TuningNewTest, ExistingDirectories) {
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("t")}).exitCode, 3);
    const Bytes before = bench.read("t/photoSet.ini");
    bench.write("t/photoSet.ini", {'x'});
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("t"), "--force", "--backend", "NEON"}).exitCode, 0);
    EXPECT_EQ(bench.read("t/photoSet.ini"), before);
    EXPECT_EQ(ini("platformSet.ini")["platform.photo"], "NEON");
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("u/v/w")}).exitCode, 0);
}

}  // namespace
}  // namespace test
