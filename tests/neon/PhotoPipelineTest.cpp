// The NEON capture pipeline as its host sees it: log lines, their order, refusals, dumps, set-up failures.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "jni/HuevancePhoto.h"
#include "neon/HuevancePhoto_NEON.h"
#include "tests/neon/Tuning.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"

namespace {

// Where files of the device's dump folder go; empty: there is no such folder.
std::string g_dumpFolder;
constexpr char kDeviceFolder[] = "/data/hvcSave/";

}  // namespace

// Stands in front of the C library's, so that the device's folder needs not exist on this machine.
extern "C" __attribute__((visibility("default"))) std::FILE* fopen(const char* path, const char* mode) {
    using Open = std::FILE* (*)(const char*, const char*);
    static const auto next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "fopen"));
    if (std::strncmp(path, kDeviceFolder, sizeof(kDeviceFolder) - 1) != 0) {
        return next(path, mode);
    }
    if (g_dumpFolder.empty()) {
        return nullptr;
    }
    return next((g_dumpFolder + "/" + (path + sizeof(kDeviceFolder) - 1)).c_str(), mode);
}

namespace {

using test::Frame;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr RoiInfo kRoi = {20, 10, 24, 10};

class NeonPhoto : public testing::Test {
protected:
    void SetUp() override { m_tuning.select(0, huevance::kMaskNone); }
    void TearDown() override { m_photo.free(); }

    void setUp(int dataBit = 8, RoiInfo roi = kRoi) {
        std::string path = m_tuning.path();
        m_photo.setDataBit(dataBit);
        ASSERT_EQ(m_photo.malloc(path.data(), roi), 0);
        setMask(nullptr);
        m_log.clear();
    }
    void setMask(float* mask) {
        std::string key = "portraitMaskPointer";
        m_photo.setExtParam(key.data(), mask);
    }
    // A capture that must be refused with these error lines, and leave the frame alone.
    void expectRefusal(IMAGE_FORMAT_TYPE type, int scene, const std::vector<std::string>& errors) {
        expectRefusal(m_frame, type, scene, errors);
    }
    void expectRefusal(Frame& frame, IMAGE_FORMAT_TYPE type, int scene,
                       const std::vector<std::string>& errors) {
        const std::vector<unsigned char> before = frame.copyBytes();
        EXPECT_EQ(m_photo.process(frame.data(), type, scene), -1);
        EXPECT_EQ(m_log.texts(test::kError), errors);
        EXPECT_EQ(frame.copyBytes(), before);
    }
    void change(const std::string& key, const std::string& value) {
        std::map<std::string, std::string> values = {{key, value}};
        m_tuning.directory().writeSets(values);
    }

    test::CaptureTuning m_tuning;
    test::LogCapture m_log;
    test::StdoutCapture m_stdout;
    Frame m_frame{kRoi, 1};
    CHuevancePhoto_NEON m_photo;
};

TEST_F(NeonPhoto, LogsTheRequestAndTheSwitches) {
    m_tuning.select(31, huevance::kMaskSkin);
    setUp();
    EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV12, 0), 0);
    EXPECT_THAT(
        m_log.texts(),
        ElementsAre("CHuevancePhoto_NEON: yuvType: IMAGE_FORMAT_TYPE_NV12", "CHuevancePhoto_NEON: scene: 0",
                    "CHuevancePhoto_NEON: m_iPhotoSwitch=1 m_iMaskSource=2\n",
                    "CHuevancePhoto_NEON: m_iPProtectSwitch=1 m_iClaheSwitch=1\n",
                    "CHuevancePhoto_NEON: m_iCurveSwitch=1 m_iCCorrSwitch=1 m_iColorSwitch=1\n",
                    HasSubstr("readHvcParam finished!")));
    EXPECT_EQ(m_log.lines().front().tag, test::kVersionTag);
    EXPECT_EQ(m_log.texts(test::kError).size(), 0U);
    EXPECT_EQ(m_stdout.text(), "");
}

TEST_F(NeonPhoto, NamesNv21AndNoOtherType) {
    setUp();
    m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, 0);
    EXPECT_EQ(m_log.texts().front(), "CHuevancePhoto_NEON: yuvType: IMAGE_FORMAT_TYPE_NV21");
    Frame wide({20, 10, 40, 10}, 2);
    wide.fill(test::Content::kZero, 1024);
    setUp(10, wide.roi());
    EXPECT_EQ(m_photo.process(wide.data(), static_cast<IMAGE_FORMAT_TYPE>(7), 0), 0);
    EXPECT_EQ(m_log.texts().front(), "CHuevancePhoto_NEON: scene: 0");
}

TEST_F(NeonPhoto, PhotoSwitchOffLeavesTheFrame) {
    change("photoSwitch", "0");
    setUp();
    const std::vector<unsigned char> before = m_frame.copyBytes();
    EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV12, 0), 0);
    EXPECT_EQ(m_frame.copyBytes(), before);
    EXPECT_EQ(m_log.texts().size(), 5U);
}

TEST_F(NeonPhoto, RefusesANullFrame) {
    setUp();
    EXPECT_EQ(m_photo.process(nullptr, IMAGE_FORMAT_TYPE_NV12, 0), -1);
    EXPECT_THAT(m_log.texts(), ElementsAre("CHuevancePhoto_NEON: input buffer cannot be NULL!"));
}

TEST_F(NeonPhoto, RefusesOtherFormatsOfEightBits) {
    setUp();
    for (const int type : {7, 9, 10, 0}) {
        m_log.clear();
        expectRefusal(static_cast<IMAGE_FORMAT_TYPE>(type), 0,
                      {"CHuevancePhoto_NEON: only YUV NV12 and NV21 are supported!"});
        EXPECT_EQ(m_log.texts().size(), 1U);  // nothing about the scene
    }
}

TEST_F(NeonPhoto, RefusesMissingMasks) {
    const struct {
        int switches, maskSource;
        const char* error;
    } cases[] = {
        {15, huevance::kMaskHost, "CHuevancePhoto_NEON: portrait mask pointer is NULL!"},
        {31, huevance::kMaskHost, "CHuevancePhoto_NEON: portrait mask pointer is NULL!"},
        {31, huevance::kMaskNone,
         "CHuevancePhoto_NEON: mask source is 0, however portrait protect switch is 1!"},
    };
    for (const auto& refused : cases) {
        m_tuning.select(refused.switches, refused.maskSource);
        setUp();
        expectRefusal(IMAGE_FORMAT_TYPE_NV21, 0, {refused.error});
    }
}

// High-aligned samples are shifted in place for the capture: not before everything else was checked.
TEST_F(NeonPhoto, RefusalsLeaveHighAlignedSamples) {
    m_tuning.select(31, huevance::kMaskHost);
    Frame frame({20, 10, 40, 10}, 2);
    frame.fill(test::Content::kAboveRange, 1 << 16);
    setUp(10, frame.roi());
    expectRefusal(frame, IMAGE_FORMAT_TYPE_YUV16_HIGH, 0,
                  {"CHuevancePhoto_NEON: portrait mask pointer is NULL!"});
}

TEST_F(NeonPhoto, RefusesAMaskThatDoesNotCoverTheFrame) {
    m_tuning.select(16, huevance::kMaskHost);
    setUp();
    test::HostMask mask({19, 10, 0, 0}, 0);
    std::string key = "portraitMaskRoiInfo";
    m_photo.setExtParam(key.data(), &mask.roi());
    setMask(mask.data());
    expectRefusal(IMAGE_FORMAT_TYPE_NV21, 0, {"portrait mask 19, 10, 76, 10 does not cover the frame!"});
}

TEST_F(NeonPhoto, RefusesScenesWithoutTable) {
    setUp();
    expectRefusal(IMAGE_FORMAT_TYPE_NV21, 1, {"scene 1 has no tuning table!"});
    EXPECT_EQ(m_log.texts()[1], "CHuevancePhoto_NEON: scene: 1");
}

TEST_F(NeonPhoto, RefusesCapturesAfterFree) {
    m_tuning.select(31, huevance::kMaskSkin);
    setUp();
    m_photo.free();
    expectRefusal(IMAGE_FORMAT_TYPE_NV21, 0, {"CHuevancePhoto_NEON: portrait mask pointer is NULL!"});
    m_tuning.select(0, huevance::kMaskNone);
    setUp();
    m_photo.free();
    expectRefusal(IMAGE_FORMAT_TYPE_NV21, 0, {"capture is not set up!"});
}

// The engine is shared: another handle's depth must not meet this one's tables.
TEST_F(NeonPhoto, RefusesCapturesOfAnotherDepth) {
    m_tuning.select(15, huevance::kMaskNone);
    setUp();
    m_photo.setDataBit(10);
    Frame frame({20, 10, 40, 10}, 2);
    EXPECT_EQ(m_photo.process(frame.data(), IMAGE_FORMAT_TYPE_YUV16_LOW, 0), -1);
    m_photo.setDataBit(8);
    EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
}

TEST_F(NeonPhoto, ForgetsTheMaskWhenFreed) {
    m_tuning.select(16, huevance::kMaskHost);
    setUp();
    test::HostMask mask(kRoi, 0);
    setMask(mask.data());
    std::string path = m_tuning.path();
    m_photo.free();
    ASSERT_EQ(m_photo.malloc(path.data(), kRoi), 0);
    m_log.clear();
    expectRefusal(IMAGE_FORMAT_TYPE_NV21, 0, {"CHuevancePhoto_NEON: portrait mask pointer is NULL!"});
}

// A set-up never fails; what it could not do shows in its log, and captures are refused.
TEST_F(NeonPhoto, FailedSetUpStepsOnlyLog) {
    const struct {
        int dataBit;
        RoiInfo roi;
        const char* line;
    } cases[] = {{9, kRoi, "dataBit 9 is not supported!"},
                 {40, kRoi, "dataBit 40 is not supported!"},
                 {8, {1 << 30, 10, 1 << 30, 10}, "frame width 1073741824 is not supported!"},
                 {8, {100000, 100000, 100000, 100000}, "portrait mask cannot be allocated!"}};
    for (const auto& c : cases) {
        std::string path = m_tuning.path();
        m_photo.setDataBit(c.dataBit);
        m_log.clear();
        EXPECT_EQ(m_photo.malloc(path.data(), c.roi), 0);
        const std::vector<std::string> errors = m_log.texts(test::kError);
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors[0], c.line);
        EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, 0), -1) << c.line;
    }
    m_photo.setDataBit(8);
    EXPECT_EQ(m_photo.malloc(nullptr, kRoi), 0);
}

// A grid that the frame cannot be divided into is one line; the other stages run.
TEST_F(NeonPhoto, LogsAGridThatDoesNotFit) {
    m_tuning.select(3, huevance::kMaskNone, 30, 2);
    setUp();
    EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
    EXPECT_THAT(m_log.texts(test::kError), ElementsAre(HasSubstr("CLAHE grid 30 x 2")));
}

class NeonDump : public NeonPhoto {
protected:
    void SetUp() override { change("photo", "1"); }
    void TearDown() override {
        g_dumpFolder.clear();
        NeonPhoto::TearDown();
    }
    static std::string contents(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

TEST_F(NeonDump, LogsDumpsThatFail) {
    setUp();
    EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
    const std::vector<std::string> lines = m_log.texts();
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_EQ(lines[2], "srcPhoto save failed!");  // after the request, before the switches
    EXPECT_EQ(lines.back(), "dstPhoto save failed!");
}

TEST_F(NeonDump, WritesInputAndOutput) {
    m_tuning.directory().writeSets({{"photo", "1"}, {"curveSwitch", "1"}});
    setUp();
    m_frame.fill(test::Content::kNoise, 256);
    g_dumpFolder = m_tuning.path();
    // stride x scanline x 3 / 2 bytes
    const auto text = [this] { return std::string(reinterpret_cast<const char*>(m_frame.data8()), 24 * 15); };
    for (const char* counter : {"0", "1"}) {
        const std::string input = text();
        EXPECT_EQ(m_photo.process(m_frame.data(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
        const std::string name = "photo_20x10_0_" + std::string(counter) + ".yuv";
        EXPECT_EQ(contents(g_dumpFolder + "/src" + name), input);
        EXPECT_EQ(contents(g_dumpFolder + "/dst" + name), text());
        EXPECT_NE(input, text());
    }
    EXPECT_EQ(m_log.texts(test::kError).size(), 0U);
}

TEST(NeonDispatch, ReachesThePipelineByName) {
    test::CaptureTuning tuning;
    tuning.select(3, huevance::kMaskNone);
    test::LogCapture log;
    Frame frame(kRoi, 1);
    frame.fill(test::Content::kNoise, 256);
    const std::vector<unsigned char> before = frame.copyBytes();
    std::string name = "NEON";
    std::string path = tuning.path();
    void* handle = nullptr;
    ASSERT_EQ(HuevancePhotoMalloc(name.data(), path.data(), kRoi, 8, &handle), 0);
    Image image = {};
    image.format = IMAGE_FORMAT_TYPE_NV21;
    image.planes[0].data = frame.data();
    EXPECT_EQ(HuevancePhotoProcess(name.data(), handle, &image, 0), 0);
    EXPECT_NE(frame.copyBytes(), before);
    const std::vector<std::string> lines = log.texts();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_THAT(lines[lines.size() - 2],
                testing::MatchesRegex("Huevance in NEON run time is [0-9]+\\.[0-9][0-9]ms\n"));
    EXPECT_EQ(lines.back(), "HuevancePhotoProcess_NEON succeeded!\n");
    EXPECT_EQ(HuevancePhotoFree(name.data(), handle), 0);
}

}  // namespace
