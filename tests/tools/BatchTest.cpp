// `huevance batch`: outputs beside `run`, measures beside `compare`, what is made again and what is not, rows
// for what fails, gates, and the page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

struct BatchTest : testing::Test {
    ToolBench bench;
    TuningDir bright, dark, results;
    const std::string out = results.path();

    void SetUp() override {
        writeConstantCurves(bright, {200, 210});
        writeConstantCurves(dark, {60});
    }
    std::string picture(const std::string& name, unsigned seed, int width = 48, int height = 32) {
        const RgbPicture rgb = {width, height, noise(static_cast<std::size_t>(3 * width * height), seed)};
        return bench.write(name, name.ends_with(".png") ? encodePng(rgb) : encodeJpeg(rgb, k420));
    }
    ToolResult batch(const Words& inputs, const Words& more = {}) {
        return bench.run(join(join({"batch"}, inputs), join({"-o", out}, more)));
    }
};

TEST_F(BatchTest, OutputsAreRunsAndMeasuresAreCompares) {
    const std::string odd = "a<b>&\"c.jpg";
    const Words good = {picture("1.jpg", 1), picture("2.png", 2, 31, 17), picture(odd, 3)};
    const Bytes half = bench.read("1.jpg");
    const std::string broken = bench.write("broken.jpg", {half.begin(), half.begin() + 500});
    const std::string missing = bench.path("missing.png");
    const ToolResult result = batch({good[0], broken, good[1], missing, good[2]},
                                    {"-t", bright.path(), "-t", dark.path() + "/", "-j", "3", "--json", "-",
                                     "--html", bench.path("p.html")});
    EXPECT_EQ(result.exitCode, 3) << result.err;
    const json inputs = json::parse(result.out)["inputs"];
    ASSERT_EQ(inputs.size(), 5U);
    for (const std::size_t bad : {1U, 3U}) {
        EXPECT_EQ(inputs[bad]["ok"], false);
        EXPECT_THAT(inputs[bad]["error"].get<std::string>(),
                    HasSubstr(bad == 1 ? "broken.jpg" : "missing.png"));
        EXPECT_TRUE(inputs[bad]["results"].empty());
    }
    for (const std::size_t i : {0U, 2U, 4U}) {
        const std::string file = inputs[i]["file"];
        EXPECT_EQ(inputs[i]["ok"], true);
        EXPECT_TRUE(inputs[i]["error"].is_null());
        ASSERT_EQ(inputs[i]["results"].size(), 2U);
        for (const json& one : inputs[i]["results"]) {
            const bool first = &one == &inputs[i]["results"][0];
            const TuningDir& tuning = first ? bright : dark;
            EXPECT_EQ(one["tuning"], first ? tuning.path() : tuning.path() + "/");
            const std::string output = one["output"];
            EXPECT_EQ(output, out + "/" + tuning.name() + "/" + fs::path(file).filename().string());
            const std::string wanted = "run" + fs::path(file).extension().string();
            ASSERT_EQ(bench.run({"run", file, bench.path(wanted), "-t", tuning.path()}).exitCode, 0);
            EXPECT_EQ(readFile(output), bench.text(wanted));
            const json compared = bench.json({"compare", file, output});
            for (const char* key : {"delta_e_mean", "delta_e_p99", "ssim", "clipped_percent"}) {
                EXPECT_NEAR(one[key].get<double>(), compared[key].get<double>(), 1e-9) << key;
            }
            EXPECT_GT(one["milliseconds"].get<double>(), 0);
            EXPECT_GT(one["psnr_y"].get<double>(), 5);
        }
    }
    const std::string page = bench.text("p.html");
    EXPECT_THAT(page, HasSubstr("a&lt;b&gt;&amp;&quot;c.jpg"));
    EXPECT_THAT(page, HasSubstr("a%3Cb%3E%26%22c.jpg"));
    EXPECT_THAT(page, Not(HasSubstr("a<b>")));
    EXPECT_THAT(page, HasSubstr("broken.jpg"));
    EXPECT_THAT(page, Not(testing::ContainsRegex("(src|href)=\"(https?:)?//")));
    EXPECT_THAT(bench.leftovers(), testing::IsEmpty());
}

// Made again: a, b, c, each when and only when something of it has changed.
TEST_F(BatchTest, MakesAgainWhatChanged) {
    fs::create_directory(bench.path("in"));
    for (const char* name : {"in/a.jpg", "in/b.png", "in/c.jpg"}) {
        picture(name, 7);
    }
    bench.write("in/notes.txt", {1, 2, 3});
    const auto outputOf = [&](const char* name) { return out + "/" + bright.name() + "/" + name; };
    const std::string a = outputOf("a.jpg"), b = outputOf("b.png");
    const std::vector<std::pair<std::string, std::function<void()>>> changes = {
        {"000", [] {}},
        {"100", [&] { fs::remove(a); }},
        {"010", [&] { fs::resize_file(b, fs::file_size(b) / 2); }},
        {"001", [&] { picture("in/c.jpg", 8); }},
        {"111",
         [&] {
             writeConstantCurves(bright, {201, 210});
         }},
        {"111", [&] { fs::remove(out + "/.huevance-batch"); }},
        {"000",
         [&] { results.write(".huevance-batch", results.read(".huevance-batch") + "{\"output\": \"ha"); }},
    };
    ASSERT_EQ(batch({bench.path("in")}, {"-t", bright.path(), "--json", bench.path("first.json")}).exitCode,
              0);
    for (const auto& [wanted, change] : changes) {
        change();
        const ToolResult result =
            batch({bench.path("in")}, {"-t", bright.path(), "--json", bench.path("j.json")});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const auto taken = std::count(wanted.begin(), wanted.end(), '0');
        EXPECT_THAT(result.err, HasSubstr(std::to_string(taken) + " outputs taken over")) << wanted;
        EXPECT_EQ(json::parse(bench.text("j.json"))["inputs"].size(), 3U);
    }
    const json first = json::parse(bench.text("first.json")), last = json::parse(bench.text("j.json"));
    EXPECT_EQ(first["inputs"][1]["results"][0].size(), last["inputs"][1]["results"][0].size());
    EXPECT_THAT(batch({bench.path("in")}, {"-t", bright.path(), "--scene", "1"}).err,
                HasSubstr("0 outputs taken over"));
}

TEST_F(BatchTest, GoesOnAfterAnInterruption) {
    Words inputs;
    for (unsigned i = 0; i < 24; ++i) {
        inputs.push_back(picture(std::to_string(i) + ".jpg", i, 400, 300));
    }
    const Words command = join(join({"batch"}, inputs), {"-t", bright.path(), "-o", out, "-j", "1"});
    const ToolResult stopped = bench.runAndKill(command, SIGINT);
    EXPECT_THAT(bench.leftovers(), testing::IsEmpty());
    std::size_t made = 0;
    const std::string directory = out + "/" + bright.name();
    for (const auto& entry :
         fs::exists(directory) ? fs::directory_iterator(directory) : fs::directory_iterator()) {
        EXPECT_EQ(entry.path().extension(), ".jpg") << "half a file";
        ++made;
    }
    // On a machine that is very busy the signal may come too late.
    EXPECT_TRUE(stopped.exitCode == 130 || (stopped.exitCode == 0 && made == inputs.size())) << stopped.err;
    const ToolResult rest = bench.run(command);
    EXPECT_EQ(rest.exitCode, 0) << rest.err;
    EXPECT_THAT(rest.err, HasSubstr(std::to_string(made) + " outputs taken over"));
}

TEST_F(BatchTest, GatesAndRefusals) {
    const std::string in = picture("a.jpg", 1);
    const json one =
        json::parse(batch({in}, {"-t", bright.path(), "--json", "-"}).out)["inputs"][0]["results"][0];
    for (const std::string key : {"delta_e_mean", "delta_e_p99", "clipped_percent", "ssim", "psnr_y"}) {
        const double value = one[key];
        const bool least = key == "ssim" || key == "psnr_y";
        for (const double shift : {-0.01, 0.01}) {
            const ToolResult result = batch({in}, {"-t", bright.path(), "--gate", "ssim=-1", "--gate",
                                                   key + "=" + std::to_string(value + shift)});
            EXPECT_EQ(result.exitCode, (shift < 0) == least ? 0 : 1) << key << shift << result.err;
        }
    }
    fs::create_directory(bench.path("other"));
    fs::create_directory(bench.path("empty"));
    const std::string twin = picture("other/a.jpg", 2);
    bench.expectRefused({{{"batch", in, twin, "-t", bright.path(), "-o", out}, 2},
                         {{"batch", in, "-t", bright.path(), "-t", bright.path() + "/.", "-o", out}, 2},
                         {{"batch", in, "-t", bright.path(), "-o", out, "--gate", "delta_e=3"}, 2},
                         {{"batch", in, "-t", bright.path(), "-o", out, "--gate", "ssim=x"}, 2},
                         {{"batch", out + "/" + bright.name() + "/a.jpg", "-t", bright.path(), "-o", out}, 2},
                         {{"batch", in, "-t", bright.path(), "-o", out, "--scene", "beach"}, 2},
                         {{"batch", bench.path("empty"), "-t", bright.path(), "-o", out}, 3},
                         {{"batch", in, "-t", bench.path("none"), "-o", out}, 3},
                         {{"batch", in, "-t", bright.path(), "-o", in}, 3},
                         {{"batch", in, "-t", bright.path(), "-o", out, "--scene", "600"}, 4},
                         {{"batch", in, "-t", bright.path(), "-o", out, "--backend", "GPU"}, 5}});
}

// Error lines of frames that succeeded stand beside their pictures, also when a later run takes them over.
TEST_F(BatchTest, ErrorLinesOfTheLibrary) {
    writeConstantCurves(dark, {60}, {{"claheSwitch", "1"}, {"gridWidth", "0"}});
    const std::string in = picture("a.jpg", 1);
    for (int run = 0; run < 2; ++run) {
        const ToolResult result =
            batch({in}, {"-t", dark.path(), "--json", "-", "--html", bench.path("p.html")});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        const json log = json::parse(result.out)["inputs"][0]["results"][0]["log"];
        ASSERT_EQ(log.size(), 1U);
        EXPECT_THAT(bench.text("p.html"), HasSubstr(log[0].get<std::string>().substr(0, 12)));
    }
}

}  // namespace
}  // namespace test
