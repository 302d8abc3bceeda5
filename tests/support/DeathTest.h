// How death tests start their process.
#pragma once

#include <gtest/gtest.h>

namespace test {

// A process of its own for each death test. A program that runs under an emulator cannot execute itself:
// there the process is a plain fork, which is safe while the program has one thread. Give every death test a
// text to look for: a process that could not be started has died as well.
inline void startDeathTestsSafely() {
#ifdef HUEVANCE_EMULATED
    GTEST_FLAG_SET(death_test_style, "fast");
#else
    GTEST_FLAG_SET(death_test_style, "threadsafe");
#endif
}

}  // namespace test
