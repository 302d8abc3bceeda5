#include <gtest/gtest.h>

#include <vector>

#include "core/ColorCorrect.h"
#include "tests/support/Frames.h"

namespace {

// A 2 x 2 block of one luma level and one chroma pair; the last luma sample is `more` brighter.
test::Frame block(int bytes, int luma, int first, int second, int more = 0) {
    test::Frame frame({2, 2, 6, 3}, bytes);
    for (int i = 0; i < 4; ++i) {
        frame.setLuma(i % 2, i / 2, luma + (i == 3 ? more : 0));
    }
    frame.setChroma(0, 0, first);
    frame.setChroma(1, 0, second);
    return frame;
}

struct Case {
    const char* what;
    int before;  // luma
    int after;
    int u;  // source chroma less the neutral level
    int v;
    int expectedU;
    int expectedV;
};

// Ct = C Ys / Yd, g = sqrt((Yd^2 + Ct^2) / (Ys^2 + C^2)) in [0.5, 2], at most (h - 1) / max(|u|, |v|).
TEST(ColorCorrect, ByHand8Bits) {
    const Case cases[] = {
        {"unchanged luma: g = 1", 100, 100, 30, 40, 158, 168},
        {"neutral chroma stays neutral", 20, 200, 0, 0, 128, 128},
        {"doubled luma: g = sqrt((10000 + 625) / 5000) = 1.4577", 50, 100, 30, 40, 171, 186},
        {"the same with negative chroma: 84.27, 69.69", 50, 100, -30, -40, 84, 69},
        {"gain 17.9 held at 2", 10, 200, 3, 4, 134, 136},
        {"gain 0.27 held at 0.5: 129.5 is cut", 200, 50, 3, 4, 129, 130},
        {"-0.5 x 3 = 126.5 is cut", 200, 50, -3, 4, 126, 130},
        {"gain 1.80 held at 127 / 100", 50, 200, -100, 0, 1, 128},
        {"and at 127 / 120 on the other side", 50, 200, 120, 0, 255, 128},
        {"black before and after: g = 0, held at 0.5", 0, 0, 30, 40, 143, 148},
        {"to black: g endless, held at 2", 100, 0, 30, 40, 188, 208},
        {"from black: g = 100 / 50 = 2", 0, 100, 30, 40, 188, 208},
    };
    for (const Case& c : cases) {
        for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
            test::Frame source =
                block(1, c.before, 128 + c.u, 128 + c.v, 3);  // a mean of n + 3/4 counts as n
            test::Frame destination = block(1, c.after, 1, 2, c.after < 250 ? 2 : 0);
            EXPECT_EQ(huevance::colorCorrect_8u(source.data8(), source.roi(), destination.data8(),
                                                destination.roi(), type, 256),
                      0);
            EXPECT_EQ(destination.chroma(0, 0), c.expectedU) << c.what;
            EXPECT_EQ(destination.chroma(1, 0), c.expectedV) << c.what;
            EXPECT_EQ(destination.luma(0, 0), c.after);
            EXPECT_TRUE(destination.paddingUntouched());
        }
    }
}

TEST(ColorCorrect, ByHand10Bits) {
    const Case cases[] = {
        {"unchanged luma", 400, 400, 120, 160, 632, 672},
        {"doubled luma: 120 x 1.4577 = 174.93, 160 x 1.4577 = 233.24", 200, 400, 120, 160, 686, 745},
        {"held at 511 / 400", 200, 800, -400, 0, 1, 512},
        {"samples above the range: u = 2000, held at 511 / 2000", 200, 200, 2000, 0, 1023, 512},
    };
    for (const Case& c : cases) {
        for (const auto type : {IMAGE_FORMAT_TYPE_YUV16_LOW, IMAGE_FORMAT_TYPE_YUV16_HIGH}) {
            test::Frame source = block(2, c.before, 512 + c.u, 512 + c.v);
            test::Frame destination = block(2, c.after, 1, 2);
            huevance::colorCorrect_16u(source.data16(), source.roi(), destination.data16(), destination.roi(),
                                       type, 1024);
            EXPECT_EQ(destination.chroma(0, 0), c.expectedU) << c.what;
            EXPECT_EQ(destination.chroma(1, 0), c.expectedV) << c.what;
        }
    }
}

TEST(ColorCorrect, EachDepthHasItsFormats) {
    for (int type = 0; type <= 12; ++type) {
        const auto format = static_cast<IMAGE_FORMAT_TYPE>(type);
        test::Frame source8 = block(1, 50, 158, 168);
        test::Frame destination8 = block(1, 50, 1, 2);
        huevance::colorCorrect_8u(source8.data8(), source8.roi(), destination8.data8(), destination8.roi(),
                                  format, 256);
        EXPECT_EQ(destination8.chroma(0, 0) != 1, type == 5 || type == 6) << type;
        test::Frame source16 = block(2, 50, 600, 500);
        test::Frame destination16 = block(2, 50, 1, 2);
        huevance::colorCorrect_16u(source16.data16(), source16.roi(), destination16.data16(),
                                   destination16.roi(), format, 1024);
        EXPECT_EQ(destination16.chroma(0, 0) != 1, type == 9 || type == 10) << type;
    }
}

}  // namespace
