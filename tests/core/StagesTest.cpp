// Numbers worked out by hand, which stand for the model as well, and what no pipeline shows. Whole frames are
// compared with the model in tests/cpu, the conversions of bit depths with a second implementation in
// tests/kernels.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/Geometry.h"
#include "core/KernelTable.h"
#include "tests/support/Frames.h"
#include "tests/support/Model.h"

namespace {

using test::Frame;
using Numbers = std::vector<int>;

// Both layouts of the tables; the second one is other back ends'.
TEST(Clahe, TablesEqualTheModel) {
    constexpr std::size_t kTiles = 20;
    for (const test::Content content : test::kAllContents) {
        Frame frame({61, 47, 64, 50}, 1);
        frame.fill(content, 256);
        const auto expected = model::tileCurves(model::fromFrame(frame), {5, 4, 3}, 1.5F);
        std::vector<float> hist(kTiles * 256), lut(hist), gpu(hist);
        huevance::computeClaheLut(frame.data8(), frame.roi(), hist.data(), lut.data(), 3, 5, 4, 12, 11, 1.5F);
        huevance::computeClaheLut_gpu(frame.data8(), frame.roi(), hist.data(), gpu.data(), 3, 5, 4, 12, 11,
                                      1.5F);
        for (std::size_t i = 0; i < kTiles * 256; ++i) {
            const std::size_t tile = i / 256, b = i % 256;
            ASSERT_EQ(lut[b * kTiles + tile], expected[tile][b])
                << test::toString(content) << " tile " << tile;
            ASSERT_EQ(gpu[i], expected[tile][b]) << test::toString(content) << " tile " << tile;
        }
    }
}

// Bin 10 holds 128 of 256 samples, bins 128 .. 255 one each; strength 1. In units u = 1/256: L = 2u, M = u,
// the excess above them is 127u and 126u, so yM = 127 u^2 and yL = 382 u^2. The parabola through the origin
// is 64 t^2 + 63u t, and 64 t^2 + 63u t = L - u = u has the root t = 0.00612307. What bin 10 has above it,
// 0.49387693, is spread: 0.00192921 for each bin.
TEST(Clahe, ClippedCurveByHand) {
    std::vector<float> histogram(256), curve(256);
    histogram[10] = 128;
    std::fill(histogram.begin() + 128, histogram.end(), 1.0F);
    huevance::hist2claheLut(histogram.data(), curve.data(), 1.0F);
    EXPECT_NEAR(curve[9], 255 * 10 * 0.00192921, 1e-3);
    EXPECT_NEAR(curve[10], 255 * (11 * 0.00192921 + 0.00612307), 1e-3);
    EXPECT_NEAR(curve[128], 255 * (129 * 0.00192921 + 0.00612307 + 1.0 / 256), 2e-3);
    EXPECT_EQ(curve, model::clippedCurve(histogram, 1.0F));
}

// A block of one luma level (the last sample is `more` brighter) and one chroma pair.
Frame block(int bytes, int luma, int first, int second, int more = 0) {
    Frame frame({2, 2, 6, 3}, bytes);
    for (int i = 0; i < 4; ++i) {
        frame.setLuma(i % 2, i / 2, luma + (i == 3 ? more : 0));
        frame.setChroma(i % 2, 0, i % 2 == 0 ? first : second);
    }
    return frame;
}

// Ct = C Ys / Yd, g = sqrt((Yd^2 + Ct^2) / (Ys^2 + C^2)) in [0.5, 2], at most (h - 1) / max(|u|, |v|).
TEST(ColorCorrect, ByHand) {
    const struct {
        const char* what;
        int bits, before, after;  // luma
        int u, v;                 // source chroma less the neutral level
        int expectedU, expectedV;
    } cases[] = {
        {"doubled luma: g = sqrt((10000 + 625) / 5000) = 1.4577", 8, 50, 100, -30, 40, 84, 186},
        {"gain 17.9 held at 2", 8, 10, 200, 3, 4, 134, 136},
        {"gain 0.27 held at 0.5: 126.5 is cut", 8, 200, 50, -3, 4, 126, 130},
        {"gain 1.80 held at 127 / 100", 8, 50, 200, -100, 0, 1, 128},
        {"black before and after: g = 0, held at 0.5", 8, 0, 0, 30, 40, 143, 148},
        {"samples above the range: u = 2000, held at 511 / 2000", 10, 200, 200, 2000, 0, 1023, 512},
    };
    for (const auto& c : cases) {
        const int h = 1 << (c.bits - 1), bytes = c.bits == 8 ? 1 : 2;
        // A mean of n + 3/4 counts as n.
        Frame source = block(bytes, c.before, h + c.u, h + c.v, 3),
              destination = block(bytes, c.after, 1, 2, 2);
        if (c.bits == 8) {
            huevance::colorCorrect_8u(source.data8(), source.roi(), destination.data8(), source.roi(),
                                      IMAGE_FORMAT_TYPE_NV21, 256);
        } else {
            huevance::colorCorrect_16u(source.data16(), source.roi(), destination.data16(), source.roi(),
                                       IMAGE_FORMAT_TYPE_YUV16_LOW, 1024);
        }
        EXPECT_EQ(destination.samples(),
                  (Numbers{c.after, c.after, c.after, c.after + 2, c.expectedU, c.expectedV}))
            << c.what;
    }
}

// Lattice point i stands at level 17 i. One point (Y 3, A 5, B 7) has its own values; a chroma of 85 at half
// the strength becomes (85 + 140) / 2 = 112.5, rounded up.
TEST(ColorMap, LatticePointByHand) {
    std::vector<float> lut(huevance::kColorLutFloats);
    for (std::size_t plane = 0; plane < 3; ++plane) {
        lut[plane * 4096 + 7 * 256 + 5 * 16 + 3] = plane == 0 ? 91 : plane == 1 ? 140 : 190;
    }
    Frame u = block(1, 51, 85, 119), v = block(1, 51, 119, 85);
    huevance::colorMap_8u(u.data8(), u.roi(), IMAGE_FORMAT_TYPE_NV12, 256, lut.data(), 16, 1.0F);
    huevance::colorMap_8u(v.data8(), v.roi(), IMAGE_FORMAT_TYPE_NV21, 256, lut.data(), 16, 0.5F);
    EXPECT_EQ(u.samples(), (Numbers{91, 91, 91, 91, 140, 190}));
    EXPECT_EQ(v.samples(), (Numbers{71, 71, 71, 71, 155, 113}));
}

// On the 0 .. 255 scale the points are (102.965, 164.365) and (122.965, 145.715), 27.35 apart: 1 between and
// near them. Grey (128, 128) is 44.149 and 18.417 away: 0.14 x 255 / 62.566 = 0.5706. (0, 0) is 193.95 and
// 190.67 away.
TEST(Portrait, SkinByHand) {
    for (const auto& [u, v, expected] :
         {std::tuple{113.0F, 155.0F, 1.0}, {128, 128, 0.5706}, {0, 0, 0.0928}}) {
        EXPECT_NEAR(huevance::skinProbability(u / 255, v / 255), expected, 1e-4);
    }
}

TEST(Portrait, LutIsTheCurveOfTheMaskedHistogram) {
    Frame frame({4, 2, 4, 2}, 1);
    for (int i = 0; i < 8; ++i) {
        frame.setLuma(i % 4, i / 4, i == 0 ? 0 : i == 2 ? 20 : 10);
    }
    const float mask[] = {0.5F, 1, 9, std::nanf(""), 0, 1, 0, 0};  // 9 counts as 1, not-a-number as 0
    std::vector<float> expected(256), hist(256), lut(256);
    expected[0] = 0.5F;
    expected[10] = 2;
    expected[20] = 1;
    huevance::computePortraitLut(frame.data8(), frame.roi(), mask, {4, 2, 16, 2}, hist.data(), lut.data(),
                                 0.2F);
    EXPECT_EQ(hist, expected);
    EXPECT_EQ(lut, model::clippedCurve(expected, 0.2F));
}

TEST(Geometry, WorkingCopyAndSkinMaskHaveStridesOf128) {
    // Width, the working copy's stride, and the skin mask's with its cells of 4 bytes.
    for (const Numbers& c : {Numbers{1, 128, 128}, {32, 128, 128}, {33, 128, 256}, {129, 256, 640}}) {
        for (const bool mask : {false, true}) {
            const RoiInfo frame = {c[0], 30, 9000, 77};
            const RoiInfo roi = mask ? huevance::skinMaskRoi(frame) : huevance::workingCopyRoi(frame);
            EXPECT_EQ((Numbers{roi.width, roi.height, roi.stride, roi.scanline}),
                      (Numbers{c[0], 30, mask ? c[2] : c[1], 30}));
        }
    }
}

// What the pipelines' tests rely on.
TEST(Frame, SeesATouchedPaddingByte) {
    Frame frame({3, 3, 5, 4}, 1);
    frame.fill(test::Content::kNoise, 256);
    EXPECT_TRUE(frame.paddingUntouched());
    frame.data8()[5 * 3 + 1] ^= 1;  // in the row between luma and chroma
    EXPECT_FALSE(frame.paddingUntouched());
}

}  // namespace
