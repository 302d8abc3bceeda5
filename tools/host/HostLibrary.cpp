#include "tools/host/HostLibrary.h"

#include <dlfcn.h>
#include <sim/log.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "tools/Stdio.h"
#include "tools/ToolError.h"
#include "tools/host/PlatformSet.h"
#include "tools/host/TemporaryTuning.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr int kAndroidError = 6;
constexpr std::size_t kKeptLines = 8;

// Logged as errors, and none: every first start of the GPU back end without its cache of compiled kernels
// says so.
constexpr std::string_view kNoFaults[] = {"cachepath:", "getBinariesFromCache open "};

std::vector<std::string>& errorLines() {
    static std::vector<std::string> lines;
    return lines;
}

void keepErrors(void*, int priority, const char*, const char* text) {
    if (priority < kAndroidError || errorLines().size() == kKeptLines) {
        return;
    }
    std::string line = text;
    line.erase(line.find_last_not_of("\n") + 1);
    const bool fault = std::none_of(std::begin(kNoFaults), std::end(kNoFaults),
                                    [&line](std::string_view begin) { return line.rfind(begin, 0) == 0; });
    if (fault && std::find(errorLines().begin(), errorLines().end(), line) == errorLines().end()) {
        errorLines().push_back(line);
    }
}

}  // namespace

HostLibrary::HostLibrary(const std::string& path, bool verbose) : m_path(path) {
    if (m_path.empty()) {
        std::error_code ignored;
        m_path = (fs::read_symlink("/proc/self/exe", ignored).parent_path() / "libHuevance.so").string();
    }
    claimStdout(verbose);
    // A path with a "/" is opened as it is, never searched for.
    void* library = dlopen(fs::absolute(m_path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw fileError(std::string("cannot load the library: ") + dlerror());
    }
    m_library = library;
    // The simulated Android log can be turned away from standard error. A phone's has no such entry, and no
    // need.
    const auto setSink = reinterpret_cast<decltype(&sim_log_set_sink)>(dlsym(library, "sim_log_set_sink"));
    if (setSink != nullptr && !verbose) {
        setSink(keepErrors, nullptr);
    }
    const auto getApi = reinterpret_cast<decltype(&get_algo_api)>(dlsym(library, "get_algo_api"));
    if (getApi == nullptr || getApi(&m_api) != 0) {
        throw fileError(m_path + " has no get_algo_api: not this library");
    }
}

HostLibrary::HostLibrary(int (*getApi)(AlgoApi*)) : m_library(dlopen(nullptr, RTLD_NOW)) { getApi(&m_api); }

std::string HostLibrary::version() const {
    // The entry gives the tag twice, and longer with every call: the first half is the tag.
    const std::string text = m_api.getVersion();
    const std::string half = text.substr(0, text.size() / 2);
    return half + half == text ? half : text;
}

std::string HostLibrary::takeErrors() {
    std::string text;
    for (const std::string& line : errorLines()) {
        text += "\n  " + line;
    }
    errorLines().clear();
    return text;
}

HostHandle::HostHandle(const HostLibrary& library, const SetUp& setUp)
    : m_api(library.api()), m_readOutput(setUp.readOutput) {
    const fs::path directory(fs::absolute(setUp.tuningDirectory).lexically_normal());
    // The library wants two halves, which it joins with a "/".
    const std::string first = directory.parent_path().string();
    const std::string second = directory.filename().string();
    m_init.dataBit = setUp.format.bits;
    m_init.framePhotoFlag = setUp.photo ? kPhotoMode : kFrameMode;
    m_init.directory1 = first.c_str();
    m_init.directory2 = second.c_str();
    m_init.imageRoi = setUp.roi;
    const int floatBytes = static_cast<int>(sizeof(float));
    m_init.portraitMaskRoi = {setUp.roi.width, setUp.roi.height, setUp.roi.width * floatBytes,
                              setUp.roi.height};
    m_init.portraitMask = setUp.mask == nullptr ? nullptr : setUp.mask->data();
    m_setUpResult = m_api.algoInitHandle(&m_handle, &m_init);
    const std::string platform =
        iniValue(setUp.tuningDirectory + "/platformSet.ini", "platform", setUp.photo ? "photo" : "frame");
    if (platform == "OGL") {
        m_output = std::make_unique<OutputBuffer>(library.get(), setUp.roi, setUp.format);
    }
    // The library has copied the path; the locals end here.
    m_init.directory1 = m_init.directory2 = nullptr;
}

HostHandle::~HostHandle() { release(); }

bool HostHandle::supports(IMAGE_FORMAT_TYPE type) const { return m_api.isSupportFormat(m_handle, type) == 1; }

int HostHandle::process(Frame& frame, int scene) {
    frame.image()->planes[3].data = m_output ? m_output->get() : nullptr;
    const int code = m_api.singleProcessImage(m_handle, frame.image(), &scene, nullptr);
    return code == 0 && m_output && m_readOutput && !m_output->copyTo(frame) ? -1 : code;
}

bool HostHandle::release() {
    if (m_handle == nullptr) {
        return true;
    }
    const int result = m_api.releaseHandle(m_handle, nullptr);
    m_handle = nullptr;
    return result == 0;
}

bool backEndRuns(const HostLibrary& library, const std::string& backEnd, bool photo,
                 const std::function<void(const std::string&, const std::string&)>& writeTuning) {
    constexpr Size kSize = {128, 96};
    const TemporaryTuning tuning(writeTuning, backEnd);
    const FrameFormat format;
    Frame frame(makeRoi(kSize, format, 0, 0), format);
    for (std::size_t i = 0; i < frame.bytes(); ++i) {
        frame.data()[i] = static_cast<std::uint8_t>(64 + i % 97);
    }
    const Bytes before(frame.data(), frame.data() + frame.bytes());
    HostHandle handle(library, {photo, tuning.path(), frame.roi(), format, nullptr});
    const bool runs = handle.setUpResult() == 0 && handle.process(frame, 0) == 0 &&
                      !std::equal(before.begin(), before.end(), frame.data());
    handle.release();
    HostLibrary::takeErrors();
    return runs;
}

}  // namespace tool
