// `huevance tuning check` over any tuning directory: the input is the files, one after another, separated by
// lines of "--". Whatever they hold, the check says something printable about lines that there are, and has
// nothing left to mend after it mended.
#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "fuzz/Input.h"
#include "tests/support/TuningDir.h"
#include "tools/tuning/TuningFiles.h"
#include "tools/tuning/check/Check.h"

namespace {

using fuzz::require;

// A file that the input does not have is missing.
constexpr std::array kFiles = {"platformSet.ini", "photoSet.ini", "frameSet.ini", "param0.ini", "param1.ini",
                               "curveLut0",       "CurveLut",     "colorLut0",    "ColorLut",   "look0.json"};
constexpr std::size_t kText = 5;  // the first ones
constexpr std::string_view kSeparator = "\n--\n";
// Of tables: right, short, as bytes, as doubles, and of two tables.
constexpr std::array<std::size_t, 8> kSizes = {1024, 49152, 1000, 256, 2048, 12288, 98304, 0};

// An input is shorter than a table: its bytes again and again, to a size that the first one chooses.
std::string tableOf(const std::string& pattern) {
    std::string bytes;
    const std::size_t size =
        pattern.empty() ? 0 : kSizes[static_cast<unsigned char>(pattern[0]) % kSizes.size()];
    while (bytes.size() < size) {
        bytes += pattern;
    }
    return size == 0 ? pattern : bytes.substr(0, size);
}

void writeFiles(const test::TuningDir& dir, const std::string& input) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < kFiles.size(); ++i) {
        if (at > input.size()) {
            dir.remove(kFiles[i]);
            continue;
        }
        const std::size_t end = std::min(input.find(kSeparator, at), input.size());
        const std::string bytes = input.substr(at, end - at);
        dir.write(kFiles[i], i < kText || i + 1 == kFiles.size() ? bytes : tableOf(bytes));
        at = end + kSeparator.size();
    }
}

std::string all(const tool::Findings& findings, const test::TuningDir& dir) {
    std::string text;
    const tool::TuningFiles files(dir.path());
    for (const tool::Finding& finding : findings) {
        require(std::any_of(tool::checkRules().begin(), tool::checkRules().end(),
                            [&](const tool::Rule& rule) { return std::string(rule.number) == finding.rule; }),
                "an unknown rule");
        const std::string* bytes = files.bytes(finding.file);
        const auto lines = bytes == nullptr ? 0 : std::count(bytes->begin(), bytes->end(), '\n') + 1;
        require(!finding.line || (*finding.line >= 1 && *finding.line <= lines), "a line that is not there");
        text += textOf(finding) + "\n";
    }
    for (const char c : text) {
        require(c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7f'),
                "a character that cannot be printed");
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static test::TuningDir dir;
    writeFiles(dir, std::string(reinterpret_cast<const char*>(data), size));
    for (const tool::CheckedMode mode : {tool::CheckedMode::kPhoto, tool::CheckedMode::kFrame}) {
        all(tool::checkTuning(dir.path(), {.size = tool::Size{64, 48}, .mode = mode, .backEnd = "OGL"}), dir);
    }
    const std::string before = all(tool::checkTuning(dir.path()), dir);
    const bool mended = !tool::fixTuning(dir.path()).empty();
    const std::string after = all(tool::checkTuning(dir.path()), dir);
    require(mended || before == after, "something was mended without a word");
    require(tool::fixTuning(dir.path()).empty(), "something is left to mend");
    fuzz::closeLeftOpen();
    return 0;
}
