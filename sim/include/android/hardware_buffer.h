// The part of the hardware buffer interface that the library and its hosts use, as the phone's SDK declares
// it. On a phone the SDK's own header is found instead of this one.
#pragma once

#include <android/rect.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum AHardwareBuffer_Format {
    // Luma, then interleaved chroma whose order is the allocator's. Here: U, V.
    AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420 = 0x23,
};

enum AHardwareBuffer_UsageFlags {
    AHARDWAREBUFFER_USAGE_CPU_READ_NEVER = 0UL,
    AHARDWAREBUFFER_USAGE_CPU_READ_RARELY = 2UL,
    AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN = 3UL,
    AHARDWAREBUFFER_USAGE_CPU_READ_MASK = 0xFUL,
    AHARDWAREBUFFER_USAGE_CPU_WRITE_NEVER = 0UL << 4,
    AHARDWAREBUFFER_USAGE_CPU_WRITE_RARELY = 2UL << 4,
    AHARDWAREBUFFER_USAGE_CPU_WRITE_OFTEN = 3UL << 4,
    AHARDWAREBUFFER_USAGE_CPU_WRITE_MASK = 0xFUL << 4,
    AHARDWAREBUFFER_USAGE_GPU_SAMPLED_IMAGE = 1UL << 8,
    AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER = 1UL << 9,
    AHARDWAREBUFFER_USAGE_GPU_COLOR_OUTPUT = AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER,
};

typedef struct AHardwareBuffer_Desc {
    uint32_t width;   // pixels
    uint32_t height;  // rows
    uint32_t layers;
    uint32_t format;
    uint64_t usage;
    uint32_t stride;  // pixels; ignored by allocate
    uint32_t rfu0;    // 0
    uint64_t rfu1;    // 0
} AHardwareBuffer_Desc;

typedef struct AHardwareBuffer_Plane {
    void* data;
    uint32_t pixelStride;  // bytes from one sample to the next
    uint32_t rowStride;    // bytes from one row to the next
} AHardwareBuffer_Plane;

typedef struct AHardwareBuffer_Planes {
    uint32_t planeCount;
    AHardwareBuffer_Plane planes[4];  // Y, U, V
} AHardwareBuffer_Planes;

typedef struct AHardwareBuffer AHardwareBuffer;

// All that return int: 0, or a negative errno.
int AHardwareBuffer_allocate(const AHardwareBuffer_Desc* desc, AHardwareBuffer** outBuffer);
void AHardwareBuffer_acquire(AHardwareBuffer* buffer);
void AHardwareBuffer_release(AHardwareBuffer* buffer);
void AHardwareBuffer_describe(const AHardwareBuffer* buffer, AHardwareBuffer_Desc* outDesc);
int AHardwareBuffer_lock(AHardwareBuffer* buffer, uint64_t usage, int32_t fence, const ARect* rect,
                         void** outVirtualAddress);
int AHardwareBuffer_lockPlanes(AHardwareBuffer* buffer, uint64_t usage, int32_t fence, const ARect* rect,
                               AHardwareBuffer_Planes* outPlanes);
int AHardwareBuffer_unlock(AHardwareBuffer* buffer, int32_t* fence);

#ifdef __cplusplus
}
#endif
