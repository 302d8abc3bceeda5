#include "tools/tuning/IniDocument.h"

#include <locale.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "tools/Files.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

// A text as the library's functions see it, which end at the first NUL.
std::string_view beforeNul(std::string_view text) { return text.substr(0, text.find('\0')); }

bool isBlank(std::string_view text) { return text.find_first_not_of(" \t\r") == std::string_view::npos; }

}  // namespace

int iniInt(std::string_view value) {
    const std::string text(beforeNul(value).substr(0, kIniScalarMax));
    return static_cast<int>(std::clamp<long>(std::strtol(text.c_str(), nullptr, 10), INT_MIN, INT_MAX));
}

float iniFloat(std::string_view value) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    const std::string text(beforeNul(value).substr(0, kIniScalarMax));
    return plain != nullptr ? strtof_l(text.c_str(), nullptr, plain) : std::strtof(text.c_str(), nullptr);
}

std::vector<IniElement> iniElements(std::string_view value) {
    std::vector<IniElement> elements;
    std::string_view rest = beforeNul(value);
    for (std::size_t slash = rest.find('/'); slash != std::string_view::npos; slash = rest.find('/')) {
        elements.push_back({std::string(rest.substr(0, std::min(slash, kIniScalarMax))), true});
        rest.remove_prefix(slash + 1);
    }
    if (!isBlank(rest)) {
        elements.push_back({std::string(rest.substr(0, kIniScalarMax)), false});
    }
    return elements;
}

std::vector<int> iniInts(std::string_view value, std::size_t capacity) {
    std::vector<int> numbers;
    for (const IniElement& element : iniElements(value)) {
        if (element.counts && numbers.size() < capacity) {
            numbers.push_back(iniInt(element.text));
        }
    }
    return numbers;
}

// Where a search ended.
struct IniDocument::Search {
    IniLookup::Status status;
    std::size_t header;  // index of the section's line
    std::size_t at;  // index of the line that ended the search; the number of lines at the end of the file
    std::size_t equals = 0;  // its first "=", when found
};

IniDocument::IniDocument(std::string bytes) : m_bytes(std::move(bytes)) {
    for (std::size_t begin = 0; begin < m_bytes.size();) {
        const std::size_t feed = m_bytes.find('\n', begin);
        if (feed == std::string::npos) {
            m_lines.push_back({begin, m_bytes.size() - begin, End::kNone});
            break;
        }
        const bool carriage = feed > begin && m_bytes[feed - 1] == '\r';
        m_lines.push_back({begin, feed - begin - (carriage ? 1 : 0), carriage ? End::kCrLf : End::kLf});
        begin = feed + 1;
    }
}

std::optional<IniDocument> IniDocument::load(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return std::nullopt;  // a pipe would be waited for
    }
    try {
        const Bytes bytes = readFile(path);
        return IniDocument(std::string(bytes.begin(), bytes.end()));
    } catch (const ToolError&) {
        return std::nullopt;
    }
}

std::string_view IniDocument::text(const Line& line) const {
    return std::string_view(m_bytes).substr(line.begin, line.length);
}

IniDocument::Search IniDocument::search(std::string_view section, std::string_view key) const {
    const std::string header = ("[" + std::string(section) + "]").substr(0, kIniScalarMax);
    std::size_t headerAt = m_lines.size();
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        const Line& line = m_lines[i];
        const std::size_t length = line.length + (line.end == End::kCrLf ? 1 : 0);  // the reader keeps the CR
        const std::string_view seen =
            beforeNul(std::string_view(m_bytes).substr(line.begin, std::min(length, kIniLineMax)));
        if (headerAt == m_lines.size()) {
            headerAt = seen.substr(0, header.size()) == header ? i : headerAt;
            continue;
        }
        const std::size_t equals = seen.find('=');
        if (equals == std::string_view::npos) {
            return {IniLookup::Status::kStopped, headerAt, i};
        }
        if (seen.find(key) != std::string_view::npos && seen[0] != '#') {
            return {IniLookup::Status::kFound, headerAt, i, equals};
        }
    }
    const bool inSection = headerAt < m_lines.size();
    return {inSection ? IniLookup::Status::kNoKey : IniLookup::Status::kNoSection, headerAt, m_lines.size()};
}

IniLookup IniDocument::find(std::string_view section, std::string_view key) const {
    const Search result = search(section, key);
    const bool ended = result.at == m_lines.size();
    const std::size_t at = ended ? result.header : result.at;
    IniLookup lookup = {result.status, at < m_lines.size() ? static_cast<int>(at) + 1 : 0, {}};
    if (lookup.found()) {
        const Line& line = m_lines[result.at];
        const std::size_t length = std::min(line.length + (line.end == End::kCrLf ? 1 : 0), kIniLineMax);
        const std::string_view seen = std::string_view(m_bytes).substr(line.begin, length);
        lookup.value = beforeNul(seen.substr(result.equals + 1));
    }
    return lookup;
}

std::optional<int> IniDocument::integer(std::string_view section, std::string_view key) const {
    const IniLookup lookup = find(section, key);
    return lookup.found() ? std::optional(iniInt(lookup.value)) : std::nullopt;
}

std::optional<float> IniDocument::number(std::string_view section, std::string_view key) const {
    const IniLookup lookup = find(section, key);
    return lookup.found() ? std::optional(iniFloat(lookup.value)) : std::nullopt;
}

void IniDocument::splice(std::size_t begin, std::size_t length, std::string_view text) {
    std::string changed = m_bytes;
    changed.replace(begin, length, text);
    *this = IniDocument(std::move(changed));
}

std::string IniDocument::lineEnd() const {
    return m_lines.empty() || m_lines.front().end != End::kLf ? "\r\n" : "\n";
}

void IniDocument::insertLine(std::size_t index, const std::string& text) {
    const bool atEnd = index == m_lines.size();
    const bool open = atEnd && !m_lines.empty() && m_lines.back().end == End::kNone;
    splice(atEnd ? m_bytes.size() : m_lines[index].begin, 0, (open ? lineEnd() : "") + text + lineEnd());
}

void IniDocument::set(std::string_view section, std::string_view key, std::string_view value) {
    const Search result = search(section, key);
    if (result.status == IniLookup::Status::kFound &&
        text(m_lines[result.at]).substr(0, result.equals) == key) {
        const std::size_t begin = m_lines[result.at].begin + result.equals + 1;
        splice(begin, m_lines[result.at].begin + m_lines[result.at].length - begin, value);
        return;
    }
    if (result.status == IniLookup::Status::kNoSection) {
        insertLine(m_lines.size(), "[" + std::string(section) + "]");
    }
    // Before the line that ended the search: one that only contains the key is not this key's to change.
    const std::size_t at = result.status == IniLookup::Status::kNoSection ? m_lines.size() : result.at;
    insertLine(at, std::string(key) + "=" + std::string(value));
}

std::size_t IniDocument::append(std::string_view section, std::string_view key, std::string_view element) {
    const std::string value = find(section, key).value;
    const std::vector<IniElement> elements = iniElements(value);
    const bool open = !elements.empty() && !elements.back().counts;
    // Blanks behind the last "/" would become part of the new element.
    const std::size_t end = open ? value.find_last_not_of(" \t\r") : value.rfind('/');
    const std::string list = value.substr(0, end == std::string::npos ? 0 : end + 1);
    set(section, key, list + (open ? "/" : "") + std::string(element) + "/");
    return elements.size();
}

}  // namespace tool
