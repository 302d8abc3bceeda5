// The tuning set: defaults, files and keys, the order of its log lines, and what is not there.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/TuningSet.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using huevance::TuningSet;
using std::string;
using std::vector;

constexpr const char* kPhotoSet =
    "[save]\r\nphoto=2\r\nframe=91\r\n[switch]\r\nphotoSwitch=3\r\nframeSwitch=92\r\n"
    "[hvc]\r\nclaheSwitch=4\r\ncurveSwitch=5\r\ncolorSwitch=6\r\ncCorrSwitch=7\r\ngridWidth=9\r\ngridHeight="
    "10\r\n"
    "sampRate=11\r\ndataBit=93\r\ntransFrameNum=12\r\n[portrait]\r\nmaskSource=13\r\npProtectSwitch=14\r\n"
    "[scene]\r\nsceneNum=15\r\nsceneIdx=2/0/1/\r\nidxNum=94\r\n";
// The same keys and values, and those of the other mode.
string frameSet() {
    string text = kPhotoSet;
    text.replace(text.find("photo=2\r\nframe=91"), 17, "photo=91\r\nframe=2");
    text.replace(text.find("photoSwitch=3\r\nframeSwitch=92"), 29, "photoSwitch=92\r\nframeSwitch=3");
    return text;
}

// A tuning set of `dir`; its own line about that is not in any log of the tests.
TuningSet tuningOf(const test::TuningDir& dir) {
    const test::LogCapture log;
    TuningSet tuning;
    EXPECT_EQ(tuning.setSensorPath(dir.path().c_str()), 0);
    EXPECT_EQ(log.texts(test::kInfo), vector<string>{"pcSensorPath: " + dir.path()});
    return tuning;
}

// All integers of a set, in the order of the files' keys.
vector<int> integers(const TuningSet& t) {
    return {t.m_iSavePhoto,   t.m_iSaveFrame,   t.m_iPhotoSwitch,   t.m_iFrameSwitch, t.m_iClaheSwitch,
            t.m_iCurveSwitch, t.m_iColorSwitch, t.m_iCCorrSwitch,   t.m_iGridWidth,   t.m_iGridHeight,
            t.m_iSampRate,    t.m_iDataBit,     t.m_iTransFrameNum, t.m_iMaskSource,  t.m_iPProtectSwitch,
            t.m_iSceneNum,    t.m_iIdxNum};
}
const vector<int> kDefaults = {0, 0, 0, 0, 0, 0, 0, 0, 8, 6, 4, 8, 60, 0, 0, 1, 1};

TEST(TuningSet, Defaults) {
    const TuningSet tuning;
    EXPECT_EQ(integers(tuning), kDefaults);
    EXPECT_EQ(tuning.m_aiSceneIdx[0], 0);
    EXPECT_EQ(tuning.m_fPortraitLutStrength, 0.2F);
    EXPECT_TRUE(tuning.m_fColorStrength == 0.0F && tuning.m_fSatStrength == 0.0F &&
                tuning.m_fClaheStrength == 0.0F);
}

TEST(TuningSet, FilesAreReadAndLoggedInOrder) {
    const test::TuningDir dir;
    dir.write("photoSet.ini", kPhotoSet);
    dir.write("frameSet.ini", frameSet());
    for (const bool photo : {true, false}) {
        TuningSet tuning = tuningOf(dir);
        tuning.m_iDataBit = 10;
        const test::LogCapture log;
        EXPECT_EQ(photo ? tuning.readPhotoSet() : tuning.readFrameSet(), 0);
        // clang-format off
        vector<string> texts = {
            "hvc-claheSwitch: 4", "hvc-curveSwitch: 5", "hvc-colorSwitch: 6", "hvc-cCorrSwitch: 7", "hvc-gridWidth: 9",
            "hvc-gridHeight: 10", "hvc-sampRate: 11", "hvc-dataBit: 10", "portrait-maskSource: 13",
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
        EXPECT_EQ(integers(tuning),
                  (photo ? vector<int>{2, 0, 3, 0, 4, 5, 6, 7, 9, 10, 11, 10, 60, 13, 14, 15, 3}
                         : vector<int>{0, 2, 0, 3, 4, 5, 6, 7, 9, 10, 11, 10, 12, 13, 14, 15, 3}));
        EXPECT_EQ(vector<int>(tuning.m_aiSceneIdx, tuning.m_aiSceneIdx + 4), (vector<int>{2, 0, 1, 0}));
    }
}

TEST(TuningSet, WhatIsMissingStaysAsItWas) {
    const test::TuningDir dir;
    {
        TuningSet tuning = tuningOf(dir);
        const test::LogCapture quiet;
        EXPECT_EQ(tuning.readPhotoSet() + tuning.readFrameSet(), 0);
        EXPECT_EQ(integers(tuning), kDefaults);
    }
    // Each key alone is left out in turn.
    const std::pair<const char*, std::size_t> keys[] = {
        // clang-format off
        {"photo", 0}, {"photoSwitch", 2}, {"claheSwitch", 4}, {"curveSwitch", 5}, {"colorSwitch", 6}, {"cCorrSwitch", 7},
        {"gridWidth", 8}, {"gridHeight", 9}, {"sampRate", 10}, {"maskSource", 13}, {"pProtectSwitch", 14}, {"sceneNum", 15},
        // clang-format on
    };
    for (const auto& [key, position] : keys) {
        SCOPED_TRACE(key);
        string text = kPhotoSet;
        text.insert(text.find(test::format("\n%s=", key)) + 1, "#");
        dir.write("photoSet.ini", text);
        TuningSet tuning = tuningOf(dir);
        const test::LogCapture quiet;
        tuning.readPhotoSet();
        vector<int> expected = {2, 0, 3, 0, 4, 5, 6, 7, 9, 10, 11, 8, 60, 13, 14, 15, 3};
        expected[position] = kDefaults[position];
        EXPECT_EQ(integers(tuning), expected);
    }
}

TEST(TuningSet, SceneListMapsScenesToTables) {
    const struct {
        string scenes;
        int count;
        vector<std::pair<int, int>> tables;  // scene and table
    } cases[] = {
        {"sceneNum=3\r\nsceneIdx=2/0/1/3/-1/",
         5,
         {{0, 2}, {1, 0}, {2, 1}, {3, -1}, {4, -1}, {5, -1}, {-1, -1}, {600, -1}}},
        {"sceneNum=2\r\nsceneIdx=", 0, {{0, -1}}},  // empty values are there, and count as zero
        {"sceneNum=1\r\nsceneIdx=" + string(800, '/'), 512, {{511, 0}, {512, -1}}},
    };
    for (const auto& c : cases) {
        const test::TuningDir dir;
        dir.write("frameSet.ini", "[hvc]\r\ngridWidth=\r\n[scene]\r\n" + c.scenes + "\r\n");
        TuningSet tuning = tuningOf(dir);
        tuning.m_fColorStrength = 0.5F;  // the field behind the array
        test::LogCapture log;
        tuning.readFrameSet();
        EXPECT_EQ(tuning.m_iGridWidth, 0);
        EXPECT_EQ(tuning.m_iIdxNum, c.count);
        EXPECT_EQ(tuning.m_fColorStrength, 0.5F);
        for (const auto& [scene, table] : c.tables) {
            log.clear();
            EXPECT_EQ(tuning.tableOfScene(scene), table) << scene;
            EXPECT_EQ(log.texts(test::kError).size(), table < 0 ? 1U : 0U);
            EXPECT_EQ(log.lines().size(), table < 0 ? 1U : 0U);
        }
    }
}

TEST(TuningSet, SwitchIsOnAtExactlyOne) {
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

TEST(TuningSet, StrengthsOfATable) {
    const test::TuningDir dir;
    dir.writeParam(12, 0.25F, 1.5F, 3.0F);
    dir.write("param3.ini", "[hvc]\r\nsatStrength=0.5\r\n");
    dir.write("param4.ini", "[hvc]\r\ncolorStrength=nan\r\nsatStrength=-inf\r\nclaheStrength=1e99\r\n");
    const struct {
        int table;
        float color, sat, clahe;
    } steps[] = {
        {9, 0.0F, 0.0F, 0.0F},                            // no such file: what was in force
        {12, 0.25F, 1.5F, 3.0F}, {3, 0.25F, 0.5F, 3.0F},  // a file with one key
        {9, 0.25F, 0.5F, 3.0F},  {4, 0.0F, 0.0F, 0.0F},   // numbers that are none
    };
    TuningSet tuning = tuningOf(dir);
    for (const auto& step : steps) {
        SCOPED_TRACE(step.table);
        const test::LogCapture log;
        EXPECT_EQ(tuning.readHvcParam(step.table), 0);
        EXPECT_EQ((vector<float>{tuning.m_fColorStrength, tuning.m_fSatStrength, tuning.m_fClaheStrength}),
                  (vector<float>{step.color, step.sat, step.clahe}));
        EXPECT_EQ(log.texts(test::kInfo).back(), "CHuevance_CPU::readHvcParam finished!");
    }
}

TEST(TuningSet, RawTablesOfAScene) {
    const test::TuningDir dir;
    const TuningSet tuning = tuningOf(dir);
    const test::LogCapture log;
    for (const bool curve : {true, false}) {
        const long whole = curve ? 256 : 12288;
        vector<float> file(12300, 1.5F);
        file[static_cast<std::size_t>(whole - 1)] = 2.5F;
        // Missing, short and long files.
        for (const long floats : {0L, 100L, whole + 5}) {
            if (floats != 0) {
                dir.writeFloats(curve ? "curveLut10" : "colorLut10", {file.begin(), file.begin() + floats});
            }
            vector<float> table(12300, -7.0F), expected = table;
            std::copy_n(file.begin(), std::min(floats, whole), expected.begin());
            curve ? tuning.readCurveFile(10, table.data()) : tuning.readColorFile(10, table.data());
            EXPECT_EQ(table, expected) << floats;
        }
    }
    EXPECT_EQ(log.lines().size(), 0U) << "silent";
}

TEST(TuningSetDeathTest, PathsThatDoNotFitAreFatal) {
    test::startDeathTestsSafely();
    constexpr const char* kFatal = "exceeds 511 characters";
    TuningSet tuning;
    EXPECT_EQ(tuning.setSensorPath(nullptr), -1);
    const string longest(511, 'd');
    EXPECT_EQ(tuning.setSensorPath(longest.c_str()), 0);
    EXPECT_EQ(tuning.m_acSensorPath, longest);
    EXPECT_DEATH(tuning.readPhotoSet(), kFatal);
    EXPECT_DEATH(tuning.setSensorPath((longest + "d").c_str()), kFatal);
    // "/param100.ini" needs 13 characters more.
    EXPECT_EQ(tuning.setSensorPath(string(498, 'd').c_str()), 0);
    EXPECT_EQ(tuning.readHvcParam(100), 0);
    EXPECT_DEATH(tuning.readHvcParam(1000), kFatal);
}

}  // namespace
