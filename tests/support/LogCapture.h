// Catches the Android log's lines for as long as it lives. One at a time.
#pragma once

#include <string>
#include <vector>

namespace test {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;

    bool operator==(const LogLine&) const = default;
};
void PrintTo(const LogLine& line, std::ostream* out);

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogLine>& lines() const { return m_lines; }
    // The texts of one priority (4 information, 6 error), in order.
    std::vector<std::string> texts(int priority) const;
    // All texts, in order.
    std::vector<std::string> texts() const;
    // The texts under one tag, in order.
    std::vector<std::string> tagged(const std::string& tag) const;
    // The lines of the host-facing modules' logger ("Algorithm"), in order, as hostLine() writes them.
    std::vector<std::string> hostLines() const;
    void clear() { m_lines.clear(); }

private:
    std::vector<std::string> textsWhere(const auto& wanted) const;
    static void sink(void* self, int priority, const char* tag, const char* text);
    std::vector<LogLine> m_lines;
};

inline constexpr int kInfo = 4;
inline constexpr int kError = 6;
inline constexpr const char* kVersionTag = "Huevance_V2.3.2.2";
inline constexpr const char* kHostTag = "Algorithm";

// "[ERROR][ <file> ] #  <function>() <message>": a line of the host-facing modules with "#" for its line
// number.
std::string hostLine(const std::string& file, const std::string& function, const std::string& message,
                     const char* kind = "ERROR");

// printf into a string, for messages with pointers in them.
std::string format(const char* text, ...) __attribute__((format(printf, 1, 2)));

}  // namespace test
