// The hardware buffer that a back end draws into instead of the frame's own memory.
#pragma once

#include "tools/host/Frame.h"

struct AHardwareBuffer;

namespace tool {

class OutputBuffer {
public:
    // Of the frame's size and chroma order. `library`, as from dlopen, brings the platform's functions along.
    // Without them, or for frames that no such buffer holds, there is none.
    OutputBuffer(void* library, const RoiInfo& roi, const FrameFormat& format);
    ~OutputBuffer();
    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    AHardwareBuffer* get() { return m_buffer; }
    // Copies what was drawn over the frame's visible samples. False when it cannot be read.
    bool copyTo(Frame& frame) const;

private:
    void* m_library;
    AHardwareBuffer* m_buffer = nullptr;
};

}  // namespace tool
