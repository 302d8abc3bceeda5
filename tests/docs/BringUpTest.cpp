// docs/bringup.md lists every error line that the library can log, and no other.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "tests/support/Files.h"

namespace {

namespace fs = std::filesystem;
using std::string;

const fs::path kRoot = HUEVANCE_SOURCE_DIR;

// All sources, with literals that go on in the next line joined.
string sources() {
    string all;
    for (const char* folder : {"jni", "core", "cpu", "neon", "gpu", "ogl"}) {
        for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
            const string suffix = entry.path().extension().string();
            all += suffix == ".cpp" || suffix == ".h" ? test::readFile(entry.path()) : "";
        }
    }
    return std::regex_replace(all, std::regex("\"\\s*\n\\s*\""), "");
}

// The longest part of a format without conversions, escapes, and who says it: what is there to look for.
string landmark(const string& format) {
    static const std::regex kVariable(
        "%[0-9.]*[a-z]+|\\\\n|\\[[^\\]]*\\] ?|CHuevance[A-Za-z_]*: |[A-Za-z]+ error: ");
    string longest;
    for (std::sregex_token_iterator part(format.begin(), format.end(), kVariable, -1), end; part != end;
         ++part) {
        longest = part->length() > static_cast<std::ptrdiff_t>(longest.size()) ? part->str() : longest;
    }
    const std::size_t first = longest.find_first_not_of(' ');
    return first == string::npos ? "" : longest.substr(first, longest.find_last_not_of(' ') + 1 - first);
}

TEST(BringUp, ListsEveryErrorLine) {
    const string page = test::readFile(kRoot / "docs/bringup.md");
    const string code = sources();
    static const std::regex kCall("(?:LOG_ERROR|LOG_MALLOC_ERROR|logError)\\(\\s*\"((?:[^\"\\\\]|\\\\.)*)\"");
    int seen = 0;
    for (std::sregex_iterator call(code.begin(), code.end(), kCall), end; call != end; ++call) {
        const string text = landmark((*call)[1]);
        if (text.size() > 2) {
            ++seen;
            EXPECT_NE(page.find(text), string::npos) << "no cause for: " << (*call)[1];
        }
    }
    EXPECT_GT(seen, 80);
}

TEST(BringUp, ListsNoOther) {
    const string page = test::readFile(kRoot / "docs/bringup.md");
    const string code = sources();
    static const std::regex kRow("\n\\| (`[^|]*`) \\|"), kText("`([^`]*)`");
    int seen = 0;
    for (std::sregex_iterator row(page.begin(), page.end(), kRow), end; row != end; ++row) {
        const string cell = (*row)[1];
        for (std::sregex_iterator text(cell.begin(), cell.end(), kText); text != end; ++text) {
            ++seen;
            EXPECT_NE(code.find(landmark((*text)[1])), string::npos) << "nobody logs: " << (*text)[1];
        }
    }
    EXPECT_GT(seen, 80);
}

}  // namespace
