// `huevance tuning new`: read back with a reader of its own, and judged as a tuning.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <sstream>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::HasSubstr;

constexpr int kTables = 4;
constexpr std::size_t kPlane = 16 * 16 * 16;

struct TuningNewTest : testing::Test {
    ToolBench bench;

    void SetUp() override {
        const ToolResult result = bench.run({"tuning", "new", bench.path("t")});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, "");
    }

    std::string text(const std::string& name) {
        const Bytes bytes = bench.read("t/" + name);
        return {bytes.begin(), bytes.end()};
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
        std::string section;
        const std::string whole = text(name);
        EXPECT_TRUE(whole.size() > 2 && whole.substr(whole.size() - 2) == "\r\n") << name;
        std::istringstream in(whole);
        for (std::string line; std::getline(in, line);) {
            EXPECT_TRUE(line.size() > 1 && line.back() == '\r') << name << ": " << line;
            line.pop_back();
            const std::size_t equals = line.find('=');
            if (line.front() == '[') {
                EXPECT_EQ(line.back(), ']') << name;
                section = line.substr(1, line.size() - 2);
            } else {
                EXPECT_NE(equals, std::string::npos) << name << ": " << line;
                // The library finds a key anywhere in a line: an earlier line must not hold a later one's
                // key.
                const std::string key = line.substr(0, equals);
                for (const auto& [earlier, value] : values) {
                    if (earlier.rfind(section + ".", 0) == 0) {
                        EXPECT_EQ((earlier.substr(section.size() + 1) + "=" + value).find(key),
                                  std::string::npos)
                            << name << ": " << key;
                    }
                }
                values[section + "." + key] = line.substr(equals + 1);
            }
        }
        return values;
    }
};

// The colour stage's look-up, written down anew: trilinear on levels 0..255.
struct Yuv {
    double y, u, v;
};
Yuv lookUp(const std::vector<float>& lut, Yuv in) {
    const double at[] = {in.y * 15 / 255, in.u * 15 / 255, in.v * 15 / 255};
    double out[3] = {};
    for (int corner = 0; corner < 8; ++corner) {
        double weight = 1.0;
        std::size_t index = 0;
        for (int axis = 2; axis >= 0; --axis) {
            const int low = std::min(static_cast<int>(at[axis]), 14);
            const double rest = at[axis] - low;
            const bool high = (corner >> axis & 1) != 0;
            weight *= high ? rest : 1.0 - rest;
            index = index * 16 + static_cast<std::size_t>(low + (high ? 1 : 0));
        }
        for (std::size_t plane = 0; plane < 3; ++plane) {
            out[plane] += weight * static_cast<double>(lut[plane * kPlane + index]);
        }
    }
    return {out[0], out[1], out[2]};
}

TEST_F(TuningNewTest, IniFilesAreComplete) {
    const std::string cache = bench.path("t");
    EXPECT_EQ(ini("platformSet.ini"),
              (std::map<std::string, std::string>{
                  {"platform.photo", "CPU"}, {"platform.frame", "CPU"}, {"cache.path", cache}}));
    for (const bool photo : {true, false}) {
        auto values = ini(photo ? "photoSet.ini" : "frameSet.ini");
        std::vector<std::string> keys = {"hvc.claheSwitch", "hvc.curveSwitch",     "hvc.colorSwitch",
                                         "hvc.cCorrSwitch", "hvc.gridWidth",       "hvc.gridHeight",
                                         "hvc.sampRate",    "portrait.maskSource", "portrait.pProtectSwitch",
                                         "scene.sceneNum",  "scene.sceneIdx"};
        if (photo) {
            keys.insert(keys.end(), {"save.photo", "switch.photoSwitch"});
        } else {
            keys.insert(keys.end(), {"save.frame", "switch.frameSwitch", "hvc.transFrameNum"});
        }
        for (const std::string& key : keys) {
            EXPECT_EQ(values.count(key), 1U) << key;
        }
        EXPECT_EQ(values.size(), keys.size());
        EXPECT_EQ(values[photo ? "switch.photoSwitch" : "switch.frameSwitch"], "1");
        EXPECT_EQ(values["scene.sceneNum"], "4");
        // Every table once, and a "/" after every element.
        EXPECT_EQ(values["scene.sceneIdx"], "1/0/2/3/");
    }
    for (int table = 0; table < kTables; ++table) {
        auto values = ini("param" + std::to_string(table) + ".ini");
        EXPECT_EQ(values.size(), 3U);
        const float color = std::stof(values["hvc.colorStrength"]);
        EXPECT_TRUE(color > 0.0F && color <= 1.0F);
        const float saturation = std::stof(values["hvc.satStrength"]);
        EXPECT_TRUE(saturation >= 1.0F && saturation < 1.5F);
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
            const Yuv gray = lookUp(color, {static_cast<double>(level), 128, 128});
            EXPECT_NEAR(gray.y, level, 0.5) << table;
            EXPECT_NEAR(gray.u, 128, 0.5) << table << " " << level;
            EXPECT_NEAR(gray.v, 128, 0.5) << table << " " << level;
        }
        // Skin keeps its hue; blue and green get more colour, or at least no less.
        const Yuv skin = lookUp(color, {170, 108, 152});
        const double turn = std::atan2(skin.v - 128, skin.u - 128) - std::atan2(24.0, -20.0);
        EXPECT_LT(std::abs(turn) * 180 / 3.14159265, 4.0) << table;
        EXPECT_GT(lookUp(color, {100, 160, 110}).u, 160.0) << table;
        EXPECT_LT(lookUp(color, {120, 100, 110}).v, 110.0) << table;
    }
    EXPECT_EQ(floats("CurveLut"), curves);
    EXPECT_EQ(floats("ColorLut"), colors);
    EXPECT_NE(floats("curveLut0"), floats("curveLut2"));
}

TEST_F(TuningNewTest, EverySceneMakesAnotherPicture) {
    const std::string photo = std::string(HUEVANCE_SOURCE_DIR) + "/samples/portrait.jpg";
    for (const char* mode : {"photo", "frame"}) {
        std::vector<Bytes> pictures;
        for (const char* scene : {"0", "1", "2", "3"}) {
            const ToolResult result = bench.run({"run", photo, bench.path("out.nv12"), "-t", bench.path("t"),
                                                 "-m", mode, "-s", scene, "--format", "nv12"});
            ASSERT_EQ(result.exitCode, 0) << result.err;
            pictures.push_back(bench.read("out.nv12"));
        }
        ASSERT_EQ(bench.run({"convert", photo, bench.path("in.nv12"), "--format", "nv12"}).exitCode, 0);
        pictures.push_back(bench.read("in.nv12"));
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                EXPECT_NE(pictures[i], pictures[j]) << mode << i << j;
            }
        }
        // Night lifts the shadows most; no scene may change the picture's brightness beyond taste.
        const auto mean = [](const Bytes& frame) {
            return std::accumulate(frame.begin(), frame.begin() + 512 * 512, 0.0) / (512.0 * 512.0);
        };
        for (std::size_t scene = 0; scene < 4; ++scene) {
            EXPECT_NEAR(mean(pictures[scene]), mean(pictures[4]), 25.0) << mode << scene;
            EXPECT_LE(mean(pictures[scene]), mean(pictures[2]) + 0.001) << mode << scene;
        }
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
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("x"), "--backend", "a b"}).exitCode, 2);
}

}  // namespace
}  // namespace test
