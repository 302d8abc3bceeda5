// Hardware buffers over memory files.
#include <android/hardware_buffer.h>
#include <sim/hardware_buffer.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

struct AHardwareBuffer {
    AHardwareBuffer_Desc desc = {};
    std::size_t scanline = 0;
    std::size_t bytes = 0;
    int fd = -1;
    unsigned char* memory = nullptr;
    std::atomic<int> references = 1;
    std::atomic<int> locks = 0;

    AHardwareBuffer();
    ~AHardwareBuffer();
    AHardwareBuffer(const AHardwareBuffer&) = delete;
    AHardwareBuffer& operator=(const AHardwareBuffer&) = delete;

    bool create();
    AHardwareBuffer_Planes planes() const;
};

namespace {

// Padding as phones' allocators have it.
constexpr std::uint32_t kStrideAlignment = 128;
constexpr std::uint32_t kScanlineAlignment = 32;
constexpr std::uint32_t kMaxSide = 32768;
constexpr std::uint64_t kCpuUsage =
    AHARDWAREBUFFER_USAGE_CPU_READ_MASK | AHARDWAREBUFFER_USAGE_CPU_WRITE_MASK;

std::atomic<int> g_live = 0;
std::atomic<int> g_failAllocate = 0;
std::atomic<int> g_failLock = 0;

bool isDue(std::atomic<int>& callsUntil) { return callsUntil.load() > 0 && callsUntil.fetch_sub(1) == 1; }

std::uint32_t alignUp(std::uint32_t value, std::uint32_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

bool isEven(std::uint32_t side) { return side >= 2 && side <= kMaxSide && side % 2 == 0; }

bool isGranted(const AHardwareBuffer_Desc& desc) {
    const bool known =
        desc.format == AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420 || desc.format == SIM_HARDWARE_BUFFER_NV21;
    return known && isEven(desc.width) && isEven(desc.height) && desc.layers == 1 && desc.rfu0 == 0 &&
           desc.rfu1 == 0;
}

// Read and write take two bits each; what the lock asks for must have been allocated for.
bool covers(std::uint64_t allocated, std::uint64_t asked) {
    const auto has = [&](std::uint64_t mask) { return (asked & mask) == 0 || (allocated & mask) != 0; };
    return (asked & ~kCpuUsage) == 0 && (asked & kCpuUsage) != 0 &&
           has(AHARDWAREBUFFER_USAGE_CPU_READ_MASK) && has(AHARDWAREBUFFER_USAGE_CPU_WRITE_MASK);
}

int lockBuffer(AHardwareBuffer* buffer, std::uint64_t usage, int fence, const void* out) {
    if (fence >= 0) {
        close(fence);  // the lock takes the fence; everything here has finished already
    }
    if (buffer == nullptr || out == nullptr || !covers(buffer->desc.usage, usage)) {
        return -EINVAL;
    }
    if (isDue(g_failLock)) {
        return -EBUSY;
    }
    ++buffer->locks;
    return 0;
}

}  // namespace

AHardwareBuffer::AHardwareBuffer() { ++g_live; }

AHardwareBuffer::~AHardwareBuffer() {
    if (memory != nullptr) {
        munmap(memory, bytes);
    }
    if (fd >= 0) {
        close(fd);
    }
    --g_live;
}

bool AHardwareBuffer::create() {
    desc.stride = alignUp(desc.width, kStrideAlignment);
    scanline = alignUp(desc.height, kScanlineAlignment);
    bytes = (scanline + scanline / 2) * desc.stride;
    fd = memfd_create("hardware_buffer", MFD_CLOEXEC);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
        return false;
    }
    void* map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    memory = map != MAP_FAILED ? static_cast<unsigned char*>(map) : nullptr;
    return memory != nullptr;
}

AHardwareBuffer_Planes AHardwareBuffer::planes() const {
    unsigned char* chroma = memory + scanline * desc.stride;
    const bool vFirst = desc.format == SIM_HARDWARE_BUFFER_NV21;
    return {3,
            {{memory, 1, desc.stride},
             {chroma + (vFirst ? 1 : 0), 2, desc.stride},
             {chroma + (vFirst ? 0 : 1), 2, desc.stride},
             {}}};
}

extern "C" {

int AHardwareBuffer_allocate(const AHardwareBuffer_Desc* desc, AHardwareBuffer** outBuffer) {
    if (desc == nullptr || outBuffer == nullptr || !isGranted(*desc)) {
        return -EINVAL;
    }
    auto buffer = std::unique_ptr<AHardwareBuffer>(new (std::nothrow) AHardwareBuffer);
    if (buffer == nullptr || isDue(g_failAllocate)) {
        return -ENOMEM;
    }
    buffer->desc = *desc;
    if (!buffer->create()) {
        return -ENOMEM;
    }
    *outBuffer = buffer.release();
    return 0;
}

void AHardwareBuffer_acquire(AHardwareBuffer* buffer) { ++buffer->references; }

void AHardwareBuffer_release(AHardwareBuffer* buffer) {
    if (--buffer->references == 0) {
        delete buffer;
    }
}

void AHardwareBuffer_describe(const AHardwareBuffer* buffer, AHardwareBuffer_Desc* outDesc) {
    *outDesc = buffer->desc;
}

int AHardwareBuffer_lock(AHardwareBuffer* buffer, uint64_t usage, int32_t fence, const ARect* /*rect*/,
                         void** outVirtualAddress) {
    const int result = lockBuffer(buffer, usage, fence, outVirtualAddress);
    if (result == 0) {
        *outVirtualAddress = buffer->memory;
    }
    return result;
}

int AHardwareBuffer_lockPlanes(AHardwareBuffer* buffer, uint64_t usage, int32_t fence, const ARect* /*rect*/,
                               AHardwareBuffer_Planes* outPlanes) {
    const int result = lockBuffer(buffer, usage, fence, outPlanes);
    if (result == 0) {
        *outPlanes = buffer->planes();
    }
    return result;
}

int AHardwareBuffer_unlock(AHardwareBuffer* buffer, int32_t* fence) {
    if (buffer == nullptr || buffer->locks.load() == 0) {
        return -EINVAL;
    }
    --buffer->locks;
    if (fence != nullptr) {
        *fence = -1;
    }
    return 0;
}

int sim_hardware_buffer_fd(const AHardwareBuffer* buffer) { return buffer->fd; }

void sim_hardware_buffer_planes(const AHardwareBuffer* buffer, AHardwareBuffer_Planes* planes) {
    *planes = buffer->planes();
}

int sim_hardware_buffer_live(void) { return g_live.load(); }

int sim_hardware_buffer_fail(const char* operation, int nth) {
    if (std::strcmp(operation, "allocate") == 0) {
        g_failAllocate = nth;
    } else if (std::strcmp(operation, "lock") == 0) {
        g_failLock = nth;
    } else {
        return -1;
    }
    return 0;
}
}
