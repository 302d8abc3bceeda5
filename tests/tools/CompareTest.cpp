// `huevance compare` against numbers worked out here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::HasSubstr;

constexpr int kWidth = 16, kHeight = 12;
constexpr std::size_t kLuma = kWidth * kHeight, kFrame = kLuma * 3 / 2;

struct CompareTest : testing::Test {
    ToolBench bench;

    ToolResult compare(const Bytes& a, const Bytes& b, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"compare", bench.write("a.yuv", a), bench.write("b.yuv", b),
                                              "--size", "16x12"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return bench.run(arguments);
    }
};

TEST_F(CompareTest, EqualFilesAreGood) {
    const Bytes frame = noise(kFrame, 1);
    const ToolResult text = compare(frame, frame);
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_THAT(text.out, HasSubstr("y: PSNR infinite, maximum difference 0"));
    EXPECT_THAT(text.out, HasSubstr("\nequal\n"));
    const auto json = nlohmann::json::parse(compare(frame, frame, {"--json"}).out);
    EXPECT_EQ(json["equal"], true);
    EXPECT_TRUE(json["planes"]["v"]["psnr"].is_null());
}

TEST_F(CompareTest, NumbersOfEachPlane) {
    // Luma: 4 samples off by 10 and one by -20. First chroma: every sample off by 1. Second: equal. NV21: V
    // comes first.
    Bytes a(kFrame, 100), b = a;
    for (const std::size_t i : {0U, 5U, 17U, 100U}) {
        b[i] = 110;
    }
    b[kLuma - 1] = 80;
    for (std::size_t i = kLuma; i < kFrame; i += 2) {
        b[i] = 99;
    }
    const ToolResult result = compare(a, b, {"--json"});
    EXPECT_EQ(result.exitCode, 1);
    const auto planes = nlohmann::json::parse(result.out)["planes"];
    // Squares: 4 x 100 + 400 = 800 over 192 samples.
    EXPECT_NEAR(planes["y"]["psnr"].get<double>(), 10 * std::log10(65025.0 * 192.0 / 800.0), 1e-9);
    EXPECT_EQ(planes["y"]["maximum"], 20);
    EXPECT_NEAR(planes["y"]["mean"].get<double>(), 60.0 / 192.0, 1e-12);
    EXPECT_EQ(planes["y"]["histogram"], nlohmann::json::parse("[[0,187],[10,4],[20,1]]"));
    EXPECT_NEAR(planes["v"]["psnr"].get<double>(), 10 * std::log10(65025.0), 1e-9);
    EXPECT_EQ(planes["v"]["histogram"], nlohmann::json::parse("[[1,48]]"));
    EXPECT_EQ(planes["u"]["maximum"], 0);
    // In NV12 the same bytes are U.
    const auto swapped = nlohmann::json::parse(compare(a, b, {"--json", "--format", "nv12"}).out)["planes"];
    EXPECT_EQ(swapped["u"]["maximum"], 1);
    EXPECT_EQ(swapped["v"]["maximum"], 0);

    EXPECT_EQ(compare(a, b, {"--tolerance", "20"}).exitCode, 0);
    EXPECT_EQ(compare(a, b, {"--tolerance", "19"}).exitCode, 1);
    const std::string text = compare(a, b).out;
    EXPECT_THAT(text, HasSubstr("maximum difference 20"));
    EXPECT_THAT(text, HasSubstr(" 0: 187  9-16: 4  17-32: 1 \n"));
}

TEST_F(CompareTest, SixteenBitsAreMeasuredAgainstTheirOwnRange) {
    Bytes a(2 * kFrame, 0), b = a;
    b[0] = 0x40;  // p010: one luma sample, one level of 1023
    const auto json = nlohmann::json::parse(compare(a, b, {"--json", "--format", "p010"}).out);
    EXPECT_EQ(json["bits"], 10);
    EXPECT_EQ(json["planes"]["y"]["maximum"], 1);
    EXPECT_NEAR(json["planes"]["y"]["psnr"].get<double>(), 10 * std::log10(1023.0 * 1023.0 * 192.0), 1e-9);
}

TEST_F(CompareTest, PaddingDoesNotCount) {
    Bytes a = noise(20 * (15 + 6), 1), b = a;
    for (std::size_t row = 0; row < 21; ++row) {
        for (std::size_t x = row >= 12 && row < 15 ? 0 : 16; x < 20; ++x) {
            b[row * 20 + x] = static_cast<std::uint8_t>(~b[row * 20 + x]);
        }
    }
    EXPECT_EQ(compare(a, b, {"--stride", "20", "--scanline", "15"}).exitCode, 0);
}

TEST_F(CompareTest, StreamsAreComparedToTheEnd) {
    const Bytes three = noise(3 * kFrame, 2);
    Bytes late = three;
    late[2 * kFrame + 3] = static_cast<std::uint8_t>(late[2 * kFrame + 3] ^ 1);
    const auto json = nlohmann::json::parse(compare(three, late, {"--json"}).out);
    EXPECT_EQ(json["frames"], 3);
    EXPECT_EQ(json["planes"]["y"]["histogram"], nlohmann::json::parse("[[0,575],[1,1]]"));
    const ToolResult shorter = compare(three, Bytes(three.begin(), three.begin() + 2 * kFrame));
    EXPECT_EQ(shorter.exitCode, 1);
    EXPECT_THAT(shorter.out, HasSubstr("one file ends after 2 frames"));
}

TEST_F(CompareTest, PicturesOfDifferentSizesDiffer) {
    const std::string a = bench.write("a.png", encodePng(solid(8, 8, 1, 2, 3)));
    const std::string b = bench.write("b.png", encodePng(solid(8, 9, 1, 2, 3)));
    const ToolResult result = bench.run({"compare", a, b});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.out, HasSubstr("8x8 and 8x9"));
}

TEST_F(CompareTest, SideBySideShowsBoth) {
    // Odd sizes: the right picture must begin at a whole chroma sample and keep its colours.
    const std::string a = bench.write("a.png", encodePng(solid(15, 9, 200, 40, 40)));
    const std::string b = bench.write("b.png", encodePng(solid(15, 11, 40, 40, 200)));
    ASSERT_EQ(bench.run({"compare", a, b, "--side-by-side", bench.path("s.png")}).exitCode, 1);
    const RgbPicture both = decodePng(bench.read("s.png"));
    ASSERT_EQ(both.width, 16 + 8 + 15);
    ASSERT_EQ(both.height, 11);
    const auto pixel = [&](int x, int y) {
        const auto at = both.rgb.begin() + 3 * (y * both.width + x);
        return std::vector<int>(at, at + 3);
    };
    const auto near = [](int red, int green, int blue) {
        return testing::ElementsAre(testing::AllOf(testing::Ge(red - 4), testing::Le(red + 4)),
                                    testing::AllOf(testing::Ge(green - 4), testing::Le(green + 4)),
                                    testing::AllOf(testing::Ge(blue - 4), testing::Le(blue + 4)));
    };
    EXPECT_THAT(pixel(0, 0), near(200, 40, 40));
    EXPECT_THAT(pixel(14, 8), near(200, 40, 40));
    EXPECT_THAT(pixel(20, 4), near(255, 255, 255));
    EXPECT_THAT(pixel(4, 10), near(255, 255, 255));
    EXPECT_THAT(pixel(24, 0), near(40, 40, 200));
    EXPECT_THAT(pixel(38, 10), near(40, 40, 200));
    ASSERT_EQ(bench.run({"compare", a, b, "--side-by-side", bench.path("s.jpg")}).exitCode, 1);
    EXPECT_EQ(decodeJpeg(bench.read("s.jpg")).width, 39);
}

}  // namespace
}  // namespace test
