// The handle object: set-up from platformSet.ini, refusals, and the formats it answers for. What it forwards:
// tests/library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "jni/Huevance.h"
#include "tests/support/DeathTest.h"
#include "tests/support/HostRecords.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"

namespace {

using std::string;
using Lines = std::vector<string>;

string line(const char* function, const string& message, const char* kind = "ERROR") {
    return test::hostLine("Huevance.cpp", function, message, kind);
}

// The object's fields through its layout, which is part of the binary interface.
const char* platformOf(const Huevance& h) { return reinterpret_cast<const char*>(&h) + 16; }
const char* cacheOf(const Huevance& h) { return reinterpret_cast<const char*>(&h) + 36; }
void* backEndOf(const Huevance& h) {
    void* result;
    std::memcpy(&result, reinterpret_cast<const char*>(&h) + 8, sizeof(result));
    return result;
}

constexpr RoiInfo kRoi = {8, 6, 8, 6};
constexpr const char* kNoName = "platform is NULL";
constexpr const char* kNoCache = "cache path is NULL";
const string kCache = "[cache]\r\npath=/c\r\n";
const string kLong(511, 'c');
const string kFrameCpu = "[platform]\r\nframe=CPU\r\n[cache]\r\n";

const struct SetUpCase {
    const char* what;
    int mode;
    string file;        // platformSet.ini
    string name;        // the platform name field afterwards; "CPU" without an error has a back end
    const char* error;  // of the handle object, or null: success
    Lines lines;        // before the back end's
} kSetUpCases[] = {
    // clang-format off
    {"photo", 1, "[platform]\r\nphoto=CPU\r\n" + kCache, "CPU", nullptr, {}},
    {"any last character is dropped", 1, "[platform]\nphoto=CPU;\n", "CPU", nullptr, {}},
    {"line feed only: a letter is lost", 1, "[platform]\nphoto=CPU\n", "CP", nullptr, {}},
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
    // clang-format on
};

TEST(HuevanceMalloc, ReadsThePlatformFile) {
    for (const SetUpCase& c : kSetUpCases) {
        SCOPED_TRACE(c.what);
        const test::TuningDir dir;
        dir.write("platformSet.ini", c.file);
        dir.writeSets();
        InitParam init = test::initParam(dir, c.mode, kRoi);
        const bool succeeds = c.error == nullptr, hasBackEnd = succeeds && c.name == "CPU";
        Huevance huevance;
        test::LogCapture log;
        EXPECT_EQ(huevance.HuevanceMalloc(&init), succeeds ? 0 : -1);
        EXPECT_EQ(platformOf(huevance), c.name);
        EXPECT_EQ(backEndOf(huevance) != nullptr, hasBackEnd);
        // The cache path is read for preview only, and loses its last character as well.
        EXPECT_EQ(cacheOf(huevance),
                  c.mode == 0 && succeeds ? c.lines[1].substr(11, c.lines[1].size() - 12) : "");

        Lines tagged = log.tagged(test::kVersionTag);
        ASSERT_GE(tagged.size(), c.lines.size());
        EXPECT_EQ(Lines(tagged.begin(), tagged.begin() + static_cast<std::ptrdiff_t>(c.lines.size())),
                  c.lines);
        if (hasBackEnd) {
            const string set = "HuevanceSetExtParam succeeded!\n";
            EXPECT_EQ(Lines(tagged.end() - 3, tagged.end()),
                      (Lines{"HuevanceMalloc succeeded!\n", set, set}));
            EXPECT_EQ(log.hostLines(), Lines());
        } else if (succeeds) {
            // The portrait mask finds nobody to take it, twice; the set-up succeeds all the same.
            const auto nobody =
                testing::StartsWith(line("HuevanceSetExtParam", "m_hvcHandle (nil), pExtParam 0x"));
            EXPECT_THAT(log.hostLines(), testing::ElementsAre(nobody, nobody));
        } else {
            EXPECT_EQ(tagged.size(), c.lines.size());
            EXPECT_EQ(log.hostLines(), Lines{line("HuevanceMalloc", c.error)});
        }
        EXPECT_EQ(huevance.HuevanceFree(), hasBackEnd ? 0 : -1);
    }
}

TEST(Huevance, WithoutABackEndEveryCallFailsWithOneLine) {
    Huevance huevance;
    Image image = {};
    ExtParam param = {"key", nullptr};
    const test::LogCapture log;
    const test::TuningDir empty;
    Lines expected;
    const auto expect = [&](int result, const char* function, const string& message) {
        EXPECT_EQ(result, -1) << message;
        expected.push_back(line(function, message));
    };
    expect(huevance.HuevanceMalloc(nullptr), "HuevanceMalloc", "pInitParam (nil)");
    for (const int mode : {2, -1}) {
        InitParam init = test::initParam(empty, mode, kRoi);
        expect(huevance.HuevanceMalloc(&init), "HuevanceMalloc", "m_iFramePhotoFlag is invalid");
        init.directory1 = nullptr;
        expect(huevance.HuevanceMalloc(&init), "HuevanceMalloc", "m_iFramePhotoFlag is invalid");
    }
    InitParam init = test::initParam(empty, 1, kRoi);
    init.directory2 = nullptr;
    expect(huevance.HuevanceMalloc(&init), "HuevanceMalloc", "the tuning directory is missing");
    const auto text = [](const char* what, const void* p) {
        return test::format("m_hvcHandle (nil), %s %p", what, p);
    };
    expect(huevance.HuevanceProcess(&image, 0), "HuevanceProcess", text("pImage", &image));
    expect(huevance.HuevanceProcess(nullptr, 0), "HuevanceProcess", text("pImage", nullptr));
    expect(huevance.HuevanceSetExtParam(&param), "HuevanceSetExtParam", text("pExtParam", &param));
    expect(huevance.HuevanceSetExtParam(nullptr), "HuevanceSetExtParam", text("pExtParam", nullptr));
    expect(huevance.HuevanceFree(), "HuevanceFree", "m_hvcHandle is null");
    EXPECT_EQ(log.hostLines(), expected);
    EXPECT_EQ(log.lines().size(), expected.size()) << "nothing but these";
}

TEST(HuevanceMallocDeathTest, PathsThatDoNotFitAreFatal) {
    test::startDeathTestsSafely();
    const string name(255, 'd');
    // "<first>/<name>" is 512 characters; or 497, which leaves no room for the file's name.
    for (const string& first : {"/" + name, "/" + string(240, 'd')}) {
        InitParam init = {};
        init.framePhotoFlag = static_cast<int>(first.size() % 3);  // whatever the mode
        init.directory1 = first.c_str();
        init.directory2 = name.c_str();
        EXPECT_DEATH(Huevance().HuevanceMalloc(&init), "exceeds 511 characters");
    }
}

TEST(Huevance, SupportedFormats) {
    const test::TuningDir dir;
    dir.write("platformSet.ini", "[platform]\r\nphoto=CPU\r\nframe=NEON\r\n[cache]\r\npath=/c\r\n");
    const test::LogMask mask(test::kErrorsAndInfo);
    for (const int cpu : {1, 0}) {
        InitParam init = test::initParam(dir, cpu, kRoi);
        Huevance huevance;
        test::LogCapture log;
        ASSERT_EQ(huevance.HuevanceMalloc(&init), 0);
        log.clear();
        std::vector<int> supported;
        for (int type = -1; type < 13; ++type) {
            if (huevance.isSupportFormat(type) != 0) {
                supported.push_back(type);
            }
        }
        EXPECT_EQ(supported, cpu == 1 ? (std::vector<int>{5, 6, 9, 10}) : (std::vector<int>{5, 6}));
        // The 16-bit formats are known, and answered without a line.
        EXPECT_EQ(log.hostLines(), Lines(10, line("isSupportFormat", "don't support format", "INFO")));
        huevance.HuevanceFree();
    }
}

}  // namespace
