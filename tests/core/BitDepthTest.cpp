#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "core/BitDepth.h"
#include "tests/support/Frames.h"

namespace {

template <auto kFunction, typename From, typename To>
int run(test::Frame& s, test::Frame& d, int shift) {
    const auto* from = static_cast<const From*>(s.data());
    auto* to = static_cast<To*>(d.data());
    if constexpr (std::is_invocable_v<decltype(kFunction), const From*, RoiInfo, To*, RoiInfo, int>) {
        return kFunction(from, s.roi(), to, d.roi(), shift);
    } else {
        return kFunction(from, s.roi(), to, d.roi());
    }
}

struct Kernel {
    const char* name;
    int fromBytes;
    int toBytes;
    int direction;  // 1: to the left
    int (*run)(test::Frame&, test::Frame&, int shift);
};
using U8 = unsigned char;
using U16 = unsigned short;
const Kernel kKernels[] = {
    {"covertYuv_16u8u", 2, 1, 0, run<huevance::covertYuv_16u8u, U16, U8>},
    {"covertYuv_8u16u", 1, 2, 0, run<huevance::covertYuv_8u16u, U8, U16>},
    {"leftBitShift_8u16u", 1, 2, 1, run<huevance::leftBitShift_8u16u, U8, U16>},
    {"rightBitShift_16u8u", 2, 1, -1, run<huevance::rightBitShift_16u8u, U16, U8>},
    {"leftBitShift_16u16u", 2, 2, 1, run<huevance::leftBitShift_16u16u, U16, U16>},
    {"rightBitShift_16u16u", 2, 2, -1, run<huevance::rightBitShift_16u16u, U16, U16>},
};

// What does not fit is dropped, not held: 1024 >> 2 is 0 in 8 bits.
TEST(BitDepth, EverySampleOfEverySizeAndNothingElse) {
    for (const Kernel& kernel : kKernels) {
        for (const int width : {1, 2, 15, 16, 17, 33}) {
            for (const int height : {1, 2, 5}) {
                for (const int shift : {0, 2, 8, 15}) {
                    SCOPED_TRACE(std::string(kernel.name) + " " + std::to_string(width));
                    const RoiInfo roi{width, height, (width + 3) * kernel.fromBytes, height + 2};
                    test::Frame source(roi, kernel.fromBytes);
                    source.fill(test::Content::kAboveRange, 256, static_cast<std::uint32_t>(width));
                    test::Frame destination({width, height, (width + 1) * kernel.toBytes, height},
                                            kernel.toBytes);
                    std::vector<int> expected = source.samples();
                    for (int& v : expected) {
                        const auto bits = static_cast<unsigned>(v);
                        const unsigned shifted = kernel.direction == 1    ? bits << shift
                                                 : kernel.direction == -1 ? bits >> shift
                                                                          : bits;
                        v = static_cast<int>(shifted % (kernel.toBytes == 1 ? 256U : 65536U));
                    }
                    EXPECT_EQ(kernel.run(source, destination, shift), 0);
                    ASSERT_EQ(destination.samples(), expected);
                    ASSERT_TRUE(destination.paddingUntouched());
                    if (kernel.fromBytes == kernel.toBytes) {  // in place, too
                        kernel.run(source, source, shift);
                        ASSERT_EQ(source.samples(), expected);
                    }
                }
            }
        }
    }
}

}  // namespace
