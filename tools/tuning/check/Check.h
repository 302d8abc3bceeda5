// Looks through a tuning directory for everything that makes pictures other than meant. Nothing is run and
// nothing written; the rules are in docs/tuning-check.md.
#pragma once

#include <optional>
#include <string>

#include "tools/picture/Size.h"
#include "tools/tuning/check/Finding.h"

namespace tool {

enum class CheckedMode { kBoth, kPhoto, kFrame };

struct CheckOptions {
    std::optional<Size> size = {};          // of the frames: whether grids fit
    CheckedMode mode = CheckedMode::kBoth;  // a single one: what concerns only the other is left out
    std::string backEnd = {};               // instead of the tuning's; its own is then not judged
};

// In the order of the rules. Throws (exit code 3) when the directory cannot be read.
Findings checkTuning(const std::string& directory, const CheckOptions& options = {});

std::size_t countOf(const Findings& findings, Severity severity);

// Findings as JSON text, as `huevance tuning check --json` prints them.
std::string jsonReport(const std::string& directory, const Findings& findings);

// What a command that is about to use a tuning says first: a line for each finding that changes its pictures,
// and nothing when there is none. A directory that cannot be read is left to the command.
void noteWhatChangesPictures(const std::string& directory, const CheckOptions& options);

// Mends what has one right answer: line ends, byte-order marks and UTF-16, missing slashes of lists, fused
// tables; after that tables that are older than their looks, and missing ones that have a look. Each of the
// two steps replaces all its files or, when one cannot be written (exit code 3), none. A line for each thing
// that it did.
std::vector<std::string> fixTuning(const std::string& directory);

}  // namespace tool
