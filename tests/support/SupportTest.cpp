// The support code's own promises: tests that rely on a guard which guards nothing would pass for nothing.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/support/DeathTest.h"
#include "tests/support/Frames.h"
#include "tests/support/StdoutCapture.h"

namespace {

TEST(GuardedMemoryDeathTest, EndsAtAnUnreadablePage) {
    test::startDeathTestsSafely();
    test::GuardedMemory memory(100);
    memory.data()[99] = 1;
    EXPECT_DEATH(
        {
            std::fputs("still alive", stderr);
            static_cast<volatile unsigned char*>(memory.data())[100] = 1;
            std::fputs("past the end", stderr);
        },
        "still alive");
}

TEST(Frame, SeesATouchedPaddingByte) {
    test::Frame frame({3, 3, 5, 4}, 1);
    frame.fill(test::Content::kNoise, 256);
    EXPECT_TRUE(frame.paddingUntouched());
    frame.data8()[5 * 3 + 1] ^= 1;  // in the row between luma and chroma
    EXPECT_FALSE(frame.paddingUntouched());
}

TEST(StdoutCapture, CatchesStdio) {
    test::StdoutCapture capture;
    std::printf("caught");
    EXPECT_EQ(capture.text(), "caught");
}

}  // namespace
