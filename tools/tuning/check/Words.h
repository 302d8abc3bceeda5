// Names and lines as a person meant them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/tuning/IniDocument.h"

namespace tool {

std::string trimmed(std::string_view text);
std::string lowered(std::string_view text);
// Insertions, deletions, replacements and swaps of neighbours that make `a` of `b`, whatever the case.
std::size_t typosBetween(std::string_view a, std::string_view b);
// Whether `text` may be `name` mistyped: in another case, or with a typo for every four characters.
bool isMistyped(std::string_view text, std::string_view name);

// One line of an INI file as a person reads it.
struct MeantLine {
    enum class Kind { kBlank, kComment, kHeader, kKey, kOther };
    int line = 0;  // from 1
    Kind kind = Kind::kBlank;
    std::string section;  // of the header at or above it, without blanks
    std::string name;     // of a key
    std::string value;    // of a key, without blanks around it
};
std::vector<MeantLine> meantLines(const IniDocument& document);

// The text with "\xNN" for what cannot be printed; other bytes than ASCII's stay unless they are asked for.
std::string printable(std::string_view text, bool asciiAlone = false);
// Text from the file, in quotes; what cannot be printed as "\xNN", a long text with "..." in it.
std::string inQuotes(std::string_view text);
// "a, b and c"
std::string listed(const std::vector<std::string>& words);

}  // namespace tool
