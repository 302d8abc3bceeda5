// Every key of the tuning files: what it may be, and what is lost without it.
#pragma once

#include <span>
#include <string>

namespace tool {

struct TuningKey {
    enum class Kind { kSwitch, kInteger, kNumber, kList, kText };
    const char* section;
    const char* name;
    Kind kind;
    double fallback;      // in a fresh process
    double low, high;     // useful range
    bool picture;         // pictures depend on it, so that a missing one changes them
    const char* without;  // the effect of a missing key: "local contrast is off"
    const char* below;    // the effect of a value below its range
    const char* above;    // and above
};

// The keys that the library looks for in a file ("photoSet.ini", "param3.ini", ...); none for other files.
std::span<const TuningKey> keysOfFile(const std::string& file);

}  // namespace tool
