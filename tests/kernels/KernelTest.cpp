// Every table of kernels against the reference: all bytes of the frames and all floats. --seed=N draws other
// cases.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "core/Geometry.h"
#include "neon/NeonKernels.h"
#include "tests/kernels/KernelCases.h"
#include "tests/support/LogCapture.h"

namespace {

using huevance::KernelTable;
using std::to_string;
using test::KernelCase;

std::uint32_t g_seed = 1;

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

private:
    struct sigaction m_previous = {};
};

std::optional<std::string> difference(test::PreparedCall& expected, test::PreparedCall& actual) {
    for (std::size_t i = 0; i < expected.frames.size(); ++i) {
        const auto* a = expected.frames[i]->data8();
        const auto* end = a + expected.frames[i]->bytes();
        const auto [at, other] = std::mismatch(a, end, actual.frames[i]->data8());
        if (at != end) {
            const RoiInfo& roi = expected.frames[i]->roi();
            return test::format("frame %zu, row %d (chroma from row %d), byte %d: expected %d, got %d", i,
                                static_cast<int>((at - a) / roi.stride), roi.scanline,
                                static_cast<int>((at - a) % roi.stride), *at, *other);
        }
    }
    for (std::size_t i = 0; i < expected.floats.size(); ++i) {
        for (std::size_t k = 0; k < expected.floats[i]->size(); ++k) {
            const float a = expected.floats[i]->get()[k], b = actual.floats[i]->get()[k];
            if (std::memcmp(&a, &b, sizeof(a)) != 0 && !(std::isnan(a) && std::isnan(b))) {
                return "array " + to_string(i) + ", float " + to_string(k) + ": expected " + to_string(a) +
                       ", got " + to_string(b);
            }
        }
    }
    return std::nullopt;
}

// What differs first on the common scenarios and the kernel's own, or nothing.
std::optional<std::string> checkKernel(const KernelCase& kernel, const KernelTable& candidate) {
    const CrashReport report;
    std::vector<test::Scenario> scenarios = test::allScenarios(g_seed);
    scenarios.insert(scenarios.end(), kernel.extra.begin(), kernel.extra.end());
    for (const test::Scenario& scenario : scenarios) {
        const std::string name = kernel.name + " (" + toString(scenario) + ")";
        std::snprintf(g_running, sizeof(g_running), "crashed in %s\n", name.c_str());
        test::PreparedCall expected = kernel.prepare(scenario), actual = kernel.prepare(scenario);
        if (expected.call(huevance::referenceKernels()) != actual.call(candidate)) {
            return name + ": another result code";
        }
        if (auto text = difference(expected, actual)) {
            return name + ": " + *text;
        }
    }
    return std::nullopt;
}

const KernelCase& kernelCase(const std::string& name) {
    return *std::find_if(test::kernelCases().begin(), test::kernelCases().end(),
                         [&](const KernelCase& kernel) { return kernel.name == name; });
}

class NeonKernels : public testing::TestWithParam<KernelCase> {};

TEST_P(NeonKernels, EqualTheReference) {
    EXPECT_EQ(checkKernel(GetParam(), huevance::neonKernels()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Kernels, NeonKernels, testing::ValuesIn(test::kernelCases()),
                         [](const auto& test) { return test.param.name; });

TEST(KernelCases, NameEveryKernelOnce) {
    std::vector<std::string> names;
    for (const KernelCase& kernel : test::kernelCases()) {
        names.push_back(kernel.name);
    }
#define NAME_OF_KERNEL(name) #name,
    EXPECT_EQ(names, (std::vector<std::string>{HUEVANCE_KERNELS(NAME_OF_KERNEL)}));
#undef NAME_OF_KERNEL
}

// The comparison sees one wrong lane, a byte beside the row, and a read beyond the frame.
TEST(CheckerDeathTest, CatchesWhatItIsFor) {
    GTEST_FLAG_SET(death_test_style, "fast");
    KernelTable table = huevance::referenceKernels();
    table.curveMap_8u = [](unsigned char* image, RoiInfo roi, const float* y, const float* uv, int bins) {
        const int result = huevance::curveMap_8u(image, roi, y, uv, bins);
        if (roi.width >= 8) {
            std::swap(image[2], image[3]);
        }
        return result;
    };
    table.rightBitShift_16u16u = [](const unsigned short* from, RoiInfo roi, unsigned short* to,
                                    RoiInfo toRoi, int shift) {
        const int result = huevance::rightBitShift_16u16u(from, roi, to, toRoi, shift);
        if (toRoi.stride > 2 * roi.width) {
            to[roi.width] = 0;
        }
        return result;
    };
    table.covertYuv_8u16u = [](const unsigned char* from, RoiInfo roi, unsigned short* to, RoiInfo toRoi) {
        volatile unsigned char seen = from[huevance::frameBytes(roi)];
        static_cast<void>(seen);
        return huevance::covertYuv_8u16u(from, roi, to, toRoi);
    };
    EXPECT_NE(checkKernel(kernelCase("curveMap_8u"), table), std::nullopt);
    EXPECT_NE(checkKernel(kernelCase("rightBitShift_16u16u"), table), std::nullopt);
    EXPECT_DEATH(checkKernel(kernelCase("covertYuv_8u16u"), table), "crashed in covertYuv_8u16u .*seed");
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1 && std::strncmp(argv[1], "--seed=", 7) == 0) {
        g_seed = static_cast<std::uint32_t>(std::strtoul(argv[1] + 7, nullptr, 10));
    }
    return RUN_ALL_TESTS();
}
