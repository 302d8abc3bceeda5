// Looks beside their tables. The library never reads them; the commands that change a tuning do.
#include <map>

#include "tools/tuning/Look.h"
#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

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
        } catch (const LookError& error) {
            findings.push_back({"HV801", Severity::kWarning, name, error.line(),
                                "the look cannot be read (" + error.reason() +
                                    "): pictures stay as its tables are, and no look can be changed",
                                "Correct the line, or remove the file to go on with the tables alone."});
        }
    }
}

}  // namespace tool
