// `tuning check --fix`: what has one right answer.
#include <algorithm>

#include "tools/ToolError.h"
#include "tools/tuning/TuningDirectory.h"
#include "tools/tuning/TuningKeys.h"
#include "tools/tuning/check/Check.h"
#include "tools/tuning/check/LookTables.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

void appendUtf8(std::string& text, char32_t code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr int kLead[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(kLead[more] | static_cast<int>(code >> (6 * more)));
    for (int i = more - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
    }
}

// A text with its mark in front.
std::string utf8OfUtf16(const std::string& bytes) {
    const bool bigEndian = bytes[0] == '\xFE';
    const auto unit = [&](std::size_t i) {
        const auto first = static_cast<unsigned char>(bytes[i]),
                   second = static_cast<unsigned char>(bytes[i + 1]);
        return static_cast<char32_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::string text;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        char32_t code = unit(i);
        if (code >= 0xD800 && code < 0xDC00 && i + 3 < bytes.size()) {
            code = 0x10000 + ((code - 0xD800) << 10) + ((unit(i + 2) - 0xDC00) & 0x3FF);
            i += 2;
        }
        appendUtf8(text, code);
    }
    return text;
}

// How long the byte-order marks are that the text begins with. One of UTF-16 behind one of UTF-8 is a stray,
// which must not turn the text into what it never was.
std::size_t lengthOfMarks(const std::string& text) {
    std::size_t length = 0;
    for (bool more = true; more;) {
        more = text.compare(length, 3, "\xEF\xBB\xBF") == 0;
        length += more ? 3 : 0;
        if (!more && length > 0) {
            more = text.compare(length, 2, "\xFF\xFE") == 0 || text.compare(length, 2, "\xFE\xFF") == 0;
            length += more ? 2 : 0;
        }
    }
    return length;
}

// Every line end as carriage return and line feed, also the last one's.
std::string withCrLf(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool end = text[i] == '\n' || text[i] == '\r';
        result += end ? "\r\n" : std::string(1, text[i]);
        i += text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n' ? 1 : 0;
    }
    return result.empty() || result.back() == '\n' ? result : result + "\r\n";
}

class Repair {
public:
    explicit Repair(const std::string& directory) : m_files(directory), m_changes(directory) {}

    std::vector<std::string> run() {
        for (const auto& [name, file] : m_files.all()) {
            // Only what was read whole can be written again.
            if (!keysOfFile(name).empty() && file.readable() && file.size == file.bytes.size()) {
                fixIni(name, file.bytes);
            }
        }
        fixFused("CurveLut", kTableFileKinds[1]);
        fixFused("ColorLut", kTableFileKinds[2]);
        m_changes.commit();
        return m_done;
    }

private:
    void fixIni(const std::string& name, const std::string& bytes);
    void fixFused(const char* name, const TableFileKind& kind);

    TuningFiles m_files;
    FileChanges m_changes;
    std::vector<std::string> m_done;
    int m_tables = 0;
};

void Repair::fixIni(const std::string& name, const std::string& bytes) {
    std::string text = bytes;
    const auto done = [&](const std::string& what) { m_done.push_back(name + ": " + what); };
    if (text.rfind("\xFF\xFE", 0) == 0 || text.rfind("\xFE\xFF", 0) == 0) {
        text = utf8OfUtf16(text);
        done("turned UTF-16 into plain text");
    }
    if (const std::size_t marks = lengthOfMarks(text); marks > 0) {
        text.erase(0, marks);
        done("removed the byte-order mark");
    }
    const bool carriagesAlone = text.find('\n') == std::string::npos && text.find('\r') != std::string::npos;
    if ((name == "platformSet.ini" || carriagesAlone) && !text.empty() && withCrLf(text) != text) {
        text = withCrLf(text);
        done("ended the lines with carriage return and line feed");
    }
    IniDocument document(text);
    const IniLookup list = document.find("scene", "sceneIdx");
    const std::vector<IniElement> elements = iniElements(list.value);
    if (name != "platformSet.ini" && list.found() && !elements.empty() && !elements.back().counts &&
        trimmed(elements.back().text).find_first_not_of("0123456789") == std::string::npos) {
        document.set("scene", "sceneIdx", trimmed(list.value) + "/");
        done("added the last \"/\" of sceneIdx");
    }
    if (document.bytes() != bytes) {
        m_changes.write(name, document.bytes());
    }
    m_tables = std::max(m_tables, document.integer("scene", "sceneNum").value_or(1));
}

void Repair::fixFused(const char* name, const TableFileKind& kind) {
    const std::size_t each = static_cast<std::size_t>(kind.floats) * sizeof(float);
    std::string all;
    for (int table = 0; table < std::min(m_tables, kMaxSceneTables); ++table) {
        const TuningFile* single = m_files.find(tableFile(kind, table));
        if (single == nullptr || !single->readable() || single->size != each) {
            return;  // the single files come first
        }
        all += single->bytes;
    }
    const TuningFile* present = m_files.find(name);
    if (!all.empty() && (present == nullptr || present->size != all.size() || present->bytes != all)) {
        m_changes.write(name, all);
        m_done.push_back(std::string(name) + ": put " + std::to_string(m_tables) +
                         " tables one after another");
    }
}

// Whether the look is the right answer for all of a table's files that are not what it bakes to: an edit by
// hand may be meant.
bool isToBeBaked(const TuningFiles& files, int table, const Look& look, TableReader reader) {
    const std::vector<DifferingFile> differing = differingFiles(files, table, look, reader);
    return !differing.empty() && std::none_of(differing.begin(), differing.end(), [](const auto& file) {
        return file.reason == DifferingFile::Reason::kEdited;
    });
}

// What baking the tables that are older than their looks changes; nothing when there is none, or something
// else has to be mended first.
std::optional<FileChanges> bakedAgain(const std::string& path) {
    try {
        const TuningFiles files(path);
        const std::optional<TableReader> reader = tableReader(files);
        TuningDirectory directory(path);
        bool any = false;
        for (int table = 0; reader && table < directory.tableCount(); ++table) {
            const std::optional<Look>& look = directory.look(table);
            const bool baked = look && isToBeBaked(files, table, *look, *reader);
            any = any || baked;
            if (!baked) {
                directory.keepFiles(table);
            }
        }
        return any ? std::optional(directory.changes()) : std::nullopt;
    } catch (const ToolError&) {
        return std::nullopt;  // the check says why
    }
}

}  // namespace

std::vector<std::string> fixTuning(const std::string& directory) {
    std::vector<std::string> done = Repair(directory).run();
    // The settings must be readable before they say who reads the tables.
    if (const std::optional<FileChanges> changes = bakedAgain(directory)) {
        const std::vector<std::string> names = changes->commit();
        if (!names.empty()) {
            done.push_back(listed(names) + ": baked from the looks");
        }
    }
    return done;
}

}  // namespace tool
