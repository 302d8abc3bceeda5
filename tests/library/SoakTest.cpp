// Many handles and many frames: memory and descriptors stay flat.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sim/log.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>

#include "tests/library/HostLibrary.h"
#include "tests/support/Rig.h"
#include "tests/support/StdoutCapture.h"

namespace {

constexpr RoiInfo kRoi = {16, 12, 16, 12};

struct Usage {
    long residentBytes;
    long heapBytes;
    long descriptors;
};

Usage measure() {
    Usage usage = {};
    long total = 0;
    if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
        EXPECT_EQ(std::fscanf(statm, "%ld %ld", &total, &usage.residentBytes), 2);
        std::fclose(statm);
    }
    usage.residentBytes *= sysconf(_SC_PAGESIZE);
    usage.heapBytes = static_cast<long>(mallinfo2().uordblks);
    namespace fs = std::filesystem;
    usage.descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    return usage;
}

class Soak : public testing::Test {
protected:
    Soak() {
        sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
        m_api.setLogStatus(0);
        m_dir.writePlatform("CPU");
        std::vector<model::Tuning> tables = {rig::makeTuning(1, 11), rig::makeTuning(2, 11)};
        tables[0].grid = {2, 2, 1};
        rig::write(m_dir, tables, {{"transFrameNum", "5"}});
        m_frame.fill(test::Content::kPhotoLike, 256);
    }
    ~Soak() override { sim_log_set_sink(nullptr, nullptr); }

    // Runs `cycle` a tenth of the times to warm up, then all the times, and compares.
    void soak(const std::function<void(int)>& cycle) {
        for (int i = 0; i < HUEVANCE_SOAK_CYCLES / 10; ++i) {
            cycle(i);
        }
        const Usage before = measure();
        for (int i = 0; i < HUEVANCE_SOAK_CYCLES && !HasFailure(); ++i) {
            cycle(i);
        }
        const Usage after = measure();
        EXPECT_EQ(after.descriptors, before.descriptors);
        EXPECT_LT(after.heapBytes - before.heapBytes, 16 * 1024);
#ifndef HUEVANCE_SANITIZED  // freed memory rests in quarantine there, and leaks are reported at the end
        EXPECT_LT(after.residentBytes - before.residentBytes, 1024 * 1024);
#endif
    }

    void* create(const test::TuningDir& dir, int mode) {
        InitParam init = test::initParam(dir, mode, kRoi);
        void* handle = nullptr;
        EXPECT_EQ(m_api.algoInitHandle(&handle, &init), 0);
        return handle;
    }
    void process(void* handle, int scene) {
        Image image = test::hostImage(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
        EXPECT_EQ(m_api.singleProcessImage(handle, &image, scene), 0);
    }

    test::StdoutCapture m_output;
    test::HostLibrary m_api;
    test::TuningDir m_dir;
    test::Frame m_frame{kRoi, 1};
};

TEST_F(Soak, HandlesComeAndGo) {
    soak([this](int i) {
        void* handle = create(m_dir, i % 2);
        process(handle, i / 2 % 2);
        EXPECT_EQ(m_api.releaseHandle(handle), 0);
    });
}

// A handle is deleted even when there is nothing behind it to free.
TEST_F(Soak, HandlesWithoutABackEndComeAndGo) {
    const test::TuningDir dir;
    dir.writePlatform("GPU");
    soak([&](int) { EXPECT_EQ(m_api.releaseHandle(create(dir, 1)), -1); });
}

TEST_F(Soak, PreviewFrames) {
    void* handle = create(m_dir, 0);
    soak([&](int i) { process(handle, i / 20 % 2); });
    EXPECT_EQ(m_api.releaseHandle(handle), 0);
}

}  // namespace
