// The byte tables, exactly.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "ogl/ByteTables.h"
#include "ogl/ClaheTable.h"
#include "tests/ogl/support/OglModel.h"
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

TEST(OglTables, LevelsAreTruncatedAndMasksInverted) {
    const float levels[] = {0.0F, 0.99F, 17.5F, 254.999F, 255.0F, 300.0F, -3.0F, kNan};
    Bytes bytes(8);
    ogl::truncateToBytes(levels, 8, bytes.data());
    EXPECT_EQ(bytes, (Bytes{0, 0, 17, 254, 255, 255, 0, 0}));
    // 255 x (1 - m), rounded: 191.25 and 63.75.
    const float mask[] = {0.0F, 1.0F, 0.25F, 0.75F, 7.0F, -2.0F, kNan, 0.5F};
    ogl::invertMask(mask, 8, bytes.data());
    EXPECT_EQ(bytes, (Bytes{255, 0, 191, 64, 0, 255, 255, 128}));
}

TEST(OglTables, TableWeightsAreIntegers) {
    // 0 while fading; one frame later -1 / T, which is 0 but for T = 1; without a fade 0.
    for (const auto& [length, frame, weight] :
         {std::array{60, 0, 0}, {60, 60, 0}, {2, 2, 0}, {1, 0, 0}, {1, 1, -1}, {0, 0, 0}, {-4, 1, 0}}) {
        EXPECT_EQ(ogl::tableWeight(length, frame), weight) << length << " " << frame;
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
