// Looks beside their tables. The library never reads them; the commands that change a tuning do.
#include <map>

#include "tools/tuning/check/LookTables.h"
#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

using Reason = DifferingFile::Reason;

// A file of the table that says something else than the look.
void addDiffering(const DifferingFile& file, const std::string& look, Severity severity, Findings& findings) {
    const std::string differs =
        "it is not what " + look + " bakes to" + (file.what.empty() ? "" : " (" + file.what + ")");
    if (file.reason == Reason::kEdited) {
        findings.push_back({"HV805", Severity::kWarning, file.name, file.line,
                            differs + " and was changed after the look: pictures follow it until "
                                      "`huevance tuning bake`, or any command that changes the tuning, puts "
                                      "the look's in its place",
                            "To keep the change remove " + look +
                                " and run `huevance tuning adopt`; to undo it run `huevance tuning bake`."});
    } else if (file.reason != Reason::kNotWhole) {
        findings.push_back(
            {"HV804", severity, file.name, file.line,
             differs + (file.reason == Reason::kOlder
                            ? ", which was changed after it: pictures still follow the old look"
                            : " for the back ends and switches that there are now, but for others: "
                              "colours and tones come out otherwise than the look says"),
             "Run `huevance tuning bake`, or let --fix do so."});
    }
}

void checkTablesOf(const CheckedTuning& tuning, int table, const Look& look, Findings& findings) {
    const std::optional<TableReader> reader = tableReader(tuning.files);
    if (!reader || table >= tuning.tables()) {
        return;
    }
    const bool used = tuning.anyOn([&](const ModeSettings& mode) {
        return table < mode.sceneNum && (mode.clahe || mode.curve || mode.color);
    });
    for (const DifferingFile& file : differingFiles(tuning.files, table, look, *reader)) {
        addDiffering(file, lookFileName(table), errorIf(used), findings);
    }
}

}  // namespace

void checkLooks(const CheckedTuning& tuning, Findings& findings) {
    constexpr TableFileKind kLook = {"look", ".json", 0};
    std::map<std::string, std::string> files;  // by the look's name
    for (const auto& [name, file] : tuning.files.all()) {
        const std::optional<int> table = tableOfFile(kLook, name);
        if (!table || !file.readable()) {
            continue;
        }
        if (*table >= tuning.tables()) {
            findings.push_back({"HV802", Severity::kWarning, name, std::nullopt,
                                "the look is of table " + std::to_string(*table) + ", and sceneNum counts " +
                                    std::to_string(tuning.tables()) + " tables: nobody sees it",
                                "Raise sceneNum and add the table to sceneIdx, or remove the look."});
        }
        try {
            const Look look = parseLook(file.bytes, name);
            const auto [other, isNew] = files.emplace(look.name, name);
            if (!isNew) {
                findings.push_back({"HV803", Severity::kWarning, name, std::nullopt,
                                    "its name, " + inQuotes(look.name) + ", is also that of " +
                                        other->second +
                                        ": scenes cannot be named by it, and no look can be changed",
                                    "Give each look a name of its own."});
            }
            checkTablesOf(tuning, *table, look, findings);
        } catch (const LookError& error) {
            findings.push_back({"HV801", Severity::kWarning, name, error.line(),
                                "the look cannot be read (" + error.reason() +
                                    "): pictures stay as its tables are, and no look can be changed",
                                "Correct the line, or remove the file to go on with the tables alone."});
        }
    }
}

}  // namespace tool
