// The simulated hardware buffers.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/sim/support/DeviceBuffer.h"

namespace {

constexpr std::uint64_t kRead = AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN;
constexpr std::uint64_t kWrite = AHARDWAREBUFFER_USAGE_CPU_WRITE_OFTEN;
constexpr std::uint64_t kDraw = AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER;

TEST(HardwareBuffer, LaysPlanesOutAsTheFormatSays) {
    for (const auto format : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        test::DeviceBuffer buffer(130, 70, format);
        AHardwareBuffer_Desc got = {};
        AHardwareBuffer_describe(buffer.get(), &got);
        EXPECT_EQ(got.width, 130U);
        EXPECT_EQ(got.height, 70U);
        EXPECT_EQ(got.stride, 256U);  // padded, as phones' are
        AHardwareBuffer_Planes planes = {};
        ASSERT_EQ(AHardwareBuffer_lockPlanes(buffer.get(), kWrite, -1, nullptr, &planes), 0);
        ASSERT_EQ(planes.planeCount, 3U);
        const auto at = [&](int plane) { return static_cast<unsigned char*>(planes.planes[plane].data); };
        EXPECT_EQ(at(2) - at(1), format == IMAGE_FORMAT_TYPE_NV12 ? 1 : -1);
        EXPECT_EQ(std::min(at(1), at(2)) - at(0), 256 * 96);  // scanlines padded to 32
        EXPECT_EQ(planes.planes[1].pixelStride, 2U);
        EXPECT_EQ(planes.planes[1].rowStride, 256U);
        at(2)[256 * 34 + 2 * 64] = 77;
        EXPECT_EQ(buffer.chroma(64, 34, 1), 77);
        EXPECT_EQ(AHardwareBuffer_unlock(buffer.get(), nullptr), 0);
        EXPECT_EQ(AHardwareBuffer_unlock(buffer.get(), nullptr), -EINVAL);  // once
    }
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
