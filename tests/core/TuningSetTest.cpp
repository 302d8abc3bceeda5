// The tuning set: defaults, files and keys, the order of its log lines, what is not there. Tables, their
// blends and the fade's counter are compared with the model in tests/cpu.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/SceneTables.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using huevance::TuningSet;
using std::string;
using std::vector;

// The file of one mode, with the values and keys of the other mode for it to leave alone.
string setFile(bool photo) {
    const string photoKeys = photo ? "photo=2\r\nframe=91" : "photo=91\r\nframe=2";
    const string switches = photo ? "photoSwitch=3\r\nframeSwitch=92" : "photoSwitch=92\r\nframeSwitch=3";
    return "[save]\r\n" + photoKeys + "\r\n[switch]\r\n" + switches +
           "\r\n[hvc]\r\nclaheSwitch=4\r\ncurveSwitch=5\r\ncolorSwitch=6\r\ncCorrSwitch=7\r\ngridWidth=9\r\n"
           "gridHeight=10\r\nsampRate=11\r\ndataBit=93\r\ntransFrameNum=12\r\n[portrait]\r\nmaskSource=13\r\n"
           "pProtectSwitch=14\r\n[scene]\r\nsceneNum=15\r\nsceneIdx=2/0/1/\r\nidxNum=94\r\n";
}

// All integers of a set, in the order of the files' keys.
vector<int> integers(const TuningSet& t) {
    return {t.m_iSavePhoto,   t.m_iSaveFrame,   t.m_iPhotoSwitch,   t.m_iFrameSwitch, t.m_iClaheSwitch,
            t.m_iCurveSwitch, t.m_iColorSwitch, t.m_iCCorrSwitch,   t.m_iGridWidth,   t.m_iGridHeight,
            t.m_iSampRate,    t.m_iDataBit,     t.m_iTransFrameNum, t.m_iMaskSource,  t.m_iPProtectSwitch,
            t.m_iSceneNum,    t.m_iIdxNum};
}
const vector<int> kDefaults = {0, 0, 0, 0, 0, 0, 0, 0, 8, 6, 4, 8, 60, 0, 0, 1, 1};
const vector<int> kPhoto = {2, 0, 3, 0, 4, 5, 6, 7, 9, 10, 11, 8, 60, 13, 14, 15, 3};
const vector<int> kFrame = {0, 2, 0, 3, 4, 5, 6, 7, 9, 10, 11, 8, 12, 13, 14, 15, 3};

class Tuning : public testing::Test {
protected:
    Tuning() { EXPECT_EQ(set().m_acSensorPath, dir.path()); }
    // A new set of the directory.
    TuningSet set() {
        TuningSet result;
        EXPECT_EQ(result.setSensorPath(dir.path().c_str()), 0);
        EXPECT_EQ(log.texts(), vector<string>{"pcSensorPath: " + dir.path()});
        log.clear();
        return result;
    }

    test::TuningDir dir;
    test::LogCapture log;
};

TEST_F(Tuning, FilesAreReadAndLoggedInOrder) {
    dir.write("photoSet.ini", setFile(true));
    dir.write("frameSet.ini", setFile(false));
    for (const bool photo : {true, false}) {
        TuningSet tuning = set();
        EXPECT_EQ(photo ? tuning.readPhotoSet() : tuning.readFrameSet(), 0);
        // clang-format off
        vector<string> texts = {
            "hvc-claheSwitch: 4", "hvc-curveSwitch: 5", "hvc-colorSwitch: 6", "hvc-cCorrSwitch: 7", "hvc-gridWidth: 9",
            "hvc-gridHeight: 10", "hvc-sampRate: 11", "hvc-dataBit: 8", "portrait-maskSource: 13",
            "portrait-pProtectSwitch: 14", "scene-sceneNum: 15", "scene-idxNum: 3"};
        // clang-format on
        texts.insert(texts.begin(), {photo ? "save-photo: 2" : "save-frame: 2",
                                     photo ? "switch-photoSwitch: 3" : "switch-frameSwitch: 3"});
        if (!photo) {
            texts.insert(texts.begin() + 10, "hvc-transFrameNum: 12");
        }
        vector<test::LogLine> lines;
        for (const string& text : texts) {
            lines.push_back({test::kInfo, test::kVersionTag, text});
        }
        EXPECT_EQ(log.lines(), lines);
        EXPECT_EQ(integers(tuning), photo ? kPhoto : kFrame);
        EXPECT_EQ(vector<int>(tuning.m_aiSceneIdx, tuning.m_aiSceneIdx + 4), (vector<int>{2, 0, 1, 0}));
        log.clear();
    }
}

TEST_F(Tuning, WhatIsMissingStaysAsItWas) {
    TuningSet untouched = set();
    EXPECT_EQ(untouched.readPhotoSet() + untouched.readFrameSet(), 0);
    EXPECT_EQ(integers(untouched), kDefaults);
    EXPECT_EQ(untouched.m_fPortraitLutStrength, 0.2F);
    // Each key alone is left out in turn.
    const std::pair<const char*, std::size_t> keys[] = {
        // clang-format off
        {"photo", 0}, {"photoSwitch", 2}, {"claheSwitch", 4}, {"curveSwitch", 5}, {"colorSwitch", 6}, {"cCorrSwitch", 7},
        {"gridWidth", 8}, {"gridHeight", 9}, {"sampRate", 10}, {"maskSource", 13}, {"pProtectSwitch", 14}, {"sceneNum", 15},
        // clang-format on
    };
    for (const auto& [key, position] : keys) {
        SCOPED_TRACE(key);
        string text = setFile(true);
        text.insert(text.find(test::format("\n%s=", key)) + 1, "#");
        dir.write("photoSet.ini", text);
        log.clear();
        TuningSet tuning = set();
        tuning.readPhotoSet();
        vector<int> expected = kPhoto;
        expected[position] = kDefaults[position];
        EXPECT_EQ(integers(tuning), expected);
    }
}

TEST_F(Tuning, SceneListMapsScenesToTables) {
    const struct {
        string scenes;
        int count;
        vector<std::pair<int, int>> tables;  // scene and table
    } cases[] = {
        {"sceneNum=3\r\nsceneIdx=2/0/1/3/-1/",
         5,
         {{0, 2}, {1, 0}, {2, 1}, {3, -1}, {4, -1}, {5, 0}, {511, 0}, {512, -1}, {-1, -1}, {600, -1}}},
        {"sceneNum=2\r\nsceneIdx=", 0, {{0, 0}, {7, 0}}},  // empty values are there, and count as zero
        {"sceneNum=2\r\nsceneIdx=1", 0, {{0, 0}}},
        {"sceneNum=2", 1, {{0, 0}, {511, 0}}},
        {"sceneNum=0\r\nsceneIdx=0/", 1, {{0, -1}}},
        {"sceneNum=1\r\nsceneIdx=" + string(800, '/'), 512, {{511, 0}, {512, -1}}},
    };
    for (const auto& c : cases) {
        dir.write("frameSet.ini", "[hvc]\r\ngridWidth=\r\n[scene]\r\n" + c.scenes + "\r\n");
        log.clear();
        TuningSet tuning = set();
        std::ranges::fill(tuning.m_aiSceneIdx,
                          c.scenes.find("sceneIdx") != string::npos ? 1 : 0);  // an earlier list
        tuning.m_fColorStrength = 0.5F;                                        // the field behind the array
        tuning.readFrameSet();
        EXPECT_EQ(tuning.m_iGridWidth, 0);
        EXPECT_EQ(tuning.m_iIdxNum, c.count);
        EXPECT_EQ(tuning.m_fColorStrength, 0.5F);
        tuning.m_fColorStrength = 0.0F;  // which is no entry, though it looks like one
        for (const auto& [scene, table] : c.tables) {
            log.clear();
            EXPECT_EQ(tuning.tableOfScene(scene), table) << scene;
            const string line = "scene " + std::to_string(scene) + " has no tuning table!";
            EXPECT_EQ(log.texts(), vector<string>(table < 0 ? 1 : 0, line));
        }
    }
}

TEST_F(Tuning, SwitchIsOnAtExactlyOne) {
    for (int field = 0; field < 5; ++field) {
        for (const int value : {0, 1, 2, -1}) {
            TuningSet tuning;
            int* const fields[] = {&tuning.m_iClaheSwitch, &tuning.m_iCurveSwitch, &tuning.m_iCCorrSwitch,
                                   &tuning.m_iColorSwitch, &tuning.m_iPProtectSwitch};
            *fields[field] = value;
            const huevance::StageSwitches s = tuning.switches();
            const int on =
                s.clahe | s.curve << 1 | s.colorCorrect << 2 | s.colorMap << 3 | s.portraitProtect << 4;
            EXPECT_EQ(on, value == 1 ? 1 << field : 0) << field << " = " << value;
        }
    }
}

TEST_F(Tuning, StrengthsOfATable) {
    dir.writeParam(12, 0.25F, 1.5F, 3.0F);
    dir.write("param3.ini", "[hvc]\r\nsatStrength=0.5\r\n");
    dir.write("param4.ini", "[hvc]\r\ncolorStrength=nan\r\nsatStrength=-inf\r\nclaheStrength=1e99\r\n");
    const struct {
        int table;
        vector<float> strengths;
    } steps[] = {
        {9, {0, 0, 0}},                                 // no such file: what was in force
        {12, {0.25F, 1.5F, 3}}, {3, {0.25F, 0.5F, 3}},  // a file with one key
        {9, {0.25F, 0.5F, 3}},  {4, {0, 0, 0}},         // numbers that are none
    };
    TuningSet tuning = set();
    for (const auto& step : steps) {
        EXPECT_EQ(tuning.readHvcParam(step.table), 0);
        EXPECT_EQ((vector<float>{tuning.m_fColorStrength, tuning.m_fSatStrength, tuning.m_fClaheStrength}),
                  step.strengths)
            << step.table;
        EXPECT_EQ(log.texts(test::kInfo).back(), "CHuevance_CPU::readHvcParam finished!");
    }
}

TEST_F(Tuning, AbsurdNumberOfScenesIsRefused) {
    TuningSet tuning = set();
    for (const int number : {2000000000, 4097, 0, -1}) {
        log.clear();
        tuning.m_iSceneNum = number;
        huevance::SceneTables tables;
        EXPECT_EQ(tables.loadStrengths(tuning) + tables.loadCurves(tuning) + tables.loadColors(tuning) +
                      tables.loadCurvesOfOneFile(tuning) + tables.loadColorsOfOneFile(tuning),
                  -5);
        EXPECT_EQ(log.texts(test::kError).size(), 5U);
        EXPECT_FALSE(tables.hasStrengths(number));
    }
}

// Its counter: tests/cpu.
TEST(SceneFade, HasNoTableBeforeWithoutFramesToFadeOver) {
    huevance::SceneFade fade;
    for (const int frames : {0, -5}) {
        fade.begin(frames + 10, 20, frames);
        EXPECT_EQ(fade.previous(), frames + 10);
    }
}

TEST(TuningSetDeathTest, PathsThatDoNotFitAreFatal) {
    test::startDeathTestsSafely();
    constexpr const char* kFatal = "exceeds 511 characters";
    TuningSet tuning;
    EXPECT_EQ(tuning.setSensorPath(nullptr), -1);
    EXPECT_EQ(tuning.setSensorPath(string(511, 'd').c_str()), 0);
    EXPECT_DEATH(tuning.readPhotoSet(), kFatal);
    EXPECT_DEATH(tuning.setSensorPath(string(512, 'd').c_str()), kFatal);
    // "/param100.ini" needs 13 characters more.
    EXPECT_EQ(tuning.setSensorPath(string(498, 'd').c_str()), 0);
    EXPECT_EQ(tuning.readHvcParam(100), 0);
    EXPECT_DEATH(tuning.readHvcParam(1000), kFatal);
}

}  // namespace
