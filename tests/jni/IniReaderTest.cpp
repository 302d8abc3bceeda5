// The reader of INI files, oddity by oddity. Tuning files are written for these, so none may change.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <iterator>

#include "jni/algocommon/IniReader.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;

constexpr const char* kNoKeyWord = "ini file not find key word!";

// Open descriptors of this process.
long openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

class IniFile {
  public:
    explicit IniFile(const string& text) : m_path(m_dir.path() + "/file.ini") {
        m_dir.write("file.ini", text);
    }
    const char* path() const { return m_path.c_str(); }

  private:
    test::TuningDir m_dir;
    string m_path;
};

struct StrCase {
    const char* what;
    string file;
    string section;
    string key;
    int result;
    string value;       // of a found key
    const char* error;  // the line logged, or null; the file then stays open
};

const StrCase kStrCases[] = {
    {"carriage return kept", "[platform]\nphoto=CPU\r\n", "platform", "photo", 0, "CPU\r", nullptr},
    {"last line lacks its line feed", "[s]\nk=v", "s", "k", 0, "v", nullptr},
    {"spaces kept", "[s]\nk = v \n", "s", "k", 0, " v ", nullptr},
    {"first = counts", "[s]\nk=a=b\n", "s", "k", 0, "a=b", nullptr},
    {"empty value", "[s]\nk=\n", "s", "k", 0, "", nullptr},
    {"first match counts", "[s]\nk=1\nk=2\n", "s", "k", 0, "1", nullptr},
    {"key is a substring of an earlier key", "[c]\ncachepath=/x\npath=/y\n", "c", "path", 0, "/x", nullptr},
    {"key occurs in an earlier value", "[c]\nother=path\npath=/y\n", "c", "path", 0, "path", nullptr},
    {"keys are case-sensitive", "[s]\nK=1\n", "s", "k", -1, "", nullptr},
    {"sections are case-sensitive", "[S]\nk=1\n", "s", "k", -1, "", nullptr},
    {"text after the header's bracket", "[s] x\nk=1\n", "s", "k", 0, "1", nullptr},
    {"longer section name", "[sx]\nk=1\n[s]\nk=2\n", "s", "k", 0, "2", nullptr},
    {"header must begin its line", " [s]\nk=1\n", "s", "k", -1, "", nullptr},
    {"header line is not looked at again", "[s]k=1\nk=2\n", "s", "k", 0, "2", nullptr},
    {"keys before the section", "k=0\n[a]\nk=1\n[b]\nk=2\n", "b", "k", 0, "2", nullptr},
    {"blank lines before the section", "\n\n[s]\nk=1\n", "s", "k", 0, "1", nullptr},
    {"blank line inside", "[s]\n\nk=1\n", "s", "k", -1, "", kNoKeyWord},
    {"carriage return alone inside", "[s]\r\n\r\nk=1\r\n", "s", "k", -1, "", kNoKeyWord},
    {"blank line behind the key", "[s]\nk=1\n\n", "s", "k", 0, "1", nullptr},
    {"next section comes first", "[a]\nx=1\n[b]\nk=2\n", "a", "k", -1, "", kNoKeyWord},
    {"comment with =", "[s]\n#k=1\nk=2\n", "s", "k", 0, "2", nullptr},
    {"comment without =", "[s]\n# k\nk=2\n", "s", "k", -1, "", kNoKeyWord},
    {"# in the second column is no comment", "[s]\n #k=1\n", "s", "k", 0, "1", nullptr},
    {"NUL ends a line's text", string("[s]\nk=a\0b\nz=2\n", 14), "s", "k", 0, "a", nullptr},
    {"line behind a NUL", string("[s]\nk=a\0b\nz=2\n", 14), "s", "z", 0, "2", nullptr},
    {"line that is a NUL", string("[s]\n\0k=1\nk=2\n", 13), "s", "k", -1, "", kNoKeyWord},
    {"no such key", "[s]\na=1\n", "s", "k", -1, "", nullptr},
    {"no such section", "[a]\nk=1\n", "s", "k", -1, "", nullptr},
    {"header at the end of the file", "[s]", "s", "k", -1, "", nullptr},
    {"empty file", "", "s", "k", -1, "", nullptr},
    {"longest line", "[s]\nk=" + string(1021, 'a') + "\nz=2\n", "s", "k", 0, string(1021, 'a'), nullptr},
    {"longer line is cut", "[s]\nk=" + string(5000, 'a') + "\nz=2\n", "s", "k", 0, string(1021, 'a'),
     nullptr},
    {"rest of a long line is no line", "[s]\nx=" + string(1021, 'a') + "k=1\nk=2\n", "s", "k", 0, "2",
     nullptr},
    {"= behind the cut", "[s]\n" + string(1023, 'a') + "k=1\nk=2\n", "s", "k", -1, "", kNoKeyWord},
    {"overlong section", "[" + string(300, 's') + "]\nk=1\n", string(300, 's'), "k", 0, "1", nullptr},
};

TEST(IniReader, StringOfAKey) {
    for (const StrCase& c : kStrCases) {
        SCOPED_TRACE(c.what);
        const IniFile file(c.file);
        const test::LogCapture log;
        char value[kIniLineLength] = "before";
        const long before = openFiles();
        EXPECT_EQ(readIniKeyStr(c.section.c_str(), c.key.c_str(), file.path(), value), c.result);
        EXPECT_EQ(string(value), c.result == 0 ? c.value : "before");
        std::vector<test::LogLine> lines;
        if (c.error != nullptr) {
            lines.push_back({test::kError, test::kVersionTag, c.error});
        }
        EXPECT_EQ(log.lines(), lines);
        EXPECT_EQ(openFiles() - before, c.error != nullptr ? 1 : 0) << "files left open";
    }
}

TEST(IniReader, NullArgumentsAndMissingFile) {
    const IniFile file("[s]\nk=1\n");
    char value[kIniLineLength] = "before";
    const test::LogCapture log;
    EXPECT_EQ(readIniKeyStr(nullptr, "k", file.path(), value), -1);
    EXPECT_EQ(readIniKeyStr("s", nullptr, file.path(), value), -1);
    EXPECT_EQ(readIniKeyStr("s", "k", nullptr, value), -1);
    EXPECT_EQ(readIniKeyStr("s", "k", file.path(), nullptr), -1);
    EXPECT_EQ(readIniKeyStr("s", "k", "/nowhere/file.ini", value), -1);
    const string null = "readIniKeyStr input params can not be NULL!";
    EXPECT_EQ(log.texts(test::kError), (std::vector<string>{null, null, null, null, "can't open ini file!"}));
    EXPECT_STREQ(value, "before");
}

TEST(IniReader, Numbers) {
    const struct {
        string text;
        int asInt;
        float asFloat;
    } cases[] = {
        {"12\r", 12, 12.0F},
        {" \t7", 7, 7.0F},
        {"-3x", -3, -3.0F},
        {"+4", 4, 4.0F},
        {"010", 10, 10.0F},
        {"0.75\r", 0, 0.75F},
        {"1,5", 1, 1.0F},
        {"2.5e1", 2, 25.0F},
        {"off", 0, 0.0F},
        {"", 0, 0.0F},
        {"99999999999", INT_MAX, 1e11F},
        {"-99999999999", INT_MIN, -1e11F},
        {"99999999999999999999999", INT_MAX, 1e23F},
        // A value is cut at 127 characters.
        {string(126, ' ') + "59", 5, 5.0F},
        {string(127, ' ') + "5", 0, 0.0F},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const IniFile file("[s]\nk=" + c.text + "\n");
        int integer = 99;
        float number = 99.0F;
        EXPECT_EQ(readIniKeyInt("s", "k", file.path(), &integer), 0);
        EXPECT_EQ(readIniKeyFloat("s", "k", file.path(), &number), 0);
        EXPECT_EQ(integer, c.asInt);
        EXPECT_EQ(number, c.asFloat);
    }
}

TEST(IniReader, MissingNumbersAreZeroAndSuccess) {
    const IniFile file("[s]\na=1\n");
    for (const char* path : {file.path(), "/nowhere/file.ini"}) {
        int integer = 99;
        float number = 99.0F;
        int count = 99;
        EXPECT_EQ(readIniKeyInt("s", "k", path, &integer), 0);
        EXPECT_EQ(readIniKeyFloat("s", "k", path, &number), 0);
        EXPECT_EQ(integer, 0);
        EXPECT_EQ(number, 0.0F);
        EXPECT_EQ(readIniKeyIntArr("s", "k", path, &integer, &count), 0);
        EXPECT_EQ(count, 0);
        count = 99;
        EXPECT_EQ(readIniKeyFloatArr("s", "k", path, &number, &count), 0);
        EXPECT_EQ(count, 0);
    }
}

TEST(IniReader, Lists) {
    const struct {
        string text;
        std::vector<float> elements;
    } cases[] = {
        {"1/2/3/", {1, 2, 3}},
        {"10/20/30", {10, 20}},
        {"10/20/30\r", {10, 20}},
        {"10/20/30/\r", {10, 20, 30}},
        {"-1/ 2/3x/", {-1, 2, 3}},
        {"1 2/3,4/", {1, 3}},
        {"/5//", {0, 5, 0}},
        {"7", {}},
        {"", {}},
        {string(126, ' ') + "59/6/", {5, 6}},                 // an element is cut at 127 characters
        {string(1200, '/'), std::vector<float>(1021, 0.0F)},  // and a line at 1023
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const IniFile file("[s]\nk=" + c.text + "\n");
        int integers[kIniLineLength];
        float numbers[kIniLineLength];
        int count = -1;
        EXPECT_EQ(readIniKeyIntArr("s", "k", file.path(), integers, &count), 0);
        ASSERT_EQ(count, static_cast<int>(c.elements.size()));
        EXPECT_EQ(std::vector<float>(integers, integers + count), c.elements);
        EXPECT_EQ(readIniKeyFloatArr("s", "k", file.path(), numbers, &count), 0);
        ASSERT_EQ(count, static_cast<int>(c.elements.size()));
        EXPECT_EQ(std::vector<float>(numbers, numbers + count), c.elements);
    }
}

TEST(IniReader, FloatListKeepsFractionsAndIntListDropsThem) {
    const IniFile file("[s]\nk=0.5/-1.25e1/\n");
    float numbers[2];
    int integers[2];
    int count = 0;
    readIniKeyFloatArr("s", "k", file.path(), numbers, &count);
    EXPECT_EQ(numbers[0], 0.5F);
    EXPECT_EQ(numbers[1], -12.5F);
    readIniKeyIntArr("s", "k", file.path(), integers, &count);
    EXPECT_EQ(integers[0], 0);
    EXPECT_EQ(integers[1], -1);
}

TEST(IniReader, BoundedListNeverWritesPastItsArray) {
    const IniFile file("[s]\nk=1/2/3/4/5/\n");
    int values[4] = {-7, -7, -7, -7};
    int count = -1;
    EXPECT_EQ(readIniKeyIntArr("s", "k", file.path(), values, &count, 3), 0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(std::vector<int>(values, values + 4), (std::vector<int>{1, 2, 3, -7}));
}

TEST(Split, PiecesAndCount) {
    const auto run = [](string text, const char* delimiters, std::vector<string>& pieces) {
        static char sentinel[] = "untouched";
        char* slots[70];
        std::fill(std::begin(slots), std::end(slots), static_cast<char*>(sentinel));
        const int written = split(text.data(), slots, delimiters);
        for (int i = 0; i < written; ++i) {
            pieces.push_back(slots[i] != nullptr ? slots[i] : "(null)");
        }
        EXPECT_EQ(slots[std::min(written, 69)], sentinel);
        return written;
    };
    const struct {
        string text;
        const char* delimiters;
        std::vector<string> pieces;  // all slots written
    } cases[] = {
        {"a,b", ",", {"a", "b", "(null)"}},
        {",a,,b,", ",", {"a", "b", "(null)"}},
        {"a;b c", " ;", {"a", "b", "c", "(null)"}},
        {"abc", ",", {"abc", "(null)"}},
        {"", ",", {"(null)"}},
        {",,,", ",", {"(null)"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        std::vector<string> pieces;
        EXPECT_EQ(run(c.text, c.delimiters, pieces), static_cast<int>(c.pieces.size()));
        EXPECT_EQ(pieces, c.pieces);
    }
    for (const int fields : {62, 63, 64, 65, 200}) {
        SCOPED_TRACE(fields);
        string text;
        for (int i = 0; i < fields; ++i) {
            text += std::to_string(i) + "/";
        }
        std::vector<string> pieces;
        EXPECT_EQ(run(text, "/", pieces), std::min(fields + 1, 64));
        EXPECT_EQ(pieces.back(), fields < 64 ? "(null)" : "63");
    }
}

}  // namespace
