// A capture and a preview thread at once, as a camera host has them, and a third that sets the log's mask:
// for ThreadSanitizer (preset tsan), and the pictures must be those of a thread alone.
#include <gtest/gtest.h>
#include <sim/log.h>

#include <thread>

#include "jni/HuevanceAPI.h"
#include "tests/support/HostRecords.h"
#include "tests/support/Rig.h"
#include "tests/support/StdoutCapture.h"

namespace {

constexpr RoiInfo kRoi = {64, 48, 80, 50};

// The last frame of ten lives of a handle.
std::vector<unsigned char> drive(const AlgoApi& api, const test::TuningDir& dir, int mode) {
    std::vector<unsigned char> bytes;
    for (int life = 0; life < 10; ++life) {
        InitParam init = test::initParam(dir, mode, kRoi);
        void* handle = nullptr;
        EXPECT_EQ(api.algoInitHandle(&handle, &init), 0);
        test::Frame frame(kRoi, 1);
        for (int i = 0; i < 5; ++i) {
            int scene = i / 2 % 2;
            frame.fill(test::Content::kPhotoLike, 256);
            Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
            EXPECT_EQ(api.singleProcessImage(handle, &image, &scene, nullptr), 0);
            scene = 512;
            EXPECT_EQ(api.singleProcessImage(handle, &image, &scene, nullptr), -1);  // logs
        }
        bytes = frame.copyBytes();
        EXPECT_EQ(api.releaseHandle(handle, nullptr), 0);
    }
    return bytes;
}

TEST(Threads, CapturesAndPreviewsAtOnceWhileTheLogsMaskChanges) {
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
    const test::StdoutCapture output;
    AlgoApi api;
    get_algo_api(&api);
    for (const char* platform : {"CPU", "NEON"}) {
        const test::TuningDir photos, previews;
        for (const test::TuningDir* dir : {&photos, &previews}) {
            dir->writePlatform(dir == &photos ? platform : "CPU");
            rig::write(*dir, {rig::makeTuning(1, 11), rig::makeTuning(2, 11)}, {{"transFrameNum", "3"}});
        }
        const auto photo = drive(api, photos, kPhotoMode);
        const auto preview = drive(api, previews, kFrameMode);
        std::thread capture([&] { EXPECT_EQ(drive(api, photos, kPhotoMode), photo); });
        std::thread stream([&] { EXPECT_EQ(drive(api, previews, kFrameMode), preview); });
        for (int i = 0; i < 1000; ++i) {
            api.setLogStatus(i % 8);
        }
        capture.join();
        stream.join();
        api.setLogStatus(1);
    }
    sim_log_set_sink(nullptr, nullptr);
}

}  // namespace
