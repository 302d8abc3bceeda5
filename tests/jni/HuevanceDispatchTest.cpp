// The dispatch families: names, shims, null objects, and the platform log's line for every step.
#include <gtest/gtest.h>

#include "jni/DispatchShims.h"
#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "tests/support/Frames.h"
#include "tests/support/HostRecords.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;
using test::LogLine;
using Lines = std::vector<LogLine>;

LogLine info(const char* text) { return {test::kInfo, test::kVersionTag, text}; }
LogLine error(const char* text) { return {test::kError, test::kVersionTag, text}; }

char g_cpu[] = "CPU";
char g_cache[] = "/nowhere";
constexpr RoiInfo kRoi = {8, 6, 8, 6};

int frameMalloc(char* platform, char* directory, RoiInfo size, int dataBit, void** handle) {
    return HuevanceFrameMalloc(platform, directory, size, dataBit, g_cache, handle);
}

const struct Family {
    int (*create)(char* platform, char* directory, RoiInfo size, int dataBit, void** handle);
    int (*set)(char* platform, void* handle, ExtParam* param);
    int (*process)(char* platform, void* handle, Image* image, int scene);
    int (*release)(char* platform, void* handle);
    int setFailure;       // preview never reports a parameter's failure
    const char* unknown;  // a name of the other family
} kFamilies[] = {
    {HuevancePhotoMalloc, HuevancePhotoSetExtParam, HuevancePhotoProcess, HuevancePhotoFree, -1, "GPU"},
    {frameMalloc, HuevanceFrameSetExtParam, HuevanceFrameProcess, HuevanceFrameFree, 0, "NEON"},
};

TEST(Dispatch, BothFamilies) {
    test::TuningDir dir;
    dir.writeSets();
    test::LogCapture log;
    test::StdoutCapture output;
    ExtParam param = {"portraitMaskPointer", nullptr};
    test::Frame frame(kRoi, 1);
    for (const Family& family : kFamilies) {
        SCOPED_TRACE(family.unknown);
        // What was logged since the last call of this, or its last line.
        const auto lines = [&] {
            const Lines result = log.lines();
            log.clear();
            return result;
        };
        const auto last = [&] { return lines().back(); };
        Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
        void* handle = &image;
        for (string name : {family.unknown, "", "cpu", "CP", "CPU ", "CPU\r"}) {
            EXPECT_EQ(family.create(name.data(), dir.mutablePath(), kRoi, 8, &handle), 0);
            EXPECT_EQ(handle, &image) << "written";
            EXPECT_EQ(family.set(name.data(), handle, &param), 0);
            EXPECT_EQ(family.process(name.data(), handle, &image, 0), 0);
            EXPECT_EQ(family.release(name.data(), handle) + family.release(name.data(), nullptr), 0);
        }
        EXPECT_EQ(lines(), Lines()) << "an unknown name does nothing";

        EXPECT_EQ(family.create(g_cpu, dir.mutablePath(), kRoi, 7, &handle), -1);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(last(), error("HuevanceMalloc failed!\n"));
        ASSERT_EQ(family.create(g_cpu, dir.mutablePath(), kRoi, 8, &handle), 0);
        EXPECT_EQ(last(), info("HuevanceMalloc succeeded!\n"));
        EXPECT_EQ(family.set(g_cpu, handle, &param), 0);
        EXPECT_EQ(lines(), Lines{info("HuevanceSetExtParam succeeded!\n")});
        EXPECT_EQ(family.process(g_cpu, handle, &image, 0), 0);
        EXPECT_EQ(log.lines().front(), info("yuvType: IMAGE_FORMAT_TYPE_NV21"));
        EXPECT_EQ(last(), info("HuevanceProcess succeeded!\n"));
        EXPECT_EQ(family.process(g_cpu, handle, &image, 512), -1);
        EXPECT_EQ(last(), error("HuevanceProcess failed!\n"));
        image.planes[0].data = nullptr;
        EXPECT_EQ(family.process(g_cpu, handle, &image, 0), -1);
        EXPECT_EQ(last(), error("HuevanceProcess failed!\n"));
        EXPECT_EQ(family.process(g_cpu, handle, nullptr, 0), -1);
        EXPECT_EQ(last().priority, test::kError);
        EXPECT_EQ(family.set(g_cpu, handle, nullptr), family.setFailure);
        EXPECT_EQ(lines(), Lines{error("HuevanceSetExtParam failed!\n")});
        EXPECT_EQ(family.release(g_cpu, handle), 0);
        EXPECT_EQ(lines(), Lines{info("HuevanceFree succeeded!\n")});

        EXPECT_EQ(family.release(g_cpu, nullptr), -1);
        EXPECT_EQ(family.process(g_cpu, nullptr, &image, 0), -1);
        EXPECT_EQ(family.set(g_cpu, nullptr, &param), family.setFailure);
        EXPECT_EQ(lines(),
                  (Lines{error("HuevanceFree failed! HvcHandle is NULL!\n"),
                         error("HuevanceProcess failed!\n"), error("HuevanceSetExtParam failed!\n")}));
    }
    EXPECT_EQ(HuevanceFrameSetExtParam_CPU(nullptr, g_cpu, nullptr), -1) << "the shim itself reports it";
}

// A back end that does as it is told.
struct FakeBackEnd {
    ~FakeBackEnd() { ++dead; }
    static inline int dead = 0;
};

TEST(DispatchShims, CodesPassAndObjectsDieOnlyWhenReleased) {
    constexpr dispatch::Texts kTexts = {nullptr, "bad\n"};
    const test::LogCapture log;
    void* handle = nullptr;
    const auto answer = [](int code) { return [code](FakeBackEnd&) { return code; }; };
    EXPECT_EQ(dispatch::create<FakeBackEnd>(&handle, kTexts, answer(5)), 5);
    EXPECT_TRUE(handle == nullptr && FakeBackEnd::dead == 1);
    EXPECT_EQ(dispatch::create<FakeBackEnd>(&handle, kTexts, answer(0)), 0);
    EXPECT_EQ(dispatch::destroy<FakeBackEnd>(handle, "null\n", kTexts, answer(6)), 6);
    EXPECT_EQ(FakeBackEnd::dead, 1) << "a release that failed leaves the object alive";
    EXPECT_EQ(dispatch::destroy<FakeBackEnd>(handle, "null\n", kTexts, answer(0)), 0);
    EXPECT_EQ(FakeBackEnd::dead, 2);
    EXPECT_EQ(log.lines(), (Lines{error("bad\n"), error("bad\n")}));
}

}  // namespace
