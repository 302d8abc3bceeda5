// The reader of INI files, oddity by oddity. Tuning files are written for these, so none may change.
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <iterator>

#include "jni/algocommon/IniReader.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;

// Open descriptors of this process.
long openFiles() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class IniReader : public testing::Test {
protected:
    const char* write(const string& text) {
        m_dir.write("file.ini", text);
        return m_path.c_str();
    }
    test::TuningDir m_dir;
    string m_path = m_dir.path() + "/file.ini";
    test::LogCapture m_log;
};

constexpr const char* kNone = nullptr;  // no such key
constexpr const char* kError =
    "error";  // nor is it looked for any further: a line is logged, the file stays open
const string kA(1021, 'a');

const struct StrCase {
    const char* what;
    string file;
    const char* value;  // of the key "k" in section "s"
    const char* key = "k";
} kStrCases[] = {
    {"carriage return kept", "[s]\nk=CPU\r\n", "CPU\r"},
    {"last line lacks its line feed", "[s]\nk=v", "v"},
    {"spaces kept, first = counts", "[s]\nk = v=w \n", " v=w "},
    {"empty value", "[s]\nk=\n", ""},
    {"first match counts", "[s]\nk=1\nk=2\n", "1"},
    {"key is a substring of an earlier key", "[s]\ncachepath=/x\npath=/y\n", "/x", "path"},
    {"key occurs in an earlier value", "[s]\nother=path\npath=/y\n", "path", "path"},
    {"keys are case-sensitive", "[s]\nK=1\n", kNone},
    {"sections are case-sensitive", "[S]\nk=1\n", kNone},
    {"text after the header's bracket", "[s] x\nk=1\n", "1"},
    {"longer section name", "[sx]\nk=1\n[s]\nk=2\n", "2"},
    {"header must begin its line", " [s]\nk=1\n", kNone},
    {"header line is not looked at again", "[s]k=1\nk=2\n", "2"},
    {"whatever stands before the section", "k=0\n\n[a]\nk=1\n[s]\nk=2\n", "2"},
    {"blank line inside", "[s]\n\nk=1\n", kError},
    {"carriage return alone inside", "[s]\r\n\r\nk=1\r\n", kError},
    {"blank line behind the key", "[s]\nk=1\n\n", "1"},
    {"next section comes first", "[s]\nx=1\n[b]\nk=2\n", kError},
    {"comment with =", "[s]\n#k=1\nk=2\n", "2"},
    {"comment without =", "[s]\n# k\nk=2\n", kError},
    {"# in the second column is no comment", "[s]\n #k=1\n", "1"},
    {"NUL ends a line's text", string("[s]\nk=a\0b\nz=2\n", 14), "a"},
    {"line behind a NUL", string("[s]\nk=a\0b\nz=2\n", 14), "2", "z"},
    {"line that is a NUL", string("[s]\n\0k=1\nk=2\n", 13), kError},
    {"no such key", "[s]\na=1\n", kNone},
    {"header at the end of the file", "[s]", kNone},
    {"empty file", "", kNone},
    {"longest line", "[s]\nk=" + kA + "\nz=2\n", kA.c_str()},
    {"longer line is cut", "[s]\nk=" + kA + kA + kA + "\nz=2\n", kA.c_str()},
    {"rest of a long line is no line", "[s]\nx=" + kA + "k=1\nk=2\n", "2"},
    {"= behind the cut", "[s]\naa" + kA + "k=1\nk=2\n", kError},
};

TEST_F(IniReader, StringOfAKey) {
    for (const StrCase& c : kStrCases) {
        SCOPED_TRACE(c.what);
        const char* path = write(c.file);
        m_log.clear();
        char value[kIniLineLength] = "before";
        const long before = openFiles();
        const bool found = c.value != kNone && c.value != kError;
        EXPECT_EQ(readIniKeyStr("s", c.key, path, value), found ? 0 : -1);
        EXPECT_STREQ(value, found ? c.value : "before");
        const test::LogLine line = {test::kError, test::kVersionTag, "ini file not find key word!"};
        EXPECT_EQ(m_log.lines(), std::vector<test::LogLine>(c.value == kError ? 1 : 0, line));
        EXPECT_EQ(openFiles() - before, c.value == kError ? 1 : 0) << "files left open";
    }
}

TEST_F(IniReader, NullArgumentsAndMissingFile) {
    const char* path = write("[s]\nk=1\n");
    char value[kIniLineLength] = "before";
    EXPECT_EQ(readIniKeyStr(nullptr, "k", path, value), -1);
    EXPECT_EQ(readIniKeyStr("s", nullptr, path, value), -1);
    EXPECT_EQ(readIniKeyStr("s", "k", nullptr, value), -1);
    EXPECT_EQ(readIniKeyStr("s", "k", path, nullptr), -1);
    EXPECT_EQ(readIniKeyStr("s", "k", "/nowhere/file.ini", value), -1);
    const string null = "readIniKeyStr input params can not be NULL!";
    EXPECT_EQ(m_log.texts(test::kError),
              (std::vector<string>{null, null, null, null, "can't open ini file!"}));
    EXPECT_STREQ(value, "before");
    // Numbers that are not there are zero, and success.
    for (const char* file : {path, "/nowhere/file.ini"}) {
        int integer = 99, counts[] = {99, 99};
        float number = 99.0F;
        EXPECT_EQ(readIniKeyInt("s", "x", file, &integer) + readIniKeyFloat("s", "x", file, &number), 0);
        EXPECT_TRUE(integer == 0 && number == 0.0F);
        EXPECT_EQ(readIniKeyIntArr("s", "x", file, &integer, &counts[0]), 0);
        EXPECT_EQ(readIniKeyFloatArr("s", "x", file, &number, &counts[1]), 0);
        EXPECT_TRUE(counts[0] == 0 && counts[1] == 0);
        // Or as they were, and failure.
        integer = counts[0] = 99;
        number = 99.0F;
        EXPECT_EQ(findIniInt("s", "x", file, &integer) + findIniFloat("s", "x", file, &number), -2);
        EXPECT_EQ(findIniInts("s", "x", file, &integer, &counts[0], 1), -1);
        EXPECT_TRUE(integer == 99 && number == 99.0F && counts[0] == 99);
    }
}

TEST_F(IniReader, Numbers) {
    // A value is cut at 127 characters.
    const string blanks(126, ' ');
    const struct {
        string text;
        int asInt;
        float asFloat;
    } cases[] = {
        // clang-format off
        {"12\r", 12, 12}, {" \t7", 7, 7}, {"-3x", -3, -3}, {"+4", 4, 4}, {"010", 10, 10}, {"1,5", 1, 1},
        {"0.75\r", 0, 0.75F}, {"2.5e1", 2, 25}, {"off", 0, 0}, {"", 0, 0}, {blanks + "59", 5, 5}, {blanks + " 5", 0, 0},
        {"99999999999", INT_MAX, 1e11F}, {"-99999999999", INT_MIN, -1e11F}, {"99999999999999999999999", INT_MAX, 1e23F},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const char* path = write("[s]\nk=" + c.text + "\n");
        int integer = 99;
        float number = 99.0F;
        EXPECT_EQ(readIniKeyInt("s", "k", path, &integer), 0);
        EXPECT_EQ(readIniKeyFloat("s", "k", path, &number), 0);
        EXPECT_EQ(integer, c.asInt);
        EXPECT_EQ(number, c.asFloat);
    }
}

TEST_F(IniReader, Lists) {
    const struct {
        string text;
        std::vector<float> elements;
    } cases[] = {
        // clang-format off
        {"1/2/3/", {1, 2, 3}}, {"10/20/30", {10, 20}}, {"10/20/30\r", {10, 20}}, {"10/20/30/\r", {10, 20, 30}},
        {"-1/ 2/3x/", {-1, 2, 3}}, {"1 2/3,4/", {1, 3}}, {"/5//", {0, 5, 0}}, {"7", {}}, {"", {}},
        {string(126, ' ') + "59/6/", {5, 6}},                 // an element is cut at 127 characters
        {string(1200, '/'), std::vector<float>(1021, 0.0F)},  // and a line at 1023
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const char* path = write("[s]\nk=" + c.text + "\n");
        int integers[kIniLineLength];
        float numbers[kIniLineLength];
        int count = -1;
        EXPECT_EQ(readIniKeyFloatArr("s", "k", path, numbers, &count), 0);
        ASSERT_EQ(count, static_cast<int>(c.elements.size()));
        EXPECT_EQ(std::vector<float>(numbers, numbers + count), c.elements);
        EXPECT_EQ(readIniKeyIntArr("s", "k", path, integers, &count), 0);
        ASSERT_EQ(count, static_cast<int>(c.elements.size()));
        EXPECT_EQ(std::vector<float>(integers, integers + count), c.elements);
    }
    int count = -1, values[4] = {-7, -7, -7, -7};
    float fractions[2];
    const char* path = write("[s]\nk=0.5/-1.25e1/\n");
    readIniKeyFloatArr("s", "k", path, fractions, &count);
    EXPECT_TRUE(fractions[0] == 0.5F && fractions[1] == -12.5F);
    readIniKeyIntArr("s", "k", path, values, &count);
    EXPECT_EQ(std::vector<int>(values, values + 4), (std::vector<int>{0, -1, -7, -7}));
    // A bounded list never writes past its array.
    EXPECT_EQ(findIniInts("s", "k", write("[s]\nk=1/2/3/4/5/\n"), values, &count, 3), 0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(std::vector<int>(values, values + 4), (std::vector<int>{1, 2, 3, -7}));
}

// At most 64 pieces, and a null slot behind them while there is room.
TEST(Split, PiecesAndCount) {
    std::vector<std::pair<string, std::vector<string>>> cases = {{"a,b", {"a", "b", "-"}},
                                                                 {",a,,b,", {"a", "b", "-"}},
                                                                 {"a;b c", {"a", "b", "c", "-"}},
                                                                 {"abc", {"abc", "-"}},
                                                                 {"", {"-"}},
                                                                 {",,,", {"-"}}};
    for (const int fields : {62, 63, 64, 65, 200}) {
        cases.emplace_back();
        for (int i = 0; i < std::min(fields, 64); ++i) {
            cases.back().second.push_back(std::to_string(i));
        }
        for (int i = 0; i < fields; ++i) {
            cases.back().first += std::to_string(i) + ",";
        }
        cases.back().second.resize(static_cast<std::size_t>(std::min(fields + 1, 64)), "-");
    }
    for (auto& [text, pieces] : cases) {
        SCOPED_TRACE(text);
        char sentinel[] = "untouched";
        std::vector<char*> slots(70, sentinel);
        ASSERT_EQ(split(text.data(), slots.data(), ",; "), static_cast<int>(pieces.size()));
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            EXPECT_EQ(slots[i] != nullptr ? slots[i] : "-", pieces[i]);
        }
        EXPECT_EQ(slots[pieces.size()], sentinel);
    }
}

}  // namespace
