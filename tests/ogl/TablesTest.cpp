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

Bytes claheTable(const model::Picture& picture, const model::Grid& tiles, float strength) {
    const Bytes luma(picture.luma.begin(), picture.luma.end());
    const ogl::ClaheGrid grid = ogl::claheGrid(picture.width, picture.height, tiles.width, tiles.height);
    const std::size_t cells = static_cast<std::size_t>(grid.tiles()) * 256;
    std::vector<float> hist(cells, -1.0F);
    std::vector<float> table(cells, -1.0F);
    Bytes lut(cells);
    ogl::getGridHist(luma.data(), picture.width, grid, tiles.rate, hist.data());
    ogl::gridHist2ClaheLut(hist.data(), grid.tiles(), strength, table.data());
    ogl::smoothClaheLut(table.data(), grid.gridWidth, grid.gridHeight, lut.data());
    return lut;
}

TEST(OglTables, ClaheTableIsTheModels) {
    for (const RoiInfo& roi : {RoiInfo{160, 120, 160, 120}, RoiInfo{513, 301, 513, 301}}) {
        test::Frame frame(roi, 1);
        frame.fill(test::Content::kPhotoLike, 256);
        const model::Picture picture = model::fromFrame(frame);
        for (const model::Grid& grid :
             {model::Grid{8, 6, 1}, {5, 5, 2}, {16, 16, 1}, {1, 1, 2}, {128, 2, 1}, {1, 7, 3}}) {
            for (const float strength : {0.0F, 0.7F, 3.0F, 20.0F}) {
                EXPECT_EQ(claheTable(picture, grid, strength), test::claheTable(picture, grid, strength))
                    << grid.width << " x " << grid.height << " strength " << strength;
            }
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
        EXPECT_EQ(curve, test::uvCurve(static_cast<double>(strength))) << strength;
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
