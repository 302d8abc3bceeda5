// Sets the library's log mask for as long as it lives, then the library's initial one (errors only) again.
#pragma once

#include "jni/algocommon/LogPrintf.h"

namespace test {

inline constexpr int kErrorsOnly = 1;
inline constexpr int kErrorsAndInfo = 5;

class LogMask {
public:
    explicit LogMask(int mask) { LogPrintf::setLogStatus(mask); }
    ~LogMask() { LogPrintf::setLogStatus(kErrorsOnly); }
    LogMask(const LogMask&) = delete;
    LogMask& operator=(const LogMask&) = delete;
};

}  // namespace test
