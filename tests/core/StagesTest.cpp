// The other stages and the derived geometry: numbers worked out by hand. Whole frames are compared with the
// model in tests/cpu.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/Clahe.h"
#include "core/ColorCorrect.h"
#include "core/ColorLut.h"
#include "core/Geometry.h"
#include "core/Portrait.h"
#include "core/ToneCurve.h"
#include "tests/support/Frames.h"

namespace {

using Numbers = std::vector<int>;

// One luma level, and one chroma pair in every block; the last luma sample is `more` brighter.
test::Frame flat(RoiInfo roi, int bytes, int luma, int first, int second, int more = 0) {
    test::Frame frame(roi, bytes);
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x < roi.width; ++x) {
            frame.setLuma(x, y, luma + (x == roi.width - 1 && y == roi.height - 1 ? more : 0));
            if (y < roi.height / 2) {
                frame.setChroma(x, y, x % 2 == 0 ? first : second);
            }
        }
    }
    return frame;
}
constexpr RoiInfo kBlock{2, 2, 6, 3};

TEST(Geometry, WorkingCopyAndSkinMaskHaveStridesOf128) {
    // Width, the working copy's stride, and the skin mask's with its cells of 4 bytes.
    for (const Numbers& c :
         {Numbers{1, 128, 128}, {32, 128, 128}, {33, 128, 256}, {128, 128, 512}, {129, 256, 640}}) {
        const RoiInfo copy = huevance::workingCopyRoi({c[0], 30, 9000, 77});
        const RoiInfo mask = huevance::skinMaskRoi({c[0], 30, 9000, 77});
        EXPECT_EQ((Numbers{copy.width, copy.height, copy.stride, copy.scanline}),
                  (Numbers{c[0], 30, c[1], 30}));
        EXPECT_EQ((Numbers{mask.width, mask.height, mask.stride, mask.scanline}),
                  (Numbers{c[0], 30, c[2], 30}));
    }
}

TEST(Curves, UvCurveScalesAroundNeutralAndClamps) {
    struct Case {
        float strength;
        std::size_t level;
        float expected;
    };
    for (const Case& c : {Case{1, 77, 77},
                          {0, 255, 128},
                          {2, 64, 0},
                          {2, 63, 0},
                          {2, 65, 2},
                          {2, 200, 255},
                          {-1, 28, 228},
                          {-1, 0, 255},
                          {0.5F, 129, 128.5F}}) {
        std::vector<float> curve(256, -1.0F);
        EXPECT_EQ(huevance::buildUvCurve(c.strength, curve.data()), 0);
        EXPECT_EQ(curve[c.level], c.expected) << c.strength << " at " << c.level;
    }
}

TEST(Curves, MapRoundsByAddingAHalf) {
    const float levels[] = {
        10.49F, 10.5F, 255.4F, 1e30F, -0.6F, -1e30F, std::numeric_limits<float>::quiet_NaN()};
    const int expected[] = {10, 11, 255, 255, 0, 0, 0};
    for (int i = 0; i < 7; ++i) {
        test::Frame frame = flat(kBlock, 1, 20, 30, 40);
        const std::vector<float> y(256, levels[i]);
        const std::vector<float> uv(256, levels[6 - i]);
        EXPECT_EQ(huevance::curveMap_8u(frame.data8(), frame.roi(), y.data(), uv.data(), 256), 0);
        EXPECT_EQ(frame.luma(1, 1), expected[i]) << levels[i];
        EXPECT_EQ(frame.chroma(1, 0), expected[6 - i]) << levels[6 - i];
    }
}

// Ct = C Ys / Yd, g = sqrt((Yd^2 + Ct^2) / (Ys^2 + C^2)) in [0.5, 2], at most (h - 1) / max(|u|, |v|).
TEST(ColorCorrect, ByHand) {
    struct Case {
        const char* what;
        int bits;
        int before;  // luma
        int after;
        int u;  // source chroma less the neutral level
        int v;
        int expectedU;
        int expectedV;
    };
    const Case cases[] = {
        {"unchanged luma: g = 1", 8, 100, 100, 30, 40, 158, 168},
        {"neutral chroma stays neutral", 8, 20, 200, 0, 0, 128, 128},
        {"doubled luma: g = sqrt((10000 + 625) / 5000) = 1.4577", 8, 50, 100, 30, 40, 171, 186},
        {"the same with negative chroma: 84.27, 69.69", 8, 50, 100, -30, -40, 84, 69},
        {"gain 17.9 held at 2", 8, 10, 200, 3, 4, 134, 136},
        {"gain 0.27 held at 0.5: 126.5 is cut", 8, 200, 50, -3, 4, 126, 130},
        {"gain 1.80 held at 127 / 100", 8, 50, 200, -100, 0, 1, 128},
        {"and at 127 / 120 on the other side", 8, 50, 200, 120, 0, 255, 128},
        {"black before and after: g = 0, held at 0.5", 8, 0, 0, 30, 40, 143, 148},
        {"to black: g endless, held at 2", 8, 100, 0, 30, 40, 188, 208},
        {"doubled luma: 120 x 1.4577 = 174.93, 160 x 1.4577 = 233.24", 10, 200, 400, 120, 160, 686, 745},
        {"samples above the range: u = 2000, held at 511 / 2000", 10, 200, 200, 2000, 0, 1023, 512},
    };
    for (const Case& c : cases) {
        const int h = 1 << (c.bits - 1), bytes = c.bits == 8 ? 1 : 2;
        // A mean of n + 3/4 counts as n.
        test::Frame source = flat(kBlock, bytes, c.before, h + c.u, h + c.v, 3);
        test::Frame destination = flat(kBlock, bytes, c.after, 1, 2, 2);
        EXPECT_EQ(c.bits == 8 ? huevance::colorCorrect_8u(source.data8(), kBlock, destination.data8(), kBlock,
                                                          IMAGE_FORMAT_TYPE_NV21, 256)
                              : huevance::colorCorrect_16u(source.data16(), kBlock, destination.data16(),
                                                           kBlock, IMAGE_FORMAT_TYPE_YUV16_LOW, 1024),
                  0);
        EXPECT_EQ(destination.samples(),
                  (Numbers{c.after, c.after, c.after, c.after + 2, c.expectedU, c.expectedV}))
            << c.what;
    }
}

// The value of every lattice point from its plane and its three indices.
template <typename Point>
std::vector<float> lattice(const Point& point) {
    std::vector<float> lut;
    for (int i = 0; i < huevance::kColorLutFloats; ++i) {
        lut.push_back(static_cast<float>(point(i / 4096, i % 16, i / 16 % 16, i / 256 % 16)));
    }
    return lut;
}

TEST(ColorMap, TheIdentityLatticeChangesNothing) {
    const auto identity = lattice([](int p, int y, int a, int b) {
        return 17 * (p == 0 ? y : p == 1 ? a : b);
    });
    for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        test::Frame frame({33, 21, 40, 22}, 1);
        frame.fill(test::Content::kNoise, 256);
        const Numbers before = frame.samples();
        huevance::colorMap_8u(frame.data8(), frame.roi(), type, 256, identity.data(), 16, 1.0F);
        EXPECT_EQ(frame.samples(), before) << type;
    }
}

TEST(ColorMap, LatticePointsByHand) {
    // Lattice point i stands at level 17 i. One point (Y 3, A 5, B 7) has its own values.
    const auto one = lattice(
        [](int plane, int y, int a, int b) { return y == 3 && a == 5 && b == 7 ? 90 + 50 * plane : 0; });
    struct Case {
        IMAGE_FORMAT_TYPE type;
        int first;  // in memory
        int second;
        Numbers expected;
    };
    for (const Case& c : {Case{IMAGE_FORMAT_TYPE_NV12, 85, 119, {90, 90, 90, 90, 140, 190}},
                          {IMAGE_FORMAT_TYPE_NV12, 119, 85, {0, 0, 0, 0, 0, 0}},
                          {IMAGE_FORMAT_TYPE_NV21, 119, 85, {90, 90, 90, 90, 190, 140}}}) {
        test::Frame frame = flat(kBlock, 1, 51, c.first, c.second);
        EXPECT_EQ(huevance::colorMap_8u(frame.data8(), kBlock, c.type, 256, one.data(), 16, 1.0F), 0);
        EXPECT_EQ(frame.samples(), c.expected) << c.type << " " << c.first;
    }
    // Mean 114, lattice luma 164, strength 0.5: all four move by 25. Chroma: (100 + 201) / 2 = 150.5, rounded
    // up; (40 + 201) / 2 = 120.5, rounded up.
    const auto constant = lattice([](int plane, int, int, int) { return plane == 0 ? 164 : 201; });
    test::Frame frame = flat(kBlock, 1, 0, 100, 40);
    for (int i = 1; i < 4; ++i) {
        frame.setLuma(i % 2, i / 2, i == 1 ? 255 : 98 + i);
    }
    huevance::colorMap_8u(frame.data8(), kBlock, IMAGE_FORMAT_TYPE_NV12, 256, constant.data(), 16, 0.5F);
    EXPECT_EQ(frame.samples(), (Numbers{25, 255, 125, 126, 151, 121}));
}

// A mask of one weight, its padding poisoned, that ends at an unreadable page.
struct Mask {
    Mask(RoiInfo maskRoi, float value)
        : roi(maskRoi), memory(static_cast<std::size_t>(roi.stride * roi.height)) {
        std::fill_n(data(), memory.size() / sizeof(float), value);
    }
    float* data() { return reinterpret_cast<float*>(memory.data()); }
    RoiInfo roi;
    test::GuardedMemory memory;
};

TEST(Portrait, SkinColorFallsOffFromTheTwoReferencePoints) {
    // On the 0 .. 255 scale the points are (102.965, 164.365) and (122.965, 145.715), 27.35 apart: 1 between
    // and near them. Grey (128, 128) is 44.149 and 18.417 away: 0.14 x 255 / 62.566 = 0.5706. (0, 0) is
    // 193.95 and 190.67 away.
    struct Case {
        float u;
        float v;
        double expected;
    };
    for (const Case& c :
         {Case{103, 164, 1}, {113, 155, 1}, {128, 128, 0.5706}, {0, 0, 0.0928}, {164, 103, 0.2449}}) {
        EXPECT_NEAR(huevance::skinProbability(c.u / 255.0F, c.v / 255.0F), c.expected, 1e-4)
            << c.u << " " << c.v;
    }
    // 5 x 5: the last column and row belong to no block. In a format without known chroma (-7) nothing is
    // written; the mask's stride has two cells more.
    test::Frame frame = flat({5, 5, 8, 6}, 1, 0, 103, 164);
    for (const auto& [type, expected] :
         {std::pair{5, 0.2449}, {6, 1}, {9, 1}, {10, 1}, {0, -7}, {2, -7}, {7, -7}}) {
        Mask mask({5, 5, 28, 5}, -7.0F);
        const auto format = static_cast<IMAGE_FORMAT_TYPE>(type);
        EXPECT_EQ(huevance::skinColorDetect(frame.data8(), frame.roi(), format, mask.data(), mask.roi), 0);
        for (int i = 0; i < 35; ++i) {
            EXPECT_NEAR(mask.data()[i], i % 7 < 4 && i / 7 < 4 ? expected : -7, 1e-4) << type << " at " << i;
        }
    }
}

TEST(Portrait, ProtectBlendsWithoutRounding) {
    struct Case {
        float m;
        int backup;
        int processed;
        int expected;
    };
    for (const Case& c : {Case{0, 9, 200, 200},
                          {1, 9, 200, 9},
                          {0.5F, 101, 100, 100},
                          {0.999F, 255, 0, 254},
                          {2, 100, 90, 110},
                          {3, 255, 90, 255},
                          {-1, 100, 20, 0}}) {
        test::Frame backup = flat({3, 3, 8, 4}, 1, c.backup, c.backup, c.backup);
        test::Frame processed = flat({3, 3, 8, 4}, 1, c.processed, c.processed, c.processed);
        Mask mask({3, 3, 12, 3}, c.m);
        huevance::portraitProtect_8u(backup.data8(), backup.roi(), processed.data8(), processed.roi(),
                                     mask.data(), mask.roi);
        Numbers expected(12, c.expected);
        expected[11] = c.processed;  // no pair
        EXPECT_EQ(processed.samples(), expected) << c.m;
    }
}

TEST(Portrait, LutIsTheCurveOfTheMaskedHistogram) {
    test::Frame frame = flat({4, 2, 4, 2}, 1, 10, 0, 0);
    frame.setLuma(0, 0, 0);
    frame.setLuma(2, 0, 20);
    Mask mask({4, 2, 16, 2}, 0.0F);
    const float weights[] = {0.5F,          1.0F, 9.0F,
                             std::nanf(""), 0.0F, 1.0F};  // 9 counts as 1, not-a-number as 0
    std::copy(std::begin(weights), std::end(weights), mask.data());
    std::vector<float> expected(256, 0.0F);
    expected[0] = 0.5F;
    expected[10] = 2.0F;
    expected[20] = 1.0F;
    std::vector<float> hist(256), lut(256), curve(256);
    huevance::computePortraitLut(frame.data8(), frame.roi(), mask.data(), mask.roi, hist.data(), lut.data(),
                                 0.2F);
    EXPECT_EQ(hist, expected);
    huevance::hist2claheLut(expected.data(), curve.data(), 0.2F);
    EXPECT_EQ(lut, curve);
}

}  // namespace
