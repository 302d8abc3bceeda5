// The dispatch families: names, shims, null objects, and the platform log's line for every step.
#include <gmock/gmock.h>
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
using std::vector;
using test::LogLine;

LogLine info(const char* text) { return {test::kInfo, test::kVersionTag, text}; }
LogLine error(const char* text) { return {test::kError, test::kVersionTag, text}; }

char g_cpu[] = "CPU";
char g_cache[] = "/nowhere";
constexpr RoiInfo kRoi = {8, 6, 8, 6};

// The two families; they reach the shims of their back ends.
struct Family {
    const char* name;
    int (*create)(char* platform, char* directory, RoiInfo size, int dataBit, void** handle);
    int (*set)(char* platform, void* handle, ExtParam* param);
    int (*process)(char* platform, void* handle, Image* image, int scene);
    int (*release)(char* platform, void* handle);
    int setFailure;          // preview never reports a parameter's failure
    vector<string> unknown;  // names without a back end
};

int frameMalloc(char* platform, char* directory, RoiInfo size, int dataBit, void** handle) {
    return HuevanceFrameMalloc(platform, directory, size, dataBit, g_cache, handle);
}

const Family kFamilies[] = {
    // clang-format off
    // "GPU" is known for photos, and has no capture path.
    {"photo", HuevancePhotoMalloc, HuevancePhotoSetExtParam, HuevancePhotoProcess, HuevancePhotoFree, -1,
     {"GPU", "", "cpu", "CP", "CPU ", "CPU\r"}},
    {"preview", frameMalloc, HuevanceFrameSetExtParam, HuevanceFrameProcess, HuevanceFrameFree, 0,
     {"NEON", "", "cpu", "CP", "CPU ", "CPU\r"}},
    // clang-format on
};

class Dispatch : public testing::TestWithParam<int> {
protected:
    void SetUp() override { m_dir.writeSets(); }
    const Family& family() const { return kFamilies[GetParam()]; }
    char* directory() { return m_dir.mutablePath(); }
    // The last line that the dispatch layer logged.
    LogLine last() const { return m_log.lines().empty() ? LogLine{} : m_log.lines().back(); }

    test::TuningDir m_dir;
    test::LogCapture m_log;
    test::StdoutCapture m_output;
    ExtParam m_param = {"portraitMaskPointer", nullptr};
    int m_object = 0;
};

TEST_P(Dispatch, UnknownNamesAreAnsweredWithZeroAndNoAction) {
    for (string name : family().unknown) {
        SCOPED_TRACE(name);
        void* handle = &m_object;
        Image image = {};
        EXPECT_EQ(family().create(name.data(), directory(), kRoi, 8, &handle), 0);
        EXPECT_EQ(handle, &m_object) << "written";
        EXPECT_EQ(family().set(name.data(), handle, &m_param), 0);
        EXPECT_EQ(family().process(name.data(), handle, &image, 0), 0);
        EXPECT_EQ(family().release(name.data(), handle), 0);
        EXPECT_EQ(family().release(name.data(), nullptr), 0);
    }
    EXPECT_EQ(m_log.lines(), vector<LogLine>{});
}

TEST_P(Dispatch, LifeOfACpuObject) {
    void* handle = nullptr;
    ASSERT_EQ(family().create(g_cpu, directory(), kRoi, 8, &handle), 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(last(), info("HuevanceMalloc succeeded!\n"));

    m_log.clear();
    EXPECT_EQ(family().set(g_cpu, handle, &m_param), 0);
    EXPECT_EQ(m_log.lines(), vector<LogLine>{info("HuevanceSetExtParam succeeded!\n")});

    test::Frame frame(kRoi, 1);
    Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
    m_log.clear();
    EXPECT_EQ(family().process(g_cpu, handle, &image, 0), 0);
    ASSERT_GE(m_log.lines().size(), 3U);
    EXPECT_TRUE(m_log.lines()[0] == info("yuvType: IMAGE_FORMAT_TYPE_NV21") &&
                m_log.lines()[1] == info("scene: 0"));
    EXPECT_EQ(last(), info("HuevanceProcess succeeded!\n"));
    EXPECT_EQ(family().process(g_cpu, handle, &image, 3), -1);
    EXPECT_EQ(last(), error("HuevanceProcess failed!\n"));
    image.planes[0].data = nullptr;
    EXPECT_EQ(family().process(g_cpu, handle, &image, 0), -1);
    EXPECT_EQ(last(), error("HuevanceProcess failed!\n"));

    m_log.clear();
    EXPECT_EQ(family().release(g_cpu, handle), 0);
    EXPECT_EQ(m_log.lines(), vector<LogLine>{info("HuevanceFree succeeded!\n")});
}

TEST_P(Dispatch, FailuresAndNullObjects) {
    void* handle = &m_object;
    EXPECT_EQ(family().create(g_cpu, directory(), kRoi, 7, &handle), -1);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(last(), error("HuevanceMalloc failed!\n"));
    m_log.clear();
    Image image = {};
    EXPECT_EQ(family().release(g_cpu, nullptr), -1);
    EXPECT_EQ(family().process(g_cpu, nullptr, &image, 0), -1);
    EXPECT_EQ(family().set(g_cpu, nullptr, &m_param), family().setFailure);
    EXPECT_EQ(m_log.lines(),
              (vector<LogLine>{error("HuevanceFree failed! HvcHandle is NULL!\n"),
                               error("HuevanceProcess failed!\n"), error("HuevanceSetExtParam failed!\n")}));
    EXPECT_EQ(family().process(g_cpu, &m_object, nullptr, 0), -1);
    EXPECT_EQ(family().set(g_cpu, &m_object, nullptr), family().setFailure);
    EXPECT_EQ(last(), error("HuevanceSetExtParam failed!\n"));
    EXPECT_EQ(HuevanceFrameSetExtParam_CPU(nullptr, g_cpu, nullptr), -1) << "the shim itself reports it";
}

INSTANTIATE_TEST_SUITE_P(Families, Dispatch, testing::Range(0, 2),
                         [](const auto& index) { return string(kFamilies[index.param].name); });

// What the shims are made of, with a back end that does as it is told.
struct FakeBackEnd {
    FakeBackEnd() { ++alive; }
    ~FakeBackEnd() { --alive; }
    static inline int alive = 0;
};
constexpr dispatch::Texts kTexts = {"fine\n", "bad\n"};
constexpr dispatch::Texts kQuiet = {nullptr, "bad\n"};

TEST(DispatchShims, CodesPassAndObjectsDieOnlyWhenReleased) {
    test::LogCapture log;
    void* handle = &log;
    EXPECT_EQ(dispatch::create<FakeBackEnd>(&handle, kTexts, [](FakeBackEnd&) { return 5; }), 5);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(dispatch::create<FakeBackEnd>(&handle, kTexts, [](FakeBackEnd&) { return 0; }), 0);
    EXPECT_EQ(FakeBackEnd::alive, 1);
    EXPECT_EQ(dispatch::forward<FakeBackEnd>(handle, kTexts, [](FakeBackEnd&) { return 9; }), 9);
    EXPECT_EQ(log.lines(), (vector<LogLine>{error("bad\n"), info("fine\n"), error("bad\n")}));
    // A timed call logs its milliseconds before the result; there is nothing to time without an object.
    for (const int code : {0, 3, -1}) {
        log.clear();
        EXPECT_EQ(dispatch::forwardTimed<FakeBackEnd>(code < 0 ? nullptr : handle, "run time is %.2fms\n",
                                                      kTexts, [code](FakeBackEnd&) { return code; }),
                  code);
        EXPECT_EQ(log.lines().size(), code < 0 ? 1U : 2U);
        EXPECT_EQ(log.lines().back(), code == 0 ? info("fine\n") : error("bad\n"));
        if (code >= 0) {
            EXPECT_THAT(log.texts(test::kInfo)[0],
                        testing::MatchesRegex("run time is [0-9]+\\.[0-9][0-9]ms\n"));
            EXPECT_EQ(log.lines()[0].tag, test::kVersionTag);
        }
    }
    log.clear();
    EXPECT_EQ(dispatch::destroy<FakeBackEnd>(handle, "null\n", kTexts, [](FakeBackEnd&) { return 6; }), 6);
    EXPECT_EQ(FakeBackEnd::alive, 1) << "a release that failed leaves the object alive";
    EXPECT_EQ(dispatch::destroy<FakeBackEnd>(handle, "null\n", kQuiet, [](FakeBackEnd&) { return 0; }), 0);
    EXPECT_EQ(FakeBackEnd::alive, 0);
    EXPECT_EQ(log.lines(), vector<LogLine>{error("bad\n")});
}

}  // namespace
