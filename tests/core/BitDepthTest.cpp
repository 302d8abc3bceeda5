#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "core/BitDepth.h"
#include "tests/support/Frames.h"

namespace {

struct Kernel {
    const char* name;
    int fromBytes;
    int toBytes;
    std::function<int(test::Frame&, test::Frame&, int shift)> run;
    std::function<int(int value, int shift)> expected;
};

const Kernel kKernels[] = {
    {"covertYuv_16u8u", 2, 1,
     [](test::Frame& s, test::Frame& d, int) {
         return huevance::covertYuv_16u8u(s.data16(), s.roi(), d.data8(), d.roi());
     },
     [](int v, int) { return v % 256; }},
    {"covertYuv_8u16u", 1, 2,
     [](test::Frame& s, test::Frame& d, int) {
         return huevance::covertYuv_8u16u(s.data8(), s.roi(), d.data16(), d.roi());
     },
     [](int v, int) { return v; }},
    {"leftBitShift_8u16u", 1, 2,
     [](test::Frame& s, test::Frame& d, int n) {
         return huevance::leftBitShift_8u16u(s.data8(), s.roi(), d.data16(), d.roi(), n);
     },
     [](int v, int n) { return (v << n) % 65536; }},
    {"rightBitShift_16u8u", 2, 1,
     [](test::Frame& s, test::Frame& d, int n) {
         return huevance::rightBitShift_16u8u(s.data16(), s.roi(), d.data8(), d.roi(), n);
     },
     [](int v, int n) { return (v >> n) % 256; }},
    {"leftBitShift_16u16u", 2, 2,
     [](test::Frame& s, test::Frame& d, int n) {
         return huevance::leftBitShift_16u16u(s.data16(), s.roi(), d.data16(), d.roi(), n);
     },
     [](int v, int n) { return static_cast<int>((static_cast<unsigned>(v) << n) % 65536); }},
    {"rightBitShift_16u16u", 2, 2,
     [](test::Frame& s, test::Frame& d, int n) {
         return huevance::rightBitShift_16u16u(s.data16(), s.roi(), d.data16(), d.roi(), n);
     },
     [](int v, int n) { return v >> n; }},
};

TEST(BitDepth, EverySampleOfEverySizeAndNothingElse) {
    for (const Kernel& kernel : kKernels) {
        for (const int width : {1, 2, 15, 16, 17, 33}) {
            for (const int height : {1, 2, 5}) {
                for (const int shift : {0, 2, 8, 15}) {
                    test::Frame source({width, height, (width + 3) * kernel.fromBytes, height + 2},
                                       kernel.fromBytes);
                    test::Frame destination({width, height, (width + 1) * kernel.toBytes, height},
                                            kernel.toBytes);
                    source.fill(test::Content::kAboveRange, 256, static_cast<std::uint32_t>(width));
                    std::vector<int> expected = source.samples();
                    for (int& v : expected) {
                        v = kernel.expected(v, shift);
                    }
                    EXPECT_EQ(kernel.run(source, destination, shift), 0);
                    ASSERT_EQ(destination.samples(), expected)
                        << kernel.name << " " << width << "x" << height;
                    ASSERT_TRUE(destination.paddingUntouched())
                        << kernel.name << " " << width << "x" << height;
                }
            }
        }
    }
}

TEST(BitDepth, ShiftsInPlaceAndDropsWhatDoesNotFit) {
    test::Frame frame({3, 1, 6, 1}, 2);
    frame.setLuma(0, 0, 1023);
    frame.setLuma(1, 0, 1024);
    frame.setLuma(2, 0, 0xFFC1);
    test::Frame narrow({3, 1, 3, 1}, 1);
    huevance::rightBitShift_16u8u(frame.data16(), frame.roi(), narrow.data8(), narrow.roi(), 2);
    EXPECT_EQ(narrow.samples(), (std::vector<int>{255, 0, 0xF0}));  // 1024 >> 2 is 256: no saturation
    huevance::rightBitShift_16u16u(frame.data16(), frame.roi(), frame.data16(), frame.roi(), 6);
    EXPECT_EQ(frame.samples(), (std::vector<int>{15, 16, 1023}));
    huevance::leftBitShift_16u16u(frame.data16(), frame.roi(), frame.data16(), frame.roi(), 12);
    EXPECT_EQ(frame.samples(), (std::vector<int>{0xF000, 0, 0xF000}));
}

TEST(BitDepth, EmptyFramesAreLeftAlone) {
    unsigned short source[4] = {1, 2, 3, 4};
    unsigned char destination[4] = {9, 9, 9, 9};
    for (const RoiInfo roi : {RoiInfo{0, 2, 4, 2}, {2, 0, 4, 0}, {-1, 2, 4, 2}, {2, -3, 4, 1}}) {
        EXPECT_EQ(huevance::covertYuv_16u8u(source, roi, destination, roi), 0);
        EXPECT_EQ(destination[0], 9);
    }
}

}  // namespace
