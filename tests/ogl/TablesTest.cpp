// The byte tables, exactly.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ogl/ByteTables.h"
#include "ogl/ClaheTable.h"
#include "tests/ogl/support/TableModel.h"
#include "tests/support/Frames.h"

namespace {

test::Bytes claheTable(const test::Bytes& luma, int width, int height, int gridWidth, int gridHeight,
                       int sampleRate, float strength) {
    const ogl::ClaheGrid grid = ogl::claheGrid(width, height, gridWidth, gridHeight);
    const std::size_t cells = static_cast<std::size_t>(grid.tiles()) * 256;
    std::vector<float> hist(cells, -1.0F);
    std::vector<float> table(cells, -1.0F);
    test::Bytes lut(cells);
    ogl::getGridHist(luma.data(), width, grid, sampleRate, hist.data());
    ogl::gridHist2ClaheLut(hist.data(), grid.tiles(), strength, table.data());
    ogl::smoothClaheLut(table.data(), gridWidth, gridHeight, lut.data());
    return lut;
}

test::Bytes lumaOf(test::Content content, int width, int height) {
    test::Frame frame({width, height, width, height}, 1);
    frame.fill(content, 256, 3);
    return {frame.data8(), frame.data8() + width * height};
}

TEST(OglTables, ClaheTableIsExact) {
    struct Geometry {
        int width, height, gridWidth, gridHeight, sampleRate;
    };
    for (const Geometry& g : {Geometry{160, 120, 8, 6, 4},
                              {97, 61, 5, 5, 1},
                              {64, 64, 16, 16, 3},
                              {31, 17, 1, 1, 2},
                              {300, 9, 128, 2, 1},
                              {40, 40, 1, 7, 4},
                              {40, 40, 7, 1, 5}}) {
        for (const test::Content content : test::kAllContents) {
            const test::Bytes luma = lumaOf(content, g.width, g.height);
            for (const float strength : {0.0F, 0.7F, 3.0F, 20.0F, -0.5F}) {
                ASSERT_EQ(
                    claheTable(luma, g.width, g.height, g.gridWidth, g.gridHeight, g.sampleRate, strength),
                    test::modelClaheTable(luma, g.width, g.height, g.gridWidth, g.gridHeight, g.sampleRate,
                                          strength))
                    << g.width << " x " << g.height << " grid " << g.gridWidth << " x " << g.gridHeight << " "
                    << test::toString(content) << " strength " << strength;
            }
        }
    }
}

// Every level as often as every other: no bin exceeds 1 / 256, so nothing is clipped, and the table is
// 255 (level + 1) / 256, truncated, in every tile.
TEST(OglTables, AFlatHistogramGivesTheStraightTable) {
    test::Bytes luma(64 * 32);
    for (std::size_t i = 0; i < luma.size(); ++i) {
        luma[i] = static_cast<unsigned char>(i % 256);
    }
    // One tile of 64 x 32: 2048 pixels, 8 of each level.
    const test::Bytes lut = claheTable(luma, 64, 32, 1, 1, 1, 0.0F);
    for (int level = 0; level < 256; ++level) {
        EXPECT_EQ(lut[static_cast<std::size_t>(level)], 255 * (level + 1) / 256);
    }
}

TEST(OglTables, HistogramsLeaveOutWhatIsBeyondTheLastTileAndBetweenSamples) {
    test::Bytes luma(7 * 5, 9);
    const ogl::ClaheGrid grid = ogl::claheGrid(7, 5, 2, 2);  // tiles of 3 x 2
    luma[0] = 1;                                             // tile 0, sampled
    luma[1] = 2;                                             // between samples
    luma[2] = 3;                                             // tile 0, sampled
    luma[3] = 4;                                             // tile 1, sampled
    luma[6] = 5;                                             // right of the last tile
    luma[4 * 7] = 6;                                         // below it
    luma[2 * 7 + 5] = 7;                                     // tile 3, sampled
    std::vector<float> hist(4 * 256);
    ogl::getGridHist(luma.data(), 7, grid, 2, hist.data());
    std::vector<float> expected(4 * 256, 0.0F);
    expected[1] = expected[3] = 1.0F;
    expected[256 + 4] = expected[256 + 9] = 1.0F;
    expected[512 + 9] = 2.0F;
    expected[768 + 9] = expected[768 + 7] = 1.0F;
    EXPECT_EQ(hist, expected);
}

TEST(OglTables, ATileWithoutSamplesGivesNumbersThatAreNone) {
    const std::vector<float> hist(256, 0.0F);
    std::vector<float> table(256);
    ogl::gridHist2ClaheLut(hist.data(), 1, 1.0F, table.data());
    EXPECT_TRUE(std::isnan(table[0]) && std::isnan(table[255]));
    test::Bytes lut(256, 1);
    ogl::smoothClaheLut(table.data(), 1, 1, lut.data());
    EXPECT_EQ(lut, test::Bytes(256, 0));
}

TEST(OglTables, TheChromaCurveScalesAroundTheMiddle) {
    unsigned char curve[256];
    struct Case {
        float strength;
        int at0, at100, at128, at129, at200, at255;
    };
    for (const Case& c : {Case{1.0F, 0, 100, 128, 129, 200, 255}, Case{0.0F, 128, 128, 128, 128, 128, 128},
                          Case{2.0F, 0, 72, 128, 130, 255, 255}, Case{0.5F, 64, 114, 128, 128, 164, 191},
                          Case{-1.0F, 255, 156, 128, 127, 56, 1}, Case{1e30F, 0, 0, 128, 255, 255, 255}}) {
        ogl::buildUvCurveMap(c.strength, curve);
        EXPECT_EQ(curve[0], c.at0) << c.strength;
        EXPECT_EQ(curve[100], c.at100) << c.strength;
        EXPECT_EQ(curve[128], c.at128) << c.strength;
        EXPECT_EQ(curve[129], c.at129) << c.strength;
        EXPECT_EQ(curve[200], c.at200) << c.strength;
        EXPECT_EQ(curve[255], c.at255) << c.strength;
    }
}

TEST(OglTables, LevelsAreTruncatedAndColoursInterleaved) {
    const float levels[] = {0.0F,   0.99F,  17.5F, 254.999F,
                            255.0F, 300.0F, -3.0F, std::numeric_limits<float>::quiet_NaN()};
    unsigned char bytes[8];
    ogl::truncateToBytes(levels, 8, bytes);
    const unsigned char expected[] = {0, 0, 17, 254, 255, 255, 0, 0};
    EXPECT_TRUE(std::equal(bytes, bytes + 8, expected));

    std::vector<float> planes(ogl::kColorBytes);
    for (std::size_t i = 0; i < planes.size(); ++i) {
        planes[i] = static_cast<float>((i * 7 + i / 4096 * 31) % 256) + 0.9F;
    }
    test::Bytes texels(ogl::kColorBytes);
    ogl::interleaveColors(planes.data(), texels.data());
    EXPECT_EQ(texels, test::modelColors(planes));
    EXPECT_EQ(texels[5 * 3 + 2], (((2 * 4096 + 5) * 7) + 62) % 256);
}

TEST(OglTables, TableWeightsAreIntegers) {
    struct Case {
        int transFrameNum, frame, weight;
    };
    // 0 while fading; one frame later -1 / T, which is 0 but for T = 1; without a fade 0.
    for (const Case& c : {Case{60, 0, 0}, Case{60, 59, 0}, Case{60, 60, 0}, Case{2, 0, 0}, Case{2, 2, 0},
                          Case{1, 0, 0}, Case{1, 1, -1}, Case{0, 0, 0}, Case{-4, 1, 0}}) {
        EXPECT_EQ(ogl::tableWeight(c.transFrameNum, c.frame), c.weight) << c.transFrameNum << " " << c.frame;
    }
    const unsigned char before[] = {10, 200, 0};
    const unsigned char after[] = {50, 100, 255};
    unsigned char fused[3];
    ogl::fuseBytes(before, after, 3, 0, fused);
    EXPECT_TRUE(std::equal(fused, fused + 3, after));
    ogl::fuseBytes(before, after, 3, -1, fused);  // 2 x after - before, within a byte
    const unsigned char overshot[] = {90, 0, 255};
    EXPECT_TRUE(std::equal(fused, fused + 3, overshot));
}

}  // namespace
