// Adaptive equalisation, worked out by hand. Whole frames are compared with the model in tests/cpu.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "core/Clahe.h"
#include "tests/support/Frames.h"
#include "tests/support/Model.h"

namespace {

constexpr std::size_t kBins = 256;

// One tile's curve through the library's bin-major layout, with a second, different tile beside it.
std::vector<float> curveOf(const std::vector<float>& histogram, float strength) {
    std::vector<float> hist(2 * kBins, 1.0F);
    std::vector<float> lut(2 * kBins, -1.0F);
    for (std::size_t b = 0; b < kBins; ++b) {
        hist[2 * b + 1] = histogram[b];
    }
    EXPECT_EQ(huevance::gridHist2claheLut(hist.data(), lut.data(), 2, 1, strength), 0);
    std::vector<float> curve(kBins);
    EXPECT_EQ(huevance::hist2claheLut(histogram.data(), curve.data(), strength), 0);
    for (std::size_t b = 0; b < kBins; ++b) {
        EXPECT_EQ(lut[2 * b + 1], curve[b]) << b;
    }
    return curve;
}

TEST(GridHist, CountsEverySampRateThSampleOfEveryTileAndNothingBeside) {
    // 11 x 7 samples, 3 x 2 tiles of 3 x 3: two columns and one row belong to no tile. Sample (x, y) has the
    // value 16 y + x, so that every bin tells its place.
    test::Frame frame({11, 7, 13, 8}, 1);
    for (int i = 0; i < 77; ++i) {
        frame.setLuma(i % 11, i / 11, 16 * (i / 11) + i % 11);
    }
    for (const int rate : {1, 2, 3, 100}) {
        std::vector<float> expected(6 * kBins, 0.0F);
        for (int i = 0; i < 6 * 9; ++i) {
            const int tile = i / 9, dy = i % 9 / 3, dx = i % 3;
            const int bin = 16 * (tile / 3 * 3 + dy) + tile % 3 * 3 + dx;
            expected[static_cast<std::size_t>(bin * 6 + tile)] = dy % rate + dx % rate == 0 ? 1.0F : 0.0F;
        }
        std::vector<float> hist(6 * kBins, 99.0F);
        EXPECT_EQ(huevance::getGridHist(frame.data8(), frame.roi(), hist.data(), rate, 3, 2, 3, 3), 0);
        EXPECT_EQ(hist, expected) << "rate " << rate;
    }
}

TEST(TileCurve, ByHand) {
    // strength 0 clips above 1/256: a flat tile stays. strength 127 clips above 1/2: two bins of 1/2 stay. An
    // empty tile gets the identity.
    std::vector<float> halves(kBins, 0.0F);
    halves[10] = halves[200] = 5.0F;
    const std::vector<float> flatCurve = curveOf(std::vector<float>(kBins, 3.0F), 0.0F);
    const std::vector<float> halvesCurve = curveOf(halves, 127.0F);
    const std::vector<float> emptyCurve = curveOf(std::vector<float>(kBins, 0.0F), 1.0F);
    for (std::size_t b = 0; b < kBins; ++b) {
        EXPECT_FLOAT_EQ(flatCurve[b], static_cast<float>(b + 1) / 256.0F * 255.0F);
        EXPECT_FLOAT_EQ(halvesCurve[b], b < 10 ? 0.0F : b < 200 ? 127.5F : 255.0F);
        EXPECT_EQ(emptyCurve[b], static_cast<float>(b));
    }
    // Bin 10 holds 128 of 256 samples, bins 128 .. 255 one each; strength 1. In units u = 1/256: L = 2u, M =
    // u, the excess above them is 127u and 126u, so yM = 127 u^2 and yL = 382 u^2. The parabola through the
    // origin is 64 t^2 + 63u t, and 64 t^2 + 63u t = L - u = u has the root t = 0.00612307. What bin 10 has
    // above it, 0.49387693, is spread: 0.00192921 for each bin.
    std::vector<float> histogram(kBins, 0.0F);
    histogram[10] = 128.0F;
    std::fill(histogram.begin() + 128, histogram.end(), 1.0F);
    const std::vector<float> curve = curveOf(histogram, 1.0F);
    constexpr double kShare = 0.00192921;
    constexpr double kThreshold = 0.00612307;
    EXPECT_NEAR(curve[9], 255 * 10 * kShare, 1e-3);
    EXPECT_NEAR(curve[10], 255 * (11 * kShare + kThreshold), 1e-3);
    EXPECT_NEAR(curve[128], 255 * (129 * kShare + kThreshold + 1.0 / 256), 2e-3);
    EXPECT_NEAR(curve[255], 255, 2e-3);
}

TEST(Smoothing, BorderTilesRepeat) {
    // Bin 5 of a 3 x 2 grid has 9 in tile (0, 0). How often each tile's nine neighbours are that tile:
    //   itself 4 (rows 0, 0, 1; columns 0, 0, 1), right of it 2, below it 2, diagonal 1, the last column 0.
    const float mean[6] = {4, 2, 0, 2, 1, 0};
    std::vector<float> lut(6 * kBins, 0.0F);
    lut[5 * 6] = 9.0F;
    std::vector<float> gpu(6 * kBins, -1.0F);
    EXPECT_EQ(huevance::claheLutFilt_gpu(lut.data(), gpu.data(), 3, 2), 0);
    EXPECT_EQ(huevance::claheLutFilt(lut.data(), 3, 2), 0);
    for (std::size_t i = 0; i < lut.size(); ++i) {
        EXPECT_EQ(lut[i], i / 6 == 5 ? mean[i % 6] : 0.0F);
        EXPECT_EQ(gpu[i], i % kBins == 5 ? mean[i / kBins] : 0.0F);
    }
}

TEST(ComputeClaheLut, BothLayoutsEqualTheModel) {
    for (const test::Content content : test::kAllContents) {
        test::Frame frame({61, 47, 64, 50}, 1);
        frame.fill(content, 256);
        const std::vector<model::Curve> expected =
            model::tileCurves(model::fromFrame(frame), {5, 4, 3}, 1.5F);
        std::vector<float> hist(20 * kBins);
        std::vector<float> lut(20 * kBins);
        std::vector<float> gpu(20 * kBins);
        huevance::computeClaheLut(frame.data8(), frame.roi(), hist.data(), lut.data(), 3, 5, 4, 12, 11, 1.5F);
        huevance::computeClaheLut_gpu(frame.data8(), frame.roi(), hist.data(), gpu.data(), 3, 5, 4, 12, 11,
                                      1.5F);
        for (std::size_t i = 0; i < 20 * kBins; ++i) {
            const std::size_t tile = i / kBins, b = i % kBins;
            ASSERT_EQ(lut[b * 20 + tile], expected[tile][b]) << test::toString(content) << " tile " << tile;
            ASSERT_EQ(gpu[i], expected[tile][b]) << test::toString(content) << " tile " << tile;
        }
    }
}

TEST(Widening, InterpolatesAndRescales) {
    // Two tiles, bin-major: the identity stays the identity, and a step from 0 (at 127) to 255 (at 128).
    // Entry 512 of 1024 lies at 512 x 255 / 1023 = 127.62463: 1023 x 0.62463 = 639. Entry 509 lies at 126.88,
    // 514 at 128.12.
    std::vector<float> two;
    for (std::size_t b = 0; b < kBins; ++b) {
        two.insert(two.end(), {static_cast<float>(b), b < 128 ? 0.0F : 255.0F});
    }
    std::vector<float> wide(2 * 1024);
    EXPECT_EQ(huevance::resizeClaheLut(two.data(), 256, wide.data(), 1024, 2, 1), 0);
    for (std::size_t i = 0; i < 1024; ++i) {
        EXPECT_NEAR(wide[2 * i], static_cast<double>(i), 1e-3);
    }
    EXPECT_EQ(wide[2 * 509 + 1], 0.0F);
    EXPECT_NEAR(wide[2 * 512 + 1], 639.0, 0.01);
    EXPECT_NEAR(wide[2 * 514 + 1], 1023.0, 1e-3);
    EXPECT_NEAR(wide[2 * 1023 + 1], 1023.0, 1e-3);
}

TEST(ClaheMap, BlendsBetweenTileCentres) {
    // A row (or a column) of zeros through two tiles whose curves are 0 and 30 everywhere.
    struct Case {
        int tileSize;
        std::vector<int> expected;
    };
    const Case cases[] = {{4, {0, 0, 0, 10, 20, 30, 30, 30}},  // from 2 on, over 2 x 4 - 5 = 3 samples
                          {3, {0, 0, 10, 20, 30, 30, 30}},     // from 1 on, over 3; the last is in no tile
                          {1, {0, 30}},                        // over one sample
                          {2, {0, 0, 30, 30}}};
    std::vector<float> lut(2 * kBins);
    for (std::size_t b = 0; b < kBins; ++b) {
        lut[2 * b + 1] = 30.0F;
    }
    for (const Case& c : cases) {
        const int length = static_cast<int>(c.expected.size()), size = c.tileSize;
        test::Frame row({length, 2, length, 2}, 1);
        test::Frame column({2, length, 2, length}, 1);
        row.fill(test::Content::kZero, 256);
        column.fill(test::Content::kZero, 256);
        EXPECT_EQ(huevance::claheMap_8u(row.data8(), row.roi(), lut.data(), 256, size, 2, 2, 1), 0);
        EXPECT_EQ(huevance::claheMap_8u(column.data8(), column.roi(), lut.data(), 256, 2, size, 1, 2), 0);
        for (int i = 0; i < length; ++i) {
            EXPECT_EQ(row.luma(i, 1), c.expected[static_cast<std::size_t>(i)]) << size << " at " << i;
            EXPECT_EQ(column.luma(1, i), c.expected[static_cast<std::size_t>(i)]) << size << " at " << i;
        }
    }
}

}  // namespace
