// The tuning set: defaults, files and keys, the order of its log lines, and what is not there.
#include <gtest/gtest.h>

#include <cmath>

#include "core/ColorLut.h"
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

vector<test::LogLine> infos(const vector<string>& texts) {
    vector<test::LogLine> lines;
    for (const string& text : texts) {
        lines.push_back({test::kInfo, test::kVersionTag, text});
    }
    return lines;
}

TEST(TuningSet, Defaults) {
    const TuningSet tuning;
    EXPECT_EQ(integers(tuning), kDefaults);
    EXPECT_EQ(tuning.m_aiSceneIdx[0], 0);
    EXPECT_EQ(tuning.m_fPortraitLutStrength, 0.2F);
    EXPECT_EQ(tuning.m_fColorStrength, 0.0F);
    EXPECT_EQ(tuning.m_fSatStrength, 0.0F);
    EXPECT_EQ(tuning.m_fClaheStrength, 0.0F);
}

TEST(TuningSet, PhotoSetReadsItsKeysAndLogsThemInOrder) {
    const test::TuningDir dir;
    dir.write("photoSet.ini", kPhotoSet);
    TuningSet tuning = tuningOf(dir);
    tuning.m_iDataBit = 10;
    const test::LogCapture log;
    EXPECT_EQ(tuning.readPhotoSet(), 0);
    EXPECT_EQ(log.lines(),
              infos({"save-photo: 2", "switch-photoSwitch: 3", "hvc-claheSwitch: 4", "hvc-curveSwitch: 5",
                     "hvc-colorSwitch: 6", "hvc-cCorrSwitch: 7", "hvc-gridWidth: 9", "hvc-gridHeight: 10",
                     "hvc-sampRate: 11", "hvc-dataBit: 10", "portrait-maskSource: 13",
                     "portrait-pProtectSwitch: 14", "scene-sceneNum: 15", "scene-idxNum: 3"}));
    EXPECT_EQ(integers(tuning), (vector<int>{2, 0, 3, 0, 4, 5, 6, 7, 9, 10, 11, 10, 60, 13, 14, 15, 3}));
    EXPECT_EQ(vector<int>(tuning.m_aiSceneIdx, tuning.m_aiSceneIdx + 4), (vector<int>{2, 0, 1, 0}));
}

TEST(TuningSet, FrameSetReadsItsKeysAndLogsThemInOrder) {
    const test::TuningDir dir;
    dir.write("frameSet.ini", frameSet());
    TuningSet tuning = tuningOf(dir);
    const test::LogCapture log;
    EXPECT_EQ(tuning.readFrameSet(), 0);
    EXPECT_EQ(log.lines(),
              infos({"save-frame: 2", "switch-frameSwitch: 3", "hvc-claheSwitch: 4", "hvc-curveSwitch: 5",
                     "hvc-colorSwitch: 6", "hvc-cCorrSwitch: 7", "hvc-gridWidth: 9", "hvc-gridHeight: 10",
                     "hvc-sampRate: 11", "hvc-dataBit: 8", "hvc-transFrameNum: 12", "portrait-maskSource: 13",
                     "portrait-pProtectSwitch: 14", "scene-sceneNum: 15", "scene-idxNum: 3"}));
    EXPECT_EQ(integers(tuning), (vector<int>{0, 2, 0, 3, 4, 5, 6, 7, 9, 10, 11, 8, 12, 13, 14, 15, 3}));
}

TEST(TuningSet, WhatIsMissingStaysAsItWas) {
    const test::TuningDir dir;
    TuningSet tuning = tuningOf(dir);
    {
        const test::LogCapture quiet;
        EXPECT_EQ(tuning.readPhotoSet(), 0);
        EXPECT_EQ(tuning.readFrameSet(), 0);
    }
    EXPECT_EQ(integers(tuning), kDefaults);

    // Each key alone is left out in turn.
    const char* const keys[] = {"photo",       "photoSwitch", "claheSwitch",    "curveSwitch",
                                "colorSwitch", "cCorrSwitch", "gridWidth",      "gridHeight",
                                "sampRate",    "maskSource",  "pProtectSwitch", "sceneNum"};
    const int position[] = {0, 2, 4, 5, 6, 7, 8, 9, 10, 13, 14, 15};
    for (std::size_t i = 0; i < std::size(keys); ++i) {
        SCOPED_TRACE(keys[i]);
        string text = kPhotoSet;
        const std::size_t at = text.find(test::format("\n%s=", keys[i]));
        ASSERT_NE(at, string::npos);
        text.insert(at + 1, "#");
        dir.write("photoSet.ini", text);
        TuningSet partial = tuningOf(dir);
        TuningSet whole = tuningOf(dir);
        const test::LogCapture quiet;
        partial.readPhotoSet();
        dir.write("photoSet.ini", kPhotoSet);
        whole.readPhotoSet();
        vector<int> expected = integers(whole);
        const auto index = static_cast<std::size_t>(position[i]);
        expected[index] = kDefaults[index];
        EXPECT_EQ(integers(partial), expected);
    }
}

TEST(TuningSet, EmptyValuesAreThereAndCountAsZero) {
    const test::TuningDir dir;
    dir.write("photoSet.ini", "[hvc]\r\ngridWidth=\r\n[scene]\r\nsceneNum=2\r\nsceneIdx=\r\n");
    TuningSet tuning = tuningOf(dir);
    const test::LogCapture log;
    tuning.readPhotoSet();
    EXPECT_EQ(tuning.m_iGridWidth, 0);
    EXPECT_EQ(tuning.m_iIdxNum, 0);
    EXPECT_EQ(tuning.tableOfScene(0), -1);
}

TEST(TuningSet, SceneListNeverLeavesItsArray) {
    const test::TuningDir dir;
    dir.write("photoSet.ini", "[scene]\r\nsceneNum=1\r\nsceneIdx=" + string(800, '/') + "\r\n");
    TuningSet tuning = tuningOf(dir);
    tuning.m_fColorStrength = 0.5F;  // the field behind the array
    const test::LogCapture log;
    tuning.readPhotoSet();
    EXPECT_EQ(tuning.m_iIdxNum, 512);
    EXPECT_EQ(tuning.m_fColorStrength, 0.5F);
    EXPECT_EQ(tuning.tableOfScene(511), 0);
    EXPECT_EQ(tuning.tableOfScene(512), -1);
}

TEST(TuningSet, SceneNumbersMapToTables) {
    const test::TuningDir dir;
    dir.write("frameSet.ini", "[scene]\r\nsceneNum=3\r\nsceneIdx=2/0/1/3/-1/\r\n");
    TuningSet tuning = tuningOf(dir);
    test::LogCapture log;
    tuning.readFrameSet();
    log.clear();
    const int cases[][2] = {{0, 2}, {1, 0}, {2, 1}, {3, -1}, {4, -1}, {5, -1}, {-1, -1}, {600, -1}};
    for (const auto& c : cases) {
        log.clear();
        EXPECT_EQ(tuning.tableOfScene(c[0]), c[1]) << c[0];
        EXPECT_EQ(log.texts(test::kError).size(), c[1] < 0 ? 1U : 0U);
        EXPECT_EQ(log.lines().size(), c[1] < 0 ? 1U : 0U);
    }
}

TEST(TuningSet, SwitchIsOnAtExactlyOne) {
    TuningSet tuning;
    int* const fields[] = {&tuning.m_iClaheSwitch, &tuning.m_iCurveSwitch, &tuning.m_iCCorrSwitch,
                           &tuning.m_iColorSwitch, &tuning.m_iPProtectSwitch};
    for (int field = 0; field < 5; ++field) {
        for (const int value : {0, 1, 2, -1, 256}) {
            *fields[field] = value;
            const huevance::StageSwitches s = tuning.switches();
            const bool on[] = {s.clahe, s.curve, s.colorCorrect, s.colorMap, s.portraitProtect};
            for (int i = 0; i < 5; ++i) {
                EXPECT_EQ(on[i], i == field && value == 1) << field << " = " << value;
            }
        }
        *fields[field] = 0;
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
        EXPECT_EQ(tuning.m_fColorStrength, step.color);
        EXPECT_EQ(tuning.m_fSatStrength, step.sat);
        EXPECT_EQ(tuning.m_fClaheStrength, step.clahe);
        EXPECT_EQ(log.texts().back(), "CHuevance_CPU::readHvcParam finished!");
        EXPECT_EQ(log.lines().back().priority, test::kInfo);
    }
}

TEST(TuningSet, RawTablesOfAScene) {
    struct Kind {
        const char* file;
        void (TuningSet::*read)(int, float*) const;
        std::size_t floats;
    };
    for (const Kind& kind : {Kind{"curveLut10", &TuningSet::readCurveFile, 256},
                             Kind{"colorLut10", &TuningSet::readColorFile, 12288}}) {
        SCOPED_TRACE(kind.file);
        const test::TuningDir dir;
        const TuningSet tuning = tuningOf(dir);
        vector<float> file(kind.floats + 5);
        for (std::size_t i = 0; i < file.size(); ++i) {
            file[i] = static_cast<float>(i % 255) + 0.5F;
        }
        file[7] = NAN;
        // Missing, short, exact and long files.
        for (const std::size_t floats : {std::size_t{0}, std::size_t{100}, kind.floats, kind.floats + 5}) {
            if (floats != 0) {
                dir.writeFloats(kind.file,
                                vector<float>(file.begin(), file.begin() + static_cast<long>(floats)));
            }
            vector<float> table(kind.floats + 5, -7.0F);
            vector<float> expected = table;
            std::copy_n(file.begin(), std::min(floats, kind.floats), expected.begin());
            if (floats != 0) {
                expected[7] = 0.0F;
            }
            const test::LogCapture log;
            (tuning.*kind.read)(10, table.data());
            EXPECT_EQ(table, expected) << floats;
            EXPECT_EQ(log.lines().size(), 0U) << "silent";
        }
    }
    EXPECT_EQ(huevance::kColorLutFloats, 12288);
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
