#include "tests/support/LogCapture.h"

#include <sim/log.h>

#include <ostream>

namespace test {

void PrintTo(const LogLine& line, std::ostream* out) {
    *out << line.priority << " " << line.tag << ": " << line.text;
}

LogCapture::LogCapture() { sim_log_set_sink(&LogCapture::sink, this); }

LogCapture::~LogCapture() { sim_log_set_sink(nullptr, nullptr); }

void LogCapture::sink(void* self, int priority, const char* tag, const char* text) {
    static_cast<LogCapture*>(self)->m_lines.push_back({priority, tag, text});
}

std::vector<std::string> LogCapture::texts(int priority) const {
    std::vector<std::string> result;
    for (const LogLine& line : m_lines) {
        if (line.priority == priority) {
            result.push_back(line.text);
        }
    }
    return result;
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> result;
    for (const LogLine& line : m_lines) {
        result.push_back(line.text);
    }
    return result;
}

}  // namespace test
