// A small table that host and device share: in shared virtual memory where the device has it, else in a
// buffer.
#pragma once

#include <cstddef>

#include "gpu/OpenCLWrappers.h"

namespace gpu {

// Shared virtual memory of a device. Fine-grain system memory implies fine-grain buffers.
enum : int { kSvmNone = 0, kSvmCoarse = 1, kSvmFine = 2, kSvmFineSystem = 3 };

class DeviceTable {
public:
    DeviceTable() = default;
    ~DeviceTable() { release(); }
    DeviceTable(const DeviceTable&) = delete;
    DeviceTable& operator=(const DeviceTable&) = delete;

    // `bytes` bytes, at least 1, which are zero until they are written. Replaces what there was. The context
    // must outlive the table. 0 or -1.
    int allocate(cl_context context, int svmType, std::size_t bytes);
    void release();

    // Opens the table's first `bytes` bytes for the host to write; null on failure. close() hands them back
    // to the device. No kernel may be using it. Buffers cannot be opened: they take write() alone.
    void* open(cl_command_queue queue, std::size_t bytes);
    int close(cl_command_queue queue);

    // Zeroes shared virtual memory that nobody has written yet, for a kernel that reads it. 0 or -1.
    int fill(cl_command_queue queue);

    // The first `bytes` bytes from `data`, at most size(); of a buffer all. 0 or -1.
    int write(cl_command_queue queue, const void* data, std::size_t bytes);

    int setArgument(cl_kernel kernel, cl_uint index) const;

    bool empty() const { return m_shared == nullptr && !m_buffer; }
    std::size_t size() const { return m_bytes; }

private:
    cl_context m_context = nullptr;  // not owned
    int m_svmType = kSvmNone;
    std::size_t m_bytes = 0;
    void* m_shared = nullptr;
    bool m_written = false;
    bool m_open = false;  // also after a close that failed: kernels must not have it then
    Memory m_buffer;
};

}  // namespace gpu
