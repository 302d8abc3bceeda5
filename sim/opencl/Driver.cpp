// The entry points of the simulated driver. Each counts, fails when told to, and passes on to `answer`: for
// most of them the system's function alone, for the overloads below what the simulation adds.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "jni/opticommon/symb/OpenCLSignature.h"
#include "sim/opencl/IonMemory.h"
#include "sim/opencl/State.h"
#include "sim/opencl/System.h"

namespace sim {

namespace {

// One tag type per entry point.
namespace entry {
#define HUEVANCE_CL_ENTRY(name, arguments) \
    struct name {};
#include "jni/opticommon/symb/OpenCLEntries.inc"
}  // namespace entry

enum EntryIndex {
#define HUEVANCE_CL_ENTRY(name, arguments) index_##name,
#include "jni/opticommon/symb/OpenCLEntries.inc"
    kEntryCount
};

constexpr const char* kEntryNames[] = {
#define HUEVANCE_CL_ENTRY(name, arguments) #name,
#include "jni/opticommon/symb/OpenCLEntries.inc"
};

int indexOf(const char* name) {
    for (int i = 0; i < kEntryCount; ++i) {
        if (std::strcmp(kEntryNames[i], name) == 0) {
            return i;
        }
    }
    return -1;
}

const SystemOpenCL& system() { return systemOpenCL(); }

template <typename Function, typename... A>
auto callSystem(Function function, A... arguments) {
    using R = decltype(function(arguments...));
    return function != nullptr ? function(arguments...)
                               : opencl::failedCall<R>(CL_INVALID_OPERATION, arguments...);
}

// --- What the simulation adds ---

constexpr const char* kIonExtension = "cl_qcom_ion_host_ptr";
constexpr const char* kHintExtension = "cl_qcom_priority_hint";
constexpr std::uintptr_t kPage = 4096;
constexpr cl_context_properties kPerfHint = 0x40C2;
constexpr cl_context_properties kPriorityHint = 0x40C9;

bool hasExtension(const char* name) {
    const State& state = State::get();
    return state.extensions && state.extensions->find(name) != std::string::npos;
}

// Answers an information query with `size` bytes.
cl_int giveInfo(const void* value, std::size_t size, std::size_t capacity, void* out, std::size_t* sizeOut) {
    if (out != nullptr && capacity < size) {
        return CL_INVALID_VALUE;
    }
    if (out != nullptr) {
        std::memcpy(out, value, size);
    }
    if (sizeOut != nullptr) {
        *sizeOut = size;
    }
    return CL_SUCCESS;
}

cl_int giveText(const std::string& text, std::size_t capacity, void* out, std::size_t* sizeOut) {
    return giveInfo(text.c_str(), text.size() + 1, capacity, out, sizeOut);
}

// Everything without an overload of its own.
#define HUEVANCE_CL_ENTRY(name, arguments)                                               \
    [[maybe_unused]] auto plain(entry::name, HUEVANCE_CL_PARAMETERS_##arguments(name)) { \
        return callSystem(system().name, HUEVANCE_CL_ARGUMENTS_##arguments);             \
    }
#include "jni/opticommon/symb/OpenCLEntries.inc"

template <typename Tag, typename... A>
auto answer(Tag tag, A... arguments) {
    return plain(tag, arguments...);
}

// A GPU if the system has one, else whatever it has.
cl_int answer(entry::clGetDeviceIDs, cl_platform_id platform, cl_device_type type, cl_uint capacity,
              cl_device_id* devices, cl_uint* count) {
    const cl_int result = callSystem(system().clGetDeviceIDs, platform, type, capacity, devices, count);
    if (type != CL_DEVICE_TYPE_GPU || result != CL_DEVICE_NOT_FOUND) {
        return result;
    }
    return callSystem(system().clGetDeviceIDs, platform, cl_device_type{CL_DEVICE_TYPE_ALL}, capacity,
                      devices, count);
}

cl_int answer(entry::clGetDeviceInfo, cl_device_id device, cl_device_info what, std::size_t capacity,
              void* out, std::size_t* sizeOut) {
    const State& state = State::get();
    if (what == CL_DEVICE_TYPE) {
        const cl_device_type type = CL_DEVICE_TYPE_GPU;
        return giveInfo(&type, sizeof(type), capacity, out, sizeOut);
    }
    if (what == CL_DEVICE_EXTENSIONS && state.extensions) {
        return giveText(*state.extensions, capacity, out, sizeOut);
    }
    if (what == CL_DRIVER_VERSION && state.driverVersion) {
        return giveText(*state.driverVersion, capacity, out, sizeOut);
    }
    if (what == CL_DEVICE_SVM_CAPABILITIES && state.svmLevel >= 0) {
        if (state.svmLevel == 0) {
            return CL_INVALID_VALUE;
        }
        const cl_device_svm_capabilities all = (cl_device_svm_capabilities{1} << state.svmLevel) - 1;
        return giveInfo(&all, sizeof(all), capacity, out, sizeOut);
    }
    return callSystem(system().clGetDeviceInfo, device, what, capacity, out, sizeOut);
}

// The hints mean nothing to the system: the context is made without them.
cl_context answer(entry::clCreateContext, const cl_context_properties* properties, cl_uint count,
                  const cl_device_id* devices,
                  void(CL_CALLBACK* notify)(const char*, const void*, std::size_t, void*), void* user,
                  cl_int* error) {
    const bool hints =
        properties != nullptr && (properties[0] == kPerfHint || properties[0] == kPriorityHint);
    if (hints && !hasExtension(kHintExtension)) {
        return opencl::failedCall<cl_context>(CL_INVALID_PROPERTY, error);
    }
    cl_context context = callSystem(system().clCreateContext, hints ? nullptr : properties, count, devices,
                                    notify, user, error);
    State::get().created(Kind::kContext, context);
    return context;
}

cl_mem answer(entry::clCreateBuffer, cl_context context, cl_mem_flags flags, std::size_t size, void* host,
              cl_int* error) {
    constexpr cl_mem_flags kIon = CL_MEM_EXT_HOST_PTR_QCOM;
    const bool ion = (flags & kIon) != 0;
    if (ion) {
        const auto* record = static_cast<const cl_mem_ion_host_ptr*>(host);
        if (!hasExtension(kIonExtension) || record == nullptr || (flags & CL_MEM_USE_HOST_PTR) == 0 ||
            record->ext_host_ptr.allocation_type != CL_MEM_ION_HOST_PTR_QCOM) {
            return opencl::failedCall<cl_mem>(CL_INVALID_VALUE, error);
        }
        const bool aligned = reinterpret_cast<std::uintptr_t>(record->ion_hostptr) % kPage == 0;
        if (!descriptorCovers(record->ion_filedesc, record->ion_hostptr, size) ||
            (State::get().strict && !aligned)) {
            return opencl::failedCall<cl_mem>(CL_INVALID_HOST_PTR, error);
        }
        flags &= ~kIon;
        host = record->ion_hostptr;
    }
    State& state = State::get();
    const bool copied = state.strict && !ion && (flags & CL_MEM_USE_HOST_PTR) != 0 && host != nullptr;
    if (copied) {
        flags ^= CL_MEM_USE_HOST_PTR | CL_MEM_COPY_HOST_PTR;
    }
    cl_mem memory = callSystem(system().clCreateBuffer, context, flags, size, host, error);
    state.created(Kind::kMemory, memory);
    state.wrapped.erase(memory);
    if (copied && memory != nullptr) {
        state.wrapped[memory].address = static_cast<unsigned char*>(host);
    }
    return memory;
}

void* answer(entry::clEnqueueMapBuffer, cl_command_queue queue, cl_mem memory, cl_bool blocking,
             cl_map_flags flags, std::size_t offset, std::size_t size, cl_uint count, const cl_event* wait,
             cl_event* event, cl_int* error) {
    const auto found = State::get().wrapped.find(memory);
    if (found == State::get().wrapped.end()) {
        return callSystem(system().clEnqueueMapBuffer, queue, memory, blocking, flags, offset, size, count,
                          wait, event, error);
    }
    HostMemory& host = found->second;
    const cl_int code = callSystem(system().clEnqueueReadBuffer, queue, memory, cl_bool{CL_TRUE}, offset,
                                   size, static_cast<void*>(host.address + offset), count, wait, event);
    if (code != CL_SUCCESS) {
        return opencl::failedCall<void*>(code, error);
    }
    host.mappedAt = offset;
    host.mapped = flags == CL_MAP_READ ? 0 : size;
    if (error != nullptr) {
        *error = CL_SUCCESS;
    }
    return host.address + offset;
}

cl_int answer(entry::clEnqueueUnmapMemObject, cl_command_queue queue, cl_mem memory, void* mapped,
              cl_uint count, const cl_event* wait, cl_event* event) {
    const auto found = State::get().wrapped.find(memory);
    if (found == State::get().wrapped.end()) {
        return callSystem(system().clEnqueueUnmapMemObject, queue, memory, mapped, count, wait, event);
    }
    HostMemory& host = found->second;
    const std::size_t size = std::exchange(host.mapped, 0);
    return size == 0
               ? CL_SUCCESS
               : callSystem(system().clEnqueueWriteBuffer, queue, memory, cl_bool{CL_TRUE}, host.mappedAt,
                            size, static_cast<const void*>(host.address + host.mappedAt), count, wait, event);
}

void* answer(entry::clSVMAlloc, cl_context context, cl_svm_mem_flags flags, std::size_t size,
             cl_uint alignment) {
    State& state = State::get();
    const bool fine = (flags & CL_MEM_SVM_FINE_GRAIN_BUFFER) != 0;
    if (state.svmLevel == 0 || (fine && state.svmLevel == 1)) {
        return nullptr;
    }
    void* block = callSystem(system().clSVMAlloc, context, flags, size, alignment);
    if (block != nullptr) {
        state.svm[block] = {size, fine, false};
        state.created(Kind::kSvm, block);
    }
    return block;
}

void answer(entry::clSVMFree, cl_context context, void* block) {
    if (State::get().mayRelease(Kind::kSvm, block)) {
        State::get().svm.erase(block);
        State::get().released(Kind::kSvm, block);
        callSystem(system().clSVMFree, context, block);
    }
}

cl_int answer(entry::clEnqueueSVMMap, cl_command_queue queue, cl_bool blocking, cl_map_flags flags,
              void* block, std::size_t size, cl_uint count, const cl_event* wait, cl_event* event) {
    SvmBlock* known = State::get().svmAt(block);
    if (known == nullptr || size > known->size) {
        State::get().violate("a map beyond shared virtual memory");
        return CL_INVALID_VALUE;
    }
    const cl_int code =
        callSystem(system().clEnqueueSVMMap, queue, blocking, flags, block, size, count, wait, event);
    known->mapped = known->mapped || code == CL_SUCCESS;
    return code;
}

cl_int answer(entry::clEnqueueSVMUnmap, cl_command_queue queue, void* block, cl_uint count,
              const cl_event* wait, cl_event* event) {
    if (SvmBlock* known = State::get().svmAt(block)) {
        known->mapped = false;
    }
    return callSystem(system().clEnqueueSVMUnmap, queue, block, count, wait, event);
}

cl_int answer(entry::clSetKernelArgSVMPointer, cl_kernel kernel, cl_uint index, const void* pointer) {
    State& state = State::get();
    if (state.svmLevel != 3 && state.svmAt(pointer) == nullptr) {
        state.violate("a shared virtual memory argument that is none");
        return CL_INVALID_ARG_VALUE;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(&pointer);
    state.kernelArguments[kernel][index] = {{bytes, bytes + sizeof(pointer)}, true};
    return callSystem(system().clSetKernelArgSVMPointer, kernel, index, pointer);
}

cl_int answer(entry::clSetKernelArg, cl_kernel kernel, cl_uint index, std::size_t size, const void* value) {
    if (value != nullptr) {
        const auto* bytes = static_cast<const unsigned char*>(value);
        State::get().kernelArguments[kernel][index] = {{bytes, bytes + size}, false};
    }
    return callSystem(system().clSetKernelArg, kernel, index, size, value);
}

cl_int answer(entry::clEnqueueNDRangeKernel, cl_command_queue queue, cl_kernel kernel, cl_uint dimensions,
              const std::size_t* offset, const std::size_t* global, const std::size_t* local, cl_uint count,
              const cl_event* wait, cl_event* event) {
    State& state = State::get();
    if (state.usesMappedSvm(kernel)) {
        state.violate("a launch with mapped shared virtual memory");
    }
    return callSystem(system().clEnqueueNDRangeKernel, queue, kernel, dimensions, offset, global, local,
                      count, wait, event);
}

cl_kernel answer(entry::clCreateKernel, cl_program program, const char* name, cl_int* error) {
    cl_kernel kernel = callSystem(system().clCreateKernel, program, name, error);
    if (kernel != nullptr) {
        State::get().kernelArguments.erase(kernel);
    }
    State::get().created(Kind::kKernel, kernel);
    return kernel;
}

// --- Counting of what is created, retained and released with the system's function alone ---

template <typename... A>
auto create(Kind kind, A... arguments) {
    auto* object = callSystem(arguments...);
    State::get().created(kind, object);
    return object;
}

template <typename Function, typename Object>
cl_int retain(Kind kind, Function function, Object object) {
    const cl_int result = callSystem(function, object);
    if (result == CL_SUCCESS) {
        State::get().retained(kind, object);
    }
    return result;
}

template <typename Function, typename Object>
cl_int release(Kind kind, Function function, Object object) {
    if (!State::get().mayRelease(kind, object)) {
        return CL_INVALID_VALUE;  // the system's driver might not survive it
    }
    const cl_int result = callSystem(function, object);
    if (result == CL_SUCCESS) {
        State::get().released(kind, object);
    }
    return result;
}

#define SIM_CREATES(name, kind)                                 \
    template <typename... A>                                    \
    auto answer(entry::name, A... arguments) {                  \
        return create(Kind::kind, system().name, arguments...); \
    }
#define SIM_RETAINS(name, kind)                           \
    template <typename Object>                            \
    cl_int answer(entry::name, Object object) {           \
        return retain(Kind::kind, system().name, object); \
    }
#define SIM_RELEASES(name, kind)                           \
    template <typename Object>                             \
    cl_int answer(entry::name, Object object) {            \
        return release(Kind::kind, system().name, object); \
    }

SIM_CREATES(clCreateContextFromType, kContext)
SIM_CREATES(clCreateCommandQueue, kQueue)
SIM_CREATES(clCreateCommandQueueWithProperties, kQueue)
SIM_CREATES(clCreateProgramWithSource, kProgram)
SIM_CREATES(clCreateProgramWithBinary, kProgram)
SIM_CREATES(clCreateImage, kMemory)
SIM_CREATES(clCreateImage2D, kMemory)
SIM_CREATES(clImportMemoryARM, kMemory)
SIM_CREATES(clCreateSampler, kSampler)
SIM_RETAINS(clRetainContext, kContext)
SIM_RETAINS(clRetainCommandQueue, kQueue)
SIM_RETAINS(clRetainProgram, kProgram)
SIM_RETAINS(clRetainKernel, kKernel)
SIM_RETAINS(clRetainMemObject, kMemory)
SIM_RELEASES(clReleaseContext, kContext)
SIM_RELEASES(clReleaseCommandQueue, kQueue)
SIM_RELEASES(clReleaseProgram, kProgram)
SIM_RELEASES(clReleaseKernel, kKernel)
SIM_RELEASES(clReleaseMemObject, kMemory)
SIM_RELEASES(clReleaseSampler, kSampler)

// --- The door ---

template <typename R, typename Tag, typename... A>
R enter(Tag tag, int index, A... arguments) {
    const std::lock_guard lock(State::get().mutex);
    if (const auto code = State::get().enter(index)) {
        return opencl::failedCall<R>(*code, arguments...);
    }
    return answer(tag, arguments...);
}

}  // namespace

}  // namespace sim

extern "C" {

#define HUEVANCE_CL_ENTRY(name, arguments)                                                         \
    opencl::Result<decltype(::name)> name(HUEVANCE_CL_PARAMETERS_##arguments(name)) {              \
        return sim::enter<opencl::Result<decltype(::name)>>(sim::entry::name{}, sim::index_##name, \
                                                            HUEVANCE_CL_ARGUMENTS_##arguments);    \
    }
#include "jni/opticommon/symb/OpenCLEntries.inc"

int sim_opencl_available(void) {
    cl_platform_id platform = nullptr;
    cl_uint devices = 0;
    return sim::callSystem(sim::system().clGetPlatformIDs, cl_uint{1}, &platform,
                           static_cast<cl_uint*>(nullptr)) == CL_SUCCESS &&
           sim::callSystem(sim::system().clGetDeviceIDs, platform, cl_device_type{CL_DEVICE_TYPE_ALL},
                           cl_uint{0}, static_cast<cl_device_id*>(nullptr), &devices) == CL_SUCCESS &&
           devices > 0;
}

void sim_opencl_reset(void) {
    const std::lock_guard lock(sim::State::get().mutex);
    sim::State::get().reset();
}

void sim_opencl_set_svm_level(int level) {
    const std::lock_guard lock(sim::State::get().mutex);
    sim::State::get().svmLevel = level;
}

void sim_opencl_set_strict(int on) {
    const std::lock_guard lock(sim::State::get().mutex);
    sim::State::get().strict = on != 0;
}

void sim_opencl_set_extensions(const char* extensions) {
    const std::lock_guard lock(sim::State::get().mutex);
    sim::State::get().extensions =
        extensions != nullptr ? std::optional<std::string>(extensions) : std::nullopt;
}

void sim_opencl_set_driver_version(const char* version) {
    const std::lock_guard lock(sim::State::get().mutex);
    sim::State::get().driverVersion = version != nullptr ? std::optional<std::string>(version) : std::nullopt;
}

int sim_opencl_fail(const char* entry, int nth, int code) {
    const std::lock_guard lock(sim::State::get().mutex);
    const int index = sim::indexOf(entry);
    if (index >= 0 && nth > 0) {
        sim::State::get().faults[index] = {nth, code};
    } else {
        sim::State::get().faults.erase(index);
    }
    return index >= 0 ? 0 : -1;
}

int sim_opencl_calls(const char* entry) {
    const std::lock_guard lock(sim::State::get().mutex);
    const int index = sim::indexOf(entry);
    return index >= 0 ? sim::State::get().calls[index] : -1;
}

int sim_opencl_live(const char* kind) {
    const std::lock_guard lock(sim::State::get().mutex);
    int sum = 0;
    for (int i = 0; i < sim::kKinds; ++i) {
        if (kind == nullptr || std::strcmp(kind, sim::kKindNames[i]) == 0) {
            sum += sim::State::get().live(static_cast<sim::Kind>(i));
        }
    }
    return sum;
}

const char* sim_opencl_violation(void) {
    const std::lock_guard lock(sim::State::get().mutex);
    const std::string& text = sim::State::get().violation;
    return text.empty() ? nullptr : text.c_str();
}
}
