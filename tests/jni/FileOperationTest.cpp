// Files and paths: the whole-file reader with its lines, raw floats, and paths that do not fit.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
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
using test::format;
using test::hostLine;

constexpr const char* kFile = "FileOperation.cpp";

string info(const string& message) {
    return hostLine(kFile, "fread_file", message, "INFO");
}

TEST(FreadFile, ReadsTheWholeFileAndEndsItWithNul) {
    const test::TuningDir dir;
    const string contents("line\r\n\0binary", 13);
    for (const string& bytes : {contents, string()}) {
        dir.write("file", bytes);
        const string path = dir.path() + "/file";
        const test::LogMask mask(test::kErrorsAndInfo);
        const test::LogCapture log;
        int size = -1;
        auto* data = static_cast<char*>(fread_file(path.c_str(), size));
        ASSERT_NE(data, nullptr);
        ASSERT_EQ(size, static_cast<int>(bytes.size()));
        EXPECT_EQ(string(data, bytes.size() + 1), bytes + '\0');
        galloc_free(data);
        const string readSize = info("read_size " + std::to_string(bytes.size()));
        EXPECT_EQ(log.hostLines(), (vector<string>{info("read_files " + path), readSize, readSize,
                                                   info("end_files " + path)}));
    }
}

TEST(FreadFile, MissingFile) {
    const string path = "/nowhere/file";
    const int address = static_cast<int>(reinterpret_cast<std::intptr_t>(path.c_str()));
    const test::LogMask mask(test::kErrorsAndInfo);
    const test::LogCapture log;
    int size = -1;
    EXPECT_EQ(fread_file(path.c_str(), size), nullptr);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(log.hostLines(),
              (vector<string>{info("read_files " + path),
                              hostLine(kFile, "fread_file", format("not find path %d", address)),
                              info("end_files " + path)}));
}

TEST(ReadFloats, KeepsWhatTheFileDoesNotHold) {
    constexpr float kInf = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const test::TuningDir dir;
    const string path = dir.path() + "/lut";
    const auto read = [&](std::size_t count) {
        vector<float> values(1000, -7.0F);
        EXPECT_TRUE(readFloats(path.c_str(), values.data(), count));
        return values;
    };
    vector<float> file(600);
    for (std::size_t i = 0; i < file.size(); ++i) {
        file[i] = static_cast<float>(i) + 0.25F;
    }
    for (const std::size_t count : {1U, 255U, 256U, 257U, 600U, 700U}) {
        dir.writeFloats("lut", file);
        vector<float> expected(1000, -7.0F);
        std::copy_n(file.begin(), std::min<std::size_t>(count, 600), expected.begin());
        EXPECT_EQ(read(count), expected) << count;
    }

    // A file that ends inside its third float, with numbers that are none.
    const float values[] = {kNan, -kInf, 3.0F};
    dir.write("lut", string(reinterpret_cast<const char*>(values), 11));
    const vector<float> got = read(4);
    EXPECT_EQ(vector<float>(got.begin(), got.begin() + 4), (vector<float>{0.0F, 0.0F, -7.0F, -7.0F}));

    float untouched = 5.0F;
    EXPECT_FALSE(readFloats((dir.path() + "/none").c_str(), &untouched, 1));
    EXPECT_EQ(untouched, 5.0F);
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
    EXPECT_FALSE(saveBuffer("", "abc", 3));
    EXPECT_FALSE(saveBuffer("/nowhere/dump", "abc", 3));
    EXPECT_FALSE(saveBuffer("/dev/full", "abc", 3));
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
