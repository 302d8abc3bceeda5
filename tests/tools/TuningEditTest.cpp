// The commands that change a tuning directory, on whole directories and through the library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using Contents = std::map<std::string, std::string>;

struct TuningEditTest : testing::Test {
    ToolBench bench;

    // A starter with three looks: food, neutral, night are tables 0 to 2; scenes 0 neutral, 1 food, 2 night.
    std::string tuning(const std::string& name = "t", const Words& more = {}) const {
        EXPECT_EQ(bench.run(join({"tuning", "new", bench.path(name), "--looks", "food"}, more)).exitCode, 0);
        return bench.path(name);
    }
    static Words changed(const Contents& before, const Contents& after) {
        Words names;
        for (const auto& [name, bytes] : after) {
            if (before.count(name) == 0 || before.at(name) != bytes) {
                names.push_back(name);
            }
        }
        for (const auto& [name, bytes] : before) {
            if (after.count(name) == 0) {
                names.push_back("-" + name);
            }
        }
        return names;
    }
    int ok(const Words& words) const { return bench.run(words).exitCode; }
    // Scene number -> look.
    std::map<int, std::string> scenes(const std::string& directory) const {
        std::map<int, std::string> all;
        const nlohmann::json json = bench.json({"tuning", "scene", "list", directory});
        for (const auto& table : json["tables"]) {
            EXPECT_EQ(table["photo"], table["frame"]);
            for (const auto& number : table["photo"]) {
                all[number.get<int>()] = table["look"].get<std::string>();
            }
        }
        return all;
    }
};

// Which files each change touches, and nothing else; the fused tables stay what the single ones are, and the
// check has nothing to say.
TEST_F(TuningEditTest, OnlyWhatChangedIsWrittenAndClean) {
    const std::string dir = tuning("t", {"--photo", "NEON", "--frame", "GPU"});
    const std::string lut = bench.writeText("darker.cube",
                                            "LUT_3D_SIZE 2\n0 0 0\n.9 0 0\n0 .8 0\n.9 .8 0\n"
                                            "0 0 .7\n.9 0 .7\n0 .8 .7\n.9 .8 .7\n");
    const std::string photo = HUEVANCE_SOURCE_DIR "/samples/portrait.jpg";
    const auto expectClean = [&](const std::string& directory, const std::string& after) {
        const ToolResult result = bench.run({"tuning", "check", directory});
        EXPECT_EQ(result.exitCode, 0) << after << "\n" << result.out;
        EXPECT_EQ(result.out.find("HV80"), std::string::npos) << after;  // looks and tables say the same
    };
    const struct {
        Words words;
        Words files;
    } cases[] = {
        {{"tuning", "bake", dir}, {}},
        {{"look", "set", dir, "-s", "night", "claheStrength=0.33"}, {"look2.json", "param2.ini"}},
        {{"look", "set", dir, "-s", "1", "about=Eat."}, {"look0.json"}},
        {{"look", "set", dir, "-s", "food", "saturation=0.2"}, {"ColorLut", "colorLut0", "look0.json"}},
        {{"look", "set", dir, "-s", "food", "curveColor=0"}, {"ColorLut", "colorLut0", "look0.json"}},
        {{"curve", "set", dir, "-s", "food", "0,0", "99,120", "255,255"},
         {"CurveLut", "curveLut0", "look0.json"}},
        {{"tuning", "scene", "map", dir, "3", "night"}, {"frameSet.ini", "photoSet.ini"}},
        {{"tuning", "scene", "add", dir, "beach", "--from", "food"},
         {"ColorLut", "CurveLut", "colorLut3", "curveLut3", "frameSet.ini", "look3.json", "param3.ini",
          "photoSet.ini"}},
        {{"tuning", "scene", "remove", dir, "beach"},
         {"ColorLut", "CurveLut", "frameSet.ini", "photoSet.ini", "-colorLut3", "-curveLut3", "-look3.json",
          "-param3.ini"}},
        {{"tuning", "adopt", dir}, {}},
    };
    for (const auto& c : cases) {
        const Contents before = filesIn(dir);
        ASSERT_EQ(ok(c.words), 0) << c.words[1];
        const Contents after = filesIn(dir);
        EXPECT_EQ(changed(before, after), c.files) << c.words[1] << c.words.back();
        expectClean(dir, c.words[1] + c.words.back());
        for (const std::string kind : {"urveLut", "olorLut"}) {
            std::string fused;
            for (int table = 0; table < 3 + (after.count("look3.json") != 0 ? 1 : 0); ++table) {
                fused += after.at("c" + kind + std::to_string(table));
            }
            EXPECT_EQ(after.at("C" + kind), fused);
        }
    }
    EXPECT_EQ(scenes(dir),
              (std::map<int, std::string>{{0, "neutral"}, {1, "food"}, {2, "night"}, {3, "night"}}));
    for (const Words& words : {Words{"lut", "import", dir, "-s", "food", lut},
                               Words{"fit", dir, "-s", "night", "--before", photo, "--after", photo}}) {
        ASSERT_EQ(ok(words), 0) << words[0];
        expectClean(dir, words[0]);
    }
    for (const std::string to : {"CPU", "OGL"}) {
        const std::string out = bench.path("to" + to);
        ASSERT_EQ(ok({"tuning", "retarget", dir, out, "--photo", to, "--frame", "OGL"}), 0);
        expectClean(out, "retarget " + to);
        fs::remove(out + "/look0.json");
        ASSERT_EQ(ok({"tuning", "adopt", out}), 0);
        expectClean(out, "adopt " + to);
    }
}

// What is refused changes nothing.
TEST_F(TuningEditTest, FailedCommandsLeaveTheDirectory) {
    const std::string dir = tuning();
    const std::string bad = bench.writeText("bad.csv", "0,0\n10,20\n9,30\n");
    bench.expectRefused({
        {{"look", "set", dir, "-s", "food", "saturation=0.2", "saturation=7"},
         2,
         "saturation must be a number"},
        {{"look", "set", dir, "-s", "foot", "saturation=0"}, 2, "there is no scene 'foot'"},
        {{"look", "set", dir, "-s", "9", "saturation=0"}, 2, "scene 9 has no table"},
        {{"look", "set", dir, "-s", "food", "name=night"}, 3, "two looks have the name 'night'"},
        {{"look", "set", dir}, 2, "--list"},
        {{"curve", "set", dir, "-s", "food", "0,0", "0,9"}, 2, "x must rise"},
        {{"curve", "import", dir, "-s", "food", bad}, 3, "bad.csv, line 3: x must rise"},
        {{"curve", "import", dir, "-s", "food", dir + "/nothing"}, 3, "cannot read"},
        {{"tuning", "scene", "map", dir, "5", "food"}, 2, "the next scene number is 3"},
        {{"tuning", "scene", "add", dir, "food"}, 3, "two looks have the name 'food'"},
        {{"tuning", "scene", "add", dir, "1st"}, 2, "cannot be a look's name"},
        {{"tuning", "scene", "remove", dir, "food", "--to", "food"}, 2, "cannot be removed"},
        {{"tuning", "bake", dir + "/nothing"}, 3, "there is no tuning directory"},
        {{"tuning", "retarget", dir, dir, "--photo", "CPU", "--frame", "CPU"}, 3, "is not empty"},
        {{"tuning", "retarget", dir, bench.path("out"), "--photo", "GPU", "--frame", "CPU"},
         2,
         "has no such mode"},
    });
}

TEST_F(TuningEditTest, DamagedFilesAreNamed) {
    const struct {
        const char* file;
        const char* text;
        const char* message;
    } cases[] = {
        {"look0.json", "{\n\"name\": \"food\",\n\"sat\": 1}", "look0.json, line 3: sat is not a key"},
        {"photoSet.ini", "[scene]\r\nsceneNum=2\r\nsceneIdx=0/\r\n",
         "sceneNum is 2 in photoSet.ini and 3 in frameSet.ini"},
        {"photoSet.ini", "[scene]\r\nsceneNum=0\r\n", "photoSet.ini: sceneNum is 0, not 1 to 4096"},
    };
    for (const auto& c : cases) {
        const std::string dir = tuning(std::string("d") + std::to_string(&c - cases));
        bench.writeText(fs::path(dir).filename().string() + "/" + c.file, c.text);
        bench.expectRefused({{{"tuning", "bake", dir}, 3, c.message}});
    }
}

// Tables without looks: adopted for every pair of readers, they bake to the bytes that they were.
TEST_F(TuningEditTest, AdoptChangesNoByte) {
    const Words modes[] = {{"--photo", "NEON", "--frame", "GPU"},
                           {"--photo", "OGL", "--frame", "OGL"},
                           {"--photo", "NEON", "--frame", "OGL"}};
    for (const Words& mode : modes) {
        const std::string dir = tuning(mode[1] + mode[3], mode);
        bench.writeText(fs::path(dir).filename().string() + "/param1.ini",
                        "[hvc]\n#=note\ncolorStrength= 0.30 \nsatStrength=1.1x\nclaheStrength=2.5\n");
        for (const char* look : {"/look0.json", "/look1.json", "/look2.json"}) {
            fs::remove(dir + look);
        }
        const Contents before = filesIn(dir);
        ASSERT_EQ(ok({"tuning", "adopt", dir}), 0);
        EXPECT_EQ(changed(before, filesIn(dir)), (Words{"look0.json", "look1.json", "look2.json"}));
        const Contents adopted = filesIn(dir);
        ASSERT_EQ(ok({"tuning", "bake", dir}), 0);
        EXPECT_TRUE(filesIn(dir) == adopted);
        EXPECT_EQ(ok({"look", "set", dir, "-s", "table1", "satStrength=1"}), 0);
        EXPECT_THAT(changed(adopted, filesIn(dir)), testing::ElementsAre("look1.json", "param1.ini"));
    }
    const std::string dir = tuning("short");
    fs::remove(dir + "/look2.json");
    bench.writeText("short/curveLut2", "1234");
    EXPECT_EQ(ok({"tuning", "adopt", dir}), 3);
    EXPECT_EQ(ok({"tuning", "bake", dir}), 3);
}

TEST_F(TuningEditTest, ScenesKeepTheirNumbers) {
    const std::string dir = tuning();
    using Scenes = std::map<int, std::string>;
    EXPECT_EQ(ok({"tuning", "scene", "add", dir, "document"}), 0);
    EXPECT_EQ(scenes(dir), (Scenes{{0, "neutral"}, {1, "food"}, {2, "night"}, {3, "document"}}));
    EXPECT_EQ(ok({"tuning", "scene", "remove", dir, "food"}), 0);
    EXPECT_EQ(scenes(dir), (Scenes{{0, "neutral"}, {1, "neutral"}, {2, "night"}, {3, "document"}}));
    EXPECT_EQ(ok({"tuning", "scene", "remove", dir, "document"}), 0);
    EXPECT_EQ(scenes(dir), (Scenes{{0, "neutral"}, {1, "neutral"}, {2, "night"}}));
    EXPECT_EQ(ok({"tuning", "scene", "map", dir, "1", "night"}), 0);
    EXPECT_EQ(scenes(dir), (Scenes{{0, "neutral"}, {1, "night"}, {2, "night"}}));
    EXPECT_EQ(ok({"tuning", "scene", "remove", dir, "neutral", "--to", "night"}), 0);
    EXPECT_EQ(scenes(dir), (Scenes{{0, "night"}, {1, "night"}, {2, "night"}}));
    EXPECT_EQ(ok({"tuning", "scene", "remove", dir, "night"}), 2);
}

TEST_F(TuningEditTest, CurvesGoOutAndComeBack) {
    const std::string dir = tuning();
    ASSERT_EQ(ok({"curve", "export", dir, "-s", "night", bench.path("c.csv")}), 0);
    ASSERT_EQ(ok({"curve", "import", dir, "-s", "food", bench.path("c.csv")}), 0);
    ASSERT_EQ(ok({"curve", "export", dir, "-s", "food", bench.path("d.csv")}), 0);
    EXPECT_EQ(bench.read("c.csv"), bench.read("d.csv"));
    bench.writeText("p.csv", "in;out\n# points\n0;0\r\n64; 32\n\n255\t255\n");
    ASSERT_EQ(ok({"curve", "import", dir, "-s", "food", bench.path("p.csv")}), 0);
    ASSERT_EQ(ok({"curve", "set", dir, "-s", "night", "0,0", "64,32", "255,255"}), 0);
    EXPECT_EQ(bench.read("t/curveLut0"), bench.read("t/curveLut2"));
}

// `run` takes names; two names of one number are one picture.
TEST_F(TuningEditTest, ScenesByName) {
    const std::string dir = tuning(), photo = std::string(HUEVANCE_SOURCE_DIR) + "/samples/still_life.jpg";
    const auto picture = [&](const Words& more) {
        const ToolResult result = bench.run(join({"run", photo, bench.path("o.nv12"), "-t", dir}, more));
        return result.exitCode == 0 ? bench.text("o.nv12") : result.err;
    };
    EXPECT_EQ(picture({"-s", "night"}), picture({"-s", "2"}));
    EXPECT_NE(picture({"-s", "night"}), picture({"-s", "food"}));
    EXPECT_EQ(picture({"-m", "frame", "--scenes", "0:night,1:food", "-n", "2"}),
              picture({"-m", "frame", "--scenes", "0:2,1:1", "-n", "2"}));
    EXPECT_EQ(ok({"run", photo, bench.path("o.nv12"), "-t", dir, "-s", "supper"}), 2);
}

// The same look on other back ends: OGL with its reversed strength, and beside another one.
TEST_F(TuningEditTest, RetargetKeepsTheLook) {
    const std::string dir = tuning("from", {"--photo", "NEON", "--frame", "GPU"});
    const Contents before = filesIn(dir);
    ASSERT_EQ(ok({"tuning", "retarget", dir, bench.path("same"), "--photo", "CPU", "--frame", "CPU"}), 0);
    EXPECT_EQ(changed(before, filesIn(bench.path("same"))), (Words{"platformSet.ini"}));
    ASSERT_EQ(ok({"tuning", "retarget", dir, bench.path("ogl"), "--photo", "OGL", "--frame", "OGL"}), 0);
    EXPECT_THAT(filesIn(bench.path("ogl")).at("param0.ini"), testing::Ne(before.at("param0.ini")));
    ASSERT_EQ(ok({"tuning", "retarget", bench.path("ogl"), bench.path("back"), "--photo", "NEON", "--frame",
                  "GPU"}),
              0);
    EXPECT_EQ(changed(before, filesIn(bench.path("back"))), Words());
    EXPECT_TRUE(filesIn(dir) == before);
}

}  // namespace
}  // namespace test
