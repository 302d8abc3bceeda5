// Every vector kernel against the reference: all bytes of the frames, padding included, and all floats, where
// any not-a-number equals any other. --gtest_random_seed=N draws other cases.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <numeric>
#include <optional>
#include <type_traits>

#include "core/Geometry.h"
#include "neon/NeonKernels.h"
#include "tests/kernels/Draw.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"

namespace {

using huevance::KernelTable;
using test::Content;
using test::Frame;
using test::Random;

struct Grid {
    int width, height, sampRate;

    std::size_t tables(int bins) const {
        return static_cast<std::size_t>(std::max(width, 0)) * static_cast<std::size_t>(std::max(height, 0)) *
               static_cast<std::size_t>(bins);
    }
};
constexpr Grid kGrids[] = {{8, 6, 4}, {1, 1, 1}, {2, 3, 2}, {5, 1, 3}, {3, 2, 1}, {7, 5, 1}};
// Beside these, for the kernels that work on tables alone.
enum : int {
    kWide = -1,  // fits no buffer of fixed size
    kFlat = -2,  // tiles of 16 x 16 that are flat, or nearly
    kEmpty = -3  // none
};

// What a case is made of. Everything random comes from the seed.
struct Scenario {
    int width = 64;
    int height = 48;
    int padding = 0;     // samples between the rows
    int extraLines = 0;  // rows between luma and chroma
    Content content = Content::kNoise;
    int dataBit = 10;
    IMAGE_FORMAT_TYPE type = IMAGE_FORMAT_TYPE_NV12;
    int grid = 0;   // in kGrids, or one of the above
    int table = 0;  // which contents of curves, lattices, masks and CLAHE tables
    std::uint32_t seed = 1;

    RoiInfo maskRoi() const { return {width, height, 4 * (width + padding), height}; }
    int bins(int bytesPerSample) const { return 1 << (bytesPerSample == 1 ? std::min(dataBit, 8) : dataBit); }
    // Those of the list are made to fit the frame.
    Grid tiles() const {
        switch (grid) {
            case kWide:
                return {67, 31, 1};
            case kFlat:
                return {width / 16, height / 16, 1};
            case kEmpty:
                return {0, -3, 1};
            default:
                return {std::min(kGrids[grid].width, width), std::min(kGrids[grid].height, height),
                        kGrids[grid].sampRate};
        }
    }
    std::string text() const {
        return test::format(
            "%d x %d, padding %d, extra lines %d, content %s, dataBit %d, type %d, grid %d, table %d, "
            "seed %u",
            width, height, padding, extraLines, test::toString(content).c_str(), dataBit, type, grid, table,
            seed);
    }
};

// Widths 1 to 67 and two larger ones with every content, the rest drawn.
std::vector<Scenario> commonScenarios() {
    constexpr int kHeights[] = {1, 2, 3, 5, 8, 13, 35}, kPaddings[] = {0, 0, 1, 6, 61};
    constexpr int kBits[] = {10, 10, 12, 13, 14, 15}, kTypes[] = {5, 6, 9, 10, 7};
    std::vector<Scenario> scenarios;
    for (int width = 1; width <= 69; ++width) {
        for (const Content content : test::kAllContents) {
            const auto seed = test::firstSeed() + static_cast<std::uint32_t>(scenarios.size());
            Random random(seed);
            scenarios.push_back({.width = width < 68    ? width
                                          : width == 68 ? 257
                                                        : 515,
                                 .height = kHeights[random.below(7)],
                                 .padding = kPaddings[random.below(5)],
                                 .extraLines = random.below(3),
                                 .content = content,
                                 .dataBit = kBits[random.below(6)],
                                 .type = static_cast<IMAGE_FORMAT_TYPE>(kTypes[random.below(5)]),
                                 .grid = random.below(6),
                                 .table = random.below(7 * test::kTables),
                                 .seed = seed});
        }
    }
    return scenarios;
}

// All memory that one call of a kernel may change, in front of unreadable pages.
class Call {
public:
    explicit Call(const Scenario& scenario) : s(scenario) {}

    // A second frame has another stride and holds noise, so that it differs from the first.
    Frame& frame(int bytes, bool second = false) {
        const int padding = s.padding + (second ? 3 : 0);
        m_frames.emplace_back(
            RoiInfo{s.width, s.height, (s.width + padding) * bytes, s.height + s.extraLines}, bytes);
        m_frames.back().fill(second ? Content::kNoise : s.content, s.bins(bytes), s.seed + (second ? 1 : 0));
        return m_frames.back();
    }
    float* floats(std::size_t count) {
        return reinterpret_cast<float*>(m_floats.emplace_back(count * sizeof(float)).data());
    }
    float* levels(std::size_t count, float top) {
        float* values = floats(count);
        Random random(s.seed + 77);
        const auto level = test::kLevels[s.table % test::kTables];
        std::generate_n(values, count, [&] { return level({random, top * random.unit(), top}); });
        return values;
    }
    float* mask() {
        return levels(static_cast<std::size_t>(s.maskRoi().stride / 4) * static_cast<std::size_t>(s.height),
                      1);
    }

    // What differs first, or nothing.
    std::optional<std::string> difference(const Call& other) const {
        for (std::size_t i = 0; i < m_frames.size(); ++i) {
            const auto a = m_frames[i].copyBytes(), b = other.m_frames[i].copyBytes();
            const auto at = std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
            if (a != b) {
                return test::format("frame %zu, row %td, byte %td", i, at / m_frames[i].roi().stride,
                                    at % m_frames[i].roi().stride);
            }
        }
        for (std::size_t i = 0; i < m_floats.size(); ++i) {
            const auto* a = reinterpret_cast<const float*>(m_floats[i].data());
            const auto* b = reinterpret_cast<const float*>(other.m_floats[i].data());
            for (std::size_t k = 0; k < m_floats[i].size() / sizeof(float); ++k) {
                if (std::memcmp(a + k, b + k, sizeof(float)) != 0 &&
                    !(std::isnan(a[k]) && std::isnan(b[k]))) {
                    return test::format("array %zu, float %zu", i, k);
                }
            }
        }
        return std::nullopt;
    }

    const Scenario s;

private:
    std::deque<Frame> m_frames;
    std::deque<test::GuardedMemory> m_floats;
};

// The samples of a frame, and the kernel of a pair: for 8 or 16 bits.
template <int kBytes>
auto* samplesOf(Frame& frame) {
    if constexpr (kBytes == 1) {
        return frame.data8();
    } else {
        return frame.data16();
    }
}

template <int kBytes>
auto pick(auto kernel8, auto kernel16) {
    if constexpr (kBytes == 1) {
        return kernel8;
    } else {
        return kernel16;
    }
}

int computeClaheLut(const KernelTable& k, Call& call) {
    constexpr float kStrengths[] = {0.0F, 0.5F, 2.0F, 40.0F, -1.0F, -3.0F, 255.0F};
    Frame& frame = call.frame(1);
    const Scenario& s = call.s;
    for (int i = 0; s.grid == kFlat && i < s.width * s.height; ++i) {
        // Every level once, but for as many samples as the tile's column says.
        const int x = i % s.width, y = i / s.width;
        frame.setLuma(x, y, y % 16 == 0 && x % 16 < x / 16 ? 200 : y % 16 * 16 + x % 16);
    }
    const Grid grid = s.tiles();
    float* hist = call.floats(grid.tables(256));
    return k.computeClaheLut(frame.data8(), frame.roi(), hist, call.floats(grid.tables(256)), grid.sampRate,
                             grid.width, grid.height, s.width / std::max(grid.width, 1),
                             s.height / std::max(grid.height, 1), kStrengths[s.table % 7]);
}

int resizeClaheLut(const KernelTable& k, Call& call) {
    const Grid grid = call.s.tiles();
    const int sourceBins = call.s.bins(1),
              bins = call.s.grid == kWide ? 257 : 1 << std::min(call.s.dataBit, 12);
    const float* source = call.levels(grid.tables(sourceBins), 255);
    return k.resizeClaheLut(source, sourceBins, call.floats(grid.tables(bins)), bins, grid.width,
                            grid.height);
}

template <int kBytes>
int claheMap(const KernelTable& k, Call& call) {
    Frame& frame = call.frame(kBytes);
    const Grid grid = call.s.tiles();
    const int bins = call.s.bins(kBytes);
    return pick<kBytes>(k.claheMap_8u, k.claheMap_16u)(
        samplesOf<kBytes>(frame), frame.roi(), call.levels(grid.tables(bins), static_cast<float>(bins - 1)),
        bins, call.s.width / grid.width, call.s.height / grid.height, grid.width, grid.height);
}

template <int kBytes>
int curveMap(const KernelTable& k, Call& call) {
    Frame& frame = call.frame(kBytes);
    const int bins = call.s.bins(kBytes);
    const auto top = static_cast<float>(bins - 1);
    const float* y = call.levels(static_cast<std::size_t>(bins), top);
    const float* uv = call.levels(static_cast<std::size_t>(bins), top * 0.9F);
    return pick<kBytes>(k.curveMap_8u, k.curveMap_16u)(samplesOf<kBytes>(frame), frame.roi(), y, uv, bins);
}

template <int kBytes>
int colorCorrect(const KernelTable& k, Call& call) {
    Frame &frame = call.frame(kBytes), &backup = call.frame(kBytes, true);
    return pick<kBytes>(k.colorCorrect_8u, k.colorCorrect_16u)(samplesOf<kBytes>(backup), backup.roi(),
                                                               samplesOf<kBytes>(frame), frame.roi(),
                                                               call.s.type, call.s.bins(kBytes));
}

template <int kBytes>
int colorMap(const KernelTable& k, Call& call) {
    constexpr float kStrengths[] = {0.0F, 0.37F, 1.0F, 1.9F, -0.6F};
    Frame& frame = call.frame(kBytes);
    const int bins = call.s.bins(kBytes);
    return pick<kBytes>(k.colorMap_8u, k.colorMap_16u)(
        samplesOf<kBytes>(frame), frame.roi(), call.s.type, bins,
        call.levels(huevance::kColorLutFloats, static_cast<float>(bins - 1)), 16,
        kStrengths[call.s.seed % 5]);
}

int skinColorDetect(const KernelTable& k, Call& call) {
    Frame& frame = call.frame(1);
    return k.skinColorDetect(frame.data8(), frame.roi(), call.s.type, call.mask(), call.s.maskRoi());
}

template <int kBytes>
int portraitProtect(const KernelTable& k, Call& call) {
    Frame &frame = call.frame(kBytes), &backup = call.frame(kBytes, true);
    return pick<kBytes>(k.portraitProtect_8u, k.portraitProtect_16u)(samplesOf<kBytes>(backup), backup.roi(),
                                                                     samplesOf<kBytes>(frame), frame.roi(),
                                                                     call.mask(), call.s.maskRoi());
}

// Conversions, with a shift or without; in place, where both sides have one depth, half of the time.
template <int kFrom, int kTo, auto kSlot>
int convert(const KernelTable& k, Call& call) {
    Frame& source = call.frame(kFrom);
    if (call.s.content == Content::kNoise) {
        source.fill(Content::kAboveRange, 0);
    }
    Frame& destination = kFrom == kTo && call.s.table % 2 == 0 ? source : call.frame(kTo, true);
    auto* from = samplesOf<kFrom>(source);
    auto* to = samplesOf<kTo>(destination);
    if constexpr (std::is_invocable_v<decltype(k.*kSlot), decltype(from), RoiInfo, decltype(to), RoiInfo,
                                      int>) {
        return (k.*kSlot)(from, source.roi(), to, destination.roi(), static_cast<int>(call.s.seed % 16));
    } else {
        return (k.*kSlot)(from, source.roi(), to, destination.roi());
    }
}

using Scenarios = std::vector<Scenario>;
const Scenario kWidestSamples = {.content = Content::kAboveRange, .dataBit = 16, .grid = 2};
const Scenario kFewBins = {
    .width = 37, .content = Content::kAboveRange, .dataBit = 6, .grid = 2, .table = 13};
const Scenario kEmptyGrid = {.grid = kEmpty}, kWideGrid = {.grid = kWide};

Scenarios oddTiles() {
    // More samples in a bin than a float counts one by one.
    Scenarios rows = {kEmptyGrid, {.width = 4097, .height = 4097, .content = Content::kZero, .grid = 1}};
    // The clip solve is ill-conditioned for tiles that are flat or nearly empty (one or two samples).
    for (int strength = 0; strength < 7; ++strength) {
        rows.push_back({.width = 112, .height = 80, .grid = kFlat, .table = strength});
        for (const Content content : {Content::kZero, Content::kAlternating, Content::kPhotoLike}) {
            rows.push_back({.width = 9, .height = 7, .content = content, .table = strength});
        }
    }
    return rows;
}

struct Kernel {
    std::string name;
    int (*run)(const KernelTable& table, Call& call);
    Scenarios own = {};  // of this kernel alone, beside the common ones
};
// In the order of HUEVANCE_KERNELS.
const Kernel kKernels[] = {
    {"computeClaheLut", computeClaheLut, oddTiles()},
    {"resizeClaheLut", resizeClaheLut, {kWideGrid, kEmptyGrid, kFewBins}},
    {"claheMap_8u", claheMap<1>, {kFewBins}},
    {"claheMap_16u", claheMap<2>, {kWidestSamples}},
    {"curveMap_8u", curveMap<1>, {kFewBins}},
    {"curveMap_16u", curveMap<2>, {kWidestSamples}},
    {"colorCorrect_8u", colorCorrect<1>, {kFewBins}},
    {"colorCorrect_16u", colorCorrect<2>, {kWidestSamples}},
    {"colorMap_8u", colorMap<1>, {kFewBins}},
    {"colorMap_16u", colorMap<2>, {kWidestSamples}},
    {"skinColorDetect", skinColorDetect},
    {"portraitProtect_8u", portraitProtect<1>},
    {"portraitProtect_16u", portraitProtect<2>},
    {"covertYuv_16u8u", convert<2, 1, &KernelTable::covertYuv_16u8u>},
    {"covertYuv_8u16u", convert<1, 2, &KernelTable::covertYuv_8u16u>},
    {"leftBitShift_8u16u", convert<1, 2, &KernelTable::leftBitShift_8u16u>},
    {"rightBitShift_16u8u", convert<2, 1, &KernelTable::rightBitShift_16u8u>},
    {"leftBitShift_16u16u", convert<2, 2, &KernelTable::leftBitShift_16u16u>},
    {"rightBitShift_16u16u", convert<2, 2, &KernelTable::rightBitShift_16u16u>},
};

// A kernel that reads past its rows dies on the guard page: say which case it was.
char g_running[512];
void reportCrash(int signal) {
    static_cast<void>(!write(STDERR_FILENO, g_running, std::strlen(g_running)));
    raise(signal);  // the handler was reset
}

// What differs first on the common scenarios and the kernel's own, or nothing.
std::optional<std::string> check(const Kernel& kernel, const KernelTable& candidate) {
    struct sigaction action = {};
    action.sa_handler = reportCrash;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(SIGSEGV, &action, nullptr);
    Scenarios scenarios = commonScenarios();
    scenarios.insert(scenarios.end(), kernel.own.begin(), kernel.own.end());
    for (const Scenario& scenario : scenarios) {
        const std::string name = kernel.name + " (" + scenario.text() + ")";
        std::snprintf(g_running, sizeof(g_running), "crashed in %s\n", name.c_str());
        Call expected(scenario), actual(scenario);
        if (kernel.run(huevance::referenceKernels(), expected) != kernel.run(candidate, actual)) {
            return name + ": another result code";
        }
        if (const auto text = expected.difference(actual)) {
            return name + ": " + *text;
        }
    }
    return std::nullopt;
}

class NeonKernels : public testing::TestWithParam<Kernel> {};

TEST_P(NeonKernels, EqualTheReference) {
    EXPECT_EQ(check(GetParam(), huevance::neonKernels()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Kernels, NeonKernels, testing::ValuesIn(kKernels),
                         [](const auto& test) { return test.param.name; });

TEST(Kernels, AreAllHere) {
    std::vector<std::string> names;
    for (const Kernel& kernel : kKernels) {
        names.push_back(kernel.name);
    }
#define NAME_OF_KERNEL(name) #name,
    EXPECT_EQ(names, (std::vector<std::string>{HUEVANCE_KERNELS(NAME_OF_KERNEL)}));
#undef NAME_OF_KERNEL
}

// The comparison sees a byte beside the row, and a read beyond the frame.
TEST(CheckerDeathTest, CatchesWhatItIsFor) {
    GTEST_FLAG_SET(death_test_style, "fast");
    KernelTable table = huevance::referenceKernels();
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
    EXPECT_NE(check(kKernels[18], table), std::nullopt);
    EXPECT_DEATH(check(kKernels[14], table), "crashed in covertYuv_8u16u .*seed");
}

}  // namespace
