// The handle object: set-up from platformSet.ini, the forwarding of every later call, and the formats it
// answers for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "jni/Huevance.h"
#include "tests/support/DeathTest.h"
#include "tests/support/Frames.h"
#include "tests/support/HostRecords.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"
#include "tests/support/StdoutCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;
using std::vector;
using test::format;
using test::hostLine;

constexpr const char* kFile = "Huevance.cpp";

// The object's fields through its layout, which is part of the binary interface.
const char* platformOf(const Huevance& h) { return reinterpret_cast<const char*>(&h) + 16; }
const char* cacheOf(const Huevance& h) { return reinterpret_cast<const char*>(&h) + 36; }
void* backEndOf(const Huevance& h) {
    void* result;
    std::memcpy(&result, reinterpret_cast<const char*>(&h) + 8, sizeof(result));
    return result;
}

constexpr RoiInfo kRoi = {8, 6, 8, 6};

// The dispatch layer's and the platform file's lines, without those of the tuning set.
vector<string> progress(const test::LogCapture& log) {
    vector<string> result;
    for (const string& text : log.tagged(test::kVersionTag)) {
        if (text.starts_with("Huevance") || text.starts_with("platform") || text.starts_with("cache") ||
            text.find("ini file") != string::npos) {
            result.push_back(text);
        }
    }
    return result;
}

struct SetUpCase {
    const char* what;
    int mode;
    string file;           // platformSet.ini
    string name;           // the platform name field afterwards; "CPU" without an error has a back end
    const char* error;     // of the handle object, or null: success
    vector<string> lines;  // before the back end's
};

constexpr const char* kNoName = "platform is NULL";
constexpr const char* kNoCache = "cache path is NULL";
const string kCache = "[cache]\r\npath=/c\r\n";
const string kLong(511, 'c');
const string kFrameCpu = "[platform]\r\nframe=CPU\r\n[cache]\r\n";

// clang-format off
const SetUpCase kSetUpCases[] = {
    {"photo", 1, "[platform]\r\nphoto=CPU\r\n" + kCache, "CPU", nullptr, {}},
    {"any last character is dropped", 1, "[platform]\nphoto=CPU;\n", "CPU", nullptr, {}},
    {"line feed only: a letter is lost", 1, "[platform]\nphoto=CPU\n", "CP", nullptr, {}},
    {"names are case-sensitive", 1, "[platform]\r\nphoto=cpu\r\n", "cpu", nullptr, {}},
    {"photo has no GPU", 1, "[platform]\r\nphoto=GPU\r\n", "GPU", nullptr, {}},
    {"15 characters", 1, "[platform]\r\nphoto=ABCDEFGHIJKLMNO\r\n", "ABCDEFGHIJKLMNO", nullptr, {}},
    {"16 characters", 1, "[platform]\r\nphoto=ABCDEFGHIJKLMNOP\r\n", "", kNoName, {}},
    {"empty after the cut", 1, "[platform]\r\nphoto=\r\n", "", kNoName, {}},
    {"no key", 1, "[platform]\r\nframe=CPU\r\n", "", kNoName, {}},
    {"blank line", 1, "[platform]\r\n\r\nphoto=CPU\r\n", "", kNoName, {"ini file not find key word!"}},
    {"preview", 0, "[platform]\r\nframe=CPU\r\n" + kCache, "CPU", nullptr, {"platform CPU\r", "cache path /c\r"}},
    {"preview, line feed only", 0, "[platform]\nframe=GPU\n" + kCache, "GP", nullptr, {"platform GPU", "cache path /c\r"}},
    {"preview has no NEON", 0, "[platform]\r\nframe=NEON\r\n" + kCache, "NEON", nullptr, {"platform NEON\r", "cache path /c\r"}},
    {"preview without a name", 0, "[platform]\r\n", "", kNoName, {"platform "}},
    {"no cache path: the name stays", 0, "[platform]\r\nframe=CPU\r\n", "CPU", kNoCache, {"platform CPU\r", "cache path "}},
    {"empty cache path", 0, kFrameCpu + "path=\n", "CPU", kNoCache, {"platform CPU\r", "cache path "}},
    {"long cache path", 0, kFrameCpu + "path=" + kLong + "\r\n", "CPU", nullptr, {"platform CPU\r", "cache path " + kLong + "\r"}},
    {"overlong cache path", 0, kFrameCpu + "path=" + kLong + "c\r\n", "CPU", kNoCache, {"platform CPU\r", "cache path " + kLong + "c\r"}},
};
// clang-format on

TEST(HuevanceMalloc, ReadsThePlatformFile) {
    for (const SetUpCase& c : kSetUpCases) {
        SCOPED_TRACE(c.what);
        const test::TuningDir dir;
        dir.write("platformSet.ini", c.file);
        dir.writeSets();
        dir.writeParam(0, 0, 0, 0);
        InitParam init = test::initParam(dir, c.mode, kRoi);
        const bool succeeds = c.error == nullptr;
        const bool hasBackEnd = succeeds && c.name == "CPU";
        Huevance huevance;
        test::LogCapture log;
        EXPECT_EQ(huevance.HuevanceMalloc(&init), succeeds ? 0 : -1);
        EXPECT_EQ(platformOf(huevance), c.name);
        EXPECT_EQ(backEndOf(huevance) != nullptr, hasBackEnd);
        // The cache path is read for preview only, and loses its last character as well.
        EXPECT_EQ(cacheOf(huevance),
                  c.mode == 0 && succeeds ? c.lines[1].substr(11, c.lines[1].size() - 12) : "");

        vector<string> lines = c.lines;
        if (hasBackEnd) {
            const string set = "HuevanceSetExtParam succeeded!\n";
            lines.insert(lines.end(), {"HuevanceMalloc succeeded!\n", set, set});
        }
        EXPECT_EQ(progress(log), lines);
        if (succeeds && !hasBackEnd) {
            // The portrait mask finds nobody to take it, twice; the set-up succeeds all the same.
            const auto nobody = testing::StartsWith(
                hostLine(kFile, "HuevanceSetExtParam", "m_hvcHandle (nil), pExtParam 0x"));
            EXPECT_THAT(log.hostLines(), testing::ElementsAre(nobody, nobody));
        } else if (succeeds) {
            EXPECT_THAT(log.hostLines(), testing::IsEmpty());
        } else {
            EXPECT_THAT(log.hostLines(), testing::ElementsAre(hostLine(kFile, "HuevanceMalloc", c.error)));
        }
        EXPECT_EQ(huevance.HuevanceFree(), hasBackEnd ? 0 : -1);
    }
}

TEST(HuevanceMalloc, RefusesNullAndUnknownModes) {
    Huevance huevance;
    const test::LogCapture log;
    EXPECT_EQ(huevance.HuevanceMalloc(nullptr), -1);
    const test::TuningDir empty;
    for (const int mode : {2, -1}) {
        InitParam init = test::initParam(empty, mode, kRoi);
        EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
        // Without directories too, and the platform file is never looked for.
        init.directory1 = init.directory2 = nullptr;
        EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
    }
    const string invalid = hostLine(kFile, "HuevanceMalloc", "m_iFramePhotoFlag is invalid");
    EXPECT_EQ(log.hostLines(), (vector<string>{hostLine(kFile, "HuevanceMalloc", "pInitParam (nil)"), invalid,
                                               invalid, invalid, invalid}));
    EXPECT_EQ(log.lines().size(), 5U) << "nothing but these";
    InitParam init = test::initParam(empty, 1, kRoi);
    init.directory2 = nullptr;
    EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
}

TEST(HuevanceMallocDeathTest, PathsThatDoNotFitAreFatal) {
    test::startDeathTestsSafely();
    const string name(255, 'd');
    for (const string& first : {"/" + name, "/" + string(240, 'd')}) {
        // "<first>/<name>" is 512 characters; or 497, which leaves no room for the file's name.
        for (const int mode : {0, 1, 2}) {
            InitParam init = {};
            init.framePhotoFlag = mode;
            init.directory1 = first.c_str();
            init.directory2 = name.c_str();
            Huevance huevance;
            EXPECT_DEATH(huevance.HuevanceMalloc(&init), "exceeds 511 characters");
        }
    }
}

TEST(Huevance, WithoutABackEndEveryCallFailsWithOneLine) {
    Huevance huevance;
    Image image = {};
    ExtParam param = {"key", nullptr};
    const test::LogCapture log;
    EXPECT_EQ(huevance.HuevanceProcess(&image, 0), -1);
    EXPECT_EQ(huevance.HuevanceProcess(nullptr, 0), -1);
    EXPECT_EQ(huevance.HuevanceSetExtParam(&param), -1);
    EXPECT_EQ(huevance.HuevanceSetExtParam(nullptr), -1);
    EXPECT_EQ(huevance.HuevanceFree(), -1);
    const auto text = [](const char* what, const void* p) {
        return format("m_hvcHandle (nil), %s %p", what, p);
    };
    EXPECT_EQ(log.hostLines(),
              (vector<string>{hostLine(kFile, "HuevanceProcess", text("pImage", &image)),
                              hostLine(kFile, "HuevanceProcess", text("pImage", nullptr)),
                              hostLine(kFile, "HuevanceSetExtParam", text("pExtParam", &param)),
                              hostLine(kFile, "HuevanceSetExtParam", text("pExtParam", nullptr)),
                              hostLine(kFile, "HuevanceFree", "m_hvcHandle is null")}));
}

TEST(Huevance, ForwardsToTheBackEndAndReportsItsFailures) {
    const test::TuningDir dir;
    dir.writePlatform("CPU");
    dir.writeSets();
    test::Frame frame(kRoi, 1);
    Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV12, kRoi);
    for (const bool photo : {false, true}) {
        SCOPED_TRACE(photo);
        const string family = photo ? "HuevancePhoto" : "HuevanceFrame";
        InitParam init = test::initParam(dir, photo ? 1 : 0, kRoi);
        Huevance huevance;
        test::LogCapture log;
        test::StdoutCapture output;
        init.dataBit = 9;  // there is no such depth
        EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
        EXPECT_EQ(backEndOf(huevance), nullptr);
        EXPECT_EQ(log.hostLines(),
                  vector<string>{hostLine(kFile, "HuevanceMalloc", family + "Malloc failed")});
        EXPECT_EQ(log.texts(test::kError)[1], "HuevanceMalloc failed!\n");
        init.dataBit = 8;
        ASSERT_EQ(huevance.HuevanceMalloc(&init), 0);

        log.clear();
        EXPECT_EQ(huevance.HuevanceProcess(&image, 0), 0);
        EXPECT_EQ(log.hostLines(), vector<string>{});
        EXPECT_EQ(log.texts().front(), "yuvType: IMAGE_FORMAT_TYPE_NV12");
        EXPECT_EQ(log.texts().back(), "HuevanceProcess succeeded!\n");
        log.clear();
        EXPECT_EQ(huevance.HuevanceProcess(&image, 7), -1);  // no such scene
        EXPECT_EQ(log.hostLines(),
                  vector<string>{hostLine(kFile, "HuevanceProcess", family + "Process failed")});
        log.clear();
        ExtParam unknown = {"no such key", &image};
        EXPECT_EQ(huevance.HuevanceSetExtParam(&unknown), 0);
        EXPECT_EQ(log.texts(), vector<string>{"HuevanceSetExtParam succeeded!\n"});
        EXPECT_EQ(huevance.HuevanceFree(), 0);
    }
}

// The mask and its geometry reach the back end at set-up: it refuses frames until it has both.
TEST(HuevanceMalloc, HandsThePortraitMaskOn) {
    const test::TuningDir dir;
    dir.writePlatform("CPU");
    dir.writeSets({{"maskSource", "1"}, {"pProtectSwitch", "1"}});
    vector<float> mask(8 * 6, 1.0F);
    test::Frame frame(kRoi, 1);
    Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
    const test::StdoutCapture output;
    for (const bool hasMask : {true, false}) {
        for (const bool hasRoi : {true, false}) {
            InitParam init = test::initParam(dir, 1, kRoi);
            init.portraitMask = hasMask ? mask.data() : nullptr;
            init.portraitMaskRoi.height = hasRoi ? 6 : 5;
            Huevance huevance;
            const test::LogCapture log;
            ASSERT_EQ(huevance.HuevanceMalloc(&init), 0);
            EXPECT_EQ(huevance.HuevanceProcess(&image, 0), hasMask && hasRoi ? 0 : -1);
            EXPECT_EQ(huevance.HuevanceFree(), 0);
        }
    }
}

TEST(Huevance, SupportedFormats) {
    const test::TuningDir dir;
    dir.write("platformSet.ini", "[platform]\r\nphoto=CPU\r\nframe=NEON\r\n[cache]\r\npath=/c\r\n");
    const test::LogMask mask(test::kErrorsAndInfo);
    const vector<int> others = {0, 2, 3, 4, 7, 8, 11, -1};
    for (const int cpu : {1, 0}) {
        InitParam init = test::initParam(dir, cpu, kRoi);
        Huevance huevance;
        test::LogCapture log;
        ASSERT_EQ(huevance.HuevanceMalloc(&init), 0);
        log.clear();
        EXPECT_TRUE(huevance.isSupportFormat(5) == 1 && huevance.isSupportFormat(6) == 1);
        EXPECT_TRUE(huevance.isSupportFormat(9) == cpu && huevance.isSupportFormat(10) == cpu);
        EXPECT_EQ(log.lines().size(), 0U);
        for (const int type : others) {
            EXPECT_EQ(huevance.isSupportFormat(type), 0);
        }
        EXPECT_EQ(log.hostLines(), vector<string>(others.size(), hostLine(kFile, "isSupportFormat",
                                                                          "don't support format", "INFO")));
        huevance.HuevanceFree();
    }
}

}  // namespace
