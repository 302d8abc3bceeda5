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
    std::vector<float> curve;
    for (std::size_t b = 0; b < kBins; ++b) {
        curve.push_back(lut[2 * b + 1]);
    }
    std::vector<float> alone(kBins);
    EXPECT_EQ(huevance::hist2claheLut(histogram.data(), alone.data(), strength), 0);
    EXPECT_EQ(alone, curve);
    return curve;
}

TEST(GridHist, CountsEverySampRateThSampleOfEveryTileAndNothingBeside) {
    // 11 x 7 samples, 3 x 2 tiles of 3 x 3: two columns and one row belong to no tile. Sample (x, y) has the
    // value 16 y + x, so that every bin tells its place.
    test::Frame frame({11, 7, 13, 8}, 1);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 11; ++x) {
            frame.setLuma(x, y, 16 * y + x);
        }
    }
    struct Case {
        int rate;
        std::vector<int> offsets;  // sampled offsets in a tile, either direction
    };
    for (const Case& c : {Case{1, {0, 1, 2}}, Case{2, {0, 2}}, Case{3, {0}}, Case{100, {0}}}) {
        std::vector<float> expected(6 * kBins, 0.0F);
        for (int tile = 0; tile < 6; ++tile) {
            for (const int dy : c.offsets) {
                for (const int dx : c.offsets) {
                    const int bin = 16 * (tile / 3 * 3 + dy) + tile % 3 * 3 + dx;
                    expected[static_cast<std::size_t>(bin * 6 + tile)] = 1.0F;
                }
            }
        }
        std::vector<float> hist(6 * kBins, 99.0F);
        EXPECT_EQ(huevance::getGridHist(frame.data8(), frame.roi(), hist.data(), c.rate, 3, 2, 3, 3), 0);
        EXPECT_EQ(hist, expected) << "rate " << c.rate;
    }
}

TEST(GridHist, NoGridNoSamplingNoCrash) {
    test::Frame frame({4, 4, 4, 4}, 1);
    float none = 7.0F;
    EXPECT_EQ(huevance::computeClaheLut(frame.data8(), frame.roi(), &none, &none, 4, 0, 6, 0, 0, 1.0F), 0);
    EXPECT_EQ(huevance::computeClaheLut(frame.data8(), frame.roi(), &none, &none, 4, 8, -1, 0, 0, 1.0F), 0);
    EXPECT_EQ(none, 7.0F);
}

TEST(TileCurve, UnclippedIsTheCumulativeHistogram) {
    // strength 0 clips above 1/256: a flat tile stays. strength 127 clips above 1/2: two bins of 1/2 stay.
    const std::vector<float> flat(kBins, 3.0F);
    std::vector<float> halves(kBins, 0.0F);
    halves[10] = halves[200] = 5.0F;
    const std::vector<float> flatCurve = curveOf(flat, 0.0F);
    const std::vector<float> halvesCurve = curveOf(halves, 127.0F);
    for (std::size_t b = 0; b < kBins; ++b) {
        EXPECT_FLOAT_EQ(flatCurve[b], static_cast<float>(b + 1) / 256.0F * 255.0F);
        EXPECT_FLOAT_EQ(halvesCurve[b], b < 10 ? 0.0F : b < 200 ? 127.5F : 255.0F);
    }
}

TEST(TileCurve, ClipsAtTheRootOfTheParabola) {
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
    EXPECT_NEAR(curve[0], 255 * kShare, 1e-3);
    EXPECT_NEAR(curve[9], 255 * 10 * kShare, 1e-3);
    EXPECT_NEAR(curve[10], 255 * (11 * kShare + kThreshold), 1e-3);
    EXPECT_NEAR(curve[127], 255 * (128 * kShare + kThreshold), 2e-3);
    EXPECT_NEAR(curve[128], 255 * (129 * kShare + kThreshold + 1.0 / 256), 2e-3);
    EXPECT_NEAR(curve[255], 255, 2e-3);
}

TEST(TileCurve, StrengthZeroFlattensAnUnevenTile) {
    // 64 bins of 3 and one of 832 among 1024 samples: the parabola is 32 t^2 + 0.68 t, and its root for L -
    // 1/256 = 0 is 0: everything is clipped and spread evenly.
    std::vector<float> histogram(kBins, 0.0F);
    std::fill_n(histogram.begin() + 20, 64, 3.0F);
    histogram[200] = 832.0F;
    const std::vector<float> curve = curveOf(histogram, 0.0F);
    for (std::size_t b = 0; b < kBins; ++b) {
        EXPECT_NEAR(curve[b], static_cast<double>(b + 1) / 256 * 255, 1e-3);
    }
}

TEST(TileCurve, AnEmptyTileGetsTheIdentity) {
    std::vector<float> identity(kBins);
    std::iota(identity.begin(), identity.end(), 0.0F);
    EXPECT_EQ(curveOf(std::vector<float>(kBins, 0.0F), 1.0F), identity);
}

TEST(TileCurve, EqualsTheModelForPeakyFlatAndSparseTiles) {
    // The threshold solve is ill-conditioned for some of these; the order of the float steps decides.
    test::Random random(11);
    for (int round = 0; round < 400; ++round) {
        std::vector<float> histogram(kBins, 0.0F);
        const int occupied = 1 + random.below(round % 2 == 0 ? 6 : 256);
        for (int i = 0; i < occupied; ++i) {
            histogram[static_cast<std::size_t>(random.below(256))] +=
                static_cast<float>(1 + random.below(1 + round));
        }
        const float strength = round % 5 == 0 ? 0.0F : random.unit() * 8.0F;
        EXPECT_EQ(curveOf(histogram, strength), model::clippedCurve(histogram, strength))
            << "round " << round;
    }
}

TEST(Smoothing, BorderTilesRepeat) {
    // Bin 5 of a 3 x 2 grid has 9 in tile (0, 0). How often each tile's nine neighbours are that tile:
    //   itself 4 (rows 0, 0, 1; columns 0, 0, 1), right of it 2, below it 2, diagonal 1, the last column 0.
    std::vector<float> lut(6 * kBins, 0.0F);
    lut[5 * 6] = 9.0F;
    std::vector<float> expected(6 * kBins, 0.0F);
    std::vector<float> tileMajor(6 * kBins, 0.0F);
    const float mean[6] = {4, 2, 0, 2, 1, 0};
    for (std::size_t t = 0; t < 6; ++t) {
        expected[5 * 6 + t] = mean[t];
        tileMajor[t * kBins + 5] = mean[t];
    }
    const std::vector<float> source = lut;
    std::vector<float> gpu(6 * kBins, -1.0F);
    EXPECT_EQ(huevance::claheLutFilt_gpu(lut.data(), gpu.data(), 3, 2), 0);
    EXPECT_EQ(gpu, tileMajor);
    EXPECT_EQ(lut, source);
    EXPECT_EQ(huevance::claheLutFilt(lut.data(), 3, 2), 0);
    EXPECT_EQ(lut, expected);

    float one[kBins];
    std::fill_n(one, kBins, 9.0F);
    EXPECT_EQ(huevance::claheLutFilt(one, 1, 1), 0);
    EXPECT_EQ(one[0], 9.0F);
}

TEST(ComputeClaheLut, BothLayoutsEqualTheModel) {
    for (const test::Content content : test::kAllContents) {
        test::Frame frame({61, 47, 64, 50}, 1);
        frame.fill(content, 256);
        const model::Grid grid{5, 4, 3};
        const std::vector<model::Curve> expected =
            model::smoothed(model::tileCurves(model::fromFrame(frame), grid, 1.5F), grid);
        std::vector<float> hist(20 * kBins);
        std::vector<float> lut(20 * kBins);
        std::vector<float> gpu(20 * kBins);
        EXPECT_EQ(huevance::computeClaheLut(frame.data8(), frame.roi(), hist.data(), lut.data(), 3, 5, 4, 12,
                                            11, 1.5F),
                  0);
        const std::vector<float> histogram = hist;
        EXPECT_EQ(huevance::computeClaheLut_gpu(frame.data8(), frame.roi(), hist.data(), gpu.data(), 3, 5, 4,
                                                12, 11, 1.5F),
                  0);
        EXPECT_EQ(hist, histogram);
        for (std::size_t t = 0; t < 20; ++t) {
            for (std::size_t b = 0; b < kBins; ++b) {
                ASSERT_EQ(lut[b * 20 + t], expected[t][b])
                    << test::toString(content) << " tile " << t << " bin " << b;
                ASSERT_EQ(gpu[t * kBins + b], expected[t][b]) << "tile " << t << " bin " << b;
            }
        }
    }
}

TEST(Widening, InterpolatesAndRescales) {
    // The identity stays the identity. A step from 0 (at 127) to 255 (at 128): entry 512 of 1024 lies at
    // 512 x 255 / 1023 = 127.62463, so it is 1023 x 0.62463 = 639.
    std::vector<float> identity(kBins);
    std::iota(identity.begin(), identity.end(), 0.0F);
    std::vector<float> step(kBins, 0.0F);
    std::fill(step.begin() + 128, step.end(), 255.0F);
    std::vector<float> wide(1024);
    EXPECT_EQ(huevance::resizeCurveLut(identity.data(), 256, wide.data(), 1024), 0);
    for (std::size_t i = 0; i < wide.size(); ++i) {
        EXPECT_NEAR(wide[i], static_cast<double>(i), 1e-3);
    }
    EXPECT_EQ(huevance::resizeCurveLut(step.data(), 256, wide.data(), 1024), 0);
    EXPECT_EQ(wide[509], 0.0F);  // 126.88
    EXPECT_NEAR(wide[512], 639.0, 0.01);
    EXPECT_NEAR(wide[514], 1023.0, 1e-3);  // 128.12
    EXPECT_NEAR(wide[1023], 1023.0, 1e-3);

    // Two tiles, bin-major.
    std::vector<float> two;
    for (std::size_t b = 0; b < kBins; ++b) {
        two.insert(two.end(), {identity[b], step[b]});
    }
    std::vector<float> wideTwo(2 * 1024);
    EXPECT_EQ(huevance::resizeClaheLut(two.data(), 256, wideTwo.data(), 1024, 2, 1), 0);
    EXPECT_NEAR(wideTwo[2 * 512], 512, 1e-3);
    EXPECT_EQ(wideTwo[2 * 512 + 1], wide[512]);
}

// Maps a row (or, transposed, a column) of zeros through two tiles whose curves are 0 and 30 everywhere.
std::vector<int> blendOfTwoTiles(int length, int tileSize, bool vertical) {
    test::Frame frame(vertical ? RoiInfo{2, length, 3, length} : RoiInfo{length, 2, length + 1, 2}, 1);
    frame.fill(test::Content::kZero, 256);
    std::vector<float> lut(2 * kBins);
    for (std::size_t b = 0; b < kBins; ++b) {
        lut[2 * b + 1] = 30.0F;
    }
    EXPECT_EQ(vertical
                  ? huevance::claheMap_8u(frame.data8(), frame.roi(), lut.data(), 256, 2, tileSize, 1, 2)
                  : huevance::claheMap_8u(frame.data8(), frame.roi(), lut.data(), 256, tileSize, 2, 2, 1),
              0);
    EXPECT_TRUE(frame.paddingUntouched());
    std::vector<int> result;
    for (int i = 0; i < length; ++i) {
        result.push_back(vertical ? frame.luma(1, i) : frame.luma(i, 1));
    }
    EXPECT_EQ(frame.chroma(0, 0), 0);
    return result;
}

TEST(ClaheMap, BlendsBetweenTileCentres) {
    for (const bool vertical : {false, true}) {
        // Tiles of 4: from 2 on, over 2 x 4 - 5 = 3 samples. Tiles of 3: from 1 on, over 2 x 3 - 3 = 3
        // samples; the last sample belongs to no tile.
        EXPECT_EQ(blendOfTwoTiles(8, 4, vertical), (std::vector<int>{0, 0, 0, 10, 20, 30, 30, 30}));
        EXPECT_EQ(blendOfTwoTiles(7, 3, vertical), (std::vector<int>{0, 0, 10, 20, 30, 30, 30}));
        // Tiles of 1 and 2: over one sample.
        EXPECT_EQ(blendOfTwoTiles(2, 1, vertical), (std::vector<int>{0, 30}));
        EXPECT_EQ(blendOfTwoTiles(4, 2, vertical), (std::vector<int>{0, 0, 30, 30}));
    }
}

TEST(ClaheMap, SamplesAboveTheBinsUseTheLastOne) {
    test::Frame frame({3, 1, 6, 1}, 2);
    std::vector<float> lut(1024, 7.0F);
    lut[1023] = 1000.6F;
    for (int x = 0; x < 3; ++x) {
        frame.setLuma(x, 0, std::vector<int>{1022, 1024, 65535}[static_cast<std::size_t>(x)]);
    }
    EXPECT_EQ(huevance::claheMap_16u(frame.data16(), frame.roi(), lut.data(), 1024, 3, 1, 1, 1), 0);
    EXPECT_EQ(frame.samples(), (std::vector<int>{7, 1001, 1001}));
}

}  // namespace
