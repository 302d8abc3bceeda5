// The two kinds of log lines.
//
// LogPrintf: formatted error and information lines of the host-facing modules, filtered by one
// process-wide mask. Use the macros LOG_ERROR and LOG_INFO; they add file, line and function.
//
// Direct lines: progress and failures of the dispatch layer and the back ends, straight to the
// Android log under the version tag, unfiltered. Use ALOG_INFO and ALOG_ERROR.
#pragma once

#include <android/log.h>

#include <atomic>
#include <cstring>

class LogPrintf {
public:
    // Level bits. A line reaches the Android log when its bit is in the mask.
    static constexpr unsigned kError = 1;
    static constexpr unsigned kWarning = 2;
    static constexpr unsigned kInfo = 4;
    static constexpr unsigned kDebug = 8;
    static constexpr unsigned kStdout = 16;
    // This mask sends every call to standard output and nothing to the Android log.
    static constexpr unsigned kTraceAll = 255;

    // Stores the mask as it is, without validation.
    static void setLogStatus(int status);

    // Formats one line of under 1024 characters and emits it. A longer line is a fatal error (abort).
    // Thread-safe but for the interleaving of lines.
    static void logPrint(unsigned int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    static std::atomic<unsigned int>
        mLogLevel;  // captures and previews read it, the host may set it meanwhile
};

// The text after the last "/" of a source path, extension included.
inline const char* logBaseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

inline constexpr const char* kHuevanceLogTag = "Huevance_V2.3.2.2";

#define LOG_ERROR(format, ...)                                                                      \
    LogPrintf::logPrint(LogPrintf::kError, "[ERROR][ %s ] %d  %s() " format, logBaseName(__FILE__), \
                        __LINE__, __func__ __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO(format, ...)                                                                               \
    LogPrintf::logPrint(LogPrintf::kInfo, "[INFO][ %s ] %d  %s() " format, logBaseName(__FILE__), __LINE__, \
                        __func__ __VA_OPT__(, ) __VA_ARGS__)

#define ALOG_INFO(...) __android_log_print(ANDROID_LOG_INFO, kHuevanceLogTag, __VA_ARGS__)
#define ALOG_ERROR(...) __android_log_print(ANDROID_LOG_ERROR, kHuevanceLogTag, __VA_ARGS__)
