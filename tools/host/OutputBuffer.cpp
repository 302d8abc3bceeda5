#include "tools/host/OutputBuffer.h"

#include <android/hardware_buffer.h>
#include <dlfcn.h>

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

constexpr std::uint32_t kFormatNv21 = 0x11;  // chroma in the order V, U
constexpr std::uint32_t kFormatNv12 = AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420;
constexpr std::uint64_t kUsage = AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN | AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER;

// Not linked: on a machine without them the tool runs all the same.
template <typename Function>
Function* find(void* library, const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}
#define PLATFORM(library, name) find(library, #name, static_cast<decltype(&name)>(nullptr))

void copyRows(const unsigned char* from, std::size_t pitch, const RoiInfo& roi, int rows, std::uint8_t* to) {
    for (int row = 0; row < rows; ++row, from += pitch, to += roi.stride) {
        std::memcpy(to, from, static_cast<std::size_t>(roi.width));
    }
}

}  // namespace

OutputBuffer::OutputBuffer(void* library, const RoiInfo& roi, const FrameFormat& format)
    : m_library(library) {
    const auto allocate = PLATFORM(library, AHardwareBuffer_allocate);
    if (allocate == nullptr || format.bits != 8 || roi.width < 1 || roi.height < 1) {
        return;
    }
    AHardwareBuffer_Desc desc = {};
    desc.width = static_cast<std::uint32_t>(roi.width + roi.width % 2);
    desc.height = static_cast<std::uint32_t>(roi.height + roi.height % 2);
    desc.layers = 1;
    desc.format = format.type == IMAGE_FORMAT_TYPE_NV21 ? kFormatNv21 : kFormatNv12;
    desc.usage = kUsage;
    if (allocate(&desc, &m_buffer) != 0) {
        m_buffer = nullptr;
    }
}

OutputBuffer::~OutputBuffer() {
    if (m_buffer != nullptr) {
        PLATFORM(m_library, AHardwareBuffer_release)(m_buffer);
    }
}

bool OutputBuffer::copyTo(Frame& frame) const {
    const auto lockPlanes = PLATFORM(m_library, AHardwareBuffer_lockPlanes);
    const auto unlock = PLATFORM(m_library, AHardwareBuffer_unlock);
    AHardwareBuffer_Planes planes = {};
    if (m_buffer == nullptr || lockPlanes == nullptr || unlock == nullptr ||
        lockPlanes(m_buffer, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN, -1, nullptr, &planes) != 0) {
        return false;
    }
    const RoiInfo& roi = frame.roi();
    copyRows(static_cast<const unsigned char*>(planes.planes[0].data), planes.planes[0].rowStride, roi,
             roi.height, frame.data());
    copyRows(static_cast<const unsigned char*>(std::min(planes.planes[1].data, planes.planes[2].data)),
             planes.planes[1].rowStride, roi, roi.height / 2,
             frame.data() + static_cast<std::ptrdiff_t>(roi.scanline) * roi.stride);
    unlock(m_buffer, nullptr);
    return true;
}

}  // namespace tool
