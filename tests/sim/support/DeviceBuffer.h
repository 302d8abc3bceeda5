// A hardware buffer for tests, released at the end; and what else is alive.
#pragma once

#include <android/hardware_buffer.h>
#include <sim/hardware_buffer.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "jni/algocommon/ImageTypes.h"

namespace test {

inline constexpr std::uint64_t kDrawableUsage = AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN |
                                                AHARDWAREBUFFER_USAGE_CPU_WRITE_OFTEN |
                                                AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER;

// Objects of the simulated device that are alive, each kind that is not 0: "1 display 2 texture ".
std::string aliveOnDevice();

class DeviceBuffer {
public:
    // Sizes are rounded up to even ones. NV21 or NV12.
    DeviceBuffer(int width, int height, IMAGE_FORMAT_TYPE format, std::uint64_t usage = kDrawableUsage);
    ~DeviceBuffer() { AHardwareBuffer_release(m_buffer); }
    DeviceBuffer(const DeviceBuffer&) = delete;
    DeviceBuffer& operator=(const DeviceBuffer&) = delete;

    AHardwareBuffer* get() { return m_buffer; }
    // The whole buffer, at an address that stays: luma rows, then chroma rows at chromaOffset.
    unsigned char* data() { return m_data; }
    // width and height as asked for.
    const RoiInfo& roi() const { return m_roi; }
    std::size_t bytes() const { return static_cast<std::size_t>(m_roi.stride * m_roi.scanline * 3 / 2); }

    int luma(int x, int y) const { return m_data[y * m_roi.stride + x]; }
    // channel 0: U, 1: V, of the block at (x, y) in blocks.
    int chroma(int x, int y, int channel) const {
        return luma(2 * x + (m_vFirst ? 1 - channel : channel), m_roi.scanline + y);
    }
    // Visible samples: luma rows, then chroma rows of whole pairs.
    std::vector<int> samples() const;
    void fill(unsigned char value) { std::fill_n(m_data, bytes(), value); }
    std::vector<unsigned char> copy() const { return {m_data, m_data + bytes()}; }

private:
    AHardwareBuffer* m_buffer = nullptr;
    unsigned char* m_data = nullptr;
    RoiInfo m_roi = {};
    bool m_vFirst;
};

}  // namespace test
