#include "tools/tuning/check/Words.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace tool {

std::string trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string_view::npos
               ? std::string()
               : std::string(text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin));
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return result;
}

std::size_t typosBetween(std::string_view first, std::string_view second) {
    const std::string a = lowered(first), b = lowered(second);
    // Rows of the usual table; `before` is two rows up, for swaps.
    std::vector<std::size_t> before, above(b.size() + 1), row(b.size() + 1);
    std::iota(above.begin(), above.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        before = above;
        above = row;
    }
    return above[b.size()];
}

bool isMistyped(std::string_view text, std::string_view name) {
    const std::size_t allowed = std::max<std::size_t>(name.size() / 4, 1);
    // A long line is no name, and would take long to compare.
    return text.size() <= name.size() + allowed && name.size() <= text.size() + allowed &&
           typosBetween(text, name) <= allowed;
}

namespace {

MeantLine meantLine(std::string text, int number, const std::string& section) {
    MeantLine line = {number, MeantLine::Kind::kOther, section, {}, {}};
    if (number == 1 && text.rfind("\xEF\xBB\xBF", 0) == 0) {
        text.erase(0, 3);
    }
    const std::string bare = trimmed(text);
    const std::size_t equals = bare.find('=');
    if (bare.empty()) {
        line.kind = MeantLine::Kind::kBlank;
    } else if (bare[0] == '#' || bare[0] == ';' || bare.rfind("//", 0) == 0) {
        line.kind = MeantLine::Kind::kComment;
    } else if (bare[0] == '[' || (bare.back() == ']' && equals == std::string::npos)) {
        line.kind = MeantLine::Kind::kHeader;
        const std::size_t begin = bare[0] == '[' ? 1 : 0;
        line.section = trimmed(bare.substr(begin, bare.find(']') - begin));
    } else if (equals != std::string::npos) {
        line.kind = MeantLine::Kind::kKey;
        line.name = trimmed(bare.substr(0, equals));
        line.value = trimmed(bare.substr(equals + 1));
    }
    return line;
}

}  // namespace

std::vector<MeantLine> meantLines(const IniDocument& document) {
    std::vector<MeantLine> lines;
    std::string section;
    for (const IniDocument::Line& line : document.lines()) {
        lines.push_back(
            meantLine(std::string(document.text(line)), static_cast<int>(lines.size()) + 1, section));
        section = lines.back().section;
    }
    return lines;
}

std::string printable(std::string_view text, bool asciiAlone) {
    std::string result;
    for (const char c : text) {
        if ((c >= ' ' && c <= '~') || (!asciiAlone && static_cast<unsigned char>(c) >= 0x80)) {
            result += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof(code), "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += code;
        }
    }
    return result;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t kMost = 60;
    return "\"" + printable(text.substr(0, kMost), true) + (text.size() > kMost ? "...\"" : "\"");
}

std::string listed(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == words.size() ? " and " : ", ") + words[i];
    }
    return text;
}

}  // namespace tool
