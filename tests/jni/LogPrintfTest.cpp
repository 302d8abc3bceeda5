// The host-facing logger: its mask, its trace on standard output, and the line that does not fit.
#include <gtest/gtest.h>

#include "jni/algocommon/LogPrintf.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"
#include "tests/support/StdoutCapture.h"

namespace {

using test::LogLine;

struct MaskCase {
    int mask;
    unsigned level;
    int priority;        // of the one Android line, or 0 when there is none
    const char* output;  // on standard output
};

// Priorities: 6 error, 5 warning, 4 information, 3 debug.
constexpr MaskCase kMaskCases[] = {
    {0, 1, 0, ""},
    {0, 31, 0, ""},
    {1, 1, 6, "mLogLevel 1 level 1 \n"},
    {1, 4, 0, "mLogLevel 1 level 4 \n"},
    {5, 1, 6, "mLogLevel 5 level 1 \n"},
    {5, 4, 4, "mLogLevel 5 level 4 \n"},
    {2, 2, 5, "mLogLevel 2 level 2 \n"},
    {8, 8, 3, "mLogLevel 8 level 8 \n"},
    {16, 16, 0, "mLogLevel 16 level 16 \nAlgorithm text 7\n"},
    {16, 1, 0, "mLogLevel 16 level 1 \n"},
    {32, 32, 0, "mLogLevel 32 level 32 \n"},
    {256, 1, 0, "mLogLevel 256 level 1 \n"},
    // The lowest common bit decides.
    {31, 31, 6, "mLogLevel 31 level 31 \n"},
    {7, 6, 5, "mLogLevel 7 level 6 \n"},
    {12, 31, 4, "mLogLevel 12 level 31 \n"},
    {24, 31, 3, "mLogLevel 24 level 31 \n"},
    {254, 31, 5, "mLogLevel 254 level 31 \n"},
    {-1, 1, 6, "mLogLevel -1 level 1 \n"},
    // 255 is no mask but a mode.
    {255, 1, 0, "mLogLevel 255 level 1 \nset log status 1 logText text 7 \n"},
    {255, 4, 0, "mLogLevel 255 level 4 \nset log status 4 logText text 7 \n"},
    {255, 0, 0, "mLogLevel 255 level 0 \nset log status 0 logText text 7 \n"},
};

TEST(LogPrintf, MaskDecidesWhereALineGoes) {
    for (const MaskCase& c : kMaskCases) {
        SCOPED_TRACE(testing::Message() << "mask " << c.mask << " level " << c.level);
        const test::LogMask mask(c.mask);
        const test::LogCapture log;
        test::StdoutCapture output;
        LogPrintf::logPrint(c.level, "text %d", 7);
        EXPECT_EQ(output.text(), c.output);
        const std::vector<LogLine> expected = c.priority != 0
                                                  ? std::vector<LogLine>{{c.priority, "Algorithm", "text 7"}}
                                                  : std::vector<LogLine>{};
        EXPECT_EQ(log.lines(), expected);
    }
}

TEST(LogPrintf, BaseNameIsTheTextAfterTheLastSlash) {
    EXPECT_STREQ(logBaseName("jni/algocommon/LogPrintf.cpp"), "LogPrintf.cpp");
    EXPECT_STREQ(logBaseName("LogPrintf.cpp"), "LogPrintf.cpp");
    EXPECT_STREQ(logBaseName("a/"), "");
}

TEST(LogPrintf, LongestLineIsWhole) {
    const std::string text(1023, 'x');
    const test::LogCapture log;
    test::StdoutCapture output;
    LogPrintf::logPrint(1, "%s", text.c_str());
    EXPECT_EQ(log.texts(), std::vector<std::string>{text});
}

TEST(LogPrintf, MaskZeroDoesNotEvenFormat) {
    const test::LogMask mask(0);
    LogPrintf::logPrint(1, "%s", std::string(5000, 'x').c_str());
}

TEST(LogPrintfDeathTest, LineThatDoesNotFitIsFatal) {
    test::startDeathTestsSafely();
    const std::string text(1024, 'x');
    EXPECT_DEATH(LogPrintf::logPrint(1, "%s", text.c_str()), "exceeds 1023 characters");
    // Also when the mask would drop it.
    EXPECT_DEATH(LogPrintf::logPrint(8, "%s", text.c_str()), "exceeds 1023 characters");
}

TEST(LogPrintfDeathTest, InitialMaskLetsErrorsThrough) {
    test::startDeathTestsSafely();
    // A process of its own, in which nobody has set the mask.
    EXPECT_EXIT(
        {
            LogPrintf::logPrint(4, "information");
            LogPrintf::logPrint(1, "error");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^E/Algorithm\\([ 0-9]+\\): error\n?$");
}

}  // namespace
