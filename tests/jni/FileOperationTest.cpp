// Files and paths: the whole-file reader with its lines, raw floats, and paths that do not fit.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/ImageOperation.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;
using std::vector;

constexpr const char* kFile = "FileOperation.cpp";

string info(const string& message) { return test::hostLine(kFile, "fread_file", message, "INFO"); }

TEST(FreadFile, ReadsTheWholeFileAndEndsItWithNul) {
    const test::TuningDir dir;
    const string path = dir.path() + "/file", missing = "/nowhere/file";
    const test::LogMask mask(test::kErrorsAndInfo);
    test::LogCapture log;
    int size = -1;
    for (const string& bytes : {string("line\r\n\0binary", 13), string()}) {
        dir.write("file", bytes);
        log.clear();
        auto* data = static_cast<char*>(fread_file(path.c_str(), size));
        ASSERT_NE(data, nullptr);
        ASSERT_EQ(size, static_cast<int>(bytes.size()));
        EXPECT_EQ(string(data, bytes.size() + 1), bytes + '\0');
        galloc_free(data);
        const string readSize = info("read_size " + std::to_string(bytes.size()));
        EXPECT_EQ(log.hostLines(), (vector<string>{info("read_files " + path), readSize, readSize,
                                                   info("end_files " + path)}));
    }
    log.clear();
    size = -1;
    EXPECT_EQ(fread_file(missing.c_str(), size), nullptr);
    EXPECT_EQ(size, 0);
    const int address = static_cast<int>(reinterpret_cast<std::intptr_t>(missing.c_str()));
    EXPECT_EQ(log.hostLines(),
              (vector<string>{info("read_files " + missing),
                              test::hostLine(kFile, "fread_file", test::format("not find path %d", address)),
                              info("end_files " + missing)}));
}

TEST(ReadFloats, KeepsWhatTheFileDoesNotHold) {
    const test::TuningDir dir;
    const string path = dir.path() + "/lut";
    vector<float> file(600);
    for (std::size_t i = 0; i < file.size(); ++i) {
        file[i] = static_cast<float>(i) + 0.25F;
    }
    dir.writeFloats("lut", file);
    for (const std::size_t count : {1U, 255U, 256U, 257U, 600U, 700U}) {
        vector<float> values(1000, -7.0F), expected = values;
        std::copy_n(file.begin(), std::min<std::size_t>(count, 600), expected.begin());
        EXPECT_TRUE(readFloats(path.c_str(), values.data(), count));
        EXPECT_EQ(values, expected) << count;
    }
    // A file that ends inside its third float, with numbers that are none.
    using Limits = std::numeric_limits<float>;
    const float odd[] = {Limits::quiet_NaN(), -Limits::infinity(), 3.0F};
    dir.write("lut", string(reinterpret_cast<const char*>(odd), 11));
    vector<float> got(4, -7.0F);
    EXPECT_TRUE(readFloats(path.c_str(), got.data(), 4));
    EXPECT_EQ(got, (vector<float>{0.0F, 0.0F, -7.0F, -7.0F}));
    EXPECT_FALSE(readFloats((dir.path() + "/none").c_str(), got.data(), 4));
    EXPECT_EQ(got[3], -7.0F);
}

TEST(SaveBuffer, WritesAllOrSaysSo) {
    const test::TuningDir dir;
    const string path = dir.path() + "/dump";
    dir.write("dump", "longer than before");
    EXPECT_TRUE(saveBuffer(path.c_str(), "abc", 3));
    int size = 0;
    auto* data = static_cast<char*>(fread_file(path.c_str(), size));
    EXPECT_EQ(string(data, static_cast<std::size_t>(size)), "abc");
    galloc_free(data);
    for (const char* bad : {"", "/nowhere/dump", "/dev/full"}) {
        EXPECT_FALSE(saveBuffer(bad, "abc", 3)) << bad;
    }
}

TEST(FormatPathDeathTest, TextThatDoesNotFitIsFatal) {
    test::startDeathTestsSafely();
    char buffer[512];
    const string half(255, 'x');
    formatPath(buffer, sizeof(buffer), "%s/%s", half.c_str(), half.c_str());
    EXPECT_EQ(string(buffer), half + "/" + half);
    EXPECT_DEATH(formatPath(buffer, sizeof(buffer), "%s//%s", half.c_str(), half.c_str()),
                 "exceeds 511 characters");
}

}  // namespace
