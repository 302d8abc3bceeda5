// `huevance tuning new`: read back with a reader of its own, and judged as a tuning.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using Ini = std::map<std::string, std::string>;
constexpr std::size_t kPlane = 16 * 16 * 16;

struct TuningNewTest : testing::Test {
    ToolBench bench;

    void SetUp() override { ASSERT_EQ(bench.run({"tuning", "new", bench.path("t")}).exitCode, 0); }

    std::vector<float> floats(const std::string& name) {
        const Bytes bytes = bench.read("t/" + name);
        std::vector<float> values(bytes.size() / sizeof(float));
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
        return values;
    }

    // "section.key" -> value, of a file without blank lines or comments whose lines all end in CR LF.
    Ini ini(const std::string& name) {
        Ini values;
        const Bytes bytes = bench.read("t/" + name);
        std::istringstream in(std::string(bytes.begin(), bytes.end()));
        std::string section, earlier;  // earlier: the section's lines so far
        for (std::string line; std::getline(in, line);) {
            EXPECT_TRUE(line.size() > 1 && line.back() == '\r' && !in.eof()) << name << ": " << line;
            line.pop_back();
            if (line.front() == '[') {
                section = line.substr(1, line.size() - 2);
                earlier.clear();
                continue;
            }
            // The library finds a key anywhere in a line: an earlier line must not hold a later one's key.
            const std::string key = line.substr(0, line.find('='));
            EXPECT_TRUE(key != line && earlier.find(key) == std::string::npos) << name << line;
            earlier += line + '\n';
            values[section + "." + key] = line.substr(key.size() + 1);
        }
        return values;
    }
};

TEST_F(TuningNewTest, IniFilesAreComplete) {
    EXPECT_EQ(ini("platformSet.ini"),
              (Ini{{"platform.photo", "CPU"}, {"platform.frame", "CPU"}, {"cache.path", bench.path("t")}}));
    for (const bool photo : {true, false}) {
        Ini values = ini(photo ? "photoSet.ini" : "frameSet.ini");
        Words keys = {"hvc.cCorrSwitch", "hvc.claheSwitch", "hvc.colorSwitch",        "hvc.curveSwitch",
                      "hvc.gridHeight",  "hvc.gridWidth",   "hvc.sampRate",           "portrait.maskSource",
                      "scene.sceneIdx",  "scene.sceneNum",  "portrait.pProtectSwitch"};
        keys = join(keys, photo ? Words{"save.photo", "switch.photoSwitch"}
                                : Words{"save.frame", "switch.frameSwitch", "hvc.transFrameNum"});
        EXPECT_EQ(values.size(), keys.size());
        for (const std::string& key : keys) {
            EXPECT_EQ(values.count(key), 1U) << key;
        }
        EXPECT_EQ(values[photo ? "switch.photoSwitch" : "switch.frameSwitch"], "1");
        EXPECT_EQ(values["scene.sceneNum"], "8");
        EXPECT_EQ(values["scene.sceneIdx"], "1/0/2/3/4/5/6/7/");  // every table once, "/" after every element
        EXPECT_EQ(values["portrait.pProtectSwitch"], "0");
    }
}

TEST_F(TuningNewTest, TablesAreSane) {
    std::vector<float> curves, colors;
    for (const char* table : {"0", "1", "2", "3", "4", "5", "6", "7"}) {
        SCOPED_TRACE(table);
        Ini values = ini(std::string("param") + table + ".ini");
        const float color = std::stof(values["hvc.colorStrength"]),
                    saturation = std::stof(values["hvc.satStrength"]);
        EXPECT_TRUE(color > 0.0F && color <= 1.0F);
        EXPECT_EQ(saturation, 1.0F);  // bytes of OGL would tint greys otherwise
        EXPECT_GE(std::stof(values["hvc.claheStrength"]), 0.0F);

        const std::vector<float> curve = floats(std::string("curveLut") + table);
        ASSERT_EQ(curve.size(), 256U);
        EXPECT_TRUE(std::is_sorted(curve.begin(), curve.end()));
        EXPECT_LE(curve.front(), 8.0F);
        EXPECT_GE(curve.back(), 245.0F);
        curves.insert(curves.end(), curve.begin(), curve.end());

        const std::vector<float> lut = floats(std::string("colorLut") + table);
        ASSERT_EQ(lut.size(), 3 * kPlane);
        const auto [least, most] = std::minmax_element(lut.begin(), lut.end());
        EXPECT_TRUE(*least >= 0.0F && *most <= 255.0F);
        colors.insert(colors.end(), lut.begin(), lut.end());
        // Greys stay near grey and keep their order.
        const auto at = [&](std::size_t plane, std::size_t y) {
            float mean = 0;  // of the points around 128
            for (const std::size_t corner : {0U, 1U, 2U, 3U}) {
                mean += lut[plane * kPlane + (7 + corner / 2) * 256 + (7 + corner % 2) * 16 + y] / 4;
            }
            return mean;
        };
        for (std::size_t y = 0; y < 16; ++y) {
            EXPECT_NEAR(at(0, y), static_cast<float>(17 * y), 6.0F);
            EXPECT_NEAR(at(1, y), 127.5F, 8.0F);
            EXPECT_NEAR(at(2, y), 127.5F, 8.0F);
        }
    }
    EXPECT_EQ(floats("CurveLut"), curves);
    EXPECT_EQ(floats("ColorLut"), colors);
}

TEST_F(TuningNewTest, EverySceneMakesAnotherPicture) {
    const std::string photo = std::string(HUEVANCE_SOURCE_DIR) + "/samples/portrait.jpg",
                      out = bench.path("o.nv12");
    for (const char* mode : {"photo", "frame"}) {
        std::vector<Bytes> pictures;
        for (const char* scene :
             {"0", "vivid", "2", "portrait", "landscape", "food", "backlight", "document"}) {
            ASSERT_EQ(bench.run({"run", photo, out, "-t", bench.path("t"), "-m", mode, "-s", scene}).exitCode,
                      0);
            pictures.push_back(bench.read("o.nv12"));
            EXPECT_EQ(std::count(pictures.begin(), pictures.end(), pictures.back()), 1) << mode << scene;
        }
    }
}

TEST_F(TuningNewTest, ExistingDirectories) {
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("t")}).exitCode, 3);
    const Bytes before = bench.read("t/photoSet.ini");
    bench.write("t/photoSet.ini", {'x'});
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("t"), "--force", "--photo", "neon"}).exitCode, 0);
    EXPECT_EQ(bench.read("t/photoSet.ini"), before);
    EXPECT_EQ(ini("platformSet.ini")["platform.photo"], "NEON");
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("u/v/w")}).exitCode, 0);
}

TEST_F(TuningNewTest, ChosenLooks) {
    const Words names = {"neutral",   "vivid", "night",     "portrait",
                         "landscape", "food",  "backlight", "document"};
    const ToolResult list = bench.run({"tuning", "new", "--looks", "list"});
    for (const std::string& name : names) {
        EXPECT_NE(list.out.find(name + " "), std::string::npos) << name;
    }
    // Neutral is scene 0, and night is there, asked for or not.
    ASSERT_EQ(bench
                  .run({"tuning", "new", bench.path("few"), "--looks", "food", "--cache", "/data/x",
                        "--photo", "NEON", "--frame", "GPU"})
                  .exitCode,
              0);
    const ToolResult scenes = bench.run({"tuning", "scene", "list", bench.path("few"), "--json"});
    const nlohmann::json json = nlohmann::json::parse(scenes.out);
    std::map<int, std::string> shown;
    for (const auto& table : json["tables"]) {
        shown[table["photo"][0].get<int>()] = table["look"].get<std::string>();
    }
    EXPECT_EQ(shown, (std::map<int, std::string>{{0, "neutral"}, {1, "food"}, {2, "night"}}));
}

}  // namespace
}  // namespace test
