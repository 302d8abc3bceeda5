#include "gpu/OpenCLWrappers.h"

#include <algorithm>
#include <vector>

#include "gpu/OpenCLErrors.h"
#include "jni/algocommon/LogPrintf.h"

// Logs `...` (a format for the code) unless the code is CL_SUCCESS, and is the code.
#define CL_CHECKED(code, ...)                \
    [](cl_int result) {                      \
        if (result != CL_SUCCESS) {          \
            ALOG_ERROR(__VA_ARGS__, result); \
        }                                    \
        return result;                       \
    }(code)

namespace gpu {

namespace {

// The vendor's context properties; OpenCL's headers lack them.
constexpr cl_context_properties kPerfHint = 0x40C2;
constexpr cl_context_properties kPerfHintLow = 0x40C5;
constexpr cl_context_properties kPriorityHint = 0x40C9;
constexpr cl_context_properties kPriorityHintHigh = 0x40CA;

// How much of a driver's text is asked for, its terminator included. On purpose a driver with more than that
// has no priority hint, and no build log. The buffers have one byte more: what a driver writes always ends.
constexpr std::size_t kExtensionBytes = 1024;
constexpr std::size_t kBuildLogBytes = 32768;

// The codes of a failed build that get a line with their name.
constexpr cl_int kNamedBuildErrors[] = {
    CL_INVALID_OPERATION, CL_INVALID_PROGRAM,       CL_INVALID_BUILD_OPTIONS, CL_INVALID_BINARY,
    CL_INVALID_DEVICE,    CL_INVALID_VALUE,         CL_BUILD_PROGRAM_FAILURE, CL_OUT_OF_HOST_MEMORY,
    CL_OUT_OF_RESOURCES,  CL_COMPILER_NOT_AVAILABLE};

int firstGpu(cl_platform_id platform, cl_device_id* device) {
    cl_uint count = 0;
    if (CL_CHECKED(clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 0, nullptr, &count),
                   "First clGetDeviceIDs errCode: %d!") != CL_SUCCESS) {
        return -1;
    }
    std::vector<cl_device_id> devices(std::max<cl_uint>(count, 1));
    if (CL_CHECKED(clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, static_cast<cl_uint>(devices.size()),
                                  devices.data(), nullptr),
                   "Second clGetDeviceIDs errCode: %d!") != CL_SUCCESS) {
        return -1;
    }
    *device = devices[0];
    return 0;
}

std::string readExtensions(cl_device_id device) {
    char text[kExtensionBytes + 1] = {};
    clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, kExtensionBytes, text, nullptr);
    return text;
}

// On purpose asked for once in the process, whatever came of it.
const std::string& extensionsOf(cl_device_id device) {
    static const std::string extensions = readExtensions(device);
    return extensions;
}

cl_int readBuildLog(cl_device_id device, cl_program program) {
    std::vector<char> log(kBuildLogBytes + 1);
    const cl_int result =
        clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, kBuildLogBytes, log.data(), nullptr);
    if (result == CL_INVALID_VALUE) {
        ALOG_ERROR("Build program error unknown!");
        return CL_BUILD_PROGRAM_FAILURE;
    }
    ALOG_ERROR("Build program error info: %s!", log.data());
    return result;  // on purpose: 0 when the log could be read
}

}  // namespace

int createContext(cl_context* context, cl_device_id* device) {
    cl_platform_id platform = nullptr;
    if (CL_CHECKED(clGetPlatformIDs(1, &platform, nullptr), "clGetPlatformIDs errCode: %d!") != CL_SUCCESS ||
        firstGpu(platform, device) != 0) {
        return -1;
    }
    cl_context_properties properties[5] = {CL_CONTEXT_PLATFORM,
                                           reinterpret_cast<cl_context_properties>(platform), 0};
    if (check_extension_support("cl_qcom_priority_hint", *device)) {
        // On purpose without the platform.
        const cl_context_properties hints[5] = {kPerfHint, kPerfHintLow, kPriorityHint, kPriorityHintHigh, 0};
        std::copy(std::begin(hints), std::end(hints), properties);
        ALOG_INFO("cl_qcom_priority_hint is supported, and LOW is set\n");
    }
    cl_int code = CL_SUCCESS;
    *context = clCreateContext(properties, 1, device, nullptr, nullptr, &code);
    return CL_CHECKED(code, "clCreateContext errCode: %d!") == CL_SUCCESS ? 0 : -1;
}

int releaseContext(cl_context* context) {
    return CL_CHECKED(clReleaseContext(*context), "clReleaseContext errCode: %d!");
}

bool check_extension_support(const std::string& name, cl_device_id& device) {
    if (extensionsOf(device).empty()) {
        ALOG_ERROR("Couldn't identify available OpenCL extensions");
        return false;
    }
    return extensionsOf(device).find(name) != std::string::npos;
}

bool supportsIonMemory(cl_device_id device) {
    std::size_t bytes = 0;
    if (clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, 0, nullptr, &bytes) != CL_SUCCESS) {
        return false;
    }
    std::string text(bytes, '\0');
    return clGetDeviceInfo(device, CL_DEVICE_EXTENSIONS, bytes, text.data(), nullptr) == CL_SUCCESS &&
           text.find("cl_qcom_ion_host_ptr") != std::string::npos;
}

int createCommandQueue(cl_context context, cl_device_id device, cl_command_queue* queue) {
    cl_int code = CL_SUCCESS;
    *queue = clCreateCommandQueue(context, device, 0, &code);
    return CL_CHECKED(code, "clCreateCommandQueue errCode: %d!");
}

int releaseCommandQueue(cl_command_queue* queue) {
    return CL_CHECKED(clReleaseCommandQueue(*queue), "clReleaseCommandQueue errCode: %d!");
}

int createProgramWithSource(const char* text, std::size_t length, cl_context context, cl_program* program) {
    cl_int code = CL_SUCCESS;
    *program = clCreateProgramWithSource(context, 1, &text, &length, &code);
    return CL_CHECKED(code, "clCreateProgramWithSource errCode: %d!");
}

int createProgramWithBinaryFile(const unsigned char* data, std::size_t size, cl_context context,
                                const cl_device_id* device, cl_program* program) {
    cl_int code = CL_SUCCESS;
    *program = clCreateProgramWithBinary(context, 1, device, &size, &data, nullptr, &code);
    return CL_CHECKED(code, "clCreateProgramWithBinary errCode: %d!");
}

int buildProgram(cl_device_id device, cl_program* program) {
    const cl_int code =
        CL_CHECKED(clBuildProgram(*program, 1, &device, "-cl-fast-relaxed-math", nullptr, nullptr),
                   "clBuildProgram errCode: %d!");
    if (std::find(std::begin(kNamedBuildErrors), std::end(kNamedBuildErrors), code) !=
        std::end(kNamedBuildErrors)) {
        ALOG_ERROR("%s", getCLErrString(code));
    }
    return code == CL_BUILD_PROGRAM_FAILURE ? readBuildLog(device, *program) : code;
}

int releaseProgram(cl_program* program) {
    return CL_CHECKED(clReleaseProgram(*program), "clReleaseProgram errCode: %d!\n");
}

int createKernel(const char* name, cl_program program, cl_kernel* kernel) {
    cl_int code = CL_SUCCESS;
    *kernel = clCreateKernel(program, name, &code);
    if (code != CL_SUCCESS) {
        ALOG_ERROR("create %s errCode: %d!\n", name, code);
    }
    return code;
}

int releaseKernel(cl_kernel* kernel) {
    return CL_CHECKED(clReleaseKernel(*kernel), "clReleaseKernel errCode: %d!\n");
}

int createBuffer(cl_context context, cl_mem_flags flags, std::size_t size, void* host, cl_mem* memory) {
    cl_int code = CL_SUCCESS;
    *memory = clCreateBuffer(context, flags, size, host, &code);
    return CL_CHECKED(code, "clCreateBuffer errCode: %d!\n");
}

int createImage(cl_context context, cl_mem_flags flags, const cl_image_format* format,
                const cl_image_desc* description, void* host, cl_mem* memory) {
    cl_int code = CL_SUCCESS;
    *memory = clCreateImage(context, flags, format, description, host, &code);
    return CL_CHECKED(code, "clCreateImage errCode: %d!\n");
}

int releaseMem(cl_mem* memory) {
    return CL_CHECKED(clReleaseMemObject(*memory), "clReleaseMemObject errCode: %d!\n");
}

float GetEventProfilingInfo(cl_event& event) {
    constexpr cl_profiling_info kMoments[] = {CL_PROFILING_COMMAND_QUEUED, CL_PROFILING_COMMAND_SUBMIT,
                                              CL_PROFILING_COMMAND_START, CL_PROFILING_COMMAND_END};
    cl_ulong times[4] = {};
    cl_int codes = CL_SUCCESS;
    for (int i = 0; i < 4; ++i) {
        codes |= clGetEventProfilingInfo(event, kMoments[i], sizeof(times[i]), &times[i], nullptr);
    }
    const float waited = static_cast<float>(times[2] - times[1]) / 1e6F;
    const float ran = static_cast<float>(times[3] - times[2]) / 1e6F;
    if (CL_CHECKED(codes, "clGetEventProfilingInfo failed errCode: %d!\n") == CL_SUCCESS) {
        ALOG_INFO("kernel queue time %.2fms excute time %.2fms\n", static_cast<double>(waited),
                  static_cast<double>(ran));
    }
    return ran;
}

}  // namespace gpu
