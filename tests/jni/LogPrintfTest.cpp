// The host-facing logger: its mask, its trace on standard output, and the line that does not fit.
#include <gtest/gtest.h>

#include "jni/algocommon/LogPrintf.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"
#include "tests/support/StdoutCapture.h"

namespace {

using test::LogLine;

TEST(LogPrintf, MaskDecidesWhereALineGoes) {
    const struct {
        int mask;
        unsigned level;
        int priority;  // of the one Android line (6 error, 5 warning, 4 information, 3 debug), or 0
        const char* behind = "";  // on standard output, behind the trace
    } cases[] = {
        // clang-format off
        {0, 1, 0}, {0, 31, 0}, {1, 1, 6}, {1, 4, 0}, {5, 1, 6}, {5, 4, 4}, {2, 2, 5}, {8, 8, 3}, {16, 1, 0},
        {32, 32, 0}, {256, 1, 0}, {-1, 1, 6}, {16, 16, 0, "Algorithm text 7\n"},
        // The lowest common bit decides.
        {31, 31, 6}, {7, 6, 5}, {12, 31, 4}, {24, 31, 3}, {254, 31, 5},
        // 255 is no mask but a mode.
        {255, 1, 0, "set log status 1 logText text 7 \n"}, {255, 4, 0, "set log status 4 logText text 7 \n"},
        {255, 0, 0, "set log status 0 logText text 7 \n"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "mask " << c.mask << " level " << c.level);
        const test::LogMask mask(c.mask);
        const test::LogCapture log;
        test::StdoutCapture output;
        LogPrintf::logPrint(c.level, "text %d", 7);
        EXPECT_EQ(output.text(),
                  c.mask == 0 ? "" : test::format("mLogLevel %d level %u \n%s", c.mask, c.level, c.behind));
        EXPECT_EQ(log.lines(),
                  std::vector<LogLine>(c.priority != 0 ? 1 : 0, {c.priority, "Algorithm", "text 7"}));
    }
    EXPECT_STREQ(logBaseName("jni/algocommon/LogPrintf.cpp"), "LogPrintf.cpp");
    EXPECT_STREQ(logBaseName("LogPrintf.cpp"), "LogPrintf.cpp");
}

TEST(LogPrintfDeathTest, LineThatDoesNotFitIsFatal) {
    test::startDeathTestsSafely();
    const std::string longest(1023, 'x'), longer = longest + "x";
    // Also when the mask would drop it.
    for (const unsigned level : {1U, 8U}) {
        EXPECT_DEATH(LogPrintf::logPrint(level, "%s", longer.c_str()), "exceeds 1023 characters");
    }
    {
        const test::LogCapture log;
        test::StdoutCapture output;
        LogPrintf::logPrint(1, "%s", longest.c_str());
        EXPECT_EQ(log.texts(), std::vector<std::string>{longest});
    }
    const test::LogMask mask(0);  // does not even format
    LogPrintf::logPrint(1, "%s", longer.c_str());
}

}  // namespace
