// Many handles and many preview frames of every back end: what is held stays the same, and a preview's frame
// allocates nothing. HUEVANCE_SOAK=10000: so many handles, ten times as many frames, and resident memory
// stays flat, too.
#include <gtest/gtest.h>
#include <sim/gl.h>
#include <sim/opencl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "tests/faults/Calls.h"
#include "tests/faults/Scenario.h"
#include "tests/support/StdoutCapture.h"

namespace faults {
namespace {

int times() {
    const char* text = std::getenv("HUEVANCE_SOAK");
#ifdef __SANITIZE_ADDRESS__
    constexpr int kTimes = 10;  // slow there; what is held is counted to the block
#else
    constexpr int kTimes = 40;
#endif
    return text != nullptr ? std::atoi(text) : kTimes;
}

long residentBytes() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

class Soak : public testing::TestWithParam<BackEnd> {
protected:
    void SetUp() override {
        if (!canRun(GetParam())) {
            GTEST_SKIP() << "no driver on this system";
        }
        sim_opencl_reset();
        scenario = std::make_unique<Scenario>(GetParam());
    }
    // Runs once(i) a fifth of the times to warm up, then for the rest, and compares.
    void expectFlat(int count, const std::function<void(int)>& once) {
        std::string alive;
        int blocks = 0;
        [[maybe_unused]] long bytes = 0;
        auto output = std::make_unique<test::StdoutCapture>();
        for (int i = 0; i < count && !HasFailure(); ++i) {
            if (i == std::max(count / 5, 1)) {
                alive = scenario->alive();
                blocks = liveBlocks();
                bytes = residentBytes();
            }
            once(i);
        }
        output.reset();
        const auto objects = [](const std::string& text) { return text.substr(text.find(' ')); };
        EXPECT_EQ(objects(scenario->alive()), objects(alive));
        EXPECT_LE(std::stoi(scenario->alive()), std::stoi(alive)) << "files; threads of drivers close theirs";
        EXPECT_EQ(liveBlocks(), blocks);
#ifndef __SANITIZE_ADDRESS__  // which keeps what is freed
        EXPECT_LT(residentBytes() - bytes, times() >= 10000 ? 4 << 20 : INT_MAX);
#endif
    }

    std::unique_ptr<Scenario> scenario;
};

TEST_P(Soak, HandlesComeAndGo) {
    expectFlat(times(), [this](int) {
        const Life life = scenario->live();
        ASSERT_TRUE(life.setUp == 0 && life.codes[0] + life.codes[1] + life.codes[2] == 0);
        ASSERT_EQ(life.release, 0);
        ASSERT_EQ(sim_opencl_live(nullptr) + sim_gl_live(nullptr), 0);
    });
}

TEST_P(Soak, PreviewFramesComeAndGo) {
    if (GetParam().mode != kFrameMode) {
        return;
    }
    void* handle = nullptr;
    ASSERT_EQ(scenario->setUp(&handle), 0);
    Life life;
    const int frames = 10 * times();
    int allocations = 0, wraps = 0;
    expectFlat(frames, [&](int i) {
        arm(Kind::kAllocation, 0);
        const int before = sim_opencl_calls("clCreateBuffer");
        ASSERT_EQ(scenario->process(handle, i / 20 % 2, life, i % 2), 0);
        allocations += i >= frames / 5 ? disarm(Kind::kAllocation) : 0;
        wraps += sim_opencl_calls("clCreateBuffer") - before;
    });
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(wraps, GetParam().isGpu() ? frames : 0) << "of the frame itself, nothing else";
    EXPECT_EQ(scenario->release(handle), 0);
}

// A handle is deleted even when there is nothing behind it to free: the GPU has no captures.
TEST(SoakOfNothing, HandlesComeAndGo) {
    const BackEnd none = {"None", "GPU", kPhotoMode, 8, IMAGE_FORMAT_TYPE_NV21};
    Scenario scenario(none);
    int blocks = 0;
    for (int i = 0; i < times(); ++i) {
        EXPECT_EQ(scenario.live().release, -1);
        blocks = i == 0 ? liveBlocks() : blocks;
    }
    EXPECT_EQ(liveBlocks(), blocks);
}

INSTANTIATE_TEST_SUITE_P(, Soak, testing::ValuesIn(kBackEnds),
                         [](const auto& backEnd) { return std::string(backEnd.param.name); });

}  // namespace
}  // namespace faults
