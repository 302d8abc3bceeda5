// The simulated hardware buffers.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/sim/support/DeviceBuffer.h"

namespace {

constexpr std::uint64_t kRead = AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN;
constexpr std::uint64_t kWrite = AHARDWAREBUFFER_USAGE_CPU_WRITE_OFTEN;
constexpr std::uint64_t kDraw = AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER;

// How its planes lie, what the pipelines draw shows.
TEST(HardwareBuffer, IsPaddedAsPhonesAreAndUnlockedOnce) {
    test::DeviceBuffer buffer(130, 70, IMAGE_FORMAT_TYPE_NV12);
    AHardwareBuffer_Desc got = {};
    AHardwareBuffer_describe(buffer.get(), &got);
    EXPECT_EQ(got.width, 130U);
    EXPECT_EQ(got.height, 70U);
    EXPECT_EQ(got.stride, 256U);
    EXPECT_EQ(buffer.roi().stride, 256);
    EXPECT_EQ(buffer.roi().scanline, 96);
    void* address = nullptr;
    EXPECT_EQ(AHardwareBuffer_lock(buffer.get(), kWrite, -1, nullptr, &address), 0);
    EXPECT_EQ(AHardwareBuffer_unlock(buffer.get(), nullptr), 0);
    EXPECT_EQ(AHardwareBuffer_unlock(buffer.get(), nullptr), -EINVAL);
}

TEST(HardwareBuffer, RefusesWhatAPhoneRefuses) {
    // A lock asks for some of the host's usage that the buffer was allocated with, and for no other.
    struct Lock {
        std::uint64_t allocated, asked;
        int result;
    };
    for (const auto& [allocated, asked, result] :
         {Lock{kRead, kRead, 0}, Lock{kRead, kWrite, -EINVAL}, Lock{kWrite | kDraw, kWrite, 0},
          Lock{kWrite, kRead | kWrite, -EINVAL}, Lock{kDraw, kRead, -EINVAL}, Lock{kRead, 0, -EINVAL},
          Lock{kRead | kDraw, kRead | kDraw, -EINVAL}}) {
        test::DeviceBuffer made(64, 64, IMAGE_FORMAT_TYPE_NV12, allocated);
        void* address = nullptr;
        AHardwareBuffer_Planes planes = {};
        EXPECT_EQ(AHardwareBuffer_lock(made.get(), asked, -1, nullptr, &address), result);
        EXPECT_EQ(AHardwareBuffer_lockPlanes(made.get(), asked, -1, nullptr, &planes), result);
        EXPECT_EQ(address, result == 0 ? made.data() : nullptr);
        EXPECT_EQ(planes.planes[0].data, result == 0 ? made.data() : nullptr);
    }
}

}  // namespace
