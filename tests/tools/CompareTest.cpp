// `huevance compare` against numbers worked out here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr std::size_t kLuma = 16 * 12, kFrame = kLuma * 3 / 2;

struct CompareTest : testing::Test {
    ToolBench bench;

    ToolResult compare(const Bytes& a, const Bytes& b, const Words& more = {}) {
        return bench.run(
            join({"compare", bench.write("a.yuv", a), bench.write("b.yuv", b), "--size", "16x12"}, more));
    }
    json jsonOf(const Bytes& a, const Bytes& b, const Words& more = {}) {
        return json::parse(compare(a, b, join({"--json"}, more)).out);
    }
};

TEST_F(CompareTest, NumbersOfEachPlane) {
    // Luma: 4 samples off by 10 and one by -20. First chroma: every sample off by 1. Second: equal. NV21: V
    // first.
    Bytes a(kFrame, 100), b = a;
    b[0] = b[5] = b[17] = b[100] = 110;
    b[kLuma - 1] = 80;
    for (std::size_t i = kLuma; i < kFrame; i += 2) {
        b[i] = 99;
    }
    const json planes = jsonOf(a, b)["planes"];
    // Squares: 4 x 100 + 400 = 800 over 192 samples.
    EXPECT_NEAR(planes["y"]["psnr"].get<double>(), 10 * std::log10(65025.0 * 192.0 / 800.0), 1e-9);
    EXPECT_EQ(planes["y"]["maximum"], 20);
    EXPECT_NEAR(planes["y"]["mean"].get<double>(), 60.0 / 192.0, 1e-12);
    EXPECT_EQ(planes["y"]["histogram"], json::parse("[[0,187],[10,4],[20,1]]"));
    EXPECT_EQ(planes["v"]["histogram"], json::parse("[[1,48]]"));
    EXPECT_EQ(planes["u"]["maximum"], 0);
    EXPECT_EQ(jsonOf(a, b, {"--format", "nv12"})["planes"]["u"]["maximum"], 1);
    EXPECT_EQ(compare(a, b, {"--tolerance", "20"}).exitCode, 0);
    EXPECT_EQ(compare(a, b, {"--tolerance", "19"}).exitCode, 1);
    EXPECT_THAT(compare(a, b).out, HasSubstr("maximum difference 20"));

    // 16-bit samples are measured against their own range. p010: one luma sample, one level of 1023.
    Bytes zero(2 * kFrame, 0), one = zero;
    one[0] = 0x40;
    const json wide = jsonOf(zero, one, {"--format", "p010"});
    EXPECT_EQ(wide["bits"], 10);
    EXPECT_NEAR(wide["planes"]["y"]["psnr"].get<double>(), 10 * std::log10(1023.0 * 1023.0 * 192.0), 1e-9);
}

TEST_F(CompareTest, StreamsPaddingAndEquality) {
    const Bytes three = noise(3 * kFrame, 2);
    Bytes late = three;
    late[2 * kFrame + 3] ^= 1;
    const json result = jsonOf(three, late);
    EXPECT_EQ(result["frames"], 3);
    EXPECT_EQ(result["planes"]["y"]["histogram"], json::parse("[[0,575],[1,1]]"));
    const ToolResult shorter = compare(three, Bytes(three.begin(), three.begin() + 2 * kFrame));
    EXPECT_EQ(shorter.exitCode, 1);
    EXPECT_THAT(shorter.out, HasSubstr("one file ends after 2 frames"));

    Bytes a = noise(20 * (15 + 6), 1), b = a;
    for (std::size_t row = 0; row < 21; ++row) {
        for (std::size_t x = row >= 12 && row < 15 ? 0 : 16; x < 20; ++x) {
            b[row * 20 + x] = static_cast<std::uint8_t>(~b[row * 20 + x]);
        }
    }
    const ToolResult equal = compare(a, b, {"--stride", "20", "--scanline", "15"});
    EXPECT_EQ(equal.exitCode, 0);
    EXPECT_THAT(equal.out, HasSubstr("y: PSNR infinite, maximum difference 0"));
    EXPECT_THAT(equal.out, HasSubstr("\nequal\n"));
    EXPECT_TRUE(jsonOf(three, three)["planes"]["v"]["psnr"].is_null());
}

// Two shades of gray: the measures of a picture stand beside those of its planes.
TEST_F(CompareTest, MeasuresOfPicturesAndTheirDifference) {
    const std::string a = bench.write("a.png", encodePng(solid(20, 12, 119, 119, 119)));
    const std::string b = bench.write("b.png", encodePng(solid(20, 12, 129, 119, 255)));
    const ToolResult result =
        bench.run({"compare", a, b, "--json", "--difference", bench.path("d.png"), "--gain", "2"});
    EXPECT_EQ(result.exitCode, 1);
    const json report = json::parse(result.out);
    EXPECT_NEAR(report["delta_e_mean"].get<double>(), 29.054, 0.005);  // as scikit-image has it
    EXPECT_NEAR(report["delta_e_p99"].get<double>(), report["delta_e_mean"].get<double>(), 0.01);
    EXPECT_EQ(report["clipped_percent"], 100.0);
    EXPECT_LT(report["ssim"].get<double>(), 1.0);
    const RgbPicture changed = decodePng(bench.read("d.png"));
    ASSERT_TRUE(changed.width == 20 && changed.height == 12);
    EXPECT_THAT(Bytes(changed.rgb.begin(), changed.rgb.begin() + 3), testing::ElementsAre(148, 128, 255));
    EXPECT_THAT(bench.run({"compare", a, a}).out, HasSubstr("CIEDE2000: mean 0.000"));

    // A stream's frames are measured with the matrix that is named: green of limited-range BT.709.
    const Bytes gray(kFrame, 128);
    Bytes green(kLuma, 173);
    for (std::size_t i = 0; i < kLuma / 2; i += 2) {
        green.insert(green.end(), {26, 42});
    }
    const Bytes frames[] = {gray, green};
    const json stream =
        json::parse(bench
                        .run({"compare", bench.write("s.yuv", frames[0]), bench.write("g.yuv", frames[1]),
                              "--size", "16x12", "--matrix", "bt709", "--range", "limited", "--json"})
                        .out);
    EXPECT_EQ(stream["clipped_percent"], 100.0);
    EXPECT_NEAR(stream["delta_e_mean"].get<double>(), 41.240, 0.3);
}

// Odd sizes: the right picture must begin at a whole chroma sample and keep its colours.
TEST_F(CompareTest, PicturesOfDifferentSizesAreShownSideBySideAndNotMeasured) {
    const std::string a = bench.write("a.png", encodePng(solid(15, 9, 200, 40, 40)));
    const std::string b = bench.write("b.png", encodePng(solid(15, 11, 40, 40, 200)));
    const ToolResult result = bench.run({"compare", a, b, "--json", "--side-by-side", bench.path("s.png")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("15x9 and 15x11"));
    const RgbPicture both = decodePng(bench.read("s.png"));
    ASSERT_TRUE(both.width == 16 + 8 + 15 && both.height == 11);
    const int pixels[][5] = {{0, 0, 200, 40, 40},    {14, 8, 200, 40, 40}, {20, 4, 255, 255, 255},
                             {4, 10, 255, 255, 255}, {24, 0, 40, 40, 200}, {38, 10, 40, 40, 200}};
    for (const auto& [x, y, red, green, blue] : pixels) {
        const std::uint8_t* at = &both.rgb[static_cast<std::size_t>(3 * (y * both.width + x))];
        EXPECT_TRUE(std::abs(at[0] - red) < 5 && std::abs(at[1] - green) < 5 && std::abs(at[2] - blue) < 5)
            << x;
    }
    // Streams say their sizes themselves.
    const auto stream = [&](const std::string& name, const std::string& size, std::size_t bytes) {
        const std::string text = "YUV4MPEG2 " + size + " F25:1\nFRAME\n" + std::string(bytes, 'a');
        return bench.write(name, {text.begin(), text.end()});
    };
    const ToolResult unequal = bench.run(
        {"compare", stream("a.y4m", "W16 H12", 288), stream("b.y4m", "W16 H8", 192), "--range", "full"});
    EXPECT_EQ(unequal.exitCode, 2);
    EXPECT_EQ(unequal.out, "");
    ASSERT_EQ(bench.run({"compare", a, b, "--side-by-side", bench.path("s.jpg")}).exitCode, 2);
    EXPECT_EQ(decodeJpeg(bench.read("s.jpg")).width, 39);
}

}  // namespace
}  // namespace test
