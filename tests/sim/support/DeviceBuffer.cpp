#include "tests/sim/support/DeviceBuffer.h"

#include <sim/gl.h>

#include <stdexcept>

namespace test {

std::string aliveOnDevice() {
    std::string result;
    const auto add = [&](const char* kind, int count) {
        result += count != 0 ? std::to_string(count) + " " + kind + " " : "";
    };
    for (const char* kind : {"display", "context", "surface", "image", "texture", "framebuffer", "program",
                             "shader", "sync", "buffer", "renderbuffer", "vertexarray"}) {
        add(kind, sim_gl_live(kind));
    }
    add("AHardwareBuffer", sim_hardware_buffer_live());
    return result;
}

DeviceBuffer::DeviceBuffer(int width, int height, IMAGE_FORMAT_TYPE format, std::uint64_t usage)
    : m_vFirst(format == IMAGE_FORMAT_TYPE_NV21) {
    AHardwareBuffer_Desc desc = {};
    desc.width = static_cast<std::uint32_t>((width + 1) / 2 * 2);
    desc.height = static_cast<std::uint32_t>((height + 1) / 2 * 2);
    desc.layers = 1;
    desc.format = m_vFirst ? SIM_HARDWARE_BUFFER_NV21 : AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420;
    desc.usage = usage;
    if (AHardwareBuffer_allocate(&desc, &m_buffer) != 0) {
        throw std::runtime_error("no hardware buffer");
    }
    AHardwareBuffer_Planes planes = {};
    sim_hardware_buffer_planes(m_buffer, &planes);
    m_data = static_cast<unsigned char*>(planes.planes[0].data);
    const auto* chroma = static_cast<unsigned char*>(planes.planes[m_vFirst ? 2 : 1].data);
    const int stride = static_cast<int>(planes.planes[0].rowStride);
    m_roi = {width, height, stride, static_cast<int>(chroma - m_data) / stride};
}

std::vector<int> DeviceBuffer::samples() const {
    const auto& [width, height, stride, scanline] = m_roi;
    std::vector<int> samples;
    for (int row = 0; row < height + height / 2; ++row) {
        const unsigned char* from = m_data + (row < height ? row : scanline + row - height) * stride;
        samples.insert(samples.end(), from, from + (row < height ? width : width / 2 * 2));
    }
    return samples;
}

}  // namespace test
