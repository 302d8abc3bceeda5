// A host for a device in hand, without dependencies: raw frames through the library's table, as the device's
// own back ends make them. scripts/device.sh runs it over adb and reads what it prints: lines "key value".
#include <android/hardware_buffer.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/dma-heap.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "jni/HuevanceAPI.h"
#include "tools/host/Drivers.h"
#include "tools/host/PlatformSet.h"

namespace {

// As the workbench's.
enum ExitCode { kGood = 0, kUsage = 2, kFile = 3, kRefused = 4, kUnavailable = 5 };

constexpr int kLogErrorsAndInformation = 5;
constexpr const char* kUsageText =
    "usage: huevance_probe [--memory memfd] LIBRARY TUNING photo|frame WxH nv21|nv12 IN OUT\n"
    "  Raw 8-bit frames of IN, without padding, through one handle into OUT. TUNING is a directory.\n"
    "  --memory memfd: where there is no /dev/dma_heap/system, frames lie in memory files.\n";

struct Options {
    bool memoryFile = false;
    std::string library, tuning, in, out;
    bool photo = false;
    int width = 0, height = 0;
    IMAGE_FORMAT_TYPE format = IMAGE_FORMAT_TYPE_NV21;

    std::size_t bytes() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
    }
};

// Where the lines go: the standard output as it was. The library prints to what is called so meanwhile.
std::FILE* g_report = nullptr;

bool takeStandardOutput() {
    const int copy = dup(STDOUT_FILENO);
    g_report = copy >= 0 ? fdopen(copy, "w") : nullptr;
    if (g_report == nullptr || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        return false;
    }
    std::setvbuf(g_report, nullptr, _IOLBF, BUFSIZ);  // what was known before a driver crashes
    return true;
}

bool parse(int argc, char** argv, Options* options) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() > 2 && words[0] == "--memory" && words[1] == "memfd") {
        options->memoryFile = true;
        words.erase(words.begin(), words.begin() + 2);
    }
    char after = '\0';
    if (words.size() != 7 || (words[2] != "photo" && words[2] != "frame") ||
        (words[4] != "nv21" && words[4] != "nv12") ||
        std::sscanf(words[3].c_str(), "%5dx%5d%c", &options->width, &options->height, &after) != 2 ||
        options->width < 2 || options->height < 2 || options->width % 2 != 0 || options->height % 2 != 0) {
        return false;
    }
    options->library = words[0];
    options->tuning = words[1];
    options->photo = words[2] == "photo";
    options->format = words[4] == "nv21" ? IMAGE_FORMAT_TYPE_NV21 : IMAGE_FORMAT_TYPE_NV12;
    options->in = words[5];
    options->out = words[6];
    return true;
}

// One frame's memory: with a descriptor where the machine has such memory, as a camera's buffers have.
class FrameMemory {
public:
    FrameMemory(std::size_t size, bool memoryFile) : m_size(size) {
        m_fd = fromHeap();
#ifndef __ANDROID__
        if (m_fd < 0 && memoryFile) {
            m_fd = memfd_create("frame", MFD_CLOEXEC);
            if (m_fd >= 0 && ftruncate(m_fd, static_cast<off_t>(size)) != 0) {
                closeDescriptor();
            }
        }
#else
        static_cast<void>(memoryFile);
#endif
        m_data = map();
        if (m_data == MAP_FAILED) {
            closeDescriptor();
            m_data = map();
        }
    }
    ~FrameMemory() {
        if (good()) {
            munmap(m_data, m_size);
        }
        closeDescriptor();
    }
    FrameMemory(const FrameMemory&) = delete;
    FrameMemory& operator=(const FrameMemory&) = delete;

    bool good() const { return m_data != MAP_FAILED; }
    char* data() const { return static_cast<char*>(m_data); }
    int fd() const { return m_fd; }  // -1: none

private:
    int fromHeap() const {
        const int heap = open("/dev/dma_heap/system", O_RDONLY | O_CLOEXEC);
        if (heap < 0) {
            return -1;
        }
        dma_heap_allocation_data request = {};
        request.len = m_size;
        request.fd_flags = O_RDWR | O_CLOEXEC;
        const bool allocated = ioctl(heap, DMA_HEAP_IOCTL_ALLOC, &request) == 0;
        close(heap);
        return allocated ? static_cast<int>(request.fd) : -1;
    }
    void* map() const {
        return mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                    m_fd >= 0 ? MAP_SHARED : MAP_PRIVATE | MAP_ANONYMOUS, m_fd, 0);
    }
    void closeDescriptor() {
        if (m_fd >= 0) {
            close(m_fd);
        }
        m_fd = -1;
    }

    std::size_t m_size;
    int m_fd = -1;
    void* m_data = MAP_FAILED;
};

// The hardware buffer that OGL draws into. Its functions come with the library.
class HardwareBuffer {
public:
    HardwareBuffer(void* library, const Options& options) : m_options(options) {
        find(library, "AHardwareBuffer_allocate", &m_allocate);
        find(library, "AHardwareBuffer_lockPlanes", &m_lockPlanes);
        find(library, "AHardwareBuffer_unlock", &m_unlock);
        find(library, "AHardwareBuffer_release", &m_release);
        if (m_allocate == nullptr || m_lockPlanes == nullptr || m_unlock == nullptr || m_release == nullptr) {
            return;
        }
        constexpr std::uint32_t kFormatNv21 = 0x11;
        constexpr std::uint32_t kFormatNv12 = AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420;
        AHardwareBuffer_Desc desc = {};
        desc.width = static_cast<std::uint32_t>(options.width);
        desc.height = static_cast<std::uint32_t>(options.height);
        desc.layers = 1;
        desc.format = options.format == IMAGE_FORMAT_TYPE_NV21 ? kFormatNv21 : kFormatNv12;
        desc.usage = AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN | AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER;
        if (m_allocate(&desc, &m_buffer) != 0) {
            m_buffer = nullptr;
        }
    }
    ~HardwareBuffer() {
        if (m_buffer != nullptr) {
            m_release(m_buffer);
        }
    }
    HardwareBuffer(const HardwareBuffer&) = delete;
    HardwareBuffer& operator=(const HardwareBuffer&) = delete;

    AHardwareBuffer* get() const { return m_buffer; }

    // Without the rows' padding. Locking waits for the drawing.
    bool copyTo(char* to) const {
        AHardwareBuffer_Planes planes = {};
        if (m_buffer == nullptr ||
            m_lockPlanes(m_buffer, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN, -1, nullptr, &planes) != 0) {
            return false;
        }
        // The byte that comes first in each chroma pair, and the pixel stride of chroma, differ by device.
        const AHardwareBuffer_Plane& luma = planes.planes[0];
        const bool vFirst = m_options.format == IMAGE_FORMAT_TYPE_NV21;
        const AHardwareBuffer_Plane& first = planes.planes[vFirst ? 2 : 1];
        const AHardwareBuffer_Plane& second = planes.planes[vFirst ? 1 : 2];
        to = copy(luma, m_options.height, m_options.width, to, 1);
        copy(first, m_options.height / 2, m_options.width / 2, to, 2);
        copy(second, m_options.height / 2, m_options.width / 2, to + 1, 2);
        m_unlock(m_buffer, nullptr);
        return true;
    }

private:
    template <typename Function>
    static void find(void* library, const char* name, Function** function) {
        *function = reinterpret_cast<Function*>(dlsym(library, name));
    }
    static char* copy(const AHardwareBuffer_Plane& plane, int rows, int columns, char* to, int step) {
        for (int row = 0; row < rows; ++row) {
            const auto* from =
                static_cast<const char*>(plane.data) + static_cast<std::size_t>(row) * plane.rowStride;
            for (int column = 0; column < columns; ++column, from += plane.pixelStride, to += step) {
                *to = *from;
            }
        }
        return to;
    }

    const Options& m_options;
    AHardwareBuffer* m_buffer = nullptr;
    decltype(&AHardwareBuffer_allocate) m_allocate = nullptr;
    decltype(&AHardwareBuffer_lockPlanes) m_lockPlanes = nullptr;
    decltype(&AHardwareBuffer_unlock) m_unlock = nullptr;
    decltype(&AHardwareBuffer_release) m_release = nullptr;
};

void printTimes(const std::vector<double>& times) {
    std::fprintf(g_report, "frames %zu\n", times.size());
    if (!times.empty()) {
        std::vector<double> sorted = times;
        std::sort(sorted.begin(), sorted.end());
        std::fprintf(g_report, "first_ms %.3f\nmedian_ms %.3f\nworst_ms %.3f\n", times.front(),
                     sorted[sorted.size() / 2], sorted.back());
    }
}

void printDrivers(void* library) {
    for (const tool::DriverReport& driver : tool::driversOf(library)) {
        std::fprintf(g_report, "driver %s: %s", driver.name.c_str(),
                     driver.path.empty() ? "none" : driver.path.c_str());
        for (const auto& [key, value] : driver.details) {
            std::fprintf(g_report, "; %s %s", key.c_str(), value.c_str());
        }
        std::fprintf(g_report, "\n");
    }
}

// All frames of the input through a handle that is set up.
int processAll(const AlgoApi& api, void* handle, const Options& options, const HardwareBuffer* output) {
    std::ifstream in(options.in, std::ios::binary);
    std::ofstream out(options.out, std::ios::binary);
    FrameMemory memory(options.bytes(), options.memoryFile);
    if (!in || !out || !memory.good()) {
        std::fprintf(stderr, "huevance_probe: cannot open %s and %s, or no memory for a frame\n",
                     options.in.c_str(), options.out.c_str());
        return kFile;
    }
    std::fprintf(g_report, "memory %s\n", memory.fd() >= 0 ? "descriptor" : "address");
    std::vector<double> times;
    int code = 0;
    const auto size = static_cast<std::streamsize>(options.bytes());
    while (code == 0 && in.read(memory.data(), size)) {
        Image image = {};
        image.format = options.format;
        image.planes[0].data = memory.data();
        image.planes[0].fd = memory.fd();
        image.planes[3].data = output != nullptr ? output->get() : nullptr;
        int scene = 0;
        const auto begin = std::chrono::steady_clock::now();
        code = api.singleProcessImage(handle, &image, &scene, nullptr);
        times.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
        if (code == 0 && output != nullptr && !output->copyTo(memory.data())) {
            std::fprintf(g_report, "hardware_buffer cannot be read\n");
            code = -1;
        }
        if (code == 0) {
            out.write(memory.data(), size);
        }
    }
    std::fprintf(g_report, "process %d\n", code);
    printTimes(times);
    out.close();
    if (!out) {
        std::fprintf(stderr, "huevance_probe: cannot write %s\n", options.out.c_str());
        return kFile;
    }
    return code == 0 && !times.empty() ? kGood : kRefused;
}

int probe(void* library, const AlgoApi& api, const Options& options) {
    // The directory travels in two halves, which the library joins with a "/".
    const std::size_t slash = options.tuning.find_last_of('/');
    const std::string parent = slash == std::string::npos ? "." : options.tuning.substr(0, slash);
    const std::string name = options.tuning.substr(slash == std::string::npos ? 0 : slash + 1);
    InitParam init = {};
    init.dataBit = 8;
    init.framePhotoFlag = options.photo ? kPhotoMode : kFrameMode;
    init.directory1 = parent.c_str();
    init.directory2 = name.c_str();
    init.imageRoi = {options.width, options.height, options.width, options.height};
    void* handle = nullptr;
    const int setUp = api.algoInitHandle(&handle, &init);
    std::fprintf(g_report, "setup %d\n", setUp);
    if (setUp != 0) {
        return kUnavailable;
    }
    std::fprintf(g_report, "supported %d\n", api.isSupportFormat(handle, options.format));
    const std::string backEnd =
        tool::iniValue(options.tuning + "/platformSet.ini", "platform", options.photo ? "photo" : "frame");
    int result = kUnavailable;
    {
        const HardwareBuffer buffer(library, options);
        if (backEnd == "OGL" && buffer.get() == nullptr) {
            std::fprintf(g_report, "hardware_buffer cannot be allocated\n");
        } else {
            result = processAll(api, handle, options, backEnd == "OGL" ? &buffer : nullptr);
        }
        printDrivers(library);
        const int released = api.releaseHandle(handle, nullptr);  // before the buffer goes
        std::fprintf(g_report, "release %d\n", released);
        // A handle without a back end passes the set-up, and only its release tells.
        result = result == kRefused && released != 0 ? kUnavailable : result;
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, &options)) {
        std::fputs(kUsageText, stderr);
        return kUsage;
    }
    if (!takeStandardOutput()) {
        std::fputs("huevance_probe: there is no standard output\n", stderr);
        return kFile;
    }
    std::fprintf(g_report, "pid %d\n", static_cast<int>(getpid()));
    void* library = dlopen(options.library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        std::fprintf(g_report, "load_error %s\n", reason != nullptr ? reason : "unknown");
        return kFile;
    }
    auto* getApi = reinterpret_cast<decltype(&get_algo_api)>(dlsym(library, "get_algo_api"));
    AlgoApi api = {};
    if (getApi == nullptr || getApi(&api) != 0) {
        std::fprintf(g_report, "load_error %s has no get_algo_api: not this library\n",
                     options.library.c_str());
        return kFile;
    }
    api.setLogStatus(kLogErrorsAndInformation);
    return probe(library, api, options);
}
