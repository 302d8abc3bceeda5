// Controls of the simulated hardware buffers, for tests and tools. Not part of a phone.
//
// A buffer is a memory file: 8-bit luma rows, then interleaved chroma rows, at a padded stride and scanline.
// Two formats: AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420 (chroma in the order U, V) and SIM_HARDWARE_BUFFER_NV21
// (V, U). Even sizes only.
#pragma once

#include <android/hardware_buffer.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SIM_HARDWARE_BUFFER_NV21 0x11

// The buffer's memory file; it stays the buffer's.
int sim_hardware_buffer_fd(const AHardwareBuffer* buffer);

// Where the device finds Y, U and V. It needs no lock, and no usage of the host's.
void sim_hardware_buffer_planes(const AHardwareBuffer* buffer, AHardwareBuffer_Planes* planes);

// Buffers that somebody still holds a reference to.
int sim_hardware_buffer_live(void);

// Fails the nth coming allocate ("allocate") or lock of either kind ("lock"); 0 removes the fault. -1 for
// another name.
int sim_hardware_buffer_fail(const char* operation, int nth);

#ifdef __cplusplus
}
#endif
