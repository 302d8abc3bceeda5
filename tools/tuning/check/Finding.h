// What `huevance tuning check` says about a directory.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tool {

enum class Severity {
    kWarning,  // no picture changes
    kError,    // pictures change, or frames are refused
};

struct Finding {
    const char* rule;  // "HV101"; docs/tuning-check.md explains each
    Severity severity;
    std::string file;         // relative to the directory
    std::optional<int> line;  // from 1
    std::string message;      // what is wrong and what it does to the picture
    std::optional<std::string> fix;
};

using Findings = std::vector<Finding>;

inline Severity errorIf(bool changesPicture) {
    return changesPicture ? Severity::kError : Severity::kWarning;
}

// Every rule, in order. Numbers are stable: a rule that goes leaves its number unused.
struct Rule {
    const char* number;
    const char* title;
};
std::span<const Rule> checkRules();

// "photoSet.ini:7: error HV205: message. Fix."
std::string textOf(const Finding& finding);

}  // namespace tool
