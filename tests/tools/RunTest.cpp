// `huevance run`: exit codes, clean data on standard output, scenes, masks, and what it leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <tuple>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kWidth = 32, kHeight = 24;
constexpr std::size_t kLuma = kWidth * kHeight, kFrame = kLuma * 3 / 2;

Words words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

struct RunTest : testing::Test {
    ToolBench bench;
    TuningDir tuning;
    const Bytes frame = noise(kFrame, 1);
    const std::string in = bench.write("in.nv21", frame), out = bench.path("out.nv21");

    void SetUp() override { writeConstantCurves(tuning, {50}); }
    Words files(const std::string& from, const std::string& to, const std::string& options) {
        return join({"run", from, to, "--tuning", tuning.path()}, words(options));
    }
    // A raw frame of the usual size through the tuning.
    ToolResult run(const std::string& options, const std::string& from, const std::string& to,
                   const Bytes& input = {}) {
        return bench.run(files(from, to, "--size 32x24 " + options), input);
    }
    ToolResult run(const std::string& options) { return run(options, in, out); }
};

// A pipe that nobody writes into yet is waited for, with a word.
TEST_F(RunTest, SaysThatItWaitsForAPipe) {
    const std::string pipe = bench.path("pipe.nv21");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(pipe) << std::string(frame.begin(), frame.end()); });
    const ToolResult result = run("", pipe, out);
    writer.join();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("waiting for somebody to write into " + pipe));
}

TEST_F(RunTest, UsageMistakesEndWithTwo) {
    std::vector<Refusal> cases = {{{}, 2},         {{"enhance"}, 2},    {{"run"}, 2}, {{"run", in, out}, 2},
                                  {{"tuning"}, 2}, {{"compare", in}, 2}};
    // clang-format off
    for (const std::string options :
         {"32x24 --mode video", "32x24 --format yuyv", "32x24 --bits 10", "32x24 --format p010 --bits 9",
          "32x24 --format p010 --bits 17", "32x24 --stride 31", "32x24 --format p010 --stride 65", "32x24 --scanline 23",
          "32x24 --frames 0", "32x24 --scenes 0", "32x24 --scenes 0:0,", "32x24 --scenes 5:0,5:1", "32x24 --scenes 0:-1",
          "32x24 --matrix bt2020", "32x24 --to jpeg --range limited", "32", "0x24", "32x-24", "99999999999x24",
          "60000x60000"}) {
        cases.push_back({files(in, out, "--size " + options), 2});
    }
    cases.insert(cases.end(), {{files(in, in, "--size 32x24"), 2}, {join(files(in, out, "--size 32x24"), {"--backend", ""}), 2},
                               {join(files(in, out, "--size 32x24"), {"--backend", "CPU\r\npath=x"}), 2},
                               {{"convert", in, bench.path("o.png"), "--resize", "1x1", "--megapixels", "1"}, 2},
                               {{"convert", in, bench.path("o.png"), "--size", "32x24", "--resize", "4x4"}, 2},
                               {{"tuning", "new", bench.path("x"), "--photo", "GPU"}, 2},
                               {{"tuning", "new", bench.path("x"), "--frame", "NEON"}, 2},
                               {{"tuning", "new", bench.path("x"), "--looks", "neutral,sepia"}, 2},
                               {{"tuning", "new", bench.path("x"), "--photo", "OGL", "--protect", "skin"}, 2},
                               {{"tuning", "new", bench.path("x"), "--cache", std::string(127, 'c')}, 2}});
    // clang-format on
    bench.expectRefused(cases);

    for (const char* command : {"", "run ", "compare ", "tuning new ", "info ", "convert "}) {
        const ToolResult result = bench.run(words(std::string(command) + "--help"));
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_THAT(result.out,
                    testing::AllOf(HasSubstr("Example"), HasSubstr("5 the back end is not available")));
    }
}

TEST_F(RunTest, FilesThatCannotBeReadOrWrittenEndWithThree) {
    const std::string none = bench.write("none.nv21", {}), missing = bench.path("missing");
    const std::string size = "--size 32x24 ";
    std::vector<Refusal> cases = {{files(missing, out, size), 3},
                                  {files(none, out, size), 3},
                                  {files(in, bench.path("no/such/directory.nv21"), size), 3},
                                  {files(in, "/dev/full", size + "-b CPU"), 3},
                                  {files(in, out, ""), 3},  // neither JPEG nor PNG, and no size
                                  {{"run", in, out, "--tuning", missing, "--size", "32x24"}, 3},
                                  {{"compare", in, missing, "--size", "32x24"}, 3},
                                  {{"tuning", "new", in}, 3},
                                  {{"tuning", "new", "/proc/nowhere"}, 3}};
    for (const std::string& option : {"--library " + missing, "--library " + in, "--mask " + missing}) {
        cases.push_back({files(in, out, size + option), 3});
    }
    for (const std::string text :
         {"P5", "P5 2 2 255\nabc", "P5 0 0 255\n", "P5 99999999999 2 255\n", "P5 2 2 65535\nabcdefgh",
          "P5 65535 65535 255\nab", "P2 2 2 255 1 2 3 4"}) {
        const std::string mask = bench.writeText("mask" + std::to_string(cases.size()), text);
        cases.push_back({files(in, out, size + "--mask " + mask), 3});
    }
    bench.expectRefused(cases);
    // The whole frames of a stream that ends amid one are written.
    EXPECT_EQ(run("", bench.write("part.nv21", noise(kFrame + 7, 1)), out).exitCode, 3);
    EXPECT_EQ(bench.read("out.nv21").size(), kFrame);
}

TEST_F(RunTest, RefusalsSayWhatTheLibraryAnswered) {
    const struct {
        std::map<std::string, std::string> values;  // of photoSet.ini and frameSet.ini
        const char* options;
        int exitCode;
        const char* message;
    } cases[] = {
        {{}, "--scene 512", 4, "singleProcessImage answered -1"},
        {{{"maskSource", "1"}}, "", 4, "portrait mask pointer is NULL!"},
        {{{"pProtectSwitch", "1"}}, "", 4, "answered -1"},  // protection without a mask
        {{}, "--backend XYZ", 5, "'XYZ' is not available"},
        {{}, "--backend Neon --format p010", 4, "'NEON' takes no frames of p010 10 bits; --backend CPU does"},
        {{}, "--backend XYZ -n 99999999999999999999", 2, "not in range"},
        {{}, "--backend ABCDEFGHIJKLMNOPQRST", 5, "is not available"},
        {{}, "--backend GPU", 5, "not available for photos"},
        {{}, "--backend NEON --mode frame", 5, "not available for previews"},
    };
    for (const auto& refusal : cases) {
        writeConstantCurves(tuning, {50}, refusal.values);
        const Words command = files(in, out, std::string("--size 32x24 ") + refusal.options);
        bench.expectRefused({{command, refusal.exitCode, refusal.message}});
    }
    // A frame that succeeds though the library complains: the stage that cannot run is named, and --strict
    // minds. Back ends have their names in any case.
    writeConstantCurves(tuning, {50}, {{"claheSwitch", "1"}, {"gridWidth", "33"}});
    for (const bool strict : {false, true}) {
        const ToolResult told = run(strict ? "--backend cpu --strict" : "--backend cpu");
        EXPECT_EQ(told.exitCode, strict ? 4 : 0);
        EXPECT_THAT(told.err, HasSubstr("written, but the library logged errors:\n"));
        EXPECT_EQ(bench.read("out.nv21")[0], 50);
    }
    std::filesystem::remove(out);
    // Line feeds alone: the library sees "CP", a name that nobody knows. --backend brings a file of its own.
    tuning.write("platformSet.ini", "[platform]\nphoto=CPU\nframe=CPU\n[cache]\npath=/tmp\n");
    EXPECT_EQ(run("").exitCode, 5);
    EXPECT_EQ(run("--backend CPU").exitCode, 0);
    tuning.remove("platformSet.ini");
    const ToolResult result = run("");
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err,
                testing::AllOf(HasSubstr("algoInitHandle answered 65535"), HasSubstr("platform is NULL")));
}

TEST_F(RunTest, StandardOutputCarriesDataAlone) {
    Bytes expected = frame;
    std::fill_n(expected.begin(), kLuma, std::uint8_t{50});
    for (const char* options : {"", "--verbose", "--mode frame"}) {
        const ToolResult result = run(options, "-", "-", frame);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(Bytes(result.out.begin(), result.out.end()), expected);
        // The library's own words are shown on request, and on standard error.
        const bool verbose = result.err.find("HuevanceProcess succeeded!") != std::string::npos;
        EXPECT_EQ(verbose && result.err.find("running photo") != std::string::npos,
                  std::string(options) == "--verbose");
    }
    // No progress bar into a file, however many frames.
    EXPECT_THAT(run("--mode frame", "-", out, noise(20 * kFrame, 1)).err, testing::Not(HasSubstr("\r")));

    const Bytes jpeg = encodeJpeg({40, 30, noise(40 * 30 * 3, 2)}, k420);
    const ToolResult same = bench.run(files("-", "-", ""), jpeg),
                     png = bench.run(files("-", "-", "--to png"), jpeg);
    const JpegPicture decoded = decodeJpeg(Bytes(same.out.begin(), same.out.end()));
    ASSERT_TRUE(decoded.width == 40 && decoded.height == 30) << same.err;
    EXPECT_EQ(decoded.planes[0].samples, Bytes(40 * 30, 50));
    EXPECT_EQ(decodePng(Bytes(png.out.begin(), png.out.end())).width, 40);
}

TEST_F(RunTest, SceneScriptsAndFrameCounts) {
    // Without fading, the luma of a frame tells its scene.
    writeConstantCurves(tuning, {10, 120, 230});
    const std::string stream = bench.write("stream.nv21", noise(6 * kFrame, 4));
    const std::pair<std::string, std::vector<int>> cases[] = {
        // luma of each frame that comes out
        {"", {10, 10, 10, 10, 10, 10}},
        {"--scenes 0:1,1:2,2:0,5:1", {120, 230, 10, 10, 10, 120}},
        {"--scenes 2:2 --scene 1", {120, 120, 230, 230, 230, 230}},
        {"--scenes 0:0,120:2 --frames 2", {10, 10}},
        {"--frames 9", {10, 10, 10, 10, 10, 10}},
    };
    const auto lumaIs = [&](const std::vector<int>& levels) {
        const Bytes got = bench.read("out.nv21");
        ASSERT_EQ(got.size(), levels.size() * kFrame);
        for (std::size_t i = 0; i < got.size(); ++i) {
            ASSERT_TRUE(i % kFrame >= kLuma || got[i] == levels[i / kFrame]) << "frame " << i / kFrame;
        }
    };
    for (const auto& [options, levels] : cases) {
        for (const char* mode : {" --mode frame", " --mode photo"}) {
            SCOPED_TRACE(options);
            ASSERT_EQ(run(options + mode, stream, out).exitCode, 0);
            lumaIs(levels);
        }
    }
    // A picture is repeated for a stream.
    const std::string png = bench.write("in.png", encodePng(solid(32, 24, 80, 80, 80)));
    const std::string report = bench.path("report.json");
    ASSERT_EQ(bench.run(files(png, out, "-m frame -n 3 --scenes 0:0,1:1 --report " + report)).exitCode, 0);
    lumaIs({10, 120, 120});
    const auto json = nlohmann::json::parse(bench.read("report.json"));
    EXPECT_TRUE(json["frames"] == 3 && json["backend"] == "CPU" && json["mode"] == "frame" &&
                json["size"] == "32x24");
    EXPECT_GE(json["milliseconds"]["total"].get<double>(), 3 * json["milliseconds"]["min"].get<double>());
}

TEST_F(RunTest, FormatsStridesAndOddSizesKeepTheirBytes) {
    // All stages off: whatever goes in must come out, padding included.
    tuning.writeSets();
    const struct {
        const char* format;
        int width, height, stride, scanline, bits, shift;
    } layouts[] = {
        // clang-format off
        {"nv21", 1, 1, 1, 1, 8, 0}, {"nv12", 3, 5, 3, 5, 8, 0}, {"nv21", 33, 17, 64, 20, 8, 0}, {"nv12", 32, 24, 32, 24, 8, 0},
        {"nv12-16", 7, 3, 14, 3, 10, 0}, {"nv12-16", 16, 16, 128, 32, 16, 0}, {"p010", 16, 9, 40, 11, 10, 6}, {"p010", 16, 8, 32, 8, 12, 4},
        // clang-format on
    };
    for (const auto& l : layouts) {
        Bytes bytes = noise(2 * static_cast<std::size_t>(l.stride * (l.scanline + l.height / 2)), 5);
        for (std::size_t i = 0; l.bits > 8 && i < bytes.size(); i += 2) {
            const int value = ((bytes[i] | bytes[i + 1] << 8) & ((1 << l.bits) - 1)) << l.shift;
            bytes[i] = static_cast<std::uint8_t>(value);
            bytes[i + 1] = static_cast<std::uint8_t>(value >> 8);
        }
        std::ostringstream options;
        options << "--size " << l.width << "x" << l.height << " --format " << l.format << " --stride "
                << l.stride << " --scanline " << l.scanline << " --bits " << l.bits;
        const ToolResult result = bench.run(files(bench.write("in.yuv", bytes), out, options.str()));
        EXPECT_EQ(result.exitCode, 0) << options.str() << result.err;
        EXPECT_EQ(bench.read("out.nv21"), bytes) << options.str();
    }
}

TEST_F(RunTest, MasksOfEveryKindProtect) {
    // The curve makes everything 200; the left half of the mask keeps the input.
    writeConstantCurves(tuning, {200}, {{"maskSource", "1"}, {"pProtectSwitch", "1"}});
    const auto level = [](int x, int, int) { return x < kWidth / 2 ? 255 : 0; };
    const RgbPicture mask = painted(kWidth, kHeight, level);
    const std::string header = "P5\n# half\n32 24\n255\n";
    Bytes pgm(header.begin(), header.end()), expected(frame.begin(), frame.begin() + kLuma);
    for (std::size_t i = 0; i < kLuma; ++i) {
        pgm.push_back(mask.rgb[3 * i]);
        expected[i] = pgm.back() != 0 ? frame[i] : 200;
    }
    for (const Bytes& file : {pgm, encodePng(mask), encodeJpeg(mask, kGray)}) {
        ASSERT_EQ(run("--mask " + bench.write("mask", file)).exitCode, 0);
        const Bytes got = bench.read("out.nv21");
        EXPECT_EQ(Bytes(got.begin(), got.begin() + kLuma), expected);
    }
    // A mask that does not fit, and one that the tuning does not ask for.
    EXPECT_EQ(run("--mask " + bench.write("small.png", encodePng(solid(31, 24, 255, 255, 255)))).exitCode, 2);
    writeConstantCurves(tuning, {200});
    EXPECT_THAT(run("--mask " + bench.path("mask")).err, HasSubstr("has no effect"));
}

TEST_F(RunTest, BackEndChoiceLeavesTuningAndTemporaryPlaceAlone) {
    tuning.writePlatform("XYZ", "/some/cache");
    EXPECT_EQ(run("--backend CPU").exitCode, 0);
    EXPECT_EQ(bench.read("out.nv21")[0], 50);
    // Preview needs the cache directory of the tuning.
    EXPECT_THAT(run("--backend CPU -m frame -v").err, HasSubstr("cache path /some/cache"));
    EXPECT_EQ(run("--backend CPU", "-", out, noise(9, 1)).exitCode, 3);  // a stream that ends early
    EXPECT_EQ(run("").exitCode, 5) << "the tuning's own file as it was";
    EXPECT_THAT(bench.leftovers(), IsEmpty());
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(bench.runAndKill(files("-", out, "--size 32x24 --backend CPU -m frame"), signal).exitCode,
                  128 + signal);
        EXPECT_THAT(bench.leftovers(), IsEmpty()) << signal;
    }
}

TEST_F(RunTest, InfoListsWhatRuns) {
    const auto json = bench.json({"info"});
    EXPECT_EQ(json["interface"], "SDK_BASE_20200330_version_1.0");
    Words names;
    for (const auto& backEnd : json["backends"]) {
        names.push_back(backEnd["name"]);
        // No back end that runs may be refused by `run`, and the other way round.
        for (const char* mode : {"photo", "frame"}) {
            EXPECT_EQ(run("-b " + names.back() + " -m " + mode).exitCode == 0, backEnd[mode].get<bool>())
                << names.back() << mode;
        }
    }
    EXPECT_EQ(names, (Words{"CPU", "NEON", "GPU", "OGL"}));
    EXPECT_TRUE(json["backends"][0]["photo"] == true && json["backends"][0]["frame"] == true);
    EXPECT_THAT(json["drivers"][0]["path"].get<std::string>(), HasSubstr("/sim/liblog.so"));
    // The drivers behind the library, not others that the system has, and what they say of themselves.
    const bool drawn = json["backends"][3]["photo"];
    const std::tuple<std::size_t, const char*, bool, const char*> kDrivers[] = {
        {2, "/sim/libOpenCL.so", json["backends"][2]["frame"], "OpenCL "},
        {3, "/sim/libEGL.so", drawn, "1."},
        {4, "/sim/libGLESv3.so", drawn, "OpenGL ES 3."}};
    for (const auto& [index, path, runs, version] : kDrivers) {
        const nlohmann::json& driver = json["drivers"][index];
        EXPECT_THAT(driver["path"].get<std::string>(), HasSubstr(path));
        EXPECT_EQ(driver.value("version", "").starts_with(version), runs) << driver;
        EXPECT_EQ(driver.value("device", "").empty(), !runs || index == 3) << driver;
    }
    EXPECT_THAT(bench.run({"info"}).out, HasSubstr("\nCPU       yes    yes"));
}

}  // namespace
}  // namespace test
