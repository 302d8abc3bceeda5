// Scene fusion: the weight, the fade's bookkeeping, and the blend of strengths and tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "core/SceneTables.h"
#include "cpu/Huevance_CPU.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using huevance::fusionWeight;
using huevance::SceneFade;
using huevance::SceneTables;
using huevance::TuningSet;
using std::vector;

TEST(FusionWeight, FallsFromAlmostOneToJustBelowZero) {
    const struct {
        int T, k;
        float w;
    } cases[] = {
        // clang-format off
        {60, 0, 59.0F / 60.0F}, {60, 29, 0.5F}, {60, 59, 0.0F}, {60, 60, -1.0F / 60.0F},  // the one frame more
        {1, 0, 0.0F}, {1, 1, -1.0F}, {0, 0, 0.0F}, {-3, 5, 0.0F}, {2147483647, 0, 1.0F},
        // clang-format on
    };
    for (const auto& c : cases) {
        EXPECT_EQ(fusionWeight(c.T, c.k), c.w) << "T = " << c.T << ", k = " << c.k;
    }
}

struct FadeCase {
    const char* what;
    int sceneNum;
    int transFrameNum;
    struct Frame {
        int table;    // of the frame
        int p, q, k;  // that its fusion uses
    };
    vector<Frame> frames;
};

// Every stream begins with table 1 as the previous one.
const FadeCase kFadeCases[] = {
    // clang-format off
    {"constant table", 3, 2, {{1, 1, 1, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}},
    {"whole fade, one frame longer than T", 3, 2,
     {{1, 1, 1, 0}, {2, 1, 2, 0}, {2, 1, 2, 1}, {2, 1, 2, 2}, {2, 2, 2, 0}, {0, 2, 0, 0}}},
    {"stream that begins elsewhere", 3, 1, {{0, 1, 0, 0}, {0, 1, 0, 1}, {0, 0, 0, 0}}},
    {"change in mid-fade keeps the counter", 3, 3, {{0, 1, 0, 0}, {0, 1, 0, 1}, {2, 1, 2, 2}, {2, 1, 2, 3}, {2, 2, 2, 0}}},
    {"return in mid-fade keeps the counter", 3, 2,
     {{0, 1, 0, 0}, {1, 1, 1, 1}, {1, 1, 1, 1}, {2, 1, 2, 1}, {2, 1, 2, 2}, {2, 2, 2, 0}}},
    {"single table: there is no table 1", 1, 2, {{0, 0, 0, 0}, {0, 0, 0, 0}}},
    {"no fading at T = 0", 3, 0, {{0, 0, 0, 0}, {2, 2, 2, 0}, {1, 1, 1, 0}}},
    {"no fading below", 3, -5, {{2, 2, 2, 0}, {0, 0, 0, 0}}},
    // clang-format on
};

TEST(SceneFade, CountsFrames) {
    for (const FadeCase& c : kFadeCases) {
        SCOPED_TRACE(c.what);
        SceneFade fade;
        for (std::size_t i = 0; i < c.frames.size(); ++i) {
            const FadeCase::Frame& f = c.frames[i];
            fade.begin(f.table, c.sceneNum, c.transFrameNum);
            EXPECT_EQ((vector<int>{fade.previous(), fade.current(), fade.counter()}),
                      (vector<int>{f.p, f.q, f.k}))
                << "frame " << i;
            fade.end(c.transFrameNum);
        }
    }
    // A set-up may shorten the fade while the counter is already beyond its new end.
    SceneFade fade;
    for (const int length : {60, 60, 60, 2}) {
        fade.begin(0, 3, length);
        fade.end(length);
    }
    EXPECT_EQ(fade.previous(), 0);
    EXPECT_EQ(fade.counter(), 0);
}

float curveEntry(int table, int i) { return static_cast<float>((i * 7 + table * 31) % 256) + 0.3F; }
float colorEntry(int table, int i) { return static_cast<float>((i * 11 + table * 57) % 256) + 0.7F; }
// Blend as the tuner expects it; only the order of the float operations is fixed.
float blend(float w, float before, float after) { return w * before + (1.0F - w) * after; }

// Three scenes; the tables of scene 2 are short or missing.
class Fusion : public testing::Test {
protected:
    Fusion() {
        for (int table = 0; table < 2; ++table) {
            vector<float> curve(256);
            vector<float> color(12288);
            for (int i = 0; i < 12288; ++i) {
                color[static_cast<std::size_t>(i)] = colorEntry(table, i);
                curve[static_cast<std::size_t>(i % 256)] = curveEntry(table, i % 256);
            }
            m_dir.writeFloats("curveLut" + std::to_string(table), curve);
            m_dir.writeFloats("colorLut" + std::to_string(table), color);
        }
        m_dir.writeFloats("curveLut2", {5.0F});
        m_dir.writeParam(0, 0.2F, 1.1F, 2.0F);
        m_dir.writeParam(1, 0.9F, 0.6F, 7.0F);
        m_dir.write("param2.ini", "[hvc]\r\nsatStrength=3\r\n");
    }

    void setUp(huevance::TuningSet& tuning) {
        tuning.setSensorPath(m_dir.path().c_str());
        tuning.m_iSceneNum = 3;
        tuning.m_iTransFrameNum = 60;
    }

    test::LogCapture m_log;
    test::TuningDir m_dir;
};

TEST_F(Fusion, StrengthsAreCopiedOrBlended) {
    TuningSet tuning;
    setUp(tuning);
    SceneTables tables;
    ASSERT_FALSE(tables.hasStrengths(3));
    ASSERT_EQ(tables.loadStrengths(tuning), 0);
    EXPECT_TRUE(tables.hasStrengths(3));
    EXPECT_FALSE(tables.hasStrengths(4));
    // What a table's file does not name is as in the table before it.
    const float records[3][3] = {{0.2F, 1.1F, 2.0F}, {0.9F, 0.6F, 7.0F}, {0.9F, 3.0F, 7.0F}};
    for (int p = 0; p < 3; ++p) {
        for (int q = 0; q < 3; ++q) {
            for (const int k : {0, 17, 59, 60}) {
                tables.fuseStrengths(p, q, k, tuning);
                const float got[3] = {tuning.m_fColorStrength, tuning.m_fSatStrength,
                                      tuning.m_fClaheStrength};
                const float w = static_cast<float>(59 - k) / 60.0F;
                for (int i = 0; i < 3; ++i) {
                    EXPECT_EQ(got[i], p == q ? records[p][i] : blend(w, records[p][i], records[q][i]))
                        << p << " to " << q << " at " << k;
                }
            }
        }
    }
    // By hand: 1/60 of the change beyond the new table.
    tables.fuseStrengths(0, 1, 60, tuning);
    EXPECT_FLOAT_EQ(tuning.m_fClaheStrength, 7.0F + 5.0F / 60.0F);
    // Without a fade length the new table counts at once.
    tuning.m_iTransFrameNum = 0;
    tables.fuseStrengths(0, 1, 0, tuning);
    EXPECT_EQ(tuning.m_fClaheStrength, 7.0F);
    tables.freeStrengths();
    EXPECT_FALSE(tables.hasStrengths(3));
}

TEST_F(Fusion, TablesAreCopiedOrBlendedEntryByEntry) {
    TuningSet tuning;
    setUp(tuning);
    SceneTables tables;
    ASSERT_EQ(tables.loadCurves(tuning), 0);
    ASSERT_EQ(tables.loadColors(tuning), 0);
    EXPECT_TRUE(tables.hasCurves(3) && tables.hasColors(3));
    EXPECT_FALSE(tables.hasCurves(2) || tables.hasColors(2));
    const auto curve = [](int table, int i) {
        return table < 2 ? curveEntry(table, i) : (i == 0 ? 5.0F : 0.0F);  // the short file
    };
    const auto color = [](int table, int i) {
        return table < 2 ? colorEntry(table, i) : 0.0F;
    };  // the missing one
    for (const int q : {0, 1, 2}) {
        for (const int k : {0, 59, 60}) {
            SCOPED_TRACE(testing::Message() << "1 to " << q << " at " << k);
            const float w = static_cast<float>(59 - k) / 60.0F;
            vector<float> y(256);
            vector<float> lut(12288);
            tables.fuseCurve(1, q, k, 60, y.data());
            tables.fuseColor(1, q, k, 60, lut.data());
            int wrong = 0;
            for (int i = 0; i < 12288; ++i) {
                const auto at = static_cast<std::size_t>(i);
                wrong += lut[at] != (q == 1 ? color(1, i) : blend(w, color(1, i), color(q, i)));
                wrong += i < 256 && y[at] != (q == 1 ? curve(1, i) : blend(w, curve(1, i), curve(q, i)));
            }
            EXPECT_EQ(wrong, 0);
        }
    }
    tables.freeCurves();
    tables.freeColors();
    EXPECT_FALSE(tables.hasCurves(3) || tables.hasColors(3));
}

TEST_F(Fusion, AbsurdNumberOfScenesIsRefused) {
    TuningSet tuning;
    setUp(tuning);
    tuning.m_iSceneNum = 2000000000;
    SceneTables tables;
    m_log.clear();
    EXPECT_EQ(
        (vector<int>{tables.loadStrengths(tuning), tables.loadCurves(tuning), tables.loadColors(tuning)}),
        (vector<int>{-1, -1, -1}));
    EXPECT_EQ(m_log.texts(test::kError).size(), 3U);
    EXPECT_FALSE(tables.hasStrengths(2000000000));
}

// The engine's own fusion adds the chroma curve, and for 16-bit data the wide tables.
TEST_F(Fusion, EngineRebuildsTheChromaCurveAndWidens) {
    for (const int dataBit : {8, 10, 16}) {
        SCOPED_TRACE(dataBit);
        CHuevance_CPU engine;
        setUp(engine);
        engine.m_iDataBit = dataBit;
        ASSERT_EQ(engine.setRoiInfo({8, 6, 32, 6}), 0);
        ASSERT_EQ(engine.sceneHvcParamMalloc() + engine.sceneCurveLutMalloc() + engine.sceneColorLutMalloc(),
                  0);
        ASSERT_EQ(engine.curveLutMalloc() + engine.colorLutMalloc(), 0);
        EXPECT_EQ(engine.fuseHvcParam(0, 1, 29), 0);
        EXPECT_EQ(engine.fuseCurveLut(0, 1, 29), 0);
        EXPECT_EQ(engine.fuseColorLut(0, 1, 29), 0);

        const float sat = blend(0.5F, 1.1F, 0.6F);
        EXPECT_EQ(engine.m_fSatStrength, sat);
        const float* y = engine.m_yCurve.get();
        const float* uv = engine.m_uvCurve.get();
        for (int i = 0; i < 256; ++i) {
            EXPECT_EQ(y[i], blend(0.5F, curveEntry(0, i), curveEntry(1, i)));
            EXPECT_EQ(uv[i], std::clamp(sat * static_cast<float>(i - 128) + 128.0F, 0.0F, 255.0F));
        }
        EXPECT_EQ(engine.m_yCurve16.empty() && engine.m_colorLut16.empty(), dataBit == 8);
        // The ends are on the scale of the wide samples, and so is the entry at a third of the way (level
        // 85).
        const int top = (1 << dataBit) - 1;
        const double scale = top / 255.0;
        for (const int i : dataBit == 8 ? vector<int>{} : vector<int>{0, 85, 255}) {
            const int wide = i * (top / 255) + (dataBit == 10 ? i / 85 : 0);
            EXPECT_NEAR(engine.m_yCurve16.get()[wide], y[i] * scale, 2e-4 * top) << i;
            EXPECT_NEAR(engine.m_uvCurve16.get()[wide], uv[i] * scale, 2e-4 * top) << i;
        }
        int wrong = 0;
        const float factor = static_cast<float>(top) / 255.0F;
        for (int i = 0; i < 12288 && dataBit != 8; ++i) {
            wrong += engine.m_colorLut16.get()[i] != engine.m_colorLut.get()[i] * factor;
        }
        EXPECT_EQ(wrong, 0);
        // satStrength 3: clamped at both ends.
        engine.fuseHvcParam(2, 2, 0);
        engine.fuseCurveLut(2, 2, 0);
        EXPECT_TRUE(uv[0] == 0.0F && uv[86] == 2.0F && uv[128] == 128.0F && uv[129] == 131.0F &&
                    uv[255] == 255.0F);
    }
}

}  // namespace
