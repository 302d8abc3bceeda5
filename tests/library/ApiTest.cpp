// The table of sixteen entries: order, result codes, refusals and log lines, as a host meets them.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>

#include "tests/library/HostLibrary.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"

namespace {

using std::string;
using std::vector;
using test::format;
using test::hostLine;

constexpr const char* kFile = "HuevanceAPI.cpp";
constexpr const char* kTag = "SDK_BASE_20200330_version_1.0";
constexpr RoiInfo kRoi = {8, 6, 12, 7};

// Every test loads the library anew, so that nothing is left of the test before.
class Api : public testing::Test {
protected:
    string entryLine(const char* function, const string& message) {
        return hostLine(kFile, function, message);
    }

    test::LogCapture m_log;
    test::StdoutCapture m_output;
    test::TuningDir m_dir;
    test::HostLibrary m_api;
};

TEST_F(Api, FillsSixteenSlotsAndNoMore) {
    EXPECT_EQ(m_api.getAlgoApi(nullptr), 0);
    vector<void*> slots(18, this);
    ASSERT_EQ(m_api.getAlgoApi(slots.data() + 1), 0);
    EXPECT_TRUE(slots.front() == this && slots.back() == this);
    slots.back() = nullptr;
    EXPECT_EQ(std::set<void*>(slots.begin(), slots.end()).size(), 18U) << "set and different";
}

TEST_F(Api, VersionGrowsByTwoTagsWithEveryCall) {
    string expected;
    for (int i = 0; i < 3; ++i) {
        expected += string(kTag) + kTag;
        EXPECT_EQ(m_api.getVersion(), expected);
    }
}

// Each entry that this library does not support, called through its slot and signature, names itself in the
// log.
TEST_F(Api, UnsupportedEntriesAnswerZeroUnderTheirOwnNames) {
    Image image = {};
    void* h = &image;
    char text[] = "path";
    const auto rect =
        reinterpret_cast<int (*)(void*, Image*, void*)>(m_api.symbol("_Z12processImagePvP5ImageP4Rect"));
    const auto callback = reinterpret_cast<int (*)(void*, void*)>(m_api.symbol("_Z18parametersCallbackPvS_"));
    ASSERT_TRUE(rect != nullptr && callback != nullptr);
    const struct {
        const char* name;
        std::function<int()> call;
    } entries[] = {
        {"debugMode", [&] { return m_api.call(3, h, 1); }},
        {"startProcess", [&] { return m_api.call(5, h, h); }},
        {"stopProcess", [&] { return m_api.call(6, h, h); }},
        {"getProcessImageResult", [&] { return m_api.call(7, h, &image, h); }},
        {"setParameters", [&] { return m_api.call(8, h, h, 3); }},
        {"processImage", [&] { return m_api.call(10, h, &image, &image, h, h); }},
        {"multiProcessImage", [&] { return m_api.call(11, h, h, &image, h, h, 2); }},
        {"fatalErrorStatus", [&] { return m_api.call(12, h, h); }},
        {"dumpImage", [&] { return m_api.call<void*, const char*, int>(14, h, text, 1); }},
        {"getMemoryInfo", [&] { return m_api.call(15, h, h); }},
        // In no slot.
        {"processImage", [&] { return rect(nullptr, nullptr, nullptr); }},
        {"parametersCallback", [&] { return callback(nullptr, nullptr); }},
    };
    for (const auto& entry : entries) {
        m_log.clear();
        EXPECT_EQ(entry.call(), 0) << entry.name;
        EXPECT_EQ(m_log.hostLines(), vector<string>{entryLine(entry.name, "the function not support")});
        EXPECT_EQ(m_log.texts(test::kError).size(), 1U);
    }
}

TEST_F(Api, NullHandlesAreAnsweredWithZero) {
    Image image = {};
    int handle = 0;
    EXPECT_EQ(m_api.isSupportFormat(nullptr, 5), 0);
    EXPECT_EQ(m_api.releaseHandle(nullptr), 0);
    EXPECT_EQ(m_api.singleProcessImage(nullptr, &image, 0), 0);
    EXPECT_EQ(m_api.singleProcessImage(&handle, nullptr, 0), 0);
    EXPECT_EQ(m_api.singleProcessImage(nullptr, nullptr, 0), 0);
    const auto pointers = [](const void* h, const void* i) { return format("pHuevance %p pImage %p", h, i); };
    EXPECT_EQ(m_log.hostLines(),
              (vector<string>{entryLine("isSupportFormat", "pHandle is null"),
                              entryLine("releaseHandle", "pHandle is null"),
                              entryLine("singleProcessImage", pointers(nullptr, &image)),
                              entryLine("singleProcessImage", pointers(&handle, nullptr)),
                              entryLine("singleProcessImage", pointers(nullptr, nullptr))}));
}

TEST_F(Api, SetUpThatFailsLeavesTheHandleAlone) {
    int sentinel = 0;
    void* handle = &sentinel;
    EXPECT_EQ(m_api.algoInitHandle(&handle, nullptr), 8192);
    InitParam init = test::initParam(m_dir, 1, kRoi);  // no platformSet.ini
    EXPECT_EQ(m_api.algoInitHandle(&handle, &init), 65535);
    EXPECT_EQ(handle, &sentinel);
    EXPECT_EQ(m_log.hostLines(),
              (vector<string>{entryLine("algoInitHandle", "out of memory"),
                              hostLine("Huevance.cpp", "HuevanceMalloc", "platform is NULL"),
                              entryLine("algoInitHandle", "algoInitHandle: HuevanceMalloc failed")}));
}

// A mirror of the luma levels and untouched chroma, through the whole library.
TEST_F(Api, EnhancesFramesInPlace) {
    m_dir.writePlatform("CPU");
    m_dir.writeSets({{"curveSwitch", "1"}});
    m_dir.writeParam(0, 0.0F, 1.0F, 0.0F);
    vector<float> mirror(256);
    for (int i = 0; i < 256; ++i) {
        mirror[static_cast<std::size_t>(i)] = static_cast<float>(255 - i);
    }
    m_dir.writeFloats("curveLut0", mirror);
    for (const int mode : {1, 0}) {
        SCOPED_TRACE(mode == 1 ? "photo" : "preview");
        InitParam init = test::initParam(m_dir, mode, kRoi);
        void* handle = nullptr;
        ASSERT_EQ(m_api.algoInitHandle(&handle, &init), 0);
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(m_api.isSupportFormat(handle, 9), 1);
        EXPECT_EQ(m_api.isSupportFormat(handle, 4), 0);

        test::Frame frame(kRoi, 1);
        frame.fill(test::Content::kNoise, 256);
        const vector<int> before = frame.samples();
        vector<int> expected = before;
        for (std::size_t i = 0; i < 8 * 6; ++i) {
            expected[i] = 255 - before[i];
        }
        Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
        EXPECT_EQ(m_api.singleProcessImage(handle, &image, 0), 0);
        EXPECT_EQ(frame.samples(), expected);
        EXPECT_TRUE(frame.paddingUntouched());

        // A scene that the tuning does not know: all ones, and the frame as it was.
        EXPECT_EQ(m_api.singleProcessImage(handle, &image, 1), -1);
        EXPECT_EQ(m_api.singleProcessImage(handle, &image, -1), -1);
        EXPECT_EQ(frame.samples(), expected);
        EXPECT_EQ((m_api.call<void*, Image*, void*, void*>(9, handle, &image, nullptr, nullptr)), -1)
            << "no scene";
        EXPECT_EQ(m_api.releaseHandle(handle), 0);
    }
}

TEST_F(Api, LogStatusRulesTheHostFacingLines) {
    const auto provoke = [&] {
        m_log.clear();
        const std::size_t before = m_output.text().size();
        m_api.releaseHandle(nullptr);
        return m_output.text().substr(before);
    };
    EXPECT_EQ(provoke(), "mLogLevel 1 level 1 \n") << "as loaded";
    EXPECT_EQ(m_log.texts().size(), 1U);
    m_api.setLogStatus(0);
    EXPECT_EQ(provoke(), "");
    EXPECT_EQ(m_log.texts().size(), 0U);
    m_api.setLogStatus(255);
    EXPECT_EQ(provoke().find("mLogLevel 255 level 1 \nset log status 1 logText [ERROR][ HuevanceAPI.cpp ] "),
              0U);
    EXPECT_EQ(m_log.texts().size(), 0U);
    m_api.setLogStatus(5);
    EXPECT_EQ(provoke(), "mLogLevel 5 level 1 \n");
    EXPECT_EQ(m_log.lines()[0].priority, test::kError);
}

}  // namespace
