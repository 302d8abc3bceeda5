// LUT files of other programs: what is read, what is refused and why, and that an identity stays one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "tests/tools/Colors.h"
#include "tests/tools/ToolProcess.h"
#include "tools/ToolError.h"
#include "tools/tuning/LatticeFit.h"
#include "tools/tuning/LutFile.h"

namespace test {
namespace {

using testing::FloatNear;
using testing::HasSubstr;
using testing::Pointwise;
using tool::Bytes;
using tool::Rgb;

struct LutFileTest : testing::Test {
    ToolBench files;

    // The reason for which a file is refused; empty when it is not.
    std::string refusal(const std::string& file) {
        try {
            tool::readLutFile(file);
        } catch (const tool::ToolError& error) {
            EXPECT_EQ(error.code(), tool::ExitCode::kFile);
            return error.what();
        }
        return "";
    }
};

Rgb swapped(const Rgb& c) { return {c.b, c.r, c.g}; }

// A HALD of level 2 with 8 bits: 4 colours an axis in 8 x 8 pixels.
Bytes smallHald(const Edit& map) {
    const auto digit = [](int x, int y, int channel) { return 85 * ((8 * y + x) >> 2 * channel & 3); };
    return encodePng({8, 8, editedSamples(painted(8, 8, digit).rgb, map)});
}

TEST_F(LutFileTest, KindsOfFiles) {
    const auto negative = [](const Rgb& c) { return Rgb{1 - c.r, 1 - c.g, 1 - c.b}; };
    // Both with blue fastest; three points an axis, of which the middle one is between the others.
    std::string lattice3dl = "0 341 682 1023\n", spi3d = "SPILUT 1.0\n3 3\n3 3 3\n";
    for (int i = 0; i < 27; ++i) {
        const int r = i / 9, g = i / 3 % 3, b = i % 3;
        const auto level = [](int k) { return " " + std::to_string(k * 4095 / 2); };
        const auto part = [](int k) { return " " + std::to_string(k / 2.0); };
        const auto index = [](int k) { return " " + std::to_string(k); };
        lattice3dl += level(b) + level(r) + level(g) + "\n";
        spi3d += index(r) + index(g) + index(b) + part(b) + part(r) + part(g) + "\n";
    }
    const std::string clf =
        "<?xml version=\"1.0\"?>\n<ProcessList id=\"a\" compCLFversion=\"3\"><Matrix inBitDepth=\"32f\" "
        "outBitDepth=\"32f\"><Array dim=\"3 3\">0 0 1  1 0 0  0 1 0</Array></Matrix></ProcessList>\n";
    const struct {
        std::string name, contents;
        int size;
        Edit map;
    } cases[] = {
        {"swap.cube", "# a comment\nTITLE \"swap\"\nLUT_3D_SIZE 2\n" + gridText(2, swapped), 2, swapped},
        {"dos.CUBE", "LUT_3D_SIZE 2\r\nDOMAIN_MIN 0 0 0\r\nDOMAIN_MAX 1 1 1\r\n" + gridText(2, negative), 2,
         negative},
        {"curve.cube", "LUT_1D_SIZE 2\n1 1 1\n0 0 0\n", 33, negative},
        {"swap.3dl", lattice3dl, 3, swapped},
        {"swap.spi3d", spi3d, 3, swapped},
        {"curve.spi1d", "Version 1\nFrom 0.0 1.0\nLength 2\nComponents 1\n{\n1.0\n0.0\n}\n", 33, negative},
        {"swap.clf", clf, 33, swapped},
        {"beyond.cube",
         "LUT_3D_SIZE 2\n" + gridText(2,
                                      [](Rgb c) {
                                          return Rgb{2 * c.r, c.g - 1, c.b};
                                      }),
         2,
         [](Rgb c) {
             return Rgb{c.r > 0 ? 1.0 : 0.0, 0, c.b};
         }},
    };
    for (const auto& lut : cases) {
        const tool::RgbLut read = tool::readLutFile(files.writeText(lut.name, lut.contents));
        EXPECT_EQ(read.size, lut.size) << lut.name;
        EXPECT_EQ(read.source, lut.name);
        for (const Rgb& in : colorGrid(2)) {
            EXPECT_LT(distance(read.at(in), lut.map(in)), 1e-4) << lut.name << in.r << in.g << in.b;
        }
    }
    const tool::RgbLut hald = tool::readLutFile(files.write("hald.png", smallHald(swapped)));
    EXPECT_LT(distance(hald.at({0.2, 0.5, 0.9}), {0.9, 0.2, 0.5}), 1e-9);
}

TEST_F(LutFileTest, WhatIsNoLutIsRefusedWithTheReason) {
    const Bytes hald = smallHald(swapped);
    const std::string header = "LUT_3D_SIZE 2\n", all = gridText(2, swapped);
    const std::string whole(hald.begin(), hald.end());
    std::string damaged = whole;
    damaged[whole.size() / 2] = static_cast<char>(damaged[whole.size() / 2] ^ 0x55);
    const struct {
        std::string name, contents, reason;
    } cases[] = {
        {"empty.cube", "", "empty.cube"},
        {"short.cube", header + all.substr(0, all.size() / 2), "short.cube"},
        {"long.cube", header + all + "1 1 1\n", "long.cube"},
        {"words.cube", header + "0 0 zero\n" + all.substr(27), "words.cube"},
        {"nan.cube", header + "nan nan nan\n" + all.substr(all.find('\n') + 1), "nan.cube"},
        {"huge.cube", "LUT_3D_SIZE 100000\n" + all, "huge.cube"},
        {"negative.cube", "LUT_3D_SIZE -2\n" + all, "negative.cube"},
        {"text.txt", "dear diary\n", "text.txt"},
        {"endless.csp", "CSPLUTV100\n3D\n\nBEGIN METADATA\r\nEND METAD7TA\n", "without an END METADATA"},
        {"endless2.csp", "CSPLUTV100\n3D\n\nBEGIN METADATA 1\n0 1\n", "without an END METADATA"},
        {"xml.clf", "<ProcessList><LUT3D></ProcessList>", "xml.clf"},
        {"photo.jpg", "\xFF\xD8\xFF\xE0", "save the HALD picture as PNG"},
        {"cut.png", whole.substr(0, whole.size() - 40), "cut.png"},
        {"damaged.png", damaged, "damaged.png"},
    };
    for (const auto& lut : cases) {
        EXPECT_THAT(refusal(files.writeText(lut.name, lut.contents)), HasSubstr(lut.reason)) << lut.name;
    }
    EXPECT_THAT(refusal(files.write("odd.png", encodePng(solid(8, 9, 0, 0, 0)))),
                HasSubstr("8x9 is no HALD"));
    EXPECT_THAT(refusal(files.path("none.cube")), HasSubstr("No such file"));
}

// Written, read, and as a table. Grids whose points no 16-bit number meets, and one that is sampled anew.
TEST_F(LutFileTest, IdentitiesAndRoundTrips) {
    const auto identity = [](const Rgb& c) { return c; };
    const auto warm = [](const Rgb& c) { return Rgb{std::sqrt(c.r), c.g, c.b * c.b}; };
    const struct {
        std::string name;
        std::function<Bytes(const tool::RgbMap&)> write;
    } files_[] = {
        {"2.cube", [](const tool::RgbMap& map) { return tool::cubeOf(2, map, "t"); }},
        {"70.cube", [](const tool::RgbMap& map) { return tool::cubeOf(70, map, "t"); }},
        {"2.png", [](const tool::RgbMap& map) { return tool::haldOf(2, map); }},
        {"8.png", [](const tool::RgbMap& map) { return tool::haldOf(8, map); }},
        {"9.png", [](const tool::RgbMap& map) { return tool::haldOf(9, map); }},
    };
    for (const auto& file : files_) {
        const tool::RgbLut lut = tool::readLutFile(files.write(file.name, file.write(identity)));
        const tool::Lattice lattice = tool::latticeBetween(
            [&](const tool::Yuv& color) {
                return tool::mapYuv(color, tool::OutsideGamut::kKeep, tool::LumaWeights::kBt601,
                                    [&](const Rgb& c) { return lut.at(c); });
            },
            tool::LumaWeights::kBt601);
        EXPECT_THAT(lattice.values(), Pointwise(FloatNear(0.01F), tool::Lattice().values())) << file.name;
        const tool::RgbLut curved = tool::readLutFile(files.write(file.name, file.write(warm)));
        const double last = curved.size - 1;
        for (const double at : {0.0, std::floor(last / 2) / last, 1.0}) {
            const Rgb out = curved.at({at, at, at});
            EXPECT_NEAR(out.r, std::sqrt(at), 0.002) << file.name;
            EXPECT_NEAR(out.b, at * at, 0.002) << file.name;
        }
    }
}

// A table that bends: between the points it must be nearer than one that is right at the points alone.
TEST(LatticeBetweenTest, IsNearerThanTheValuesAtThePoints) {
    const auto map = [](const tool::Yuv& color) {
        return tool::mapYuv(color, tool::OutsideGamut::kKeep, tool::LumaWeights::kBt601, [](const Rgb& c) {
            const double grey = 0.3 * c.r + 0.6 * c.g + 0.1 * c.b;
            return Rgb{grey * grey, grey * grey, grey * grey};
        });
    };
    const tool::Lattice points = tool::Lattice::of(map);
    const tool::Lattice fitted = tool::latticeBetween(map, tool::LumaWeights::kBt601);
    double errors[2] = {};
    for (const Rgb& rgb : colorGrid(16)) {
        const tool::Yuv color = tool::toYuv(rgb);
        const tool::Yuv expected = map(color);
        int which = 0;
        for (const tool::Lattice* lattice : {&points, &fitted}) {
            const tool::Yuv out = lattice->at(color);
            errors[which++] += std::hypot(out.y - expected.y, out.u - expected.u, out.v - expected.v) / 4096;
        }
    }
    EXPECT_LT(errors[1], 0.5 * errors[0]);
    EXPECT_LT(errors[1], 1.0);
}

}  // namespace
}  // namespace test
