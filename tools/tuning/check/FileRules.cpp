// What is there, and what is not.
#include <algorithm>
#include <filesystem>

#include "tools/tuning/TuningKeys.h"
#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// Of directory and file name together; a longer path ends the process.
constexpr std::size_t kMaxPath = 511;

struct Needed {
    std::string file;
    Severity severity;
    std::string without;  // the effect of its absence
};

bool usesFused(const ModeSettings& mode) { return !mode.photo && mode.backEnd == "GPU"; }

std::vector<Needed> neededFixed(const CheckedTuning& tuning) {
    std::vector<Needed> needed = {
        {"platformSet.ini", Severity::kError, "captures and previews fail at set-up"}};
    for (const ModeSettings& mode : tuning.modes) {
        needed.push_back({mode.file, Severity::kError,
                          std::string("every switch is off, and ") + (mode.photo ? "captures" : "previews") +
                              " come back as they were"});
    }
    const struct {
        const char* file;
        bool used;
    } fused[] = {{"CurveLut", tuning.anyOn([](const ModeSettings& m) { return usesFused(m) && m.curve; })},
                 {"ColorLut", tuning.anyOn([](const ModeSettings& m) { return usesFused(m) && m.color; })}};
    for (const auto& [file, used] : fused) {
        needed.push_back({file, errorIf(used),
                          used ? "previews on GPU fail at set-up"
                               : "only previews on GPU read it, and this tuning names another back end"});
    }
    return needed;
}

// The files of one kind for the scene tables.
void checkTableFiles(const CheckedTuning& tuning, const TableFileKind& kind, Findings& findings) {
    std::vector<int> missing;
    for (int table = 0; table < tuning.tables(); ++table) {
        if (tuning.files.find(tableFile(kind, table)) == nullptr) {
            missing.push_back(table);
        }
    }
    if (missing.empty()) {
        return;
    }
    const bool used = tuning.anyOn([&](const ModeSettings& mode) {
        const bool read = kind.floats == 0 || !usesFused(mode);
        const bool stage = kind.floats == 0              ? mode.curve || mode.color || mode.clahe
                           : kind.floats == kCurveFloats ? mode.curve
                                                         : mode.color;
        return read && stage && missing.front() < mode.sceneNum;
    });
    const std::string first = tableFile(kind, missing.front());
    const std::string others = missing.size() == 1
                                   ? ""
                                   : " and " + std::to_string(missing.size() - 1) + " more, up to " +
                                         tableFile(kind, missing.back()) + ", are missing";
    const std::string effect =
        kind.floats == 0 ? "its scenes keep the strengths of whichever table was read before"
                         : "its scenes keep what memory held: the table of the capture before, or black";
    for (const auto& [name, file] : tuning.files.all()) {
        if (lowered(name) == lowered(first) && file.readable()) {
            findings.push_back(
                {"HV101", errorIf(used), first, std::nullopt,
                 "the file is missing (" + name + " is not it: names have their case): " + effect,
                 "Rename " + name + " to " + first + "."});
            return;
        }
    }
    findings.push_back({"HV101", errorIf(used), first, std::nullopt,
                        (others.empty() ? std::string("the file is missing") : "this file" + others) +
                            ", though sceneNum counts the table: " + effect,
                        "Put the file there, or lower sceneNum and take the table out of sceneIdx."});
}

}  // namespace

int CheckedTuning::tables() const {
    int most = 0;
    for (const ModeSettings& mode : modes) {
        most = std::max(most, mode.sceneNum <= kMaxSceneTables ? mode.sceneNum : 0);
    }
    return most;
}

void checkFiles(const CheckedTuning& tuning, Findings& findings) {
    const TuningFiles& files = tuning.files;
    for (const Needed& needed : neededFixed(tuning)) {
        if (files.find(needed.file) != nullptr) {
            continue;
        }
        const auto alike = std::find_if(files.all().begin(), files.all().end(), [&](const auto& entry) {
            // CurveLut and curveLut0 differ by more than case.
            return entry.first != needed.file && lowered(entry.first) == lowered(needed.file);
        });
        const bool renamed = alike != files.all().end();
        findings.push_back(
            {"HV101", needed.severity, needed.file, std::nullopt,
             (renamed ? "the file is missing (" + alike->first + " is not it: names have their case): "
                      : "the file is missing: ") +
                 needed.without,
             renamed ? "Rename " + alike->first + " to " + needed.file + "."
             : needed.file == "CurveLut" || needed.file == "ColorLut"
                 ? "Put all tables one after another into it, or let --fix do so."
                 : "Copy it from a tuning that works; 'huevance tuning new' writes one."});
    }
    for (const TableFileKind& kind : kTableFileKinds) {
        checkTableFiles(tuning, kind, findings);
    }
    std::string longest;
    for (const auto& [name, file] : files.all()) {
        if (!file.readable()) {
            findings.push_back({"HV102", Severity::kError, name, std::nullopt,
                                "the file cannot be read (" + file.error + "): it counts as missing",
                                "Put a readable file in its place."});
        } else if (file.size == 0 &&
                   (!keysOfFile(name).empty() || name == "CurveLut" || name == "ColorLut" ||
                    tableOfFile(kTableFileKinds[1], name) || tableOfFile(kTableFileKinds[2], name))) {
            const bool table = keysOfFile(name).empty();
            findings.push_back({"HV103", Severity::kError, name, std::nullopt,
                                std::string("the file is empty: ") +
                                    (table ? "its scenes keep what memory held, the table before or black"
                                           : "it counts as one without any key"),
                                "Copy it from a tuning that works."});
        }
        if (name.find(".huevance-") != std::string::npos && name[0] == '.') {
            findings.push_back({"HV105", Severity::kWarning, name, std::nullopt,
                                "this file was left by a change that was cut off; it has no effect",
                                "Remove it."});
        }
        longest = name.size() > longest.size() && !keysOfFile(name).empty() ? name : longest;
    }
    std::error_code ignored;
    const std::string path = fs::absolute(files.directory(), ignored).lexically_normal().string();
    if (path.size() + 1 + std::max(longest.size(), std::string("platformSet.ini").size()) > kMaxPath) {
        findings.push_back(
            {"HV104", Severity::kError, longest.empty() ? "platformSet.ini" : longest, std::nullopt,
             "directory and file name together exceed 511 characters, which ends the camera's process",
             "Move the tuning to a shorter path."});
    }
}

}  // namespace tool
