#include "jni/algocommon/LogPrintf.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

std::atomic<unsigned int> LogPrintf::mLogLevel = LogPrintf::kError;

namespace {
constexpr const char* kLoggerTag = "Algorithm";
constexpr int kMaxLine = 1024;
}  // namespace

void LogPrintf::setLogStatus(int status) { mLogLevel = static_cast<unsigned int>(status); }

void LogPrintf::logPrint(unsigned int level, const char* format, ...) {
    const unsigned int mask = mLogLevel;
    if (mask == 0) {
        return;
    }
    char text[kMaxLine];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (length < 0 || length >= kMaxLine) {
        // On purpose: a line that does not fit is fatal, not truncated.
        __android_log_write(ANDROID_LOG_ERROR, kHuevanceLogTag,
                            "LogPrintf: a log line exceeds 1023 characters");
        std::abort();
    }

    // On purpose: every call that gets here leaves this trace on standard output, whatever the mask.
    std::printf("mLogLevel %d level %d \n", static_cast<int>(mask), static_cast<int>(level));
    if (mask == kTraceAll) {
        std::printf("set log status %d logText %s \n", static_cast<int>(level), text);
        return;
    }

    // Only the lowest common bit counts: one call gives at most one line.
    const unsigned int common = mask & level;
    if (common & kError) {
        __android_log_write(ANDROID_LOG_ERROR, kLoggerTag, text);
    } else if (common & kWarning) {
        __android_log_write(ANDROID_LOG_WARN, kLoggerTag, text);
    } else if (common & kInfo) {
        __android_log_write(ANDROID_LOG_INFO, kLoggerTag, text);
    } else if (common & kDebug) {
        __android_log_write(ANDROID_LOG_DEBUG, kLoggerTag, text);
    } else if (common & kStdout) {
        std::printf("%s %s\n", kLoggerTag, text);
    }
}
