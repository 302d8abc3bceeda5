// The OpenCL calls that the engine needs, each with its own line in the log when it fails, and owners of what
// they make. Results are 0 or the OpenCL error code unless said otherwise.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "jni/opticommon/symb/OpenCL.h"

namespace gpu {

// A context on the first GPU of the first platform. -1 on any failure. A device with the vendor's priority
// hint gets a context with low performance and high priority.
int createContext(cl_context* context, cl_device_id* device);
int releaseContext(cl_context* context);

// Whether the extension string contains a name; an empty name is contained. The string is that of the first
// device asked in the process, on purpose, and empty for good when that one gave none or one of over 1023
// characters: then the answer is no, with a line in the log.
bool check_extension_support(const std::string& name, cl_device_id& device);
// Whether buffers over ion memory can be made: in the extension string of this device, however long. Without
// a line.
bool supportsIonMemory(cl_device_id device);

// An in-order queue without profiling.
int createCommandQueue(cl_context context, cl_device_id device, cl_command_queue* queue);
int releaseCommandQueue(cl_command_queue* queue);

int createProgramWithSource(const char* text, std::size_t length, cl_context context, cl_program* program);
// The binary must have been proven whole: drivers may crash on a damaged one.
int createProgramWithBinaryFile(const unsigned char* data, std::size_t size, cl_context context,
                                const cl_device_id* device, cl_program* program);
// On purpose 0, too, when the program cannot be built and the compiler's log could be read; its kernels then
// cannot be created.
int buildProgram(cl_device_id device, cl_program* program);
int releaseProgram(cl_program* program);

int createKernel(const char* name, cl_program program, cl_kernel* kernel);
int releaseKernel(cl_kernel* kernel);

int createBuffer(cl_context context, cl_mem_flags flags, std::size_t size, void* host, cl_mem* memory);
int createImage(cl_context context, cl_mem_flags flags, const cl_image_format* format,
                const cl_image_desc* description, void* host, cl_mem* memory);
int releaseMem(cl_mem* memory);

// Milliseconds that an event's command ran; logs its time in the queue, too. Needs a queue with profiling.
float GetEventProfilingInfo(cl_event& event);

// An OpenCL object with one owner. Release logs its own failures.
template <typename T, int (*Release)(T*)>
class Owned {
public:
    Owned() = default;
    ~Owned() { reset(); }
    Owned(Owned&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    Owned& operator=(Owned&& other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    void reset() {
        if (m_object != nullptr) {
            Release(&m_object);
            m_object = nullptr;
        }
    }
    T get() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    // Where a creating call stores a new object; releases the one there is.
    T* out() {
        reset();
        return &m_object;
    }
    T* address() { return &m_object; }

private:
    T m_object = nullptr;
};

using Context = Owned<cl_context, releaseContext>;
using Queue = Owned<cl_command_queue, releaseCommandQueue>;
using Program = Owned<cl_program, releaseProgram>;
using Kernel = Owned<cl_kernel, releaseKernel>;
using Memory = Owned<cl_mem, releaseMem>;

}  // namespace gpu
