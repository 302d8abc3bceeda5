#include "gpu/DeviceTable.h"

#include <cstring>

#include "jni/algocommon/LogPrintf.h"

namespace gpu {

int DeviceTable::allocate(cl_context context, int svmType, std::size_t bytes) {
    release();
    m_context = context;
    m_svmType = svmType;
    m_bytes = bytes;
    if (svmType == kSvmNone) {
        createBuffer(context, CL_MEM_READ_ONLY, bytes, nullptr, m_buffer.out());
    } else {
        const cl_svm_mem_flags fine = svmType == kSvmCoarse ? 0 : CL_MEM_SVM_FINE_GRAIN_BUFFER;
        m_shared = clSVMAlloc(context, CL_MEM_READ_WRITE | fine, bytes, 0);
    }
    if (!empty()) {
        return 0;
    }
    ALOG_ERROR("table of %zu bytes cannot be allocated on the device!", bytes);
    release();
    return -1;
}

void DeviceTable::release() {
    if (m_shared != nullptr) {
        clSVMFree(m_context, m_shared);
        m_shared = nullptr;
    }
    m_written = false;
    m_open = false;
    m_buffer.reset();
    m_bytes = 0;
}

void* DeviceTable::open(cl_command_queue queue, std::size_t bytes) {
    if (m_shared != nullptr && m_svmType == kSvmCoarse &&
        clEnqueueSVMMap(queue, CL_TRUE, CL_MAP_WRITE, m_shared, m_written ? bytes : m_bytes, 0, nullptr,
                        nullptr) != CL_SUCCESS) {
        return nullptr;
    }
    m_open = m_shared != nullptr;
    if (m_open && !m_written) {
        std::memset(m_shared, 0, m_bytes);
        m_written = true;
    }
    return m_shared;
}

int DeviceTable::close(cl_command_queue queue) {
    if (m_svmType == kSvmCoarse && (clEnqueueSVMUnmap(queue, m_shared, 0, nullptr, nullptr) != CL_SUCCESS ||
                                    clFinish(queue) != CL_SUCCESS)) {
        return -1;
    }
    m_open = false;
    return 0;
}

int DeviceTable::fill(cl_command_queue queue) {
    if (m_written || m_shared == nullptr) {
        return 0;
    }
    return open(queue, m_bytes) != nullptr ? close(queue) : -1;
}

int DeviceTable::write(cl_command_queue queue, const void* data, std::size_t bytes) {
    if (bytes > m_bytes) {
        return -1;
    }
    if (m_buffer) {
        return clEnqueueWriteBuffer(queue, m_buffer.get(), CL_TRUE, 0, bytes, data, 0, nullptr, nullptr) ==
                       CL_SUCCESS
                   ? 0
                   : -1;
    }
    void* table = open(queue, bytes);
    if (table == nullptr) {
        return -1;
    }
    std::memcpy(table, data, bytes);
    return close(queue);
}

int DeviceTable::setArgument(cl_kernel kernel, cl_uint index) const {
    if (m_open) {
        return CL_INVALID_OPERATION;
    }
    if (m_shared != nullptr) {
        return clSetKernelArgSVMPointer(kernel, index, m_shared);
    }
    cl_mem buffer = m_buffer.get();
    return buffer != nullptr ? clSetKernelArg(kernel, index, sizeof(buffer), &buffer) : CL_INVALID_MEM_OBJECT;
}

}  // namespace gpu
