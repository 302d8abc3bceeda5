// `huevance run`: exit codes, clean data on standard output, scenes, masks, and what it leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kWidth = 32, kHeight = 24;
constexpr std::size_t kFrameBytes = kWidth * kHeight * 3 / 2;

struct RunTest : testing::Test {
    ToolBench bench;
    TuningDir tuning;

    // A raw frame of the usual size through the tuning.
    std::vector<std::string> rawRun(const std::string& in, const std::string& out,
                                    const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"run", in, out, "--tuning", tuning.path(), "--size", "32x24"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
};

TEST_F(RunTest, UsageMistakesEndWithTwo) {
    writeConstantCurves(tuning, {50});
    const std::string in = bench.write("in.nv21", noise(kFrameBytes, 1));
    const std::string out = bench.path("out.nv21");
    const std::vector<std::string> cases[] = {
        {},
        {"enhance"},
        {"run"},
        {"run", in, out},
        {"tuning"},
        {"compare", in},
        rawRun(in, out, {"--mode", "video"}),
        rawRun(in, out, {"--format", "yuyv"}),
        rawRun(in, out, {"--bits", "10"}),
        rawRun(in, out, {"--format", "p010", "--bits", "9"}),
        rawRun(in, out, {"--format", "p010", "--bits", "17"}),
        rawRun(in, out, {"--stride", "31"}),
        rawRun(in, out, {"--format", "p010", "--stride", "65"}),
        rawRun(in, out, {"--scanline", "23"}),
        rawRun(in, out, {"--frames", "0"}),
        rawRun(in, out, {"--scenes", "0"}),
        rawRun(in, out, {"--scenes", "0:0,"}),
        rawRun(in, out, {"--scenes", "5:0,5:1"}),
        rawRun(in, out, {"--scenes", "0:-1"}),
        rawRun(in, out, {"--backend", ""}),
        rawRun(in, out, {"--backend", "CPU\r\npath=x"}),
        rawRun(in, out, {"--matrix", "bt2020"}),
        rawRun(in, out, {"--to", "jpeg", "--range", "limited"}),
        rawRun(in, in),
        {"run", in, out, "--tuning", tuning.path(), "--size", "32"},
        {"run", in, out, "--tuning", tuning.path(), "--size", "0x24"},
        {"run", in, out, "--tuning", tuning.path(), "--size", "32x-24"},
        {"run", in, out, "--tuning", tuning.path(), "--size", "99999999999x24"},
        {"run", in, out, "--tuning", tuning.path(), "--size", "60000x60000"},
    };
    for (const std::vector<std::string>& arguments : cases) {
        const ToolResult result = bench.run(arguments);
        EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(arguments) << result.err;
        EXPECT_FALSE(result.err.empty()) << testing::PrintToString(arguments);
    }
    EXPECT_FALSE(std::filesystem::exists(out));
    EXPECT_EQ(bench.read("in.nv21"), noise(kFrameBytes, 1));
}

TEST_F(RunTest, HelpHasExamplesAndExitCodes) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--help"},
                                               {"run", "--help"},
                                               {"compare", "--help"},
                                               {"tuning", "new", "--help"},
                                               {"info", "--help"},
                                               {"convert", "--help"}}) {
        const ToolResult result = bench.run(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_THAT(result.out, HasSubstr("Example"));
        EXPECT_THAT(result.out, HasSubstr("5 the back end is not available"));
    }
}

TEST_F(RunTest, FilesThatCannotBeReadOrWrittenEndWithThree) {
    writeConstantCurves(tuning, {50});
    const Bytes frame = noise(kFrameBytes, 1);
    const std::string in = bench.write("in.nv21", frame);
    const std::string part = bench.write("part.nv21", noise(kFrameBytes + 7, 1));
    const std::string none = bench.write("none.nv21", {});
    const std::string out = bench.path("out.nv21");
    const std::vector<std::string> cases[] = {
        rawRun(bench.path("missing"), out),
        rawRun(part, bench.path("part_out.nv21")),
        rawRun(none, out),
        rawRun(in, bench.path("no/such/directory.nv21")),
        rawRun(in, "/dev/full"),
        rawRun(in, out, {"--mask", bench.path("missing.png")}),
        rawRun(in, out, {"--library", bench.path("missing.so")}),
        rawRun(in, out, {"--library", in}),
        {"run", in, out, "--tuning", tuning.path()},  // neither JPEG nor PNG, and no size
        {"run", in, out, "--tuning", bench.path("missing"), "--size", "32x24"},
        {"compare", in, bench.path("missing"), "--size", "32x24"},
        {"tuning", "new", in},
        {"tuning", "new", "/proc/nowhere"},
    };
    for (const std::vector<std::string>& arguments : cases) {
        const ToolResult result = bench.run(arguments);
        EXPECT_EQ(result.exitCode, 3) << testing::PrintToString(arguments) << result.err;
        EXPECT_THAT(result.err, HasSubstr("huevance: ")) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "");
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

struct Refusal {
    const char* what;
    std::map<std::string, std::string> values;  // of photoSet.ini and frameSet.ini
    std::vector<std::string> arguments;
    int exitCode;
    const char* message;
};

TEST_F(RunTest, RefusalsSayWhatTheLibraryAnswered) {
    const Refusal cases[] = {
        {"scene without a table", {}, {"--scene", "7"}, 4, "singleProcessImage answered -1"},
        {"negative scene", {}, {"--scene", "-1"}, 4, "singleProcessImage answered -1"},
        {"mask missing", {{"maskSource", "1"}}, {}, 4, "portrait mask pointer is NULL!"},
        {"protection without mask", {{"pProtectSwitch", "1"}}, {}, 4, "answered -1"},
        {"name nobody knows", {}, {"--backend", "XYZ"}, 5, "'XYZ' is not available"},
        {"name in the wrong case", {}, {"--backend", "cpu"}, 5, "'cpu' is not available"},
        {"name too long", {}, {"--backend", "ABCDEFGHIJKLMNOPQRST"}, 5, "is not available"},
        {"16-bit on a name nobody knows",
         {},
         {"--backend", "XYZ", "--format", "p010"},
         5,
         "is not available"},
        {"photo on GPU", {}, {"--backend", "GPU"}, 5, "not available for photos"},
        {"preview on NEON", {}, {"--backend", "NEON", "--mode", "frame"}, 5, "not available for previews"},
    };
    const std::string in = bench.write("in.nv21", noise(4 * kFrameBytes, 1));
    for (const Refusal& refusal : cases) {
        writeConstantCurves(tuning, {50}, refusal.values);
        const ToolResult result = bench.run(rawRun(in, bench.path("out.nv21"), refusal.arguments));
        EXPECT_EQ(result.exitCode, refusal.exitCode) << refusal.what << result.err;
        EXPECT_THAT(result.err, HasSubstr(refusal.message)) << refusal.what;
        EXPECT_FALSE(std::filesystem::exists(bench.path("out.nv21"))) << refusal.what;
        EXPECT_THAT(bench.leftovers(), IsEmpty()) << refusal.what;
    }
}

TEST_F(RunTest, PlatformFileMistakes) {
    writeConstantCurves(tuning, {50});
    const std::string in = bench.write("in.nv21", noise(kFrameBytes, 1));
    // Line feeds alone: the library sees "CP", a name that nobody knows.
    tuning.write("platformSet.ini", "[platform]\nphoto=CPU\nframe=CPU\n[cache]\npath=/tmp\n");
    EXPECT_EQ(bench.run(rawRun(in, bench.path("out.nv21"))).exitCode, 5);
    // --backend brings a file of its own.
    EXPECT_EQ(bench.run(rawRun(in, bench.path("out.nv21"), {"--backend", "CPU"})).exitCode, 0);
    tuning.remove("platformSet.ini");
    const ToolResult result = bench.run(rawRun(in, bench.path("out.nv21")));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("algoInitHandle answered 65535"));
    EXPECT_THAT(result.err, HasSubstr("platform is NULL"));
}

TEST_F(RunTest, StandardOutputCarriesDataAlone) {
    writeConstantCurves(tuning, {50});
    const Bytes frame = noise(kFrameBytes, 3);
    Bytes expected = frame;
    std::fill_n(expected.begin(), kWidth * kHeight, std::uint8_t{50});
    for (const std::vector<std::string>& more :
         std::vector<std::vector<std::string>>{{}, {"--verbose"}, {"--mode", "frame"}}) {
        const ToolResult result = bench.run(rawRun("-", "-", more), frame);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(Bytes(result.out.begin(), result.out.end()), expected);
    }
    // The library's own words are shown on request, and on standard error.
    EXPECT_EQ(bench.run(rawRun("-", bench.path("o.nv21")), frame).err, "");
    const ToolResult verbose = bench.run(rawRun("-", bench.path("o.nv21"), {"-v"}), frame);
    EXPECT_EQ(verbose.out, "");
    EXPECT_THAT(verbose.err, HasSubstr("running photo"));
    EXPECT_THAT(verbose.err, HasSubstr("HuevanceProcess succeeded!"));
    // No progress bar into a file, however many frames.
    EXPECT_EQ(
        bench.run(rawRun("-", bench.path("o.nv21"), {"--mode", "frame"}), noise(20 * kFrameBytes, 1)).err,
        "");
}

TEST_F(RunTest, PicturesThroughStandardInputAndOutput) {
    writeConstantCurves(tuning, {90});
    const Bytes jpeg = encodeJpeg(noise(40 * 30 * 3, 2), 40, 30, 2 /* 4:2:0 */);
    const ToolResult result = bench.run({"run", "-", "-", "-t", tuning.path()}, jpeg);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const JpegPlanes decoded = decodeJpeg(Bytes(result.out.begin(), result.out.end()));
    ASSERT_EQ(decoded.width, 40);
    ASSERT_EQ(decoded.height, 30);
    EXPECT_THAT(std::vector<int>(decoded.planes.begin(), decoded.planes.begin() + 40 * 30), Each(90));
    const ToolResult png = bench.run({"run", "-", "-", "-t", tuning.path(), "--to", "png"}, jpeg);
    EXPECT_EQ(decodePng(Bytes(png.out.begin(), png.out.end())).width, 40);
}

struct ScriptCase {
    std::vector<std::string> arguments;
    std::vector<int> levels;  // luma of each frame that comes out
};

TEST_F(RunTest, SceneScriptsAndFrameCounts) {
    // Without fading, the luma of a frame tells its scene.
    writeConstantCurves(tuning, {10, 120, 230});
    const std::string in = bench.write("in.nv21", noise(6 * kFrameBytes, 4));
    const ScriptCase cases[] = {
        {{}, {10, 10, 10, 10, 10, 10}},
        {{"--scene", "1"}, {120, 120, 120, 120, 120, 120}},
        {{"--scenes", "0:0,3:2"}, {10, 10, 10, 230, 230, 230}},
        {{"--scenes", "0:1,1:2,2:0,5:1"}, {120, 230, 10, 10, 10, 120}},
        {{"--scenes", "2:2", "--scene", "1"}, {120, 120, 230, 230, 230, 230}},
        {{"--scenes", "0:0,120:2"}, {10, 10, 10, 10, 10, 10}},
        {{"--frames", "2"}, {10, 10}},
        {{"--frames", "9"}, {10, 10, 10, 10, 10, 10}},
    };
    for (const ScriptCase& script : cases) {
        for (const char* mode : {"frame", "photo"}) {
            std::vector<std::string> more = {"--mode", mode};
            more.insert(more.end(), script.arguments.begin(), script.arguments.end());
            const ToolResult result = bench.run(rawRun(in, bench.path("out.nv21"), more));
            ASSERT_EQ(result.exitCode, 0) << result.err;
            const Bytes out = bench.read("out.nv21");
            ASSERT_EQ(out.size(), script.levels.size() * kFrameBytes) << testing::PrintToString(more);
            for (std::size_t i = 0; i < script.levels.size(); ++i) {
                const auto begin = out.begin() + static_cast<std::ptrdiff_t>(i * kFrameBytes);
                EXPECT_THAT(std::vector<int>(begin, begin + kWidth * kHeight), Each(script.levels[i]))
                    << testing::PrintToString(more) << " frame " << i;
            }
        }
    }
}

TEST_F(RunTest, PictureIsRepeatedForAStream) {
    writeConstantCurves(tuning, {10, 120});
    const std::string in = bench.write("in.png", encodePng(solid(32, 24, 80, 80, 80)));
    const ToolResult result =
        bench.run({"run", in, bench.path("out.nv21"), "-t", tuning.path(), "-m", "frame", "-n", "3",
                   "--scenes", "0:0,1:1", "--report", bench.path("report.json")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Bytes out = bench.read("out.nv21");
    ASSERT_EQ(out.size(), 3 * kFrameBytes);
    EXPECT_EQ(out[0], 10);
    EXPECT_EQ(out[kFrameBytes], 120);
    const Bytes text = bench.read("report.json");
    const auto report = nlohmann::json::parse(text.begin(), text.end());
    EXPECT_EQ(report["frames"], 3);
    EXPECT_EQ(report["backend"], "CPU");
    EXPECT_EQ(report["mode"], "frame");
    EXPECT_EQ(report["size"], "32x24");
    EXPECT_GE(report["milliseconds"]["total"].get<double>(), 3 * report["milliseconds"]["min"].get<double>());
}

TEST_F(RunTest, FormatsStridesAndOddSizesKeepTheirBytes) {
    // All stages off: whatever goes in must come out, padding included.
    tuning.writePlatform("CPU");
    tuning.writeSets();
    tuning.writeParam(0, 0.0F, 1.0F, 0.0F);
    struct Layout {
        const char* format;
        int width, height, stride, scanline;
        const char* bits;
    };
    const Layout layouts[] = {
        {"nv21", 1, 1, 1, 1, "8"},     {"nv12", 3, 5, 3, 5, "8"},      {"nv21", 33, 17, 64, 20, "8"},
        {"nv12", 32, 24, 32, 24, "8"}, {"nv12-16", 7, 3, 14, 3, "10"}, {"nv12-16", 16, 16, 128, 32, "16"},
        {"p010", 16, 9, 40, 11, "10"}, {"p010", 16, 8, 32, 8, "12"},
    };
    for (const Layout& layout : layouts) {
        const std::size_t bytes = static_cast<std::size_t>(layout.stride) *
                                  static_cast<std::size_t>(layout.scanline + layout.height / 2);
        Bytes frame = noise(2 * bytes, 5);
        if (std::string(layout.format) != "nv21" && std::string(layout.format) != "nv12") {
            const int bits = std::stoi(layout.bits);
            const bool high = std::string(layout.format) == "p010";
            for (std::size_t i = 0; i + 1 < frame.size(); i += 2) {
                int value = (frame[i] | frame[i + 1] << 8) & ((1 << bits) - 1);
                value = high ? value << (16 - bits) : value;
                frame[i] = static_cast<std::uint8_t>(value);
                frame[i + 1] = static_cast<std::uint8_t>(value >> 8);
            }
        }
        const std::string in = bench.write("in.yuv", frame);
        const ToolResult result =
            bench.run({"run", in, bench.path("out.yuv"), "-t", tuning.path(), "--size",
                       std::to_string(layout.width) + "x" + std::to_string(layout.height), "--format",
                       layout.format, "--stride", std::to_string(layout.stride), "--scanline",
                       std::to_string(layout.scanline), "--bits", layout.bits});
        EXPECT_EQ(result.exitCode, 0) << layout.format << result.err;
        EXPECT_EQ(bench.read("out.yuv"), frame) << layout.format << layout.width;
    }
}

TEST_F(RunTest, MasksOfEveryKindProtect) {
    // The curve makes everything 200; the left half of the mask keeps the input.
    writeConstantCurves(tuning, {200}, {{"maskSource", "1"}, {"pProtectSwitch", "1"}});
    Bytes frame = noise(kFrameBytes, 6);
    RgbPicture mask = solid(kWidth, kHeight, 0, 0, 0);
    Bytes gray(kWidth * kHeight, 0);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth / 2; ++x) {
            std::fill_n(mask.rgb.begin() + 3 * (y * kWidth + x), 3, std::uint8_t{255});
            gray[static_cast<std::size_t>(y * kWidth + x)] = 255;
        }
    }
    const std::string header = "P5\n# half\n32 24\n255\n";
    Bytes pgm(header.begin(), header.end());
    pgm.insert(pgm.end(), gray.begin(), gray.end());
    const std::string in = bench.write("in.nv21", frame);
    for (const std::string& name :
         {bench.write("mask.png", encodePng(mask)), bench.write("mask.pgm", pgm),
          bench.write("mask.jpg", encodeJpeg(mask.rgb, kWidth, kHeight, 3 /* gray */))}) {
        const ToolResult result = bench.run(rawRun(in, bench.path("out.nv21"), {"--mask", name}));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const Bytes out = bench.read("out.nv21");
        for (std::size_t i = 0; i < gray.size(); ++i) {
            ASSERT_EQ(out[i], gray[i] == 255 ? frame[i] : 200) << name << i;
        }
    }
    // A mask that does not fit, and one that the tuning does not ask for.
    const std::string small = bench.write("small.png", encodePng(solid(31, 24, 255, 255, 255)));
    EXPECT_EQ(bench.run(rawRun(in, bench.path("out.nv21"), {"--mask", small})).exitCode, 2);
    writeConstantCurves(tuning, {200});
    const ToolResult unused =
        bench.run(rawRun(in, bench.path("out.nv21"), {"--mask", bench.path("mask.png")}));
    EXPECT_EQ(unused.exitCode, 0);
    EXPECT_THAT(unused.err, HasSubstr("has no effect"));
}

TEST_F(RunTest, BackEndChoiceLeavesTuningAndTemporaryPlaceAlone) {
    writeConstantCurves(tuning, {50});
    tuning.writePlatform("XYZ", "/some/cache");
    const auto contents = [&] {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(tuning.path())) {
            files[entry.path().filename().string()] =
                std::to_string(entry.file_size()) + " " +
                std::to_string(entry.last_write_time().time_since_epoch().count());
        }
        return files;
    };
    const auto before = contents();
    const std::string in = bench.write("in.nv21", noise(kFrameBytes, 1));
    EXPECT_EQ(bench.run(rawRun(in, bench.path("out.nv21"), {"--backend", "CPU"})).exitCode, 0);
    EXPECT_EQ(bench.read("out.nv21")[0], 50);
    EXPECT_THAT(bench.leftovers(), IsEmpty());
    // Preview needs the cache directory of the tuning, and the same files.
    const ToolResult frame =
        bench.run(rawRun(in, bench.path("out.nv21"), {"--backend", "CPU", "-m", "frame", "-v"}));
    EXPECT_EQ(frame.exitCode, 0);
    EXPECT_THAT(frame.err, HasSubstr("cache path /some/cache"));
    // Errors while it works: no room for the result, a stream that ends early.
    EXPECT_EQ(bench.run(rawRun(in, "/dev/full", {"--backend", "CPU"})).exitCode, 3);
    EXPECT_EQ(bench.run(rawRun("-", bench.path("o"), {"--backend", "CPU"}), noise(9, 1)).exitCode, 3);
    EXPECT_THAT(bench.leftovers(), IsEmpty());
    EXPECT_EQ(contents(), before);
}

TEST_F(RunTest, SignalsLeaveNothingBehind) {
    writeConstantCurves(tuning, {50});
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const ToolResult result = bench.runAndKill(
            rawRun("-", bench.path("out.nv21"), {"--backend", "CPU", "-m", "frame"}), signal);
        EXPECT_EQ(result.exitCode, 128 + signal);
        EXPECT_THAT(bench.leftovers(), IsEmpty()) << signal;
    }
}

TEST_F(RunTest, InfoListsWhatRuns) {
    const ToolResult result = bench.run({"info", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_EQ(json["interface"], "SDK_BASE_20200330_version_1.0");
    std::vector<std::string> names;
    for (const auto& backEnd : json["backends"]) {
        names.push_back(backEnd["name"]);
        // No back end that runs may be refused by `run`, and the other way round.
        const auto answer = [&](const char* mode) {
            writeConstantCurves(tuning, {50});
            const std::string in = bench.write("in.nv21", noise(kFrameBytes, 1));
            return bench.run(rawRun(in, bench.path("out.nv21"), {"-b", names.back(), "-m", mode})).exitCode;
        };
        EXPECT_EQ(answer("photo") == 0, backEnd["photo"].get<bool>()) << names.back();
        EXPECT_EQ(answer("frame") == 0, backEnd["frame"].get<bool>()) << names.back();
    }
    EXPECT_THAT(names, testing::ElementsAre("CPU", "NEON", "GPU", "OGL"));
    EXPECT_EQ(json["backends"][0]["photo"], true);
    EXPECT_EQ(json["backends"][0]["frame"], true);
    EXPECT_THAT(json["drivers"][0]["path"].get<std::string>(), HasSubstr("/sim/liblog.so"));
    EXPECT_THAT(bench.run({"info"}).out, HasSubstr("\nCPU       yes    yes"));
    EXPECT_THAT(bench.leftovers(), IsEmpty());
}

}  // namespace
}  // namespace test
