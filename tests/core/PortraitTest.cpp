#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/Clahe.h"
#include "core/Portrait.h"
#include "tests/support/Frames.h"

namespace {

// A mask in memory that ends at an unreadable page, its padding poisoned.
struct Mask {
    explicit Mask(RoiInfo maskRoi, float value = -7.0F)
        : roi(maskRoi), memory(static_cast<std::size_t>(maskRoi.stride * maskRoi.height)) {
        for (int y = 0; y < roi.height; ++y) {
            for (int x = 0; x < roi.stride / 4; ++x) {
                at(x, y) = value;
            }
        }
    }
    float& at(int x, int y) { return reinterpret_cast<float*>(memory.data() + y * roi.stride)[x]; }
    float* data() { return reinterpret_cast<float*>(memory.data()); }

    RoiInfo roi;
    test::GuardedMemory memory;
};

TEST(SkinColor, FallsOffFromTheTwoReferencePoints) {
    struct Case {
        int u;
        int v;
        double expected;
    };
    // On the 0 .. 255 scale the points are (102.965, 164.365) and (122.965, 145.715), 27.35 apart: 1 between
    // and near them. Grey (128, 128) is 44.149 and 18.417 away: 0.14 x 255 / 62.566 = 0.5706. (0, 0) is
    // 193.95 and 190.67 away.
    const Case cases[] = {{103, 164, 1},  {123, 146, 1},      {113, 155, 1},     {128, 128, 0.5706},
                          {0, 0, 0.0928}, {255, 255, 0.1025}, {164, 103, 0.2449}};
    for (const Case& c : cases) {
        EXPECT_NEAR(
            huevance::skinProbability(static_cast<float>(c.u) / 255.0F, static_cast<float>(c.v) / 255.0F),
            c.expected, 1e-4)
            << c.u << " " << c.v;
    }
}

TEST(SkinColorDetect, FillsWholeBlocksInTheFormatsItKnows) {
    // 5 x 5: the last column and row belong to no block. First chroma sample 103, second 164.
    test::Frame frame({5, 5, 8, 6}, 1);
    frame.fill(test::Content::kZero, 256);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 5; ++x) {
            frame.setChroma(x, y, x % 2 == 0 ? 103 : 164);
        }
    }
    struct Case {
        int type;
        double expected;  // -7: not written
    };
    for (const Case& c : {Case{5, 0.2449}, {6, 1}, {9, 1}, {10, 1}, {0, -7}, {2, -7}, {7, -7}}) {
        Mask mask({5, 5, 28, 5});
        EXPECT_EQ(huevance::skinColorDetect(frame.data8(), frame.roi(),
                                            static_cast<IMAGE_FORMAT_TYPE>(c.type), mask.data(), mask.roi),
                  0);
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 7; ++x) {
                EXPECT_NEAR(mask.at(x, y), x < 4 && y < 4 ? c.expected : -7, 1e-4)
                    << c.type << ": " << x << "," << y;
            }
        }
    }
}

TEST(PortraitProtect, BlendsWithoutRounding) {
    struct Case {
        float m;
        int backup;
        int processed;
        int expected;
    };
    const Case cases[] = {{0, 9, 200, 200},       {1, 9, 200, 9},        {0.5F, 101, 100, 100},
                          {0.25F, 200, 100, 125}, {0.999F, 255, 0, 254}, {0.001F, 255, 0, 0},
                          {1, 0, 255, 0},         {2, 100, 90, 110},     {3, 255, 90, 255},
                          {-1, 100, 20, 0}};
    for (const Case& c : cases) {
        for (const int bytes : {1, 2}) {
            if (bytes == 2 && c.m > 1) {
                continue;  // 8-bit clamp
            }
            test::Frame backup({3, 3, 8, 4}, bytes);
            test::Frame processed({3, 3, 8, 4}, bytes);
            backup.fill(test::Content::kZero, 256);
            processed.fill(test::Content::kZero, 256);
            processed.setChroma(2, 0, 77);
            for (int i = 0; i < 9; ++i) {
                backup.setLuma(i % 3, i / 3, c.backup);
                processed.setLuma(i % 3, i / 3, c.processed);
            }
            backup.setChroma(0, 0, c.backup);
            processed.setChroma(0, 0, c.processed);
            Mask mask({3, 3, 12, 3}, c.m);
            if (bytes == 1) {
                huevance::portraitProtect_8u(backup.data8(), backup.roi(), processed.data8(), processed.roi(),
                                             mask.data(), mask.roi);
            } else {
                huevance::portraitProtect_16u(backup.data16(), backup.roi(), processed.data16(),
                                              processed.roi(), mask.data(), mask.roi);
            }
            EXPECT_EQ(processed.luma(0, 0), c.expected) << c.m;
            EXPECT_EQ(processed.luma(2, 2), c.expected) << c.m;
            EXPECT_EQ(processed.chroma(0, 0), c.expected) << c.m;
            EXPECT_EQ(processed.chroma(2, 0), 77);  // no pair
            EXPECT_TRUE(processed.paddingUntouched());
        }
    }
}

TEST(PortraitLut, IsTheCurveOfTheMaskedHistogram) {
    test::Frame frame({4, 2, 4, 2}, 1);
    for (int x = 0; x < 4; ++x) {
        frame.setLuma(x, 0, 10 * x);
        frame.setLuma(x, 1, 10);
    }
    Mask mask({4, 2, 16, 2}, 0.0F);
    mask.at(0, 0) = 0.5F;
    mask.at(1, 0) = mask.at(1, 1) = 1.0F;
    mask.at(2, 0) = 9.0F;           // counts as 1
    mask.at(3, 0) = std::nanf("");  // counts as 0
    std::vector<float> expected(256, 0.0F);
    expected[0] = 0.5F;
    expected[10] = 2.0F;
    expected[20] = 1.0F;
    std::vector<float> hist(256);
    std::vector<float> lut(256);
    std::vector<float> curve(256);
    huevance::computePortraitLut(frame.data8(), frame.roi(), mask.data(), mask.roi, hist.data(), lut.data(),
                                 0.2F);
    EXPECT_EQ(hist, expected);
    huevance::hist2claheLut(expected.data(), curve.data(), 0.2F);
    EXPECT_EQ(lut, curve);
}

}  // namespace
