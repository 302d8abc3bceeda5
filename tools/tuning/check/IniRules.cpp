// How a file's text differs from what its author meant: the library's reading of every known key is compared
// with a person's.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

#include "tools/tuning/TuningKeys.h"
#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

using Kind = TuningKey::Kind;

std::string bracketed(const std::string& section) { return "[" + section + "]"; }
std::string named(const TuningKey& key) { return key.name; }

// A number at the start of a text as the library converts it.
struct Number {
    double value = 0.0;
    std::string rest;  // behind it
    bool any = false;
};

Number numberOf(const std::string& value, Kind kind) {
    const std::string text(value.substr(0, std::min(value.find('\0'), kIniScalarMax)));
    const double converted = kind == Kind::kNumber ? static_cast<double>(iniFloat(text)) : iniInt(text);
    // How far: without the locale's help, by the characters of a number.
    std::size_t end = text.find_first_not_of(" \t\v\f\r\n");
    end = end == std::string::npos ? text.size() : end;
    const std::size_t begin = end;
    end += end < text.size() && (text[end] == '-' || text[end] == '+') ? 1 : 0;
    const std::size_t digits = end;
    const char* const allowed = kind == Kind::kNumber ? "0123456789." : "0123456789";
    end = std::min(text.find_first_not_of(allowed, end), text.size());
    if (kind == Kind::kNumber && end > digits && end < text.size() && (text[end] | 0x20) == 'e') {
        const std::size_t exponent = text.find_first_not_of("+-", end + 1);
        if (exponent != std::string::npos && std::isdigit(static_cast<unsigned char>(text[exponent])) != 0) {
            end = std::min(text.find_first_not_of("0123456789", exponent), text.size());
        }
    }
    const bool word = kind == Kind::kNumber && !std::isfinite(converted);
    const bool any = word || text.find_first_of("0123456789", begin) < end;
    return {converted, word ? std::string() : trimmed(std::string_view(text).substr(any ? end : begin)), any};
}

// Read as 0, which is what it says.
bool isOffWord(const std::string& value) {
    static const std::set<std::string> kWords = {"off", "false", "no", "none", "disabled"};
    return kWords.count(lowered(value)) != 0;
}

class IniCheck {
public:
    IniCheck(const CheckedTuning& tuning, const std::string& name, Findings& findings)
        : m_name(name),
          m_document(tuning.files.ini(name)),
          m_keys(keysOfFile(name)),
          m_meant(meantLines(m_document)),
          m_findings(findings) {}

    void run();

private:
    void add(const char* rule, Severity severity, int line, const std::string& message,
             const std::optional<std::string>& fix) {
        m_findings.push_back(
            {rule, severity, m_name, line > 0 ? std::optional(line) : std::nullopt, message, fix});
    }
    bool checkBytes();
    void checkLineEnds();
    void checkLongLines();
    bool checkSection(const std::string& section);
    void checkKey(const TuningKey& key);
    void checkShadow(const TuningKey& key, const IniLookup& lookup, const MeantLine* meant);
    void checkMissing(const TuningKey& key);
    void checkDuplicate(const TuningKey& key, const IniLookup& lookup);
    void checkValue(const TuningKey& key, const IniLookup& lookup);
    void reportStops();
    void checkUnknown();

    // Of the section, as its author meant it.
    const MeantLine* meantLine(const TuningKey& key, int after = 0) const;
    const TuningKey* knownKey(const std::string& section, const std::string& name) const;
    // Whether the picture changes when a key has another value than it was meant to have.
    bool matters(const TuningKey& key, const std::string& meant, const std::string& read) const;
    bool mattersWhenLost(const TuningKey& key) const;
    std::string lost(const std::vector<const TuningKey*>& keys) const;

    const std::string& m_name;
    const IniDocument& m_document;
    std::span<const TuningKey> m_keys;
    std::vector<MeantLine> m_meant;
    Findings& m_findings;
    std::map<int, std::vector<const TuningKey*>> m_stopped;  // by the line that hides them
    std::set<int> m_explained;                               // lines that have a finding
};

const MeantLine* IniCheck::meantLine(const TuningKey& key, int after) const {
    for (const MeantLine& line : m_meant) {
        if (line.kind == MeantLine::Kind::kKey && line.section == key.section && line.name == key.name &&
            line.line > after) {
            return &line;
        }
    }
    return nullptr;
}

const TuningKey* IniCheck::knownKey(const std::string& section, const std::string& name) const {
    const auto found = std::find_if(m_keys.begin(), m_keys.end(), [&](const TuningKey& key) {
        return section == key.section && name == key.name;
    });
    return found != m_keys.end() ? &*found : nullptr;
}

bool IniCheck::matters(const TuningKey& key, const std::string& meant, const std::string& read) const {
    if (std::string(key.section) == "save") {
        return false;
    }
    switch (key.kind) {
        case Kind::kText:
            return trimmed(meant) != trimmed(read);
        case Kind::kList:
            return iniInts(meant) != iniInts(read);
        default:
            return numberOf(meant, key.kind).value != numberOf(read, key.kind).value;
    }
}

// By what its author wrote, or else by what the key is for.
bool IniCheck::mattersWhenLost(const TuningKey& key) const {
    const MeantLine* meant = meantLine(key);
    if (meant == nullptr || key.kind == Kind::kText || key.kind == Kind::kNumber) {
        return key.picture || (std::string(key.name) == "pProtectSwitch" &&
                               m_document.integer("portrait", "maskSource").value_or(0) > 0);
    }
    return matters(key, meant->value,
                   key.kind == Kind::kList ? "" : std::to_string(static_cast<int>(key.fallback)));
}

std::string IniCheck::lost(const std::vector<const TuningKey*>& keys) const {
    std::vector<std::string> effects;
    for (const TuningKey* key : keys) {
        if (std::find(effects.begin(), effects.end(), key->without) == effects.end()) {
            effects.emplace_back(key->without);
        }
    }
    return listed(effects);
}

// What is wrong with the file as a whole. False when nothing else about it is worth saying.
bool IniCheck::checkBytes() {
    const std::string& bytes = m_document.bytes();
    std::vector<const TuningKey*> all;
    for (const TuningKey& key : m_keys) {
        all.push_back(&key);
    }
    const std::string none = ": the library finds no key in it, so " + lost(all);
    if (bytes.rfind("\xFF\xFE", 0) == 0 || bytes.rfind("\xFE\xFF", 0) == 0) {
        add("HV202", Severity::kError, 1, "the file is UTF-16" + none,
            "Save it as plain text, or let --fix do so.");
        return false;
    }
    if (bytes.find('\n') == std::string::npos && std::count(bytes.begin(), bytes.end(), '\r') > 1) {
        add("HV203", Severity::kError, 1,
            "the lines end in carriage returns alone, so that the file is one line" + none,
            "End the lines with carriage return and line feed, or let --fix do so.");
        return false;
    }
    const auto odd = std::count_if(bytes.begin(), bytes.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\r' && c != '\n' && c != '\t';
    });
    if (odd > 0 && static_cast<std::size_t>(odd) * 20 > bytes.size()) {
        add("HV209", Severity::kError, 0, "the file is not text" + none, "Put the text file in its place.");
        return false;
    }
    if (odd > 0) {
        const auto at =
            static_cast<std::size_t>(std::find_if(bytes.begin(), bytes.end(),
                                                  [](char c) {
                                                      return static_cast<unsigned char>(c) < ' ' &&
                                                             c != '\r' && c != '\n' && c != '\t';
                                                  }) -
                                     bytes.begin());
        add("HV209", errorIf(bytes[at] == '\0'),
            static_cast<int>(
                std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at), '\n')) +
                1,
            "the line holds a control character" +
                std::string(bytes[at] == '\0' ? ", a NUL, behind which the library sees nothing of it" : ""),
            "Remove it.");
    }
    return true;
}

// A value of platformSet.ini loses its last character, which is the carriage return when all is well.
void IniCheck::checkLineEnds() {
    std::vector<std::string> values;
    int first = 0;
    for (const TuningKey& key : m_keys) {
        const IniLookup lookup = m_document.find(key.section, key.name);
        if (!lookup.found() || (!lookup.value.empty() && lookup.value.back() == '\r')) {
            continue;
        }
        first = first == 0 ? lookup.line : std::min(first, lookup.line);
        values.push_back(inQuotes(lookup.value) + " is read as " +
                         inQuotes(lookup.value.substr(0, std::max<std::size_t>(lookup.value.size(), 1) - 1)));
    }
    if (!values.empty()) {
        add("HV204", Severity::kError, first,
            "lines do not end in carriage return and line feed, and the library drops the last character of "
            "each "
            "value, whatever it is: " +
                listed(values) + ", and frames are refused or kernels cached elsewhere",
            "End the lines with carriage return and line feed, or let --fix do so.");
    }
}

void IniCheck::checkLongLines() {
    for (std::size_t i = 0; i < m_document.lines().size(); ++i) {
        const IniDocument::Line& line = m_document.lines()[i];
        if (line.length > kIniLineMax && m_meant[i].kind != MeantLine::Kind::kComment) {
            add("HV208", Severity::kError, static_cast<int>(i) + 1,
                "the line has " + std::to_string(line.length) + " characters; what follows the first " +
                    std::to_string(kIniLineMax) + " is not read",
                "Shorten it.");
        }
    }
}

// False when its keys have no reading to judge.
bool IniCheck::checkSection(const std::string& section) {
    std::vector<const TuningKey*> keys;
    bool harm = false;
    for (const TuningKey& key : m_keys) {
        if (key.section == section) {
            keys.push_back(&key);
            harm = harm || mattersWhenLost(key);
        }
    }
    const bool found = m_document.find(section, keys.front()->name).status != IniLookup::Status::kNoSection;
    const MeantLine* header = nullptr;
    for (const MeantLine& line : m_meant) {
        if (line.kind != MeantLine::Kind::kHeader) {
            continue;
        }
        if (found && line.section == section && header != nullptr) {
            const bool loses = std::any_of(keys.begin(), keys.end(), [&](const TuningKey* key) {
                return !m_document.find(section, key->name).found() && meantLine(*key, line.line) != nullptr;
            });
            add("HV212", errorIf(loses), line.line,
                bracketed(section) +
                    " stands here again; the library looks only at the first, so keys below this "
                    "line have no effect",
                "Move its keys to the first " + bracketed(section) + " and remove this line.");
        }
        const bool same = found ? line.section == section : isMistyped(line.section, section);
        header = header == nullptr && same ? &line : header;
    }
    if (found) {
        return true;
    }
    const bool mark = m_document.bytes().rfind("\xEF\xBB\xBF", 0) == 0;
    if (mark && header != nullptr && header->line == 1) {
        add("HV201", errorIf(harm), 1,
            "the file begins with a byte-order mark, so that the library does not see " + bracketed(section) +
                ": " + lost(keys),
            "Save it without the mark, or let --fix remove it.");
    } else if (header != nullptr) {
        add("HV210", errorIf(harm), header->line,
            "no line begins with " + bracketed(section) + "; this one says " +
                inQuotes(m_document.text(m_document.lines()[static_cast<std::size_t>(header->line) - 1])) +
                ": " + lost(keys),
            "Write " + bracketed(section) + " at the beginning of the line.");
    } else {
        add("HV211", errorIf(harm), 0, "there is no " + bracketed(section) + ": " + lost(keys),
            "Add the line " + bracketed(section) + " with its keys below it.");
    }
    return false;
}

void IniCheck::checkKey(const TuningKey& key) {
    const IniLookup lookup = m_document.find(key.section, key.name);
    const MeantLine* meant = meantLine(key);
    if (!lookup.found()) {
        if (lookup.status == IniLookup::Status::kStopped && meant != nullptr && meant->line > lookup.line) {
            m_stopped[lookup.line].push_back(&key);
        } else if (meant == nullptr) {
            checkMissing(key);
        }
        return;
    }
    m_explained.insert(lookup.line);
    const MeantLine& line = m_meant[static_cast<std::size_t>(lookup.line) - 1];
    if (line.kind != MeantLine::Kind::kKey || line.name != key.name) {
        checkShadow(key, lookup, meant);
        return;
    }
    checkDuplicate(key, lookup);
    checkValue(key, lookup);
}

void IniCheck::checkShadow(const TuningKey& key, const IniLookup& lookup, const MeantLine* meant) {
    const std::string text =
        inQuotes(m_document.text(m_document.lines()[static_cast<std::size_t>(lookup.line) - 1]));
    const std::string value = inQuotes(trimmed(lookup.value));
    if (meant == nullptr) {
        add("HV214", Severity::kWarning, lookup.line,
            "the line " + text + " is read as " + named(key) + " = " + value +
                ", because it contains that name, and no line is the key's own",
            "Write " + named(key) + "=... if that is meant.");
        return;
    }
    m_explained.insert(meant->line);
    add("HV214", errorIf(matters(key, meant->value, lookup.value)), lookup.line,
        "the line " + text + " contains \"" + named(key) + "\" and stands above line " +
            std::to_string(meant->line) + ", so " + named(key) + " is read as " + value + " instead of " +
            inQuotes(meant->value),
        std::string("Remove this line") +
            (m_meant[static_cast<std::size_t>(lookup.line) - 1].kind == MeantLine::Kind::kComment
                 ? ", or begin the comment with \"#\"."
                 : ", or move it below line " + std::to_string(meant->line) + "."));
}

void IniCheck::checkMissing(const TuningKey& key) {
    const Severity severity = errorIf(mattersWhenLost(key));
    for (const MeantLine& line : m_meant) {
        if (line.kind != MeantLine::Kind::kKey || knownKey(line.section, line.name) != nullptr ||
            m_explained.count(line.line) != 0) {
            continue;
        }
        if (line.section == key.section && isMistyped(line.name, key.name)) {
            m_explained.insert(line.line);
            const bool harm = matters(key, line.value, std::to_string(key.fallback)) ||
                              key.kind == Kind::kText || key.kind == Kind::kNumber;
            add("HV213", errorIf(harm), line.line,
                "no key is named " + inQuotes(line.name) + ", and " + named(key) +
                    " is missing: " + key.without,
                "Write " + named(key) + "=" + line.value + ".");
            return;
        }
        if (line.name == key.name) {
            m_explained.insert(line.line);
            add("HV215", severity, line.line,
                named(key) + " stands in " + bracketed(line.section) + " and is looked for in " +
                    bracketed(key.section) + ": " + key.without,
                "Move the line into " + bracketed(key.section) + ".");
            return;
        }
    }
    add("HV216", severity, 0, "there is no " + bracketed(key.section) + " " + named(key) + ": " + key.without,
        "Add " + named(key) + "=... below " + bracketed(key.section) + ".");
}

void IniCheck::checkDuplicate(const TuningKey& key, const IniLookup& lookup) {
    const MeantLine* second = meantLine(key, lookup.line);
    // One behind another header of the section has that header's finding.
    const auto between = [&](const MeantLine& line) {
        return line.kind == MeantLine::Kind::kHeader && line.line > lookup.line && line.line < second->line;
    };
    if (second == nullptr || std::any_of(m_meant.begin(), m_meant.end(), between)) {
        return;
    }
    m_explained.insert(second->line);
    add("HV217", errorIf(matters(key, second->value, lookup.value)), second->line,
        named(key) + " has a value on line " + std::to_string(lookup.line) + " already, " +
            inQuotes(trimmed(lookup.value)) + ", which is the one that counts; " + inQuotes(second->value) +
            " has no effect",
        "Keep one of the two lines.");
}

void IniCheck::checkValue(const TuningKey& key, const IniLookup& lookup) {
    if (key.kind == Kind::kText || key.kind == Kind::kList) {
        return;  // back ends, the cache and scenes have rules of their own
    }
    const bool dumps = std::string(key.section) == "save";
    const Number number = numberOf(lookup.value, key.kind);
    char read[32];
    std::snprintf(read, sizeof(read), "%.7g", std::isfinite(number.value) ? number.value : 0.0);
    const std::string is = named(key) + "=" + trimmed(lookup.value).substr(0, 60) + " is read as " + read;
    if (!number.any) {
        add("HV218", errorIf(!dumps && !isOffWord(trimmed(lookup.value))), lookup.line,
            is + ", because it is no number" +
                (number.value < key.low || number.value > key.high ? std::string(": ") + key.below
                 : key.kind == Kind::kSwitch                       ? std::string(": ") + key.without
                                                                   : std::string()),
            "Write a number with a decimal point.");
        return;
    }
    if (!std::isfinite(number.value)) {
        add("HV219", Severity::kError, lookup.line, is + ", because it is not finite", "Write a number.");
        return;
    }
    if (!number.rest.empty()) {
        // "0,5" and "50%" mean something else than their first digits; a remark does not.
        const bool comma = number.rest[0] == ',' || number.rest[0] == '.';
        const bool other =
            comma ? number.rest.find_first_of("123456789") == 1 || number.rest.find_first_of("123456789") == 2
                  : number.rest[0] == '%' || number.rest[0] == 'x' || number.rest[0] == 'X' ||
                        number.rest[0] == '/';
        add("HV220", errorIf(other && !dumps), lookup.line,
            is + ", because the number ends at " + inQuotes(number.rest) +
                (other ? ": the stage works with another strength than meant" : ""),
            comma ? "Use a decimal point, and whole numbers where only those count."
                  : "Write the number alone.");
        if (other) {
            return;
        }
    }
    if (number.value < key.low || number.value > key.high) {
        char range[64];
        std::snprintf(range, sizeof(range), "%g to %g", key.low, key.high);
        add("HV221", errorIf(!dumps), lookup.line,
            named(key) + " is " + read + ", out of " + range + ": " +
                (number.value < key.low ? key.below : key.above),
            std::string("Write a value from ") + range + ".");
    }
}

void IniCheck::reportStops() {
    for (const auto& [stop, keys] : m_stopped) {
        const MeantLine& line = m_meant[static_cast<std::size_t>(stop) - 1];
        std::vector<std::string> names;
        bool harm = false;
        for (const TuningKey* key : keys) {
            names.push_back(named(*key));
            harm = harm || mattersWhenLost(*key);
        }
        const char* what = line.kind == MeantLine::Kind::kBlank     ? "the blank line"
                           : line.kind == MeantLine::Kind::kComment ? "the comment without \"=\""
                           : line.kind == MeantLine::Kind::kHeader  ? "this header inside the section"
                                                                    : "the line without \"=\"";
        add("HV205", errorIf(harm), stop,
            std::string(what) + " ends the library's search, so " + listed(names) + " below it " +
                (names.size() == 1 ? "is" : "are") + " not found: " + lost(keys) +
                (tableOfFile(kTableFileKinds[0], m_name) ? ". Each search leaves the file open, and after "
                                                           "some hundred captures the process has no "
                                                           "file left to open"
                                                         : ""),
            line.kind == MeantLine::Kind::kComment ? "Write an \"=\" behind the \"#\", or remove the line."
                                                   : "Remove the line.");
    }
}

void IniCheck::checkUnknown() {
    const auto isSection = [&](const std::string& section) {
        return std::any_of(m_keys.begin(), m_keys.end(),
                           [&](const TuningKey& key) { return section == key.section; });
    };
    for (const MeantLine& line : m_meant) {
        const bool known = isSection(line.section);
        if (line.kind == MeantLine::Kind::kHeader && !known &&
            std::none_of(m_keys.begin(), m_keys.end(),
                         [&](const TuningKey& key) { return isMistyped(line.section, key.section); })) {
            add("HV222", Severity::kWarning, line.line,
                "nothing looks for a section " + inQuotes(bracketed(line.section)) + "; it has no effect",
                "Remove it, or correct its name.");
        } else if (line.kind == MeantLine::Kind::kKey && known &&
                   knownKey(line.section, line.name) == nullptr && m_explained.count(line.line) == 0) {
            add("HV223", Severity::kWarning, line.line,
                "nothing looks for a key " + inQuotes(line.name) + " in " + bracketed(line.section) +
                    "; it has no effect",
                "Remove it, or correct its name.");
        }
    }
}

void IniCheck::run() {
    if (m_document.bytes().empty() || !checkBytes()) {
        return;  // an empty file has a rule of its own
    }
    if (m_name == "platformSet.ini") {
        checkLineEnds();
    }
    checkLongLines();
    std::map<std::string, bool> readable;
    for (const TuningKey& key : m_keys) {
        if (readable.count(key.section) == 0) {
            readable[key.section] = checkSection(key.section);
        }
    }
    for (const TuningKey& key : m_keys) {
        if (readable[key.section]) {
            checkKey(key);
        }
    }
    reportStops();
    checkUnknown();
}

}  // namespace

void checkIni(const CheckedTuning& tuning, const std::string& name, Findings& findings) {
    if (!keysOfFile(name).empty() && tuning.files.bytes(name) != nullptr) {
        IniCheck(tuning, name, findings).run();
    }
}

}  // namespace tool
