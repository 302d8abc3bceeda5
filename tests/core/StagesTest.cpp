// The stages' functions as far as no pipeline shows them: variants that only other back ends use, and numbers
// worked out by hand, which stand for the model as well. Whole frames are compared with the model in
// tests/cpu.
#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>
#include <vector>

#include "core/Geometry.h"
#include "core/KernelTable.h"
#include "tests/support/Frames.h"
#include "tests/support/Model.h"

namespace {

using test::Frame;
using Numbers = std::vector<int>;

template <auto kFunction, typename From, typename To>
int convert(Frame& s, Frame& d, int shift) {
    const auto* from = static_cast<const From*>(s.data());
    auto* to = static_cast<To*>(d.data());
    if constexpr (std::is_invocable_v<decltype(kFunction), const From*, RoiInfo, To*, RoiInfo, int>) {
        return kFunction(from, s.roi(), to, d.roi(), shift);
    } else {
        return kFunction(from, s.roi(), to, d.roi());
    }
}

// What does not fit is dropped, not held: 1024 >> 2 is 0 in 8 bits.
TEST(BitDepth, EverySampleAndNothingElse) {
    using U8 = unsigned char;
    using U16 = unsigned short;
    const struct {
        int fromBytes, toBytes;
        int direction;  // 1: to the left
        int (*run)(Frame&, Frame&, int shift);
    } kernels[] = {
        {2, 1, 0, convert<huevance::covertYuv_16u8u, U16, U8>},
        {1, 2, 0, convert<huevance::covertYuv_8u16u, U8, U16>},
        {1, 2, 1, convert<huevance::leftBitShift_8u16u, U8, U16>},
        {2, 1, -1, convert<huevance::rightBitShift_16u8u, U16, U8>},
        {2, 2, 1, convert<huevance::leftBitShift_16u16u, U16, U16>},
        {2, 2, -1, convert<huevance::rightBitShift_16u16u, U16, U16>},
    };
    for (const auto& kernel : kernels) {
        for (int i = 0; i < 12; ++i) {
            const int width = 1 + 5 * i, height = 1 + i % 4, shift = 5 * i % 16;
            SCOPED_TRACE(testing::Message() << &kernel - kernels << ": " << width << " by " << shift);
            Frame source({width, height, (width + 3) * kernel.fromBytes, height + 2}, kernel.fromBytes);
            source.fill(test::Content::kAboveRange, 256);
            Frame destination({width, height, (width + 1) * kernel.toBytes, height}, kernel.toBytes);
            Numbers expected = source.samples();
            for (int& v : expected) {
                const int wide = kernel.direction < 0 ? v >> shift : v << (kernel.direction * shift);
                v = wide & (kernel.toBytes == 1 ? 0xFF : 0xFFFF);
            }
            EXPECT_EQ(kernel.run(source, destination, shift), 0);
            EXPECT_EQ(destination.samples(), expected);
            EXPECT_TRUE(destination.paddingUntouched());
            destination.data8()[destination.roi().stride - 1] ^= 1;
            EXPECT_FALSE(destination.paddingUntouched()) << "the guard itself";
        }
    }
}

// Both layouts, and the steps that only other back ends call.
TEST(Clahe, TablesEqualTheModel) {
    constexpr std::size_t kTiles = 20;
    for (const test::Content content : test::kAllContents) {
        SCOPED_TRACE(test::toString(content));
        Frame frame({61, 47, 64, 50}, 1);
        frame.fill(content, 256);
        const auto expected = model::tileCurves(model::fromFrame(frame), {5, 4, 3}, 1.5F);
        std::vector<float> hist(kTiles * 256), lut(hist), gpu(hist), raw(hist);
        huevance::computeClaheLut(frame.data8(), frame.roi(), hist.data(), lut.data(), 3, 5, 4, 12, 11, 1.5F);
        huevance::computeClaheLut_gpu(frame.data8(), frame.roi(), hist.data(), gpu.data(), 3, 5, 4, 12, 11,
                                      1.5F);
        EXPECT_EQ(huevance::gridHist2claheLut(hist.data(), raw.data(), 5, 4, 1.5F), 0);
        for (std::size_t tile = 0; tile < kTiles; ++tile) {
            std::vector<float> histogram(256), curve(256);
            for (std::size_t b = 0; b < 256; ++b) {
                histogram[b] = hist[b * kTiles + tile];
                ASSERT_EQ(lut[b * kTiles + tile], expected[tile][b]) << tile;
                ASSERT_EQ(gpu[tile * 256 + b], expected[tile][b]) << tile;
            }
            EXPECT_EQ(huevance::hist2claheLut(histogram.data(), curve.data(), 1.5F), 0);
            EXPECT_EQ(curve, model::clippedCurve(histogram, 1.5F));
            EXPECT_EQ(curve[77], raw[77 * kTiles + tile]);
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
    EXPECT_NEAR(curve[255], 255, 2e-3);
}

// One luma level, and one chroma pair in every block; the last luma sample is `more` brighter.
Frame flat(RoiInfo roi, int bytes, int luma, int first, int second, int more = 0) {
    Frame frame(roi, bytes);
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x < roi.width; ++x) {
            frame.setLuma(x, y, luma);
            if (y < roi.height / 2) {
                frame.setChroma(x, y, x % 2 == 0 ? first : second);
            }
        }
    }
    frame.setLuma(roi.width - 1, roi.height - 1, luma + more);
    return frame;
}
constexpr RoiInfo kBlock{2, 2, 6, 3};

// Ct = C Ys / Yd, g = sqrt((Yd^2 + Ct^2) / (Ys^2 + C^2)) in [0.5, 2], at most (h - 1) / max(|u|, |v|).
TEST(ColorCorrect, ByHand) {
    const struct {
        const char* what;
        int bits, before, after;  // luma
        int u, v;                 // source chroma less the neutral level
        int expectedU, expectedV;
    } cases[] = {
        {"unchanged luma: g = 1", 8, 100, 100, 30, 40, 158, 168},
        {"doubled luma: g = sqrt((10000 + 625) / 5000) = 1.4577", 8, 50, 100, -30, 40, 84, 186},
        {"gain 17.9 held at 2", 8, 10, 200, 3, 4, 134, 136},
        {"gain 0.27 held at 0.5: 126.5 is cut", 8, 200, 50, -3, 4, 126, 130},
        {"gain 1.80 held at 127 / 100", 8, 50, 200, -100, 0, 1, 128},
        {"black before and after: g = 0, held at 0.5", 8, 0, 0, 30, 40, 143, 148},
        {"doubled luma: 120 x 1.4577 = 174.93, 160 x 1.4577 = 233.24", 10, 200, 400, 120, 160, 686, 745},
        {"samples above the range: u = 2000, held at 511 / 2000", 10, 200, 200, 2000, 0, 1023, 512},
    };
    for (const auto& c : cases) {
        const int h = 1 << (c.bits - 1), bytes = c.bits == 8 ? 1 : 2;
        // A mean of n + 3/4 counts as n.
        Frame source = flat(kBlock, bytes, c.before, h + c.u, h + c.v, 3);
        Frame destination = flat(kBlock, bytes, c.after, 1, 2, 2);
        if (c.bits == 8) {
            huevance::colorCorrect_8u(source.data8(), kBlock, destination.data8(), kBlock,
                                      IMAGE_FORMAT_TYPE_NV21, 256);
        } else {
            huevance::colorCorrect_16u(source.data16(), kBlock, destination.data16(), kBlock,
                                       IMAGE_FORMAT_TYPE_YUV16_LOW, 1024);
        }
        EXPECT_EQ(destination.samples(),
                  (Numbers{c.after, c.after, c.after, c.after + 2, c.expectedU, c.expectedV}))
            << c.what;
    }
}

// Lattice point i stands at level 17 i. One point (Y 3, A 5, B 7) has its own values. At half the strength
// the mean luma 51 moves by 20, a chroma of 85 to (85 + 140) / 2 = 112.5, rounded up, and 119 to (119 + 190)
// / 2 = 154.5.
TEST(ColorMap, LatticePointByHand) {
    std::vector<float> lut(huevance::kColorLutFloats);
    for (std::size_t plane = 0; plane < 3; ++plane) {
        lut[plane * 4096 + 7 * 256 + 5 * 16 + 3] = plane == 0 ? 91 : plane == 1 ? 140 : 190;
    }
    const struct {
        IMAGE_FORMAT_TYPE type;
        int first, second;  // in memory
        float strength;
        Numbers expected;
    } cases[] = {
        {IMAGE_FORMAT_TYPE_NV12, 85, 119, 1.0F, {91, 91, 91, 91, 140, 190}},
        {IMAGE_FORMAT_TYPE_NV12, 119, 85, 1.0F, {0, 0, 0, 0, 0, 0}},
        {IMAGE_FORMAT_TYPE_NV21, 119, 85, 1.0F, {91, 91, 91, 91, 190, 140}},
        {IMAGE_FORMAT_TYPE_NV21, 119, 85, 0.5F, {71, 71, 71, 71, 155, 113}},
        {IMAGE_FORMAT_TYPE_YUV16_LOW, 85, 119, 1.0F, {51, 51, 51, 51, 85, 119}},
    };
    for (const auto& c : cases) {
        Frame frame = flat(kBlock, 1, 51, c.first, c.second);
        huevance::colorMap_8u(frame.data8(), kBlock, c.type, 256, lut.data(), 16, c.strength);
        EXPECT_EQ(frame.samples(), c.expected) << c.type << " " << c.first;
    }
}

// On the 0 .. 255 scale the points are (102.965, 164.365) and (122.965, 145.715), 27.35 apart: 1 between and
// near them. Grey (128, 128) is 44.149 and 18.417 away: 0.14 x 255 / 62.566 = 0.5706. (0, 0) is 193.95 and
// 190.67 away.
TEST(Portrait, SkinByHand) {
    const double cases[][3] = {
        {103, 164, 1}, {113, 155, 1}, {128, 128, 0.5706}, {0, 0, 0.0928}, {164, 103, 0.2449}};
    for (const auto& [u, v, expected] : cases) {
        EXPECT_NEAR(huevance::skinProbability(static_cast<float>(u / 255), static_cast<float>(v / 255)),
                    expected, 1e-4);
    }
}

TEST(Portrait, LutIsTheCurveOfTheMaskedHistogram) {
    Frame frame = flat({4, 2, 4, 2}, 1, 10, 0, 0);
    frame.setLuma(0, 0, 0);
    frame.setLuma(2, 0, 20);
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

}  // namespace
