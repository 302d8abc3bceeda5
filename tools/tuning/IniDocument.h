// A tuning or platform file as its bytes: looked up exactly as the library's reader does, every quirk of
// docs/tuning.md included, with the line of what was found, and edited without touching any other byte.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// What the library's reader keeps of a line, and of a scalar value or list element.
inline constexpr std::size_t kIniLineMax = 1023;
inline constexpr std::size_t kIniScalarMax = 127;

// How the library's search for one key ends.
struct IniLookup {
    enum class Status {
        kFound,
        kStopped,  // at a line without "=": keys below it are not found, and the reader leaves the file open
        kNoKey,    // at the end of the file
        kNoSection,  // no line begins with the section's header
    };
    Status status = Status::kNoSection;
    int line = 0;  // from 1: of the value, of the line that stopped the search, else of the header; 0: none
    std::string value;  // as the reader gives it: with spaces and a carriage return, cut with the line

    bool found() const { return status == Status::kFound; }
};

// One element of a list, and whether a "/" follows it. The library drops the last one when none does.
struct IniElement {
    std::string text;  // cut at kIniScalarMax
    bool counts = true;
};

// Conversions of a value, as the library does them: without the locale, integers saturated.
int iniInt(std::string_view value);
float iniFloat(std::string_view value);
// The elements of a list; one that does not count stands last, and only when it holds more than blanks.
std::vector<IniElement> iniElements(std::string_view value);
// Those that count, at most `capacity`.
std::vector<int> iniInts(std::string_view value, std::size_t capacity = kIniLineMax);

class IniDocument {
public:
    // How a line ends in the file.
    enum class End { kNone, kLf, kCrLf };
    struct Line {
        std::size_t begin;   // byte offset
        std::size_t length;  // without its end
        End end;
    };

    IniDocument() = default;
    explicit IniDocument(std::string bytes);
    // Nothing when the file cannot be read. As for the library, a missing file has no keys.
    static std::optional<IniDocument> load(const std::string& path);

    const std::string& bytes() const { return m_bytes; }
    const std::vector<Line>& lines() const { return m_lines; }
    std::string_view text(const Line& line) const;  // without its end

    IniLookup find(std::string_view section, std::string_view key) const;
    // Nothing unless the key is found.
    std::optional<int> integer(std::string_view section, std::string_view key) const;
    std::optional<float> number(std::string_view section, std::string_view key) const;

    // Makes find() give `value` (no line feed or NUL in it; "=" and blanks are kept). A line of that key
    // keeps its name, place and end. Otherwise a line is added where the search ended, or a section at the
    // end of the file, with the file's line end (CR LF in an empty one).
    void set(std::string_view section, std::string_view key, std::string_view value);
    // Adds an element to a list, which is made when the key is missing, and gives its index. An element
    // before it that lacks its "/" gets it.
    std::size_t append(std::string_view section, std::string_view key, std::string_view element);

private:
    struct Search;
    Search search(std::string_view section, std::string_view key) const;
    void splice(std::size_t begin, std::size_t length, std::string_view text);
    void insertLine(std::size_t index, const std::string& text);
    std::string lineEnd() const;

    std::string m_bytes;
    std::vector<Line> m_lines;
};

}  // namespace tool
