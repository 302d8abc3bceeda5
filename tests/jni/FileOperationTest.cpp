// Files: the whole-file reader with its lines, raw floats, and dumps.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>

#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/ImageOperation.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;
using Lines = std::vector<string>;

string line(const string& message, const char* kind = "INFO") {
    return test::hostLine("FileOperation.cpp", "fread_file", message, kind);
}

TEST(FreadFile, ReadsTheWholeFileAndEndsItWithNul) {
    const test::TuningDir dir;
    const string path = dir.path() + "/file", missing = "/nowhere/file";
    const test::LogMask mask(test::kErrorsAndInfo);
    test::LogCapture log;
    int size = -1;
    for (const string& bytes : {string("line\r\n\0binary", 13), string()}) {
        dir.write("file", "longer than what comes");
        ASSERT_TRUE(saveFile(path.c_str(), {{bytes.data(), bytes.size()}}));
        log.clear();
        auto* data = static_cast<char*>(fread_file(path.c_str(), size));
        ASSERT_NE(data, nullptr);
        ASSERT_EQ(size, static_cast<int>(bytes.size()));
        EXPECT_EQ(string(data, bytes.size() + 1), bytes + '\0');
        galloc_free(data);
        const string readSize = line("read_size " + std::to_string(bytes.size()));
        EXPECT_EQ(log.hostLines(),
                  (Lines{line("read_files " + path), readSize, readSize, line("end_files " + path)}));
    }
    log.clear();
    EXPECT_EQ(fread_file(missing.c_str(), size), nullptr);
    EXPECT_EQ(size, 0);
    const int address = static_cast<int>(reinterpret_cast<std::intptr_t>(missing.c_str()));
    EXPECT_EQ(log.hostLines(),
              (Lines{line("read_files " + missing), line(test::format("not find path %d", address), "ERROR"),
                     line("end_files " + missing)}));
    for (const char* bad : {"", "/nowhere/dump", "/dev/full"}) {
        EXPECT_FALSE(saveFile(bad, {{"abc", 3}})) << bad;
    }
}

// New, and one that others could read; through no link, which somebody may have laid.
TEST(SaveFile, IsTheProcessesOwn) {
    namespace fs = std::filesystem;
    const test::TuningDir dir;
    const string path = dir.path() + "/dump";
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(saveFile(path.c_str(), {{"abc", 3}}));
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write) << i;
        fs::permissions(path, fs::perms::all);
    }
    EXPECT_FALSE(saveFile(path.c_str(), {{"abc", 3}}, SIZE_MAX)) << "no file can be so long";
    fs::create_symlink("dump", path + "2");
    EXPECT_FALSE(saveFile((path + "2").c_str(), {{"longer", 6}}));
    EXPECT_EQ(fs::file_size(path), 3U);
}

// A file that ends inside its third float, with numbers that are none. Longer ones: TuningSetTest.
TEST(ReadFloats, KeepsWhatTheFileDoesNotHold) {
    const test::TuningDir dir;
    const float odd[] = {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity(), 3};
    dir.write("lut", string(reinterpret_cast<const char*>(odd), 11));
    std::vector<float> got(4, -7.0F);
    EXPECT_TRUE(readFloats((dir.path() + "/lut").c_str(), got.data(), 4));
    EXPECT_EQ(got, (std::vector<float>{0, 0, -7, -7}));
    EXPECT_FALSE(readFloats((dir.path() + "/none").c_str(), got.data(), 4));
    // More than one block of the reader's.
    dir.writeFloats("lut", std::vector<float>(600, 2.5F));
    got.resize(700, -7.0F);
    EXPECT_TRUE(readFloats((dir.path() + "/lut").c_str(), got.data(), 700));
    EXPECT_TRUE(got[0] == 2.5F && got[599] == 2.5F && got[600] == -7.0F);
}

}  // namespace
