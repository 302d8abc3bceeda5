// How the program ends, and the exception that carries it there.
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

enum class ExitCode : int {
    kGood = 0,
    kDifferent = 1,      // a check found differences
    kUsage = 2,          // options that make no sense
    kFile = 3,           // a file cannot be read or written
    kRefused = 4,        // the library refused
    kUnavailable = 5,    // the back end cannot run here
    kInterrupted = 130,  // by a signal, with all in order
};

class ToolError : public std::runtime_error {
public:
    ToolError(ExitCode code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

inline ToolError usageError(const std::string& text) { return {ExitCode::kUsage, text}; }
inline ToolError fileError(const std::string& text) { return {ExitCode::kFile, text}; }

}  // namespace tool
