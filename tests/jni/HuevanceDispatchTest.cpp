// The dispatch families: names, shims, null objects, and the platform log's line for every step.
#include <gmock/gmock.h>
#include <sim/gl.h>

#include <optional>

#include "jni/DispatchShims.h"
#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "tests/gpu/support/Device.h"
#include "tests/sim/support/DeviceBuffer.h"
#include "tests/support/Frames.h"
#include "tests/support/HostRecords.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;
using test::LogLine;
using Lines = std::vector<LogLine>;

LogLine info(const string& text) { return {test::kInfo, test::kVersionTag, text}; }
LogLine error(const string& text) { return {test::kError, test::kVersionTag, text}; }

constexpr RoiInfo kRoi = {32, 24, 32, 24};

struct Family {
    int (*create)(char* platform, char* directory, RoiInfo size, int dataBit, void** handle);
    int (*set)(char* platform, void* handle, ExtParam* param);
    int (*process)(char* platform, void* handle, Image* image, int scene);
    int (*release)(char* platform, void* handle);
    int setFailure;       // preview never reports a parameter's failure
    const char* unknown;  // a name of the other family
};

int frameMalloc(char* platform, char* directory, RoiInfo size, int dataBit, void** handle) {
    char noCache[] = "/nowhere";
    return HuevanceFrameMalloc(platform, directory, size, dataBit, noCache, handle);
}

const Family kPhoto = {
    HuevancePhotoMalloc, HuevancePhotoSetExtParam, HuevancePhotoProcess, HuevancePhotoFree, -1, "GPU"};
const Family kFrame = {frameMalloc, HuevanceFrameSetExtParam, HuevanceFrameProcess, HuevanceFrameFree, 0,
                       "NEON"};

// How each step's lines begin; all but two end with " succeeded!" and " failed!".
const struct BackEnd {
    const Family& family;
    string name, created, set, processed, freed;
    string timed = "";  // a line about the time comes before the one about the frame
} kBackEnds[] = {
    {kPhoto, "CPU", "HuevanceMalloc", "HuevanceSetExtParam", "HuevanceProcess", "HuevanceFree"},
    {kPhoto, "NEON", "HuevanceMalloc", "HuevanceSetExtParam", "HuevancePhotoProcess_NEON", "HuevanceFree",
     "Huevance in NEON run time is "},
    {kPhoto, "OGL", "HuevancePhotoMalloc_OGL", "HuevancePhotoSetExtParam_OGL", "HuevancePhotoProcess_OGL",
     "HuevanceFree", "HVCapture Huevance in OGL run time is "},
    {kFrame, "CPU", "HuevanceMalloc", "HuevanceSetExtParam", "HuevanceProcess", "HuevanceFree"},
    {kFrame, "GPU", "HuevanceMalloc_GPU", "HuevanceSetExtParam_GPU", "HuevanceProcess_GPU",
     "HuevanceFree_GPU", "preview on GPU run time is "},
    {kFrame, "OGL", "HuevanceFrameMalloc_OGL", "HuevanceFrameSetExtParam_OGL", "HuevanceFrameProcess_OGL",
     "HuevanceFrameFree_OGL", "preview on GPU run time is "},  // on purpose the GPU back end's text
};

class Dispatch : public testing::TestWithParam<BackEnd> {
protected:
    // Expects a step's code, and its line as the last one.
    void expect(int result, int code, const string& begin, const char* failed = " failed!\n") {
        const LogLine line = code == 0 ? info(begin + " succeeded!\n") : error(begin + failed);
        EXPECT_EQ(result, code) << line.text;
        ASSERT_FALSE(log.lines().empty()) << line.text;
        EXPECT_EQ(log.lines().back(), line);
    }
    test::TuningDir dir;
    test::LogCapture log;
    test::StdoutCapture output;
};

TEST_P(Dispatch, SaysHowEachStepWent) {
    const BackEnd& says = GetParam();
    const Family& family = says.family;  // not structured bindings: a lambda uses it
    string name = says.name;
    char* const who = name.data();
    if ((name == "GPU" && sim_opencl_available() == 0) || (name == "OGL" && sim_gl_available() == 0)) {
        GTEST_SKIP() << "no driver on this system";
    }
    ExtParam param = {"portraitMaskPointer", nullptr};
    test::Frame frame(kRoi, 1);
    Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
    std::optional<test::DeviceBuffer> out;
    if (name == "OGL") {
        image.planes[3].data = out.emplace(kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV21).get();
    }
    // More tiles than OGL has, and a depth that no other takes; NEON's set-up never fails, on purpose.
    void* handle = &image;
    dir.writeSets({{"gridWidth", "4097"}});
    expect(family.create(who, dir.mutablePath(), kRoi, 7, &handle), name == "NEON" ? 0 : -1, says.created);
    EXPECT_EQ(handle != nullptr, name == "NEON");
    family.release(who, handle);
    dir.writeSets({{"curveSwitch", "1"}});
    dir.writeFloats("CurveLut", std::vector<float>(256));
    expect(family.create(who, dir.mutablePath(), kRoi, 8, &handle), 0, says.created);
    ASSERT_NE(handle, nullptr);
    expect(family.set(who, handle, &param), 0, says.set);
    const string setFailed = name == "GPU" ? "HuevanceSetExtParam" : says.set;
    const auto expectSetFailure = [&](int result) {
        EXPECT_EQ(result, family.setFailure);
        EXPECT_EQ(log.lines().back(), error(setFailed + " failed!\n"));
    };
    expectSetFailure(family.set(who, handle, nullptr));
    expectSetFailure(family.set(who, nullptr, &param));
    for (const int scene : {0, 512}) {
        log.clear();
        const int result = family.process(who, handle, &image, scene);
        Lines lines = log.lines();
        if (says.processed == "HuevanceFrameProcess_OGL" && scene == 0) {
            EXPECT_EQ(result, 0);  // and nothing is said
        } else {
            expect(result, scene == 0 ? 0 : -1, says.processed);
            lines.pop_back();
        }
        if (!says.timed.empty()) {
            EXPECT_THAT(lines.back().text, testing::MatchesRegex(says.timed + "[0-9]+\\.[0-9][0-9]ms\n"));
        }
    }
    expect(family.process(who, nullptr, &image, 0), -1, says.processed);
    EXPECT_EQ(family.process(who, handle, nullptr, 0), -1);
    EXPECT_EQ(log.lines().back().priority, test::kError);
    image.planes[name == "OGL" ? 3 : 0].data = nullptr;
    log.clear();
    if (says.processed == "HuevancePhotoProcess_OGL") {  // on purpose without a word
        EXPECT_EQ(family.process(who, handle, &image, 0), 0);
        EXPECT_EQ(log.lines(), Lines());
    } else {
        expect(family.process(who, handle, &image, 0), -1, says.processed);
    }
    expect(family.release(who, handle), 0, says.freed);
    expect(family.release(who, nullptr), -1, says.freed, " failed! HvcHandle is NULL!\n");

    log.clear();
    handle = &image;
    for (string other : {family.unknown, "", "cpu", "CP", "CPU ", "CPU\r"}) {
        EXPECT_EQ(family.create(other.data(), dir.mutablePath(), kRoi, 8, &handle), 0);
        EXPECT_EQ(handle, &image) << "written";
        EXPECT_EQ(family.set(other.data(), handle, &param), 0);
        EXPECT_EQ(family.process(other.data(), handle, &image, 0), 0);
        EXPECT_EQ(family.release(other.data(), handle) + family.release(other.data(), nullptr), 0);
    }
    EXPECT_EQ(log.lines(), Lines()) << "an unknown name does nothing";
}
INSTANTIATE_TEST_SUITE_P(, Dispatch, testing::ValuesIn(kBackEnds), [](const auto& backEnd) {
    return (backEnd.param.family.setFailure != 0 ? "Photo" : "Frame") + backEnd.param.name;
});

// A back end that does as it is told.
struct FakeBackEnd {
    ~FakeBackEnd() { ++dead; }
    static inline int dead = 0;
};

TEST(DispatchShims, CodesPassAndObjectsDieOnlyWhenReleased) {
    char key[] = "any";
    EXPECT_EQ(HuevanceFrameSetExtParam_CPU(nullptr, key, nullptr), -1) << "the shim itself reports it";
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
