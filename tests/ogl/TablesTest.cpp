// The byte tables, exactly.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ogl/ByteTables.h"
#include "ogl/ClaheTable.h"
#include "tests/ogl/support/TableModel.h"
#include "tests/support/Frames.h"

namespace {

using test::Bytes;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Bytes claheTable(const Bytes& luma, int width, const ogl::ClaheGrid& grid, int sampleRate, float strength) {
    const std::size_t cells = static_cast<std::size_t>(grid.tiles()) * 256;
    std::vector<float> hist(cells, -1.0F);
    std::vector<float> table(cells, -1.0F);
    Bytes lut(cells);
    ogl::getGridHist(luma.data(), width, grid, sampleRate, hist.data());
    ogl::gridHist2ClaheLut(hist.data(), grid.tiles(), strength, table.data());
    ogl::smoothClaheLut(table.data(), grid.gridWidth, grid.gridHeight, lut.data());
    return lut;
}

// A spread of levels like a photograph's, with a thick middle, thin ends and a patch of one level.
Bytes picture(int width, int height) {
    test::Random random(7);
    Bytes luma;
    for (int i = 0; i < width * height; ++i) {
        const int level = (random.below(256) + random.below(256) + random.below(256)) / 3;
        luma.push_back(static_cast<unsigned char>(i % width < width / 3 && i % 5 == 0 ? 40 : level));
    }
    return luma;
}

TEST(OglTables, ClaheTableIsTheModels) {
    struct Case {
        int width, height, gridWidth, gridHeight, sampleRate;
    };
    // Tiles of some hundred samples.
    for (const Case& c : {Case{160, 120, 8, 6, 1}, Case{97, 101, 5, 5, 1}, Case{512, 300, 16, 16, 1},
                          Case{81, 67, 1, 1, 2}, Case{512, 130, 128, 2, 1}, Case{80, 240, 1, 7, 3}}) {
        const Bytes luma = picture(c.width, c.height);
        const ogl::ClaheGrid grid = ogl::claheGrid(c.width, c.height, c.gridWidth, c.gridHeight);
        for (const float strength : {0.0F, 0.7F, 3.0F, 20.0F}) {
            const auto levels = test::modelClaheLevels(luma, c.width, c.height, c.gridWidth, c.gridHeight,
                                                       c.sampleRate, static_cast<double>(strength));
            ASSERT_TRUE(
                test::truncates(claheTable(luma, c.width, grid, c.sampleRate, strength).data(), levels))
                << c.gridWidth << " x " << c.gridHeight << " strength " << strength;
        }
    }
}

// 2 x 2 levels in one tile: every bin of 1 / 4 exceeds the limits, so that the parabola is the line through
// 0, the clip limit 0, and every level gets 1 / 256: 255 (level + 1) / 256. The same without clipping, where
// every level is as frequent as every other.
TEST(OglTables, FlatAndSteepHistogramsGiveTheStraightTable) {
    Bytes flat;
    for (int i = 0; i < 512; ++i) {
        flat.push_back(static_cast<unsigned char>(i));
    }
    for (const auto& [luma, width, strength] :
         {std::tuple(Bytes{7, 70, 200, 255}, 2, 1.5F), {Bytes(64, 9), 8, 0.5F}, {flat, 32, 0.0F}}) {
        const int height = static_cast<int>(luma.size()) / width;
        const Bytes lut = claheTable(luma, width, ogl::claheGrid(width, height, 1, 1), 1, strength);
        for (int level = 0; level < 256; ++level) {
            EXPECT_EQ(lut[static_cast<std::size_t>(level)], 255 * (level + 1) / 256);
        }
    }
}

TEST(OglTables, HistogramsLeaveOutWhatIsBeyondTheLastTileAndBetweenSamples) {
    Bytes luma(7 * 5, 9);
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
    for (const int once : {1, 3, 256 + 4, 256 + 9, 768 + 9, 768 + 7}) {
        expected[static_cast<std::size_t>(once)] = 1.0F;
    }
    expected[512 + 9] = 2.0F;
    EXPECT_EQ(hist, expected);
}

// Beside a tile that has some.
TEST(OglTables, ATileWithoutSamplesGivesNumbersThatAreNone) {
    std::vector<float> hist(512, 0.0F);
    std::fill_n(hist.begin() + 256, 256, 1.0F);
    std::vector<float> table(512);
    ogl::gridHist2ClaheLut(hist.data(), 2, 1.0F, table.data());
    EXPECT_TRUE(std::isnan(table[0]) && std::isnan(table[2 * 255]));
    EXPECT_EQ(table[2 * 127 + 1], 127.5F);
    Bytes lut(512, 1);
    ogl::smoothClaheLut(table.data(), 2, 1, lut.data());
    EXPECT_EQ(lut, Bytes(512, 0));
}

TEST(OglTables, TheChromaCurveScalesAroundTheMiddle) {
    for (const float strength : {1.0F, 0.0F, 2.0F, 0.5F, -1.0F, 1.375F, 1e30F}) {
        Bytes curve(256);
        ogl::buildUvCurveMap(strength, curve.data());
        EXPECT_EQ(curve, test::modelUvCurve(static_cast<double>(strength))) << strength;
    }
}

TEST(OglTables, LevelsAreTruncatedMasksInvertedAndColoursInterleaved) {
    const float levels[] = {0.0F, 0.99F, 17.5F, 254.999F, 255.0F, 300.0F, -3.0F, kNan};
    Bytes bytes(8);
    ogl::truncateToBytes(levels, 8, bytes.data());
    EXPECT_EQ(bytes, (Bytes{0, 0, 17, 254, 255, 255, 0, 0}));
    // 255 x (1 - m), rounded: 191.25 and 63.75.
    const float mask[] = {0.0F, 1.0F, 0.25F, 0.75F, 7.0F, -2.0F, kNan, 0.5F};
    ogl::invertMask(mask, 8, bytes.data());
    EXPECT_EQ(bytes, (Bytes{255, 0, 191, 64, 0, 255, 255, 128}));

    std::vector<float> planes(ogl::kColorBytes);
    for (std::size_t i = 0; i < planes.size(); ++i) {
        planes[i] = static_cast<float>((i * 7 + i / 4096 * 31) % 256) + 0.9F;
    }
    Bytes texels(ogl::kColorBytes);
    ogl::interleaveColors(planes.data(), texels.data());
    EXPECT_EQ(texels, test::modelColors(planes));
}

TEST(OglTables, TableWeightsAreIntegers) {
    struct Case {
        int transFrameNum, frame, weight;
    };
    // 0 while fading; one frame later -1 / T, which is 0 but for T = 1; without a fade 0.
    for (const Case& c : {Case{60, 0, 0}, Case{60, 60, 0}, Case{2, 2, 0}, Case{1, 0, 0}, Case{1, 1, -1},
                          Case{0, 0, 0}, Case{-4, 1, 0}}) {
        EXPECT_EQ(ogl::tableWeight(c.transFrameNum, c.frame), c.weight) << c.transFrameNum << " " << c.frame;
    }
    const Bytes before = {10, 200, 0};
    const Bytes after = {50, 100, 255};
    Bytes fused(3);
    ogl::fuseBytes(before.data(), after.data(), 3, 0, fused.data());
    EXPECT_EQ(fused, after);
    ogl::fuseBytes(before.data(), after.data(), 3, -1, fused.data());  // 2 x after - before, within a byte
    EXPECT_EQ(fused, (Bytes{90, 0, 255}));
}

}  // namespace
