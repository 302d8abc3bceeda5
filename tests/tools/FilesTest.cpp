// Pictures in and out of files: `huevance convert`, which shares every reader and writer with `run`. Where
// closeness is enough, `huevance compare` judges, which has tests of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

// Of the JPEG library.
enum { k444 = 0, k422 = 1, k420 = 2, kGray = 3, k440 = 4, k411 = 5 };

struct FilesTest : testing::Test {
    ToolBench bench;

    Bytes convert(const std::string& in, const std::string& out, const Words& more = {}) {
        const ToolResult result = bench.run(join({"convert", in, bench.path(out)}, more));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return bench.read(out);
    }
    void expectClose(const std::string& a, const std::string& b, const std::string& tolerance) {
        const ToolResult result =
            bench.run({"compare", bench.path(a), bench.path(b), "--tolerance", tolerance});
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    }
};

// Smooth, so that codecs and filters change little.
Bytes gradient(int width, int height) {
    Bytes rgb;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        for (const int level : {40 + 150 * x / width, 60 + 120 * y / height, 200 - 100 * x / width}) {
            rgb.push_back(static_cast<std::uint8_t>(level));
        }
    }
    return rgb;
}

TEST_F(FilesTest, JpegPlanesReachTheFrameUntouched) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 5}, {40, 30}, {641, 3}}) {
        const Bytes jpeg =
            encodeJpeg(noise(static_cast<std::size_t>(3 * width * height), 7), width, height, k420);
        const auto planes = decodeJpeg(jpeg).planes;
        // The frame of an odd picture is even, and holds the picture's last chroma column and row.
        const int frameWidth = (width + 1) / 2 * 2, frameHeight = (height + 1) / 2 * 2;
        for (const std::string format : {"nv21", "nv12"}) {
            const Bytes frame = convert(bench.write("in.jpg", jpeg), "out.yuv", {"--format", format});
            ASSERT_EQ(frame.size(), static_cast<std::size_t>(frameWidth * frameHeight * 3 / 2));
            for (int i = 0; i < width * height; ++i) {
                const int x = i % width, y = i / width;
                const auto& chroma = planes[(format == "nv12") == (x % 2 == 0) ? 1 : 2];
                const auto* column = frame.data() + x;
                ASSERT_EQ(column[y * frameWidth], planes[0].at(x, y)) << format << width;
                ASSERT_EQ(column[(frameHeight + y / 2) * frameWidth], chroma.at(x / 2, y / 2))
                    << format << width;
            }
        }
    }
}

TEST_F(FilesTest, EverySubsamplingGivesThePictureAndKeepsItsDescription) {
    // An orientation (APP1) and a profile (APP2), and a comment that is not carried.
    const Bytes segments = {0xFF, 0xE1, 0, 8, 'E', 'x', 'i', 'f', 0, 7, 0xFF, 0xE2, 0, 5, 'I', 'C', 'C'};
    const Bytes comment = {0xFF, 0xFE, 0, 4, 'h', 'i'};
    for (const auto& [width, height] : {std::pair{64, 48}, {65, 47}}) {
        bench.write("in.png", encodePng({width, height, gradient(width, height)}));
        for (const int subsampling : {k444, k422, k420, k440, k411}) {
            SCOPED_TRACE(testing::Message() << width << ", subsampling " << subsampling);
            Bytes jpeg = encodeJpeg(gradient(width, height), width, height, subsampling);
            jpeg.insert(jpeg.begin() + 20, comment.begin(), comment.end());  // after the JFIF segment
            jpeg.insert(jpeg.begin() + 20, segments.begin(), segments.end());
            const Bytes out = convert(bench.write("in.jpg", jpeg), "out.jpg", {"--quality", "100"});
            expectClose("in.jpg", "in.png", "7");
            expectClose("in.jpg", "out.jpg", "4");
            EXPECT_NE(std::search(out.begin(), out.end(), segments.begin(), segments.end()), out.end());
            EXPECT_EQ(std::search(out.begin(), out.end(), comment.begin(), comment.end()), out.end());
        }
    }
    const Bytes frame =
        convert(bench.write("in.jpg", encodeJpeg(gradient(48, 32), 48, 32, kGray)), "out.yuv");
    EXPECT_THAT(Bytes(frame.begin() + 48 * 32, frame.end()), testing::Each(128));
}

TEST_F(FilesTest, PngColoursFollowTheNamedMatrix) {
    const int colors[][3] = {{0, 0, 0},     {255, 255, 255}, {200, 40, 30},
                             {30, 180, 60}, {20, 60, 220},   {228, 172, 140}};
    for (int i = 0; i < 4; ++i) {
        const bool limited = i % 2 == 1;
        const double red = i < 2 ? 0.299 : 0.2126, blue = i < 2 ? 0.114 : 0.0722;  // luma coefficients
        const Words options = {"--matrix", i < 2 ? "bt601" : "bt709",
                               "--range",  limited ? "limited" : "full",
                               "--format", "nv12"};
        for (const auto& color : colors) {
            const double luma = red * color[0] + (1 - red - blue) * color[1] + blue * color[2];
            const double gain = limited ? 224.0 / 255.0 : 1.0;
            const Bytes png = encodePng(solid(6, 6, color[0], color[1], color[2]));
            const Bytes frame = convert(bench.write("in.png", png), "out.nv12", options);
            ASSERT_EQ(frame.size(), 6U * 6U * 3U / 2U);
            EXPECT_NEAR(frame[0], limited ? 16.0 + 219.0 / 255.0 * luma : luma, 1.5) << i << color[0];
            EXPECT_NEAR(frame[36], std::min(128.0 + gain * (color[2] - luma) / (2 * (1 - blue)), 255.0), 1.5);
            EXPECT_NEAR(frame[37], std::min(128.0 + gain * (color[0] - luma) / (2 * (1 - red)), 255.0), 1.5);
            convert(bench.path("out.nv12"), "out.png", join(options, {"--size", "6x6"}));
            expectClose("in.png", "out.png", "4");
        }
    }
}

TEST_F(FilesTest, SixteenBitFramesHoldShiftedLevels) {
    bench.write("in.png", encodePng(solid(4, 2, 77, 77, 77)));
    const struct {
        const char *format, *bits;
        int shift;  // from the 8-bit level to the stored sample
    } depths[] = {{"nv12-16", "10", 2}, {"nv12-16", "16", 8}, {"p010", "10", 8}, {"p010", "12", 8}};
    for (const auto& depth : depths) {
        const Words options = {"--format", depth.format, "--bits", depth.bits};
        const Bytes frame = convert(bench.path("in.png"), "out.yuv", options);
        ASSERT_EQ(frame.size(), 4U * 3U * 2U);
        EXPECT_EQ(frame[0] | frame[1] << 8, 77 << depth.shift) << depth.format << depth.bits;
        EXPECT_EQ(frame[16] | frame[17] << 8, 128 << depth.shift) << depth.format << depth.bits;
        convert(bench.path("out.yuv"), "out.png", join(options, {"--size", "4x2"}));
        expectClose("in.png", "out.png", "0");
    }
    // On the way to 8 bits levels are rounded, not cut: 309 of 1023 is nearer to 77 than to 78, 310 is
    // half-way.
    for (const auto& [sample, level] : {std::pair{309, 77}, {310, 78}, {1023, 255}}) {
        Bytes frame;
        for (int i = 0; i < 24; ++i) {
            frame.push_back(static_cast<std::uint8_t>((i < 16 ? sample : 512) >> i % 2 * 8));
        }
        const Words options = {"--size", "4x2", "--format", "nv12-16"};
        EXPECT_EQ(decodePng(convert(bench.write("in.yuv", frame), "out.png", options)).rgb[0], level);
    }
}

TEST_F(FilesTest, OddSizesAndResizing) {
    // 3 x 3: one chroma pair, which stands for the whole picture. Full-range BT.601: R = Y + 1.402 (V - 128)
    // = 144, B = Y + 1.772 (U - 128) = 32, G = Y - 0.344 (U - 128) - 0.714 (V - 128) = 89.
    const std::string in = bench.write("in.nv12", {99, 99, 99, 99, 99, 99, 99, 99, 99, 90, 160, 0});
    convert(in, "out.png", {"--size", "3x3", "--format", "nv12"});
    bench.write("expected.png", encodePng(solid(3, 3, 144, 89, 32)));
    expectClose("out.png", "expected.png", "2");
    // 1 x 1: no chroma at all, so grey.
    EXPECT_EQ(decodePng(convert(bench.write("in.nv12", {60}), "out.png", {"--size", "1x1"})).rgb,
              (Bytes{60, 60, 60}));
    // 0.0054 Mi samples in the proportion 3:2 are 90 x 60.
    const std::string large = bench.write("in.png", encodePng(solid(30, 20, 50, 60, 70)));
    for (const auto& [option, value, width, height] :
         {std::tuple{"--resize", "91x33", 91, 33}, {"--megapixels", "0.0054", 90, 60}}) {
        convert(large, "out.png", {option, value});
        bench.write("expected.png", encodePng(solid(width, height, 50, 60, 70)));
        expectClose("out.png", "expected.png", "2");
    }
}

TEST_F(FilesTest, DamagedFilesAreRefusedInWords) {
    const Bytes jpeg = encodeJpeg(gradient(64, 48), 64, 48, k420),
                png = encodePng({64, 48, gradient(64, 48)});
    std::vector<Bytes> files = {{}, {'h', 'e', 'l', 'l', 'o'}};
    for (const Bytes& whole : {jpeg, png}) {
        for (const std::size_t length : {std::size_t{8}, std::size_t{24}, whole.size() * 9 / 10}) {
            files.emplace_back(whole.data(), whole.data() + length);
        }
    }
    // Sizes that no memory holds: JPEG's frame header, PNG's first chunk.
    const Bytes marker = {0xFF, 0xC0};
    Bytes hugeJpeg = jpeg, hugePng = png, noisy = noise(4000, 9);
    const auto header = std::search(hugeJpeg.begin(), hugeJpeg.end(), marker.begin(), marker.end());
    ASSERT_NE(header, hugeJpeg.end());
    header[5] = header[7] = 0xFF;
    hugePng[16] = hugePng[20] = 0x7F;
    std::copy_n(jpeg.begin(), 160, noisy.begin());  // a JPEG's head on noise
    files.insert(files.end(), {hugeJpeg, hugePng, noisy});
    for (std::size_t i = 0; i < files.size(); ++i) {
        const ToolResult result = bench.run({"convert", bench.write("in", files[i]), bench.path("out.png")});
        EXPECT_EQ(result.exitCode, 3) << i << result.err;
        EXPECT_THAT(result.err, testing::HasSubstr("cannot read")) << i;
        EXPECT_FALSE(std::filesystem::exists(bench.path("out.png"))) << i;
    }
}

}  // namespace
}  // namespace test
