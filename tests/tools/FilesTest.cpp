// Pictures in and out of files: `huevance convert`, which shares every reader and writer with `run`. Where
// closeness is enough, `huevance compare` judges, which has tests of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

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
RgbPicture gradient(int width, int height) {
    return painted(width, height, [=](int x, int y, int channel) {
        const int levels[] = {40 + 150 * x / width, 60 + 120 * y / height, 200 - 100 * x / width};
        return levels[channel];
    });
}

TEST_F(FilesTest, JpegPlanesReachTheFrameUntouched) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 5}, {40, 30}, {641, 3}}) {
        const Bytes jpeg =
            encodeJpeg({width, height, noise(static_cast<std::size_t>(3 * width * height), 7)}, k420);
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
        bench.write("in.png", encodePng(gradient(width, height)));
        for (const int subsampling : {k444, k422, k420, k440, k411}) {
            SCOPED_TRACE(testing::Message() << width << ", subsampling " << subsampling);
            Bytes jpeg = encodeJpeg(gradient(width, height), subsampling);
            jpeg.insert(jpeg.begin() + 20, comment.begin(), comment.end());  // after the JFIF segment
            jpeg.insert(jpeg.begin() + 20, segments.begin(), segments.end());
            const Bytes out = convert(bench.write("in.jpg", jpeg), "out.jpg", {"--quality", "100"});
            expectClose("in.jpg", "in.png", "7");
            expectClose("in.jpg", "out.jpg", "4");
            EXPECT_NE(std::search(out.begin(), out.end(), segments.begin(), segments.end()), out.end());
            EXPECT_EQ(std::search(out.begin(), out.end(), comment.begin(), comment.end()), out.end());
        }
    }
    const Bytes frame = convert(bench.write("in.jpg", encodeJpeg(gradient(48, 32), kGray)), "out.yuv");
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
    // A PNG keeps them in 16 bits: 312 of 1023 is nearer to 78 of 255 than to 77.
    for (const auto& [sample, level] : {std::pair{309, 77}, {312, 78}, {1023, 255}}) {
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

// An APP segment of a JPEG, put behind its JFIF segment.
Bytes withSegment(Bytes jpeg, std::uint8_t marker, const Bytes& contents) {
    const std::size_t length = contents.size() + 2;
    Bytes segment = {0xFF, marker, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
    segment.insert(segment.end(), contents.begin(), contents.end());
    jpeg.insert(jpeg.begin() + 20, segment.begin(), segment.end());
    return jpeg;
}

Bytes oriented(const Bytes& jpeg, std::uint8_t orientation) {
    return withSegment(jpeg, 0xE1, {'E',  'x',  'i', 'f', 0, 0, 'M', 'M', 0, 42,          0, 0, 0, 8, 0, 1,
                                    0x01, 0x12, 0,   3,   0, 0, 0,   1,   0, orientation, 0, 0, 0, 0, 0, 0});
}

TEST_F(FilesTest, PicturesAreTurnedUprightForPngAndKeepTheirOrientationInJpeg) {
    // Left half red, its upper part dark: every orientation shows another corner where.
    const auto level = [](int x, int y, int) { return x < 16 && y < 8 ? 30 : 200; };
    const Bytes jpeg = encodeJpeg(painted(32, 16, level), k444);
    // Which corner is dark when upright: bit 0 right, bit 1 bottom.
    const int corners[] = {0, 1, 3, 2, 0, 1, 3, 2};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        const Bytes in = oriented(jpeg, static_cast<std::uint8_t>(orientation));
        const RgbPicture png = decodePng(convert(bench.write("in.jpg", in), "out.png"));
        ASSERT_EQ(png.width, orientation < 5 ? 32 : 16);
        for (int corner = 0; corner < 4; ++corner) {
            const int x = corner % 2 == 0 ? 2 : png.width - 3, y = corner / 2 == 0 ? 2 : png.height - 3;
            EXPECT_EQ(png.rgb[static_cast<std::size_t>(3 * (y * png.width + x))] < 100,
                      corner == corners[orientation - 1])
                << corner;
        }
        // A JPEG keeps planes and orientation: turned once, not twice. A PNG's own orientation is 1
        // afterwards.
        convert(bench.path("in.jpg"), "same.jpg", {"--quality", "100"});
        for (const char* name : {"same.jpg", "out.png"}) {
            EXPECT_EQ(decodePng(convert(bench.path(name), "again.png")).width, png.width) << name;
        }
    }
}

TEST_F(FilesTest, ProfilesSurviveOrAreApplied) {
    const cmsCIExyY white = {0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE wide = {{0.680, 0.320, 1.0}, {0.265, 0.690, 1.0}, {0.150, 0.060, 1.0}};
    cmsToneCurve* gamma[3];
    std::fill_n(gamma, 3, cmsBuildGamma(nullptr, 2.2));
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &wide, gamma);
    cmsUInt32Number size = 0;
    ASSERT_TRUE(cmsSaveProfileToMem(profile, nullptr, &size));
    Bytes icc(size);
    ASSERT_TRUE(cmsSaveProfileToMem(profile, icc.data(), &size));
    cmsCloseProfile(profile);
    cmsFreeToneCurve(gamma[0]);

    Bytes segment = {'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', 0, 1, 1};
    segment.insert(segment.end(), icc.begin(), icc.end());
    const Bytes jpeg = encodeJpeg(solid(16, 16, 60, 200, 60), k420);
    bench.write("in.jpg", withSegment(jpeg, 0xE2, segment));
    // Through every kind: the profile comes out as it went in.
    for (const auto& [from, to] :
         {std::pair{"in.jpg", "a.png"}, {"a.png", "b.png"}, {"b.png", "c.jpg"}, {"c.jpg", "d.jpg"}}) {
        convert(bench.path(from), to, {"--quality", "100"});
    }
    const Bytes out = bench.read("d.jpg");
    EXPECT_NE(std::search(out.begin(), out.end(), icc.begin(), icc.end()), out.end());
    expectClose("in.jpg", "d.jpg", "3");
    // A raw frame has no place for it: a wide gamut's green is beyond sRGB's, so red goes down to 0.
    const ToolResult raw =
        bench.run({"convert", bench.path("in.jpg"), bench.path("out.nv12"), "--format", "nv12"});
    EXPECT_THAT(raw.err, testing::HasSubstr("to sRGB"));
    const RgbPicture seen =
        decodePng(convert(bench.path("out.nv12"), "out.png", {"--size", "16x16", "--format", "nv12"}));
    EXPECT_TRUE(seen.rgb[0] < 30 && seen.rgb[1] > 190) << int{seen.rgb[0]} << " " << int{seen.rgb[1]};
}

TEST_F(FilesTest, StreamsKeepTheirLevelsWhateverTheirLayout) {
    // Odd sizes with their last chroma column and row, as video tools write them; 8 and 10 bits; both ranges.
    const std::string header = "YUV4MPEG2 W5 H3 F30000:1001 Ip A1:1 C420";
    for (const int bits : {8, 10}) {
        for (const bool limited : {false, true}) {
            SCOPED_TRACE(testing::Message() << bits << limited);
            std::string y4m =
                header + (bits == 8 ? "jpeg" : "p10") + " XCOLORRANGE=" + (limited ? "LIMITED\n" : "FULL\n");
            for (int frame = 0; frame < 3; ++frame) {
                y4m += "FRAME\n";
                for (int i = 0; i < 15 + 2 * 6; ++i) {
                    const int level = (limited ? 16 + (i * 37 + frame) % 220 : i * 9 + frame) << (bits - 8);
                    y4m += static_cast<char>(level);
                    y4m += bits > 8 ? std::string(1, static_cast<char>(level >> 8)) : "";
                }
            }
            convert(bench.writeText("in.y4m", y4m), "out.y4m");
            EXPECT_EQ(bench.text("out.y4m"), y4m);
        }
    }
    // White and black of a limited stream become 255 and 0.
    const std::string small = "YUV4MPEG2 W2 H2 F1:1 C420mpeg2 XCOLORRANGE=LIMITED\nFRAME\n";
    Bytes y4m(small.begin(), small.end());
    y4m.insert(y4m.end(), {235, 16, 16, 235, 128, 128});
    EXPECT_EQ(convert(bench.write("in.y4m", y4m), "out.nv12", {"--format", "nv12"}),
              (Bytes{255, 0, 0, 255, 128, 128}));
    EXPECT_EQ(convert(bench.path("in.y4m"), "out.nv12", {"--format", "nv12", "--out-range", "limited"}),
              (Bytes{235, 16, 16, 235, 128, 128}));
    // Raw frames of an odd size: 5 x 3 luma, 3 x 2 chroma pairs.
    const Bytes odd = noise(2 * (15 + 12), 3);
    EXPECT_EQ(convert(bench.write("odd.nv21", odd), "out.nv21", {"--size", "5x3"}), odd);
    // V comes first in a pair, and last in Y4M.
    EXPECT_EQ(convert(bench.path("odd.nv21"), "out.y4m", {"--size", "5x3"}).back(), odd[odd.size() - 2]);
    // From one padding to another.
    const Bytes packed = noise(8 * 6 * 3 / 2, 4);
    const Words size = {"--size", "8x6"};
    convert(bench.write("in.nv21", packed), "wide.nv21",
            join(size, {"--out-stride", "16", "--out-scanline", "8"}));
    EXPECT_EQ(bench.read("wide.nv21").size(), 16U * (8 + 3));
    EXPECT_EQ(
        convert(bench.path("wide.nv21"), "out.nv21", join(size, {"--in-stride", "16", "--in-scanline", "8"})),
        packed);
    // 16 bits through a PNG: every level comes back, and 10 bits come back exactly.
    Bytes deep;
    for (int i = 0; i < 32 * 24; ++i) {
        const int sample = i < 32 * 16 ? i * 2 : 512;
        deep.insert(deep.end(), {static_cast<std::uint8_t>(sample), static_cast<std::uint8_t>(sample >> 8)});
    }
    const Words ten = {"--format", "nv12-16", "--bits", "10"};
    convert(bench.write("in.yuv", deep), "deep.png", join(ten, {"--size", "32x16"}));
    EXPECT_EQ(bench.read("deep.png")[24], 16);
    EXPECT_EQ(convert(bench.path("deep.png"), "out.yuv", ten), deep);

    const std::string deepPng = bench.path("deep.png"), none = bench.path("x");
    bench.expectRefused(
        {{{"convert", bench.path("in.nv21"), none + ".gif", "--size", "8x6"},
          2,
          "does not say what to write"},
         {{"convert", deepPng, none}, 2, "does not say what to write"},
         {{"convert", bench.path("in.nv21"), none + ".nv21", "--size", "8x6", "--scanline", "2147483647"},
          2,
          "1 GiB"},
         {{"convert", deepPng, none + ".png", "--in-range", "limited"}, 2, "no limited range"},
         {{"convert", bench.writeText("a.y4m", "YUV"), none + ".png"}, 3, "no Y4M header"},
         {{"convert", bench.write("b.y4m", Bytes(y4m.begin(), y4m.end() - 1)), none + ".yuv"},
          3,
          "frame 0 ends after 5 of its 6"}});
}

TEST_F(FilesTest, DamagedFilesAreRefusedInWords) {
    Bytes jpeg = encodeJpeg(gradient(64, 48), k420), png = encodePng(gradient(64, 48));
    const auto cut = [](const Bytes& whole, std::size_t length) {
        return Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    };
    std::vector<Bytes> files = {
        {}, cut(jpeg, 24), cut(jpeg, jpeg.size() * 9 / 10), cut(png, 24), cut(png, png.size() * 9 / 10)};
    // Sizes that no memory holds: JPEG's frame header, PNG's first chunk.
    const Bytes marker = {0xFF, 0xC0};
    const auto header = std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end());
    ASSERT_NE(header, jpeg.end());
    header[5] = header[7] = 0xFF;
    png[16] = png[20] = 0x7F;
    files.insert(files.end(), {jpeg, png});
    for (const Bytes& file : files) {
        SCOPED_TRACE(&file - files.data());
        bench.expectRefused(
            {{{"convert", bench.write("in", file), bench.path("out.png")}, 3, "cannot read"}});
    }
}

}  // namespace
}  // namespace test
