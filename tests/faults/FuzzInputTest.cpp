// What the fuzzers do after each input, for an hour: close what the library left open, and nothing else.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "fuzz/Input.h"
#include "jni/algocommon/IniReader.h"
#include "tests/support/LogCapture.h"

namespace {

TEST(FuzzInput, ClosesWhatIsLeftOpenAndNothingOfTheFuzzers) {
    const test::LogCapture quiet;
    const std::string text = "[hvc]\nno key\n";  // which the reader leaves open
    int own[2];
    ASSERT_EQ(pipe(own), 0);
    const int before = dup(own[0]);
    close(before);
    for (int i = 0; i < 5; ++i) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
        int value = 0;
        EXPECT_EQ(readIniKeyInt("hvc", "grid", fuzz::memoryFile(bytes, text.size()).c_str(), &value), 0);
        EXPECT_NE(fcntl(before + 1, F_GETFD), -1) << "two descriptors: the file, and the reader's";
        fuzz::closeLeftOpen();
        EXPECT_EQ(fcntl(before, F_GETFD), -1);
        EXPECT_EQ(fcntl(before + 1, F_GETFD), -1);
    }
    EXPECT_EQ(close(own[0]) + close(own[1]), 0);
}

}  // namespace
