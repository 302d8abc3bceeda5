#include "tests/support/LogCapture.h"

#include <sim/log.h>

#include <cstdarg>
#include <cstdio>
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

std::vector<std::string> LogCapture::textsWhere(const auto& wanted) const {
    std::vector<std::string> result;
    for (const LogLine& line : m_lines) {
        if (wanted(line)) {
            result.push_back(line.text);
        }
    }
    return result;
}

std::vector<std::string> LogCapture::texts(int priority) const {
    return textsWhere([=](const LogLine& line) { return line.priority == priority; });
}

std::vector<std::string> LogCapture::texts() const {
    return textsWhere([](const LogLine&) { return true; });
}

std::vector<std::string> LogCapture::tagged(const std::string& tag) const {
    return textsWhere([&](const LogLine& line) { return line.tag == tag; });
}

std::vector<std::string> LogCapture::hostLines() const {
    std::vector<std::string> result = tagged(kHostTag);
    for (std::string& text : result) {
        // "[ERROR][ <file> ] <line>  <function>() ...": the number between "] " and two spaces.
        const std::size_t start = text.find(" ] ") + 3;
        const std::size_t end = text.find_first_not_of("0123456789", start);
        if (end != std::string::npos && end > start && text.compare(end, 2, "  ") == 0) {
            text.replace(start, end - start, "#");
        }
    }
    return result;
}

std::string hostLine(const std::string& file, const std::string& function, const std::string& message,
                     const char* kind) {
    return format("[%s][ %s ] #  %s() %s", kind, file.c_str(), function.c_str(), message.c_str());
}

std::string format(const char* text, ...) {
    char buffer[4096];
    va_list args;
    va_start(args, text);
    std::vsnprintf(buffer, sizeof(buffer), text, args);
    va_end(args);
    return buffer;
}

}  // namespace test
