// The table of sixteen entries: order, result codes, refusals and log lines, as a host meets them.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

#include "tests/library/HostLibrary.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"

namespace {

using std::string;
using Lines = std::vector<string>;

constexpr RoiInfo kRoi = {8, 6, 12, 7};

string line(const char* function, const string& message) {
    return test::hostLine("HuevanceAPI.cpp", function, message);
}

// Every test loads the library anew, so that nothing is left of the test before.
class Api : public testing::Test {
protected:
    test::LogCapture m_log;
    test::StdoutCapture m_output;
    test::TuningDir m_dir;
    test::HostLibrary m_api;
};

TEST_F(Api, FillsSixteenSlotsAndGrowsItsVersion) {
    EXPECT_EQ(m_api.getAlgoApi(nullptr), 0);
    std::vector<void*> slots(18, this);
    ASSERT_EQ(m_api.getAlgoApi(slots.data() + 1), 0);
    EXPECT_TRUE(slots.front() == this && slots.back() == this);
    slots.back() = nullptr;
    EXPECT_EQ(std::set<void*>(slots.begin(), slots.end()).size(), 18U) << "set and different";
    string expected;
    for (int i = 0; i < 3; ++i) {
        expected += "SDK_BASE_20200330_version_1.0SDK_BASE_20200330_version_1.0";
        EXPECT_EQ(m_api.getVersion(), expected);
    }
}

// Each entry that refuses or is not supported, called through its slot and signature, names itself in the
// log.
TEST_F(Api, RefusalsAnswerUnderTheirOwnNames) {
    Image image = {};
    void* h = &image;
    void* handle = h;
    InitParam init = test::initParam(m_dir, 1, kRoi);  // no platformSet.ini
    const auto rect =
        reinterpret_cast<int (*)(void*, Image*, void*)>(m_api.symbol("_Z12processImagePvP5ImageP4Rect"));
    const auto callback = reinterpret_cast<int (*)(void*, void*)>(m_api.symbol("_Z18parametersCallbackPvS_"));
    ASSERT_TRUE(rect != nullptr && callback != nullptr);
    const string unsupported = "the function not support", null = "pHandle is null";
    const auto pointers = [](const void* a, const void* b) {
        return test::format("pHuevance %p pImage %p", a, b);
    };
    const struct {
        const char* name;
        string message;
        std::function<int()> call;
        int answer = 0;
    } entries[] = {
        {"debugMode", unsupported, [&] { return m_api.call(3, h, 1); }},
        {"startProcess", unsupported, [&] { return m_api.call(5, h, h); }},
        {"stopProcess", unsupported, [&] { return m_api.call(6, h, h); }},
        {"getProcessImageResult", unsupported, [&] { return m_api.call(7, h, &image, h); }},
        {"setParameters", unsupported, [&] { return m_api.call(8, h, h, 3); }},
        {"processImage", unsupported, [&] { return m_api.call(10, h, &image, &image, h, h); }},
        {"multiProcessImage", unsupported, [&] { return m_api.call(11, h, h, &image, h, h, 2); }},
        {"fatalErrorStatus", unsupported, [&] { return m_api.call(12, h, h); }},
        {"dumpImage", unsupported, [&] { return m_api.call<void*, const char*, int>(14, h, "path", 1); }},
        {"getMemoryInfo", unsupported, [&] { return m_api.call(15, h, h); }},
        // In no slot.
        {"processImage", unsupported, [&] { return rect(nullptr, nullptr, nullptr); }},
        {"parametersCallback", unsupported, [&] { return callback(nullptr, nullptr); }},
        {"isSupportFormat", null, [&] { return m_api.isSupportFormat(nullptr, 5); }},
        {"releaseHandle", null, [&] { return m_api.releaseHandle(nullptr); }},
        {"singleProcessImage", pointers(nullptr, &image),
         [&] { return m_api.singleProcessImage(nullptr, &image, 0); }},
        {"singleProcessImage", pointers(h, nullptr), [&] { return m_api.singleProcessImage(h, nullptr, 0); }},
        {"singleProcessImage", pointers(nullptr, nullptr),
         [&] { return m_api.singleProcessImage(nullptr, nullptr, 0); }},
        {"algoInitHandle", "out of memory", [&] { return m_api.algoInitHandle(&handle, nullptr); }, 8192},
        {"algoInitHandle", "algoInitHandle: HuevanceMalloc failed",
         [&] { return m_api.algoInitHandle(&handle, &init); }, 65535},
    };
    for (const auto& entry : entries) {
        m_log.clear();
        EXPECT_EQ(entry.call(), entry.answer) << entry.name;
        Lines expected = {line(entry.name, entry.message)};
        if (entry.answer == 65535) {
            expected.insert(expected.begin(),
                            test::hostLine("Huevance.cpp", "HuevanceMalloc", "platform is NULL"));
        }
        EXPECT_EQ(m_log.hostLines(), expected);
    }
    EXPECT_EQ(handle, h) << "a set-up that fails leaves the handle alone";
}

// Through the whole library: without its file a curve has zeros for luma, and chroma stays.
TEST_F(Api, EnhancesFramesInPlace) {
    m_dir.writePlatform("CPU");
    m_dir.writeSets({{"curveSwitch", "1"}});
    m_dir.writeParam(0, 0.0F, 1.0F, 0.0F);
    for (const int mode : {1, 0}) {
        SCOPED_TRACE(mode == 1 ? "photo" : "preview");
        const string family = mode == 1 ? "HuevancePhoto" : "HuevanceFrame";
        InitParam init = test::initParam(m_dir, mode, kRoi);
        void* handle = nullptr;
        init.dataBit = 9;  // there is no such depth
        m_log.clear();
        EXPECT_EQ(m_api.algoInitHandle(&handle, &init), 65535);
        EXPECT_EQ(m_log.hostLines()[0],
                  test::hostLine("Huevance.cpp", "HuevanceMalloc", family + "Malloc failed"));
        init.dataBit = 8;
        ASSERT_EQ(m_api.algoInitHandle(&handle, &init), 0);
        EXPECT_EQ(m_api.isSupportFormat(handle, 9), 1);
        EXPECT_EQ(m_api.isSupportFormat(handle, 4), 0);

        test::Frame frame(kRoi, 1);
        frame.fill(test::Content::kNoise, 256);
        std::vector<int> expected = frame.samples();
        std::fill_n(expected.begin(), 8 * 6, 0);
        Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
        EXPECT_EQ(m_api.singleProcessImage(handle, &image, 0), 0);
        EXPECT_EQ(frame.samples(), expected);
        EXPECT_TRUE(frame.paddingUntouched());
        // A scene number that no tuning can know, and none: -1, and the frame as it was.
        m_log.clear();
        EXPECT_EQ(m_api.singleProcessImage(handle, &image, 512), -1);
        EXPECT_EQ(m_log.hostLines()[0],
                  test::hostLine("Huevance.cpp", "HuevanceProcess", family + "Process failed"));
        EXPECT_EQ((m_api.call<void*, Image*, void*, void*>(9, handle, &image, nullptr, nullptr)), -1);
        EXPECT_EQ(frame.samples(), expected);
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
    EXPECT_EQ(m_log.texts(test::kError).size(), 1U);
    m_api.setLogStatus(0);
    EXPECT_EQ(provoke(), "");
    EXPECT_EQ(m_log.texts().size(), 0U);
    m_api.setLogStatus(255);
    EXPECT_EQ(provoke().find("mLogLevel 255 level 1 \nset log status 1 logText [ERROR][ HuevanceAPI.cpp ] "),
              0U);
    EXPECT_EQ(m_log.texts().size(), 0U);
}

}  // namespace
