// `huevance tuning check` as a program: its report, its exit codes, --fix, and what `run` says first. The
// rules have a table of their own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using nlohmann::json;

struct TuningCheckTest : testing::Test {
    ToolBench bench;
    std::string tuning = bench.path("t");

    void SetUp() override { ASSERT_EQ(bench.run({"tuning", "new", tuning}).exitCode, 0); }
    void replace(const std::string& file, const std::string& from, const std::string& to) {
        bench.replace("t/" + file, from, to);
    }
    ToolResult check(const Words& more = {}) { return bench.run(join({"tuning", "check", tuning}, more)); }
};

TEST_F(TuningCheckTest, ReportsAndExitsAsScriptsRelyOn) {
    replace("photoSet.ini", "claheSwitch=1", "claheSwitch=2");
    std::filesystem::remove(tuning + "/param2.ini");
    const ToolResult result = check({"--json"});
    EXPECT_EQ(result.exitCode, 1);
    const json report = json::parse(result.out);
    EXPECT_EQ(report["directory"], tuning);
    EXPECT_EQ(report["errors"], 2);
    EXPECT_EQ(report["warnings"].get<std::size_t>() + 2, report["findings"].size());
    const json& missing = report["findings"][0];
    EXPECT_EQ(missing["rule"], "HV101");
    EXPECT_EQ(missing["file"], "param2.ini");
    EXPECT_TRUE(missing["line"].is_null());
    const json& clahe = report["findings"][1];
    EXPECT_EQ(clahe["severity"], "error");
    EXPECT_TRUE(clahe["line"].is_number_integer() && clahe["message"].is_string() &&
                clahe["fix"].is_string());
    EXPECT_THAT(check().out, testing::HasSubstr("photoSet.ini:"));
    // A warning counts only when asked.
    ASSERT_EQ(bench.run({"tuning", "new", tuning, "--force"}).exitCode, 0);
    replace("photoSet.ini", "photo=0", "photo=1");
    EXPECT_EQ(check().exitCode, 0);
    EXPECT_EQ(check({"--strict"}).exitCode, 1);
    bench.expectRefused({{{"tuning", "check", tuning, "--size", "7x"}, 2},
                         {{"tuning", "check", bench.path("missing")}, 3},
                         {{"tuning", "check", bench.path("t/photoSet.ini"), "--json"}, 3}});
}

TEST_F(TuningCheckTest, FixMendsReportsAndExitsAsASecondCheck) {
    const Bytes whole = bench.read("t/photoSet.ini");
    replace("photoSet.ini", "/\r\n", "\r\n");
    replace("CurveLut", "", "x");
    const Bytes broken = bench.read("t/photoSet.ini");
    EXPECT_EQ(check().exitCode, 1);
    EXPECT_EQ(bench.read("t/photoSet.ini"), broken);  // nothing is written unasked
    const ToolResult mended = check({"--fix", "--json"});
    EXPECT_EQ(mended.exitCode, 0) << mended.out;
    EXPECT_TRUE(json::accept(mended.out));
    EXPECT_THAT(mended.err, testing::AllOf(testing::HasSubstr("mended photoSet.ini: added"),
                                           testing::HasSubstr("CurveLut: ")));
    EXPECT_EQ(bench.read("t/photoSet.ini"), whole);
    // What it cannot mend stays, and its exit code says so.
    replace("photoSet.ini", "curveSwitch", "kurveSwitch");
    EXPECT_EQ(check({"--fix"}).exitCode, 1);
}

TEST_F(TuningCheckTest, RunSaysFirstWhatChangesItsPictures) {
    const std::string in = bench.write("in.png", encodePng(solid(32, 24, 90, 120, 60)));
    const auto run = [&](const Words& more) {
        return bench.run(join({"run", in, bench.path("out.png"), "--tuning", tuning}, more)).err;
    };
    EXPECT_EQ(run({}), "");
    replace("frameSet.ini", "claheSwitch", "clahSwitch");
    EXPECT_EQ(run({}), "");  // of previews
    EXPECT_THAT(run({"--mode", "frame"}), testing::HasSubstr("HV213"));
    replace("platformSet.ini", "photo=CPU", "photo=cpu");
    EXPECT_THAT(run({}), testing::HasSubstr("HV303"));
    EXPECT_EQ(run({"--backend", "CPU"}), "");
}

}  // namespace
}  // namespace test
