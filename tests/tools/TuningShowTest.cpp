// `huevance tuning show` and `diff`: words about tables that were made to differ by known amounts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Rig.h"
#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

struct TuningShowTest : testing::Test {
    ToolBench bench;
    TuningDir a, b;

    // The identity, but for luma that is `lift` levels brighter and V that is `warm` levels more.
    static void write(const TuningDir& tuning, float lift = 0, float saturation = 1, float warm = 0) {
        tuning.writePlatform("CPU");
        model::Tuning table = {.curve = true,
                               .color = true,
                               .colorStrength = 1.0F,
                               .satStrength = saturation,
                               .claheStrength = 0.5F};
        for (std::size_t i = 0; i < 256; ++i) {
            table.yCurve[i] = static_cast<float>(i) + (i > 0 && i < 250 ? lift : 0.0F);
        }
        for (std::size_t i = 0; i < 4096; ++i) {
            table.lattice[i] = static_cast<float>(i % 16 * 17);
            table.lattice[4096 + i] = static_cast<float>(i / 16 % 16 * 17);
            table.lattice[8192 + i] = static_cast<float>(i / 256 * 17) + warm;
        }
        rig::write(tuning, {table});
    }
};

TEST_F(TuningShowTest, DifferencesInWords) {
    write(a);
    const struct {
        float lift, saturation, warm;
        std::vector<std::string> words;
        const char* absent;
    } cases[] = {{4, 1, 0, {"mid-grey +4 levels", "shadows +4 levels"}, "warmer"},
                 {-7, 1, 0, {"mid-grey -7 levels", "darker"}, "all colours 5 % deeper"},
                 {0, 1.05F, 0, {"all colours 5 % deeper", "satStrength 1.000 to 1.050"}, "mid-grey"},
                 {0, 0.9F, 0, {"all colours 9 % paler"}, "deeper"},
                 {0, 1, 3, {"mid-grey warmer (U +0.0, V +3.0)"}, "satStrength"}};
    for (const auto& [lift, saturation, warm, words, absent] : cases) {
        write(b, lift, saturation, warm);
        const ToolResult text = bench.run({"tuning", "diff", a.path(), b.path()});
        EXPECT_EQ(text.exitCode, 1);
        for (const std::string& word : words) {
            EXPECT_THAT(text.out, HasSubstr(word));
        }
        EXPECT_THAT(text.out, Not(HasSubstr(absent)));
        const json report = bench.json({"tuning", "diff", a.path(), b.path()});
        EXPECT_EQ(report["equal"], false);
        EXPECT_NEAR(report["scenes"][0]["mid_grey"].get<double>(), lift, 1e-6);
        EXPECT_GT(report["scenes"][0]["delta_e_max"].get<double>(), 1.0);
    }
}

TEST_F(TuningShowTest, EqualTuningsSettingsAndScenes) {
    write(a);
    write(b);
    b.write("README.txt", "another file\n");
    const ToolResult same = bench.run({"tuning", "diff", a.path(), b.path(), "-o", bench.path("d.html")});
    EXPECT_EQ(same.exitCode, 0);
    EXPECT_EQ(same.out, "the same\n");
    EXPECT_THAT(bench.text("d.html"), HasSubstr("They do the same."));

    b.writeSets({{"curveSwitch", "1"},
                 {"colorSwitch", "1"},
                 {"gridWidth", "6"},
                 {"sceneNum", "2"},
                 {"sceneIdx", "0/1/"}});
    b.writeParam(1, 1, 1, 0);
    const ToolResult changed = bench.run({"tuning", "diff", a.path(), b.path()});
    EXPECT_EQ(changed.exitCode, 1);
    EXPECT_THAT(changed.out, testing::AllOf(HasSubstr("photoSet.ini: gridWidth 8 to 6\n"),
                                            HasSubstr("table 1: only in B\n")));
    // Tables that are not there are no reason to show nothing.
    const ToolResult shown = bench.run({"tuning", "show", b.path(), "-o", bench.path("s.html")});
    EXPECT_EQ(shown.exitCode, 0) << shown.err;
    EXPECT_THAT(bench.text("s.html"), HasSubstr("curveLut1 is missing or too short"));
}

TEST_F(TuningShowTest, PagesOfTheStarter) {
    const std::string starter = bench.path("a<b>&c");
    ASSERT_EQ(bench.run({"tuning", "new", starter, "--looks", "neutral,food"}).exitCode, 0);
    ASSERT_EQ(bench.run({"tuning", "show", starter, "-o", bench.path("s.html")}).exitCode, 0);
    // Each keeps its cache in itself.
    ASSERT_EQ(bench.run({"tuning", "new", bench.path("twin"), "--looks", "neutral,food"}).exitCode, 0);
    ASSERT_EQ(bench.run({"tuning", "diff", starter, bench.path("twin"), "-o", "-"}).exitCode, 0);
    const std::string html = bench.text("s.html");
    EXPECT_THAT(html, HasSubstr("a&lt;b&gt;&amp;c"));
    EXPECT_THAT(html, Not(HasSubstr("a<b>")));
    EXPECT_THAT(html, Not(testing::ContainsRegex("(src|href)=\"(https?:)?//|nan|inf\\b")));
    for (const char* look : {"neutral", "food"}) {
        EXPECT_THAT(html, HasSubstr("aria-label=\"Tone curve of " + std::string(look)));
    }
    EXPECT_THAT(bench.run({"tuning", "show", starter}).out, HasSubstr(" neutral: mid-grey"));
    bench.expectRefused({{{"tuning", "show", bench.path("none")}, 3},
                         {{"tuning", "diff", starter, bench.path("none")}, 3},
                         {{"tuning", "show", starter, "-o", bench.path("no/such/page.html")}, 3}});
}

}  // namespace
}  // namespace test
