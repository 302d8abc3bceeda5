// The handle object: set-up from platformSet.ini, the forwarding of every later call, and the formats it
// answers for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "jni/Huevance.h"
#include "jni/algocommon/ImageOperation.h"
#include "tests/support/DeathTest.h"
#include "tests/support/Frames.h"
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
const char* platformOf(const Huevance& h) {
    return reinterpret_cast<const char*>(&h) + 16;
}
const char* cacheOf(const Huevance& h) {
    return reinterpret_cast<const char*>(&h) + 36;
}
void* backEndOf(const Huevance& h) {
    void* result;
    std::memcpy(&result, reinterpret_cast<const char*>(&h) + 8, sizeof(result));
    return result;
}

InitParam initParam(const test::TuningDir& dir, int mode) {
    return {.reserved = 0,
            .dataBit = 8,
            .framePhotoFlag = mode,
            .directory1 = dir.parent().c_str(),
            .directory2 = dir.name().c_str(),
            .imageRoi = {8, 6, 8, 6},
            .portraitMaskRoi = {8, 6, 32, 6},
            .portraitMask = nullptr};
}

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

const vector<string> kCreated = {"HuevanceMalloc succeeded!\n", "HuevanceSetExtParam succeeded!\n",
                                 "HuevanceSetExtParam succeeded!\n"};

vector<string> concat(vector<string> first, const vector<string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct SetUpCase {
    const char* what;
    int mode;
    string file;  // platformSet.ini
    int result;
    string name;  // the platform name field afterwards
    bool backEnd;
    vector<string> progress;
    string error;  // of the handle object, or none
};

const string kCache = "[cache]\r\npath=/c\r\n";
const SetUpCase kSetUpCases[] = {
    {"photo", 1, "[platform]\r\nphoto=CPU\r\n", 0, "CPU", true, kCreated, ""},
    {"any last character is dropped", 1, "[platform]\nphoto=CPU;\n", 0, "CPU", true, kCreated, ""},
    {"line feed only: a letter is lost", 1, "[platform]\nphoto=CPU\n", 0, "CP", false, {}, ""},
    {"names are case-sensitive", 1, "[platform]\r\nphoto=cpu\r\n", 0, "cpu", false, {}, ""},
    {"names are whole", 1, "[platform]\r\nphoto=CPU \r\n", 0, "CPU ", false, {}, ""},
    {"photo has no GPU", 1, "[platform]\r\nphoto=GPU\r\n", 0, "GPU", false, {}, ""},
    {"15 characters", 1, "[platform]\r\nphoto=ABCDEFGHIJKLMNO\r\n", 0, "ABCDEFGHIJKLMNO", false, {}, ""},
    {"16 characters", 1, "[platform]\r\nphoto=ABCDEFGHIJKLMNOP\r\n", -1, "", false, {}, "platform is NULL"},
    {"empty value", 1, "[platform]\nphoto=\n", -1, "", false, {}, "platform is NULL"},
    {"empty after the cut", 1, "[platform]\r\nphoto=\r\n", -1, "", false, {}, "platform is NULL"},
    {"no key", 1, "[platform]\r\nframe=CPU\r\n", -1, "", false, {}, "platform is NULL"},
    {"blank line",
     1,
     "[platform]\r\n\r\nphoto=CPU\r\n",
     -1,
     "",
     false,
     {"ini file not find key word!"},
     "platform is NULL"},
    {"preview", 0, "[platform]\r\nframe=CPU\r\n" + kCache, 0, "CPU", true,
     concat({"platform CPU\r", "cache path /c\r"}, kCreated), ""},
    {"preview, line feed only",
     0,
     "[platform]\nframe=GPU\n" + kCache,
     0,
     "GP",
     false,
     {"platform GPU", "cache path /c\r"},
     ""},
    {"preview has no NEON",
     0,
     "[platform]\r\nframe=NEON\r\n" + kCache,
     0,
     "NEON",
     false,
     {"platform NEON\r", "cache path /c\r"},
     ""},
    {"preview without a name", 0, "[platform]\r\n", -1, "", false, {"platform "}, "platform is NULL"},
    {"preview, empty name",
     0,
     "[platform]\nframe=\n" + kCache,
     -1,
     "",
     false,
     {"platform "},
     "platform is NULL"},
    {"no cache path: the name stays",
     0,
     "[platform]\r\nframe=CPU\r\n",
     -1,
     "CPU",
     false,
     {"platform CPU\r", "cache path "},
     "cache path is NULL"},
    {"empty cache path",
     0,
     "[platform]\r\nframe=CPU\r\n[cache]\npath=\n",
     -1,
     "CPU",
     false,
     {"platform CPU\r", "cache path "},
     "cache path is NULL"},
    {"long cache path", 0, "[platform]\r\nframe=CPU\r\n[cache]\r\npath=" + string(511, 'c') + "\r\n", 0,
     "CPU", true, concat({"platform CPU\r", "cache path " + string(511, 'c') + "\r"}, kCreated), ""},
    {"overlong cache path",
     0,
     "[platform]\r\nframe=CPU\r\n[cache]\r\npath=" + string(512, 'c') + "\r\n",
     -1,
     "CPU",
     false,
     {"platform CPU\r", "cache path " + string(512, 'c') + "\r"},
     "cache path is NULL"},
};

TEST(HuevanceMalloc, ReadsThePlatformFile) {
    for (const SetUpCase& c : kSetUpCases) {
        SCOPED_TRACE(c.what);
        const test::TuningDir dir;
        dir.write("platformSet.ini", c.file);
        dir.writeSets();
        dir.writeParam(0, 0, 0, 0);
        InitParam init = initParam(dir, c.mode);
        Huevance huevance;
        test::LogCapture log;
        EXPECT_EQ(huevance.HuevanceMalloc(&init), c.result);
        EXPECT_EQ(platformOf(huevance), c.name);
        EXPECT_EQ(backEndOf(huevance) != nullptr, c.backEnd);
        EXPECT_EQ(progress(log), c.progress);
        if (c.result == 0 && !c.backEnd) {
            // The portrait mask finds nobody to take it, twice; the set-up succeeds all the same.
            EXPECT_THAT(
                log.hostLines(),
                testing::ElementsAre(testing::StartsWith(hostLine(kFile, "HuevanceSetExtParam",
                                                                  "m_hvcHandle (nil), pExtParam 0x")),
                                     testing::StartsWith(hostLine(kFile, "HuevanceSetExtParam",
                                                                  "m_hvcHandle (nil), pExtParam 0x"))));
        } else {
            EXPECT_EQ(log.hostLines(), c.error.empty()
                                           ? vector<string>{}
                                           : vector<string>{hostLine(kFile, "HuevanceMalloc", c.error)});
        }
        log.clear();
        EXPECT_EQ(huevance.HuevanceFree(), c.backEnd ? 0 : -1);
        EXPECT_EQ(log.texts(), c.backEnd ? vector<string>{"HuevanceFree succeeded!\n"} : log.texts());
    }
}

TEST(HuevanceMalloc, PhotoNeverReadsTheCachePath) {
    const test::TuningDir dir;
    dir.write("platformSet.ini", "[platform]\r\nphoto=CPU\r\n[cache]\r\npath=/c\r\n");
    InitParam init = initParam(dir, 1);
    Huevance huevance;
    const test::LogCapture log;
    EXPECT_EQ(huevance.HuevanceMalloc(&init), 0);
    EXPECT_STREQ(cacheOf(huevance), "");
    EXPECT_EQ(huevance.HuevanceFree(), 0);
}

TEST(HuevanceMalloc, PreviewKeepsTheCachePathWithoutItsLastCharacter) {
    const test::TuningDir dir;
    dir.writePlatform("CPU", "/data/cache");
    InitParam init = initParam(dir, 0);
    Huevance huevance;
    const test::LogCapture log;
    EXPECT_EQ(huevance.HuevanceMalloc(&init), 0);
    EXPECT_STREQ(cacheOf(huevance), "/data/cache");
    EXPECT_EQ(huevance.HuevanceFree(), 0);
}

TEST(HuevanceMalloc, RefusesNullAndUnknownModes) {
    Huevance huevance;
    const test::LogCapture log;
    EXPECT_EQ(huevance.HuevanceMalloc(nullptr), -1);
    const test::TuningDir empty;
    for (const int mode : {2, -1}) {
        InitParam init = initParam(empty, mode);
        EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
        // Without directories too, and the platform file is never looked for.
        init.directory1 = init.directory2 = nullptr;
        EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
    }
    const string invalid = hostLine(kFile, "HuevanceMalloc", "m_iFramePhotoFlag is invalid");
    EXPECT_EQ(log.hostLines(), (vector<string>{hostLine(kFile, "HuevanceMalloc", "pInitParam (nil)"), invalid,
                                               invalid, invalid, invalid}));
    EXPECT_EQ(log.lines().size(), 5U) << "nothing but these";
    InitParam init = initParam(empty, 1);
    init.directory2 = nullptr;
    EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
}

TEST(HuevanceMalloc, ReportsABackEndThatFails) {
    const test::TuningDir dir;
    dir.writePlatform("CPU");
    dir.writeSets();
    for (const int mode : {0, 1}) {
        InitParam init = initParam(dir, mode);
        init.dataBit = 9;  // there is no such depth
        Huevance huevance;
        const test::LogCapture log;
        EXPECT_EQ(huevance.HuevanceMalloc(&init), -1);
        EXPECT_EQ(backEndOf(huevance), nullptr);
        EXPECT_EQ(log.hostLines(), vector<string>{hostLine(kFile, "HuevanceMalloc",
                                                           mode == 1 ? "HuevancePhotoMalloc failed"
                                                                     : "HuevanceFrameMalloc failed")});
        EXPECT_EQ(log.texts(test::kError)[1], "HuevanceMalloc failed!\n");
    }
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
    for (const int mode : {0, 1}) {
        SCOPED_TRACE(mode == 1 ? "photo" : "preview");
        const test::TuningDir dir;
        dir.writePlatform("CPU");
        dir.writeSets();
        InitParam init = initParam(dir, mode);
        Huevance huevance;
        test::LogCapture log;
        test::StdoutCapture output;
        ASSERT_EQ(huevance.HuevanceMalloc(&init), 0);

        test::Frame frame({8, 6, 8, 6}, 1);
        Image image = {};
        setImage(image, frame.data(), 8, 6, 8, 6, IMAGE_FORMAT_TYPE_NV12);
        log.clear();
        EXPECT_EQ(huevance.HuevanceProcess(&image, 0), 0);
        EXPECT_EQ(log.hostLines(), vector<string>{});
        EXPECT_EQ(log.texts().front(), "yuvType: IMAGE_FORMAT_TYPE_NV12");
        EXPECT_EQ(log.texts().back(), "HuevanceProcess succeeded!\n");

        log.clear();
        EXPECT_EQ(huevance.HuevanceProcess(&image, 7), -1);  // no such scene
        EXPECT_EQ(log.hostLines(), vector<string>{hostLine(kFile, "HuevanceProcess",
                                                           mode == 1 ? "HuevancePhotoProcess failed"
                                                                     : "HuevanceFrameProcess failed")});
        EXPECT_EQ(log.tagged(test::kVersionTag).back(), "HuevanceProcess failed!\n");

        log.clear();
        ExtParam unknown = {"no such key", &image};
        EXPECT_EQ(huevance.HuevanceSetExtParam(&unknown), 0);
        EXPECT_EQ(log.texts(), vector<string>{"HuevanceSetExtParam succeeded!\n"});
        EXPECT_EQ(huevance.HuevanceFree(), 0);
    }
}

TEST(Huevance, SupportedFormats) {
    const test::TuningDir dir;
    dir.write("platformSet.ini", "[platform]\r\nphoto=CPU\r\nframe=NEON\r\n[cache]\r\npath=/c\r\n");
    const test::LogMask mask(test::kErrorsAndInfo);
    for (const int mode : {1, 0}) {
        const bool cpu = mode == 1;
        InitParam init = initParam(dir, mode);
        Huevance huevance;
        test::LogCapture log;
        ASSERT_EQ(huevance.HuevanceMalloc(&init), 0);
        log.clear();
        for (const int type : {5, 6}) {
            EXPECT_EQ(huevance.isSupportFormat(type), 1);
        }
        for (const int type : {9, 10}) {
            EXPECT_EQ(huevance.isSupportFormat(type), cpu ? 1 : 0);
        }
        EXPECT_EQ(log.lines().size(), 0U);
        const vector<int> others = {0, 2, 3, 4, 7, 8, 11, -1};
        for (const int type : others) {
            EXPECT_EQ(huevance.isSupportFormat(type), 0);
        }
        EXPECT_EQ(log.hostLines(), vector<string>(others.size(), hostLine(kFile, "isSupportFormat",
                                                                          "don't support format", "INFO")));
        huevance.HuevanceFree();
    }
}

}  // namespace
