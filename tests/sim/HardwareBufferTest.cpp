// The simulated hardware buffers.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>

#include "tests/sim/support/DeviceBuffer.h"

namespace {

AHardwareBuffer_Desc description(std::uint32_t width, std::uint32_t height, std::uint32_t format) {
    AHardwareBuffer_Desc desc = {};
    desc.width = width;
    desc.height = height;
    desc.layers = 1;
    desc.format = format;
    desc.usage = test::kDrawableUsage;
    return desc;
}

TEST(HardwareBuffer, LaysPlanesOutAsTheFormatSays) {
    for (const std::uint32_t format : {0x23U, 0x11U}) {
        AHardwareBuffer* buffer = nullptr;
        const AHardwareBuffer_Desc asked = description(130, 70, format);
        ASSERT_EQ(AHardwareBuffer_allocate(&asked, &buffer), 0);
        AHardwareBuffer_Desc got = {};
        AHardwareBuffer_describe(buffer, &got);
        EXPECT_EQ(got.width, 130U);
        EXPECT_EQ(got.height, 70U);
        EXPECT_EQ(got.stride, 256U);  // padded, as phones' are
        AHardwareBuffer_Planes planes = {};
        ASSERT_EQ(
            AHardwareBuffer_lockPlanes(buffer, AHARDWAREBUFFER_USAGE_CPU_WRITE_OFTEN, -1, nullptr, &planes),
            0);
        ASSERT_EQ(planes.planeCount, 3U);
        auto* y = static_cast<unsigned char*>(planes.planes[0].data);
        auto* u = static_cast<unsigned char*>(planes.planes[1].data);
        auto* v = static_cast<unsigned char*>(planes.planes[2].data);
        EXPECT_EQ(v - u, format == 0x23U ? 1 : -1);
        EXPECT_EQ(std::min(u, v) - y, 256 * 96);  // scanlines padded to 32
        EXPECT_EQ(planes.planes[1].pixelStride, 2U);
        EXPECT_EQ(planes.planes[1].rowStride, 256U);
        // The file is the same memory.
        v[256 * 34 + 2 * 64] = 77;
        void* map = mmap(nullptr, 256 * 96 * 3 / 2, PROT_READ, MAP_SHARED, sim_hardware_buffer_fd(buffer), 0);
        ASSERT_NE(map, MAP_FAILED);
        EXPECT_EQ(static_cast<unsigned char*>(map)[v - y + 256 * 34 + 2 * 64], 77);
        munmap(map, 256 * 96 * 3 / 2);
        EXPECT_EQ(AHardwareBuffer_unlock(buffer, nullptr), 0);
        EXPECT_EQ(AHardwareBuffer_unlock(buffer, nullptr), -EINVAL);  // once
        AHardwareBuffer_release(buffer);
    }
}

TEST(HardwareBuffer, RefusesWhatAPhoneRefuses) {
    AHardwareBuffer* buffer = nullptr;
    struct Case {
        std::uint32_t width, height, format;
    };
    for (const Case& c : {Case{127, 64, 0x23}, Case{128, 63, 0x23}, Case{0, 64, 0x23}, Case{128, 64, 1},
                          Case{65536, 64, 0x23}}) {
        const AHardwareBuffer_Desc desc = description(c.width, c.height, c.format);
        EXPECT_EQ(AHardwareBuffer_allocate(&desc, &buffer), -EINVAL) << c.width << " x " << c.height;
    }
    AHardwareBuffer_Desc layers = description(128, 64, 0x23);
    layers.layers = 2;
    EXPECT_EQ(AHardwareBuffer_allocate(&layers, &buffer), -EINVAL);

    test::DeviceBuffer readOnly(64, 64, IMAGE_FORMAT_TYPE_NV12, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN);
    void* address = nullptr;
    EXPECT_EQ(
        AHardwareBuffer_lock(readOnly.get(), AHARDWAREBUFFER_USAGE_CPU_WRITE_OFTEN, -1, nullptr, &address),
        -EINVAL);
    EXPECT_EQ(
        AHardwareBuffer_lock(readOnly.get(), AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN, -1, nullptr, &address), 0);
    EXPECT_EQ(address, readOnly.data());
}

TEST(HardwareBuffer, CountsReferencesAndFailsOnDemand) {
    const int before = sim_hardware_buffer_live();
    AHardwareBuffer* buffer = nullptr;
    const AHardwareBuffer_Desc desc = description(64, 64, 0x23);
    ASSERT_EQ(AHardwareBuffer_allocate(&desc, &buffer), 0);
    AHardwareBuffer_acquire(buffer);
    AHardwareBuffer_release(buffer);
    EXPECT_EQ(sim_hardware_buffer_live(), before + 1);

    void* address = nullptr;
    sim_hardware_buffer_fail("lock", 2);
    const auto lock = [&] {
        return AHardwareBuffer_lock(buffer, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN, -1, nullptr, &address);
    };
    EXPECT_EQ(lock(), 0);
    EXPECT_NE(lock(), 0);
    EXPECT_EQ(lock(), 0);
    AHardwareBuffer_release(buffer);
    EXPECT_EQ(sim_hardware_buffer_live(), before);

    sim_hardware_buffer_fail("allocate", 1);
    EXPECT_EQ(AHardwareBuffer_allocate(&desc, &buffer), -ENOMEM);
    EXPECT_EQ(sim_hardware_buffer_live(), before);
    EXPECT_EQ(sim_hardware_buffer_fail("describe", 1), -1);
}

}  // namespace
