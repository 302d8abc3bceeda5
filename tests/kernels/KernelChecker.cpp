#include "tests/kernels/KernelChecker.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace test {

namespace {

// A kernel that reads past its rows dies on the guard page: say which case it was.
char g_running[512];

void reportCrash(int signal) {
    static_cast<void>(!write(STDERR_FILENO, g_running, std::strlen(g_running)));
    raise(signal);  // the handler was reset
}

class CrashReport {
public:
    CrashReport() {
        struct sigaction action = {};
        action.sa_handler = reportCrash;
        action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
        sigaction(SIGSEGV, &action, &m_previous);
    }
    ~CrashReport() { sigaction(SIGSEGV, &m_previous, nullptr); }
    CrashReport(const CrashReport&) = delete;
    CrashReport& operator=(const CrashReport&) = delete;

    static void running(const std::string& what) {
        std::snprintf(g_running, sizeof(g_running), "crashed in %s\n", what.c_str());
    }

private:
    struct sigaction m_previous = {};
};

std::optional<std::string> differingFloat(const GuardedFloats& expected, const GuardedFloats& actual) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const float a = expected.get()[i];
        const float b = actual.get()[i];
        if (std::memcmp(&a, &b, sizeof(a)) != 0 && !(std::isnan(a) && std::isnan(b))) {
            return "float " + std::to_string(i) + ": expected " + std::to_string(a) + ", got " +
                   std::to_string(b);
        }
    }
    return std::nullopt;
}

std::optional<std::string> differingByte(Frame& expected, Frame& actual) {
    const auto* a = expected.data8();
    const auto* b = actual.data8();
    const auto* at = std::mismatch(a, a + expected.bytes(), b).first;
    if (at == a + expected.bytes()) {
        return std::nullopt;
    }
    const auto offset = at - a;
    const RoiInfo& roi = expected.roi();
    return "row " + std::to_string(offset / roi.stride) + " (chroma from row " +
           std::to_string(roi.scanline) + "), byte " + std::to_string(offset % roi.stride) + ": expected " +
           std::to_string(*at) + ", got " + std::to_string(b[offset]);
}

std::optional<std::string> difference(PreparedCall& expected, PreparedCall& actual) {
    for (std::size_t i = 0; i < expected.frames.size(); ++i) {
        if (auto text = differingByte(*expected.frames[i], *actual.frames[i])) {
            return "frame " + std::to_string(i) + ", " + *text;
        }
    }
    for (std::size_t i = 0; i < expected.floats.size(); ++i) {
        if (auto text = differingFloat(*expected.floats[i], *actual.floats[i])) {
            return "array " + std::to_string(i) + ", " + *text;
        }
    }
    return std::nullopt;
}

double nanosecondsPerSample(const KernelCase& kernel, const huevance::KernelTable& table,
                            const Scenario& scenario) {
    using Clock = std::chrono::steady_clock;
    PreparedCall prepared = kernel.prepare(scenario);
    double best = 1e30;
    for (int round = 0; round < 5; ++round) {
        const auto start = Clock::now();
        prepared.call(table);
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
    return best / scenario.width / scenario.height;
}

}  // namespace

std::optional<std::string> checkKernel(const KernelCase& kernel, const huevance::KernelTable& candidate,
                                       const std::vector<Scenario>& scenarios) {
    const CrashReport report;
    for (const auto* list : {&scenarios, &kernel.extra}) {
        for (const Scenario& scenario : *list) {
            const std::string name = kernel.name + " (" + toString(scenario) + ")";
            CrashReport::running(name);
            PreparedCall expected = kernel.prepare(scenario);
            PreparedCall actual = kernel.prepare(scenario);
            const int code = expected.call(huevance::referenceKernels());
            if (actual.call(candidate) != code) {
                return name + ": another result code";
            }
            if (auto text = difference(expected, actual)) {
                return name + ": " + *text;
            }
        }
    }
    return std::nullopt;
}

void benchKernels(const char* tableName, const huevance::KernelTable& candidate) {
    Scenario scenario;
    scenario.width = 1920;
    scenario.height = 1080;
    scenario.content = Content::kPhotoLike;
    scenario.type = IMAGE_FORMAT_TYPE_NV12;
    std::printf("%-22s %12s %12s %8s  (ns per luma sample, 1920 x 1080)\n", "kernel", "reference", tableName,
                "ratio");
    for (const KernelCase& kernel : kernelCases()) {
        Scenario own = scenario;
        if (kernel.name == "colorCorrect_16u") {
            own.type = IMAGE_FORMAT_TYPE_YUV16_LOW;
        }
        const double reference = nanosecondsPerSample(kernel, huevance::referenceKernels(), own);
        const double measured = nanosecondsPerSample(kernel, candidate, own);
        std::printf("%-22s %12.3f %12.3f %8.2f\n", kernel.name.c_str(), reference, measured,
                    reference / measured);
    }
}

}  // namespace test
