// The tool's reading of INI files against the library's own, over random files, and files replaced together.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "jni/algocommon/IniReader.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"
#include "tools/ToolError.h"
#include "tools/tuning/FileChanges.h"
#include "tools/tuning/IniDocument.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using tool::IniDocument;
using tool::IniLookup;

// What the library makes of a file.
class Library {
public:
    Library() : m_firstFree(dup(STDERR_FILENO)) { close(m_firstFree); }

    struct Result {
        bool found = false;
        bool stopped = false;  // at a line without "="
        string value;
        int integer = -99;
        float number = -99.0F;
        std::vector<int> list;
    };
    Result read(const string& bytes, const string& section, const string& key) {
        m_dir.write("file.ini", bytes);
        const string path = m_dir.path() + "/file.ini";
        m_log.clear();
        char text[kIniLineLength] = {};
        Result result;
        result.found = readIniKeyStr(section.c_str(), key.c_str(), path.c_str(), text) == 0;
        result.stopped = !m_log.lines().empty();
        result.value = text;
        findIniInt(section.c_str(), key.c_str(), path.c_str(), &result.integer);
        findIniFloat(section.c_str(), key.c_str(), path.c_str(), &result.number);
        int list[20];
        int count = 0;
        findIniInts(section.c_str(), key.c_str(), path.c_str(), list, &count, std::size(list));
        result.list.assign(list, list + count);
        close_range(static_cast<unsigned>(m_firstFree), ~0U, 0);  // a search that stops leaves its file open
        return result;
    }

private:
    test::TuningDir m_dir;
    test::LogCapture m_log;
    int m_firstFree;
};

class RandomFile {
public:
    explicit RandomFile(unsigned seed) : m_random(seed) {}

    std::size_t below(std::size_t end) { return m_random() % end; }
    string bytes() {
        static const std::vector<string> kPieces = [] {
            std::vector<string> pieces = {"[s]",  "[s]",    "[t]",   "[]",   "k=",           "k=",
                                          "key=", "pathk=", "=",     "#",    "#k=",          " ",
                                          "\t",   "\r",     "x",     "K",    "\xEF\xBB\xBF", "/",
                                          "//",   "1/2/3/", "0/1/2", "1,5",  "0.25",         "-7",
                                          "1e3",  "inf",    "nan",   "0x10", "2147483648",   "-99999999999",
                                          "50%"};
            pieces.insert(pieces.end(),
                          {string(1, '\0'), string(1018, ' '), string(124, '0'), string(126, ' ')});
            return pieces;
        }();
        static const std::vector<string> kEnds = {"\n", "\r\n", "\r\n", "\n\n", "\r", ""};
        string text = below(2) == 0 ? "[s]\r\n" : "";
        for (std::size_t line = 0, lines = below(9); line < lines; ++line) {
            for (std::size_t piece = 0, pieces = 1 + below(4); piece < pieces; ++piece) {
                text += kPieces[below(kPieces.size())];
            }
            text += kEnds[below(kEnds.size())];
        }
        return text;
    }

private:
    std::mt19937 m_random;
};

// The file up to the end of line `last`.
string head(const IniDocument& document, int last) {
    const auto next = static_cast<std::size_t>(last);
    return next < document.lines().size() ? document.bytes().substr(0, document.lines()[next].begin)
                                          : document.bytes();
}

TEST(IniDocument, ReadsAsTheLibraryDoes) {
    RandomFile random(1);
    Library library;
    int seen[4] = {};
    for (int i = 0; i < 6000; ++i) {
        const string bytes = random.bytes();
        const IniDocument document(bytes);
        const string section = i % 5 == 0 ? "t" : "s", key = i % 7 == 0 ? "key" : i % 11 == 0 ? "" : "k";
        SCOPED_TRACE(testing::PrintToString(bytes) + " " + section + " " + key);
        const Library::Result expected = library.read(bytes, section, key);
        const IniLookup actual = document.find(section, key);
        ++seen[static_cast<int>(actual.status)];
        ASSERT_EQ(actual.found(), expected.found);
        ASSERT_EQ(actual.status == IniLookup::Status::kStopped, expected.stopped);
        ASSERT_EQ(actual.value, expected.value);
        ASSERT_EQ(document.integer(section, key).value_or(-99), expected.integer);
        ASSERT_THAT(document.number(section, key).value_or(-99.0F),
                    testing::NanSensitiveFloatEq(expected.number));
        ASSERT_EQ(tool::iniInts(actual.value, 20), expected.list);
        // The line: without it the library's search ends otherwise.
        if (actual.found() || expected.stopped) {
            const Library::Result with = library.read(head(document, actual.line), section, key);
            const Library::Result without = library.read(head(document, actual.line - 1), section, key);
            ASSERT_TRUE(with.found == expected.found && with.stopped == expected.stopped);
            ASSERT_FALSE(without.found || without.stopped);
        }
    }
    EXPECT_THAT(seen, testing::Each(testing::Gt(200)));  // every way to end was met often
}

TEST(IniDocument, ChangesOneValueAndNoOtherByte) {
    RandomFile random(2);
    Library library;
    for (int i = 0; i < 3000; ++i) {
        const string bytes = random.bytes();
        IniDocument document(bytes);
        SCOPED_TRACE(testing::PrintToString(bytes));
        const string before = document.find("s", "k").value;
        const string value = i % 3 == 0 ? "" : i % 3 == 1 ? " a=b " : "4/5/";
        document.set("s", "k", value);
        const string read = library.read(document.bytes(), "s", "k").value;
        ASSERT_TRUE(read == value || read == value + "\r") << testing::PrintToString(document.bytes());
        const string& after = document.bytes();
        const auto [left, ignored] = std::mismatch(bytes.begin(), bytes.end(), after.begin(), after.end());
        const auto kept = left - bytes.begin();
        const auto tail =
            std::mismatch(bytes.rbegin(), bytes.rend() - kept, after.rbegin(), after.rend()).first;
        const auto gone = static_cast<std::size_t>(bytes.rend() - kept - tail);
        if (bytes.find('\0') == string::npos && bytes.size() < 1000) {  // the reader's value ends there
            ASSERT_LE(gone, before.size());
        }

        IniDocument list(bytes);
        const std::size_t index = list.append("s", "k", "77");
        if (index < 20 && list.bytes().size() < 1000) {  // a longer line would be cut
            const std::vector<int> elements = library.read(list.bytes(), "s", "k").list;
            ASSERT_EQ(elements.size(), index + 1) << testing::PrintToString(list.bytes());
            ASSERT_EQ(elements.back(), 77);
        }
    }
}

struct FileChangesTest : testing::Test {
    test::TuningDir dir;

    // Every name, also of what was forgotten, with its contents.
    std::map<string, string> all() const { return test::filesIn(dir.path()); }
};

TEST_F(FileChangesTest, AllAreReplacedAndOnlyWhatChanges) {
    const string outside = dir.path() + "/../" + fs::path(dir.path()).filename().string() + "_outside";
    std::ofstream(outside) << "outside";
    for (const char* name : {"same", "changed", "gone"}) {
        dir.write(name, "old");
    }
    fs::create_symlink(outside, dir.path() + "/link");
    fs::permissions(dir.path() + "/changed", fs::perms(0640));
    const auto time = fs::last_write_time(dir.path() + "/same") - std::chrono::hours(1);
    fs::last_write_time(dir.path() + "/same", time);

    tool::FileChanges changes(dir.path());
    changes.write("same", string("old"));
    changes.write("changed", string(100000, 'x'));
    changes.write("added", string());
    changes.write("link", string("inside"));
    changes.remove("gone");
    changes.remove("never there");
    EXPECT_EQ(changes.commit(), (std::vector<string>{"added", "changed", "gone", "link"}));
    EXPECT_EQ(all(),
              (std::map<string, string>{
                  {"added", ""}, {"changed", string(100000, 'x')}, {"link", "inside"}, {"same", "old"}}));
    EXPECT_EQ(fs::last_write_time(dir.path() + "/same"), time);
    EXPECT_EQ(fs::status(dir.path() + "/changed").permissions(), fs::perms(0640));
    EXPECT_EQ(test::readFile(outside), "outside");
    fs::remove(outside);
}

TEST_F(FileChangesTest, AFailureLeavesEverythingAsItWas) {
    dir.write("a", "old a");
    dir.write("b", "old b");
    fs::create_directory(dir.path() + "/directory");
    const std::map<string, string> before = all();
    // A file in a directory's place, a removal of one, a disk that is full: all fail after others are
    // prepared or done.
    for (const string failing : {"directory", "removed directory", "too large", "sub/file"}) {
        SCOPED_TRACE(failing);
        tool::FileChanges changes(dir.path());
        changes.write("a", string("new"));
        changes.remove("b");
        changes.write("c", string("new"));
        if (failing == "removed directory") {
            changes.remove("directory");
        } else {
            changes.write(failing, string(failing == "too large" ? 5000 : 5, 'x'));
        }
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small = {4096, limit.rlim_max};
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
        EXPECT_THROW(changes.commit(), tool::ToolError);
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(all(), before);
    }
    EXPECT_THROW(tool::FileChanges(dir.path() + "/missing").commit(), tool::ToolError);
}

}  // namespace
