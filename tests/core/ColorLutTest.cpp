#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "core/ColorLut.h"
#include "tests/support/Frames.h"

namespace {

constexpr auto kNv12 = IMAGE_FORMAT_TYPE_NV12;
constexpr auto kNv21 = IMAGE_FORMAT_TYPE_NV21;

using Point = std::function<float(int plane, int iY, int iA, int iB)>;

std::vector<float> lattice(const Point& point) {
    std::vector<float> lut;
    for (int plane = 0; plane < 3; ++plane) {
        for (int iB = 0; iB < 16; ++iB) {
            for (int iA = 0; iA < 16; ++iA) {
                for (int iY = 0; iY < 16; ++iY) {
                    lut.push_back(point(plane, iY, iA, iB));
                }
            }
        }
    }
    return lut;
}

float identityPoint(int plane, int iY, int iA, int iB) {
    return 17.0F * static_cast<float>(plane == 0 ? iY : plane == 1 ? iA : iB);
}

test::Frame block(int luma, int first, int second) {
    test::Frame frame({2, 2, 4, 3}, 1);
    for (int i = 0; i < 4; ++i) {
        frame.setLuma(i % 2, i / 2, luma);
    }
    frame.setChroma(0, 0, first);
    frame.setChroma(1, 0, second);
    return frame;
}

TEST(ColorMap, StrengthZeroAndTheIdentityLatticeChangeNothing) {
    const std::vector<float> identity = lattice(identityPoint);
    const std::vector<float> wild =
        lattice([](int p, int y, int a, int b) { return float(p * 80 + y + a + b); });
    for (const test::Content content : test::kAllContents) {
        for (const auto type : {kNv12, kNv21}) {
            test::Frame frame({33, 21, 40, 22}, 1);
            frame.fill(content, 256);
            const std::vector<int> before = frame.samples();
            huevance::colorMap_8u(frame.data8(), frame.roi(), type, 256, wild.data(), 16, 0.0F);
            EXPECT_EQ(frame.samples(), before) << test::toString(content);
            huevance::colorMap_8u(frame.data8(), frame.roi(), type, 256, identity.data(), 16, 1.0F);
            EXPECT_EQ(frame.samples(), before) << test::toString(content);
        }
    }
}

TEST(ColorMap, FindsTheLatticePointOfEachAxis) {
    // Lattice point i stands at level 17 i. One point (Y 3, A 5, B 7) has its own values.
    const std::vector<float> lut = lattice([](int plane, int iY, int iA, int iB) {
        return iY == 3 && iA == 5 && iB == 7 ? 90.0F + 50.0F * static_cast<float>(plane) : 0.0F;
    });
    struct Case {
        IMAGE_FORMAT_TYPE type;
        int first;  // in memory
        int second;
        std::vector<int> expected;
    };
    const Case cases[] = {{kNv12, 85, 119, {90, 90, 90, 90, 140, 190}},
                          {kNv12, 119, 85, {0, 0, 0, 0, 0, 0}},
                          {kNv21, 119, 85, {90, 90, 90, 90, 190, 140}},
                          {kNv21, 85, 119, {0, 0, 0, 0, 0, 0}}};
    for (const Case& c : cases) {
        test::Frame frame = block(51, c.first, c.second);
        EXPECT_EQ(huevance::colorMap_8u(frame.data8(), frame.roi(), c.type, 256, lut.data(), 16, 1.0F), 0);
        EXPECT_EQ(frame.samples(), c.expected) << c.type << " " << c.first;
        EXPECT_TRUE(frame.paddingUntouched());
    }
}

TEST(ColorMap, OneOffsetForTheFourLumaSamplesBlendForChroma) {
    // Mean 114, lattice luma 164, strength 0.5: all four move by 25. Chroma: (100 + 201) / 2 = 150.5, rounded
    // up; (40 + 201) / 2 = 120.5, rounded up.
    const std::vector<float> lut =
        lattice([](int plane, int, int, int) { return plane == 0 ? 164.0F : 201.0F; });
    test::Frame frame = block(0, 100, 40);
    const int luma[] = {0, 255, 100, 101};
    for (int i = 0; i < 4; ++i) {
        frame.setLuma(i % 2, i / 2, luma[i]);
    }
    huevance::colorMap_8u(frame.data8(), frame.roi(), kNv12, 256, lut.data(), 16, 0.5F);
    EXPECT_EQ(frame.samples(), (std::vector<int>{25, 255, 125, 126, 151, 121}));
}

TEST(ColorMap, TrilinearWithinALevelOfTheEightCornerSum) {
    test::Random random(5);
    const std::vector<float> lut = lattice([&](int, int, int, int) { return random.unit() * 255.0F; });
    for (int round = 0; round < 3000; ++round) {
        const int sample[3] = {random.below(256), random.below(256), random.below(256)};
        test::Frame frame = block(sample[0], sample[1], sample[2]);
        huevance::colorMap_8u(frame.data8(), frame.roi(), kNv12, 256, lut.data(), 16, 1.0F);
        const int mapped[3] = {frame.luma(0, 0), frame.chroma(0, 0), frame.chroma(1, 0)};
        for (int plane = 0; plane < 3; ++plane) {
            double sum = 0;
            for (int corner = 0; corner < 8; ++corner) {
                double weight = 1;
                int index = 0;
                for (int axis = 0; axis < 3; ++axis) {  // Y, A, B
                    const int low = sample[axis] / 17;
                    const double fraction = (sample[axis] % 17) / 17.0;
                    const bool upper = (corner >> axis & 1) != 0;
                    weight *= upper ? fraction : 1 - fraction;
                    index += std::min(low + (upper ? 1 : 0), 15) << (4 * axis);
                }
                sum += weight * static_cast<double>(lut[static_cast<std::size_t>(plane * 4096 + index)]);
            }
            ASSERT_NEAR(mapped[plane], sum, 0.501) << sample[0] << " " << sample[1] << " " << sample[2];
        }
    }
}

TEST(ColorMap, OtherFormatsAreUntouchedAt8BitsAndIgnoredAt16) {
    const std::vector<float> lut =
        lattice([](int plane, int, int, int) { return 100.0F * static_cast<float>(plane); });
    for (const int type : {0, 2, 3, 7, 9, 10}) {
        test::Frame frame = block(9, 8, 7);
        huevance::colorMap_8u(frame.data8(), frame.roi(), static_cast<IMAGE_FORMAT_TYPE>(type), 256,
                              lut.data(), 16, 1);
        EXPECT_EQ(frame.samples(), (std::vector<int>{9, 9, 9, 9, 8, 7})) << type;
    }
    for (const int type : {0, 5, 6, 9, 10}) {  // axis A is the first sample in memory, even for NV21
        test::Frame frame({2, 2, 4, 2}, 2);
        frame.fill(test::Content::kAboveRange, 1024);
        huevance::colorMap_16u(frame.data16(), frame.roi(), static_cast<IMAGE_FORMAT_TYPE>(type), 1024,
                               lut.data(), 16, 1.0F);
        EXPECT_EQ(frame.chroma(0, 0), 100) << type;
        EXPECT_EQ(frame.chroma(1, 0), 200) << type;
    }
}

TEST(ConvertColorLut, ScalesByTheRanges) {
    const float source[] = {0.0F, 255.0F, 100.0F, -5.0F};
    float destination[4];
    EXPECT_EQ(huevance::convertColorLut(source, 256, destination, 1024, 3), 0);
    EXPECT_EQ(destination[0], 0.0F);
    EXPECT_NEAR(destination[1], 1023.0, 1e-3);
    EXPECT_NEAR(destination[2], 401.176, 1e-3);
}

}  // namespace
