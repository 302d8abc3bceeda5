// Pictures in and out of files: `huevance convert`, which shares every reader and writer with `run`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::HasSubstr;

// Of the JPEG library.
enum { k444 = 0, k422 = 1, k420 = 2, kGray = 3, k440 = 4, k411 = 5 };

struct FilesTest : testing::Test {
    ToolBench bench;

    Bytes convert(const std::string& in, const std::string& out, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"convert", in, bench.path(out)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ToolResult result = bench.run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return bench.read(out);
    }
};

// Smooth, so that codecs and filters change little.
Bytes gradient(int width, int height) {
    Bytes rgb;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            rgb.push_back(static_cast<std::uint8_t>(40 + 150 * x / width));
            rgb.push_back(static_cast<std::uint8_t>(60 + 120 * y / height));
            rgb.push_back(static_cast<std::uint8_t>(200 - 100 * x / width));
        }
    }
    return rgb;
}

struct Plane {
    int width, height;
    Bytes samples;
    int at(int x, int y) const { return samples[static_cast<std::size_t>(y * width + x)]; }
};

// The planes of a file that was decoded in one go; luma is padded to whole chroma samples there.
std::vector<Plane> planesOf(const JpegPlanes& jpeg) {
    const int across = jpeg.subsampling == k420 || jpeg.subsampling == k422 ? 2
                       : jpeg.subsampling == k411                           ? 4
                                                                            : 1;
    const int down = jpeg.subsampling == k420 || jpeg.subsampling == k440 ? 2 : 1;
    std::vector<Plane> planes;
    auto from = jpeg.planes.begin();
    const auto take = [&](int width, int height) {
        planes.push_back({width, height, Bytes(from, from + width * height)});
        from += width * height;
    };
    take((jpeg.width + across - 1) / across * across, (jpeg.height + down - 1) / down * down);
    for (int i = 0; i < 2 && jpeg.subsampling != kGray; ++i) {
        take((jpeg.width + across - 1) / across, (jpeg.height + down - 1) / down);
    }
    return planes;
}

TEST_F(FilesTest, JpegPlanesReachTheFrameUntouched) {
    const int sizes[][2] = {{1, 1}, {2, 2}, {3, 5}, {17, 9}, {40, 30}, {641, 3}};
    for (const auto& [width, height] : sizes) {
        const Bytes jpeg =
            encodeJpeg(noise(static_cast<std::size_t>(3 * width * height), 7), width, height, k420);
        const std::vector<Plane> planes = planesOf(decodeJpeg(jpeg));
        const std::string in = bench.write("in.jpg", jpeg);
        // The frame of an odd picture is even, and holds the picture's last chroma column and row.
        const int frameWidth = (width + 1) / 2 * 2, frameHeight = (height + 1) / 2 * 2;
        for (const char* format : {"nv21", "nv12"}) {
            const Bytes frame = convert(in, "out.yuv", {"--format", format});
            ASSERT_EQ(frame.size(), static_cast<std::size_t>(frameWidth * frameHeight * 3 / 2));
            const bool firstIsU = std::string(format) == "nv12";
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    ASSERT_EQ(frame[static_cast<std::size_t>(y * frameWidth + x)], planes[0].at(x, y))
                        << width << format;
                }
            }
            for (int y = 0; y < frameHeight / 2; ++y) {
                for (int x = 0; x < frameWidth / 2; ++x) {
                    const std::size_t at = static_cast<std::size_t>((frameHeight + y) * frameWidth + 2 * x);
                    ASSERT_EQ(frame[at], planes[firstIsU ? 1 : 2].at(x, y)) << width << format;
                    ASSERT_EQ(frame[at + 1], planes[firstIsU ? 2 : 1].at(x, y)) << width << format;
                }
            }
        }
    }
}

TEST_F(FilesTest, OtherSubsamplingsAreFilteredToTheFrame) {
    constexpr int kWidth = 48, kHeight = 32;
    const Bytes rgb = gradient(kWidth, kHeight);
    for (const int subsampling : {k444, k422, k440, k411}) {
        const Bytes jpeg = encodeJpeg(rgb, kWidth, kHeight, subsampling);
        const std::vector<Plane> planes = planesOf(decodeJpeg(jpeg));
        const Bytes frame = convert(bench.write("in.jpg", jpeg), "out.yuv", {"--format", "nv12"});
        const int across = kWidth / planes[1].width, down = kHeight / planes[1].height;
        for (int y = 2; y < kHeight / 2 - 2; ++y) {
            for (int x = 2; x < kWidth / 2 - 2; ++x) {
                for (int plane = 1; plane <= 2; ++plane) {
                    // The mean of the file's chroma at the four luma places of the block.
                    double mean = 0.0;
                    for (int i = 0; i < 4; ++i) {
                        mean += planes[static_cast<std::size_t>(plane)].at((2 * x + i % 2) / across,
                                                                           (2 * y + i / 2) / down) /
                                4.0;
                    }
                    const int got =
                        frame[static_cast<std::size_t>((kHeight + y) * kWidth + 2 * x + plane - 1)];
                    // Where the file has fewer columns than the frame they are interpolated.
                    ASSERT_NEAR(got, mean, subsampling == k411 ? 5.0 : 3.0)
                        << subsampling << " " << x << " " << y;
                }
            }
        }
        EXPECT_TRUE(std::equal(planes[0].samples.begin(), planes[0].samples.end(), frame.begin()));
    }
    const Bytes gray = encodeJpeg(rgb, kWidth, kHeight, kGray);
    const Bytes frame = convert(bench.write("in.jpg", gray), "out.yuv");
    EXPECT_THAT(Bytes(frame.begin() + kWidth * kHeight, frame.end()), testing::Each(128));
}

TEST_F(FilesTest, JpegRoundTripIsCloseAndKeepsItsDescription) {
    for (const auto& [width, height] : {std::pair{64, 48}, {65, 47}, {1, 7}}) {
        Bytes jpeg = encodeJpeg(gradient(width, height), width, height, k420);
        // An orientation (APP1) and a profile (APP2), and a comment that is not carried.
        const Bytes segments = {0xFF, 0xE1, 0, 8, 'E', 'x', 'i', 'f', 0, 7, 0xFF, 0xE2, 0, 5, 'I', 'C', 'C'};
        const Bytes comment = {0xFF, 0xFE, 0, 4, 'h', 'i'};
        jpeg.insert(jpeg.begin() + 20, comment.begin(), comment.end());  // after the JFIF segment
        jpeg.insert(jpeg.begin() + 20, segments.begin(), segments.end());
        const Bytes out = convert(bench.write("in.jpg", jpeg), "out.jpg", {"--quality", "100"});
        const JpegPlanes before = decodeJpeg(jpeg), after = decodeJpeg(out);
        ASSERT_EQ(after.width, width);
        ASSERT_EQ(after.height, height);
        ASSERT_EQ(after.planes.size(), before.planes.size());
        for (std::size_t i = 0; i < after.planes.size(); ++i) {
            ASSERT_NEAR(after.planes[i], before.planes[i], 4) << i;
        }
        EXPECT_NE(std::search(out.begin(), out.end(), segments.begin(), segments.end()), out.end());
        EXPECT_EQ(std::search(out.begin(), out.end(), comment.begin(), comment.end()), out.end());
    }
}

struct MatrixCase {
    const char* matrix;
    const char* range;
    double red, blue;  // luma coefficients
    bool limited;
};
constexpr MatrixCase kMatrices[] = {
    {"bt601", "full", 0.299, 0.114, false},
    {"bt601", "limited", 0.299, 0.114, true},
    {"bt709", "full", 0.2126, 0.0722, false},
    {"bt709", "limited", 0.2126, 0.0722, true},
};

TEST_F(FilesTest, PngColoursFollowTheNamedMatrix) {
    const int colors[][3] = {{0, 0, 0},     {255, 255, 255}, {200, 40, 30},
                             {30, 180, 60}, {20, 60, 220},   {228, 172, 140}};
    for (const MatrixCase& matrix : kMatrices) {
        const double lumaGain = matrix.limited ? 219.0 / 255.0 : 1.0,
                     chromaGain = matrix.limited ? 224.0 / 255.0 : 1.0;
        for (const auto& color : colors) {
            const double luma =
                matrix.red * color[0] + (1 - matrix.red - matrix.blue) * color[1] + matrix.blue * color[2];
            const double expected[] = {
                (matrix.limited ? 16.0 : 0.0) + lumaGain * luma,
                std::min(128.0 + chromaGain * (color[2] - luma) / (2 * (1 - matrix.blue)), 255.0),
                std::min(128.0 + chromaGain * (color[0] - luma) / (2 * (1 - matrix.red)), 255.0)};
            const std::string in =
                bench.write("in.png", encodePng(solid(6, 5, color[0], color[1], color[2])));
            const std::vector<std::string> options = {"--matrix",   matrix.matrix, "--range",
                                                      matrix.range, "--format",    "nv12"};
            const Bytes frame = convert(in, "out.nv12", options);
            ASSERT_EQ(frame.size(), 6U * 6U * 3U / 2U);
            EXPECT_NEAR(frame[0], expected[0], 1.5) << matrix.matrix << matrix.range << color[0];
            EXPECT_NEAR(frame[36], expected[1], 1.5) << matrix.matrix << matrix.range << color[0];
            EXPECT_NEAR(frame[37], expected[2], 1.5) << matrix.matrix << matrix.range << color[0];
            // And back.
            std::vector<std::string> back = options;
            back.insert(back.end(), {"--size", "6x6"});
            const RgbPicture picture = decodePng(convert(bench.path("out.nv12"), "out.png", back));
            ASSERT_EQ(picture.width, 6);
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_NEAR(picture.rgb[i], color[i], 4)
                    << matrix.matrix << matrix.range << color[0] << " " << i;
            }
        }
    }
    // A JPEG's planes have one meaning only.
    bench.write("in.png", encodePng(solid(6, 5, 1, 2, 3)));
    EXPECT_EQ(
        bench.run({"convert", bench.path("in.png"), bench.path("o.jpg"), "--range", "limited"}).exitCode, 2);
}

TEST_F(FilesTest, SixteenBitFramesHoldShiftedLevels) {
    struct Depth {
        const char* format;
        const char* bits;
        int shift;  // from the 8-bit level to the stored sample
    };
    const std::string in = bench.write("in.png", encodePng(solid(4, 2, 77, 77, 77)));
    for (const Depth& depth :
         {Depth{"nv12-16", "10", 2}, {"nv12-16", "16", 8}, {"p010", "10", 8}, {"p010", "12", 8}}) {
        const std::vector<std::string> options = {"--format", depth.format, "--bits", depth.bits};
        const Bytes frame = convert(in, "out.yuv", options);
        ASSERT_EQ(frame.size(), 4U * 3U * 2U);
        EXPECT_EQ(frame[0] | frame[1] << 8, 77 << depth.shift) << depth.format << depth.bits;
        EXPECT_EQ(frame[16] | frame[17] << 8, 128 << depth.shift) << depth.format << depth.bits;
        std::vector<std::string> back = options;
        back.insert(back.end(), {"--size", "4x2"});
        EXPECT_EQ(decodePng(convert(bench.path("out.yuv"), "out.png", back)).rgb[0], 77);
    }
    // On the way to 8 bits levels are rounded, not cut: 309 of 1023 is nearer to 77 than to 78, 310 is
    // half-way.
    for (const auto& [sample, level] : {std::pair{309, 77}, {310, 78}, {1023, 255}}) {
        Bytes frame;
        for (int i = 0; i < 12; ++i) {
            const int value = i < 8 ? sample : 512;
            frame.push_back(static_cast<std::uint8_t>(value));
            frame.push_back(static_cast<std::uint8_t>(value >> 8));
        }
        const Bytes png =
            convert(bench.write("in.yuv", frame), "out.png", {"--size", "4x2", "--format", "nv12-16"});
        EXPECT_EQ(decodePng(png).rgb[0], level);
    }
}

TEST_F(FilesTest, RawFramesOfOddSizesBecomePictures) {
    // 3 x 3: one chroma pair, which stands for the whole picture.
    const Bytes frame = {100, 100, 100, 100, 100, 100, 100, 100, 100, 90, 160, 0};
    for (const char* name : {"out.png", "out.jpg"}) {
        convert(bench.write("in.nv12", frame), name,
                {"--size", "3x3", "--format", "nv12", "--quality", "100"});
    }
    const RgbPicture png = decodePng(bench.read("out.png"));
    ASSERT_EQ(png.width * png.height, 9);
    // Full-range BT.601: R = Y + 1.402 (V - 128), B = Y + 1.772 (U - 128).
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(png.rgb[3 * i], 100 + 1.402 * 32, 2) << i;
        EXPECT_NEAR(png.rgb[3 * i + 2], 100 - 1.772 * 38, 2) << i;
    }
    EXPECT_EQ(decodeJpeg(bench.read("out.jpg")).width, 3);
    // 1 x 1: no chroma at all, so gray.
    const RgbPicture one = decodePng(convert(bench.write("in.nv12", {60}), "out.png", {"--size", "1x1"}));
    EXPECT_EQ(one.rgb, (Bytes{60, 60, 60}));
}

TEST_F(FilesTest, Resizing) {
    const std::string in = bench.write("in.png", encodePng(solid(30, 20, 50, 60, 70)));
    const RgbPicture fixed = decodePng(convert(in, "out.png", {"--resize", "91x33"}));
    EXPECT_EQ(fixed.width, 91);
    EXPECT_EQ(fixed.height, 33);
    EXPECT_NEAR(fixed.rgb[3 * (91 * 16 + 45)], 50, 3);
    // 0.0054 Mi samples in the proportion 3:2 are 90 x 60.
    const RgbPicture scaled = decodePng(convert(in, "out.png", {"--megapixels", "0.0054"}));
    EXPECT_EQ(scaled.width, 90);
    EXPECT_EQ(scaled.height, 60);
    EXPECT_EQ(bench.run({"convert", in, "x.png", "--resize", "1x1", "--megapixels", "1"}).exitCode, 2);
    const std::string raw = bench.write("in.yuv", Bytes(6));
    EXPECT_EQ(bench.run({"convert", raw, "x.png", "--size", "2x2", "--resize", "4x4"}).exitCode, 2);
}

// A big-endian number in a file.
void patch(Bytes& file, std::size_t at, std::initializer_list<int> bytes) {
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
}

TEST_F(FilesTest, DamagedFilesAreRefusedInWords) {
    const Bytes jpeg = encodeJpeg(gradient(64, 48), 64, 48, k420);
    const Bytes png = encodePng({64, 48, gradient(64, 48)});
    std::vector<std::pair<std::string, Bytes>> files = {{"empty", {}}, {"text", {'h', 'e', 'l', 'l', 'o'}}};
    for (const Bytes& whole : {jpeg, png}) {
        for (const std::size_t length :
             {std::size_t{3}, std::size_t{8}, std::size_t{24}, whole.size() / 2, whole.size() * 9 / 10}) {
            files.emplace_back("first " + std::to_string(length) + " bytes",
                               Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        }
    }
    // Sizes that no memory holds: JPEG's frame header, PNG's first chunk.
    Bytes huge = jpeg;
    const std::uint8_t marker[] = {0xFF, 0xC0};
    const auto frameHeader = std::search(huge.begin(), huge.end(), std::begin(marker), std::end(marker));
    ASSERT_NE(frameHeader, huge.end());
    patch(huge, static_cast<std::size_t>(frameHeader - huge.begin()) + 5, {0xFF, 0xDC, 0xFF, 0xDC});
    files.emplace_back("65500 x 65500 JPEG", huge);
    Bytes hugePng = png;
    patch(hugePng, 16, {0x7F, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF});
    files.emplace_back("PNG of 2^62 samples", hugePng);
    Bytes noisy = noise(4000, 9);
    std::copy_n(jpeg.begin(), 160, noisy.begin());
    files.emplace_back("a JPEG's head on noise", noisy);

    for (const auto& [what, contents] : files) {
        const std::string in = bench.write("in", contents);
        const ToolResult result = bench.run({"convert", in, bench.path("out.png")});
        EXPECT_EQ(result.exitCode, 3) << what << result.err;
        EXPECT_THAT(result.err, HasSubstr("cannot read")) << what;
        EXPECT_FALSE(std::filesystem::exists(bench.path("out.png"))) << what;
    }
}

TEST_F(FilesTest, DamagedMasksAreRefusedInWords) {
    TuningDir tuning;
    writeConstantCurves(tuning, {50});
    const std::string in = bench.write("in.nv21", Bytes(6));
    for (const char* text :
         {"P5", "P5 2", "P5 2 2 255\nabc", "P5 0 0 255\n", "P5 99999999999 2 255\n", "P5 2 2 65535\nabcdefgh",
          "P5 65535 65535 255\nab", "P2 2 2 255 1 2 3 4", "# 2 2", ""}) {
        const std::string mask =
            bench.write("mask", Bytes(text, text + std::char_traits<char>::length(text)));
        const ToolResult result =
            bench.run({"run", in, bench.path("o"), "--size", "2x2", "-t", tuning.path(), "--mask", mask});
        EXPECT_EQ(result.exitCode, 3) << text << result.err;
    }
}

}  // namespace
}  // namespace test
