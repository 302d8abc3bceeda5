#include "tools/tuning/check/Check.h"

#include <algorithm>
#include <cstring>

#include "tools/Stdio.h"
#include "tools/ToolError.h"
#include "tools/tuning/TuningKeys.h"
#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

constexpr Rule kRules[] = {
    {"HV101", "a file is missing"},
    {"HV102", "a file cannot be read"},
    {"HV103", "a file is empty"},
    {"HV104", "the path is too long"},
    {"HV105", "a file is left over"},
    {"HV201", "a byte-order mark"},
    {"HV202", "UTF-16"},
    {"HV203", "carriage returns alone"},
    {"HV204", "line feeds alone in platformSet.ini"},
    {"HV205", "a line ends the search"},
    {"HV208", "a line is too long"},
    {"HV209", "not text"},
    {"HV210", "a section's header is mistyped"},
    {"HV211", "a section is missing"},
    {"HV212", "a section stands twice"},
    {"HV213", "a key is mistyped"},
    {"HV214", "a line above hides a key"},
    {"HV215", "a key stands in another section"},
    {"HV216", "a key is missing"},
    {"HV217", "a key stands twice"},
    {"HV218", "a value is no number"},
    {"HV219", "a value is not finite"},
    {"HV220", "a number ends early"},
    {"HV221", "a value is out of its range"},
    {"HV222", "an unknown section"},
    {"HV223", "an unknown key"},
    {"HV301", "no back end"},
    {"HV302", "a back end's name is too long"},
    {"HV303", "no back end's name"},
    {"HV304", "a back end without this mode"},
    {"HV305", "no cache path"},
    {"HV306", "a cache directory that does not exist"},
    {"HV307", "a cache directory that cannot be written"},
    {"HV308", "a cache directory of another machine"},
    {"HV309", "a relative cache path"},
    {"HV401", "a table is short"},
    {"HV402", "a table is long"},
    {"HV403", "a table is text"},
    {"HV404", "a table of doubles"},
    {"HV405", "a table of bytes"},
    {"HV406", "a table in the other byte order"},
    {"HV407", "a table of integers or short numbers"},
    {"HV408", "a table from 0 to 1"},
    {"HV409", "numbers that are not finite"},
    {"HV410", "levels out of 0 to 255"},
    {"HV411", "a curve that falls"},
    {"HV412", "a colour table in another order"},
    {"HV413", "a table of one number"},
    {"HV414", "a fused table is short"},
    {"HV415", "a fused table is stale"},
    {"HV416", "a fused table is long"},
    {"HV501", "a list without its last slash"},
    {"HV502", "a list with other separators"},
    {"HV503", "a list's element is no number"},
    {"HV505", "a scene without a table"},
    {"HV506", "a table without a scene"},
    {"HV507", "a table beyond sceneNum"},
    {"HV508", "scenes that are the same"},
    {"HV509", "captures and previews disagree"},
    {"HV601", "the master switch is off"},
    {"HV602", "every stage is off"},
    {"HV603", "dumps are on"},
    {"HV604", "a grid that does not fit"},
    {"HV605", "a grid that OGL refuses"},
    {"HV606", "a sampling step larger than a tile"},
    {"HV701", "protection without a mask"},
    {"HV702", "protection that holds back neutral grey"},
    {"HV703", "skin, the other way round on OGL"},
    {"HV704", "a mask that the host must pass"},
    {"HV705", "a strength that OGL reads the other way round"},
    {"HV706", "a colour table without effect"},
    {"HV801", "a look that cannot be read"},
    {"HV802", "a look beyond sceneNum"},
    {"HV803", "looks with the same name"},
    {"HV804", "a table older than its look"},
    {"HV805", "a table that was edited by hand"},
};

// platformSet.ini's findings about a back end that is not used.
bool isOverridden(const Finding& finding) {
    return finding.file == "platformSet.ini" && (finding.rule[2] == '3' || finding.rule[2] == '2');
}

}  // namespace

std::span<const Rule> checkRules() { return kRules; }

std::string textOf(const Finding& finding) {
    return printable(finding.file) + (finding.line ? ":" + std::to_string(*finding.line) : "") + ": " +
           (finding.severity == Severity::kError ? "error " : "warning ") + finding.rule + ": " +
           finding.message + "." + (finding.fix ? " " + *finding.fix : "");
}

Findings checkTuning(const std::string& directory, const CheckOptions& options) {
    const TuningFiles files(directory);
    CheckedTuning tuning = {files, {}, options.size};
    for (const bool photo : {true, false}) {
        if (options.mode == CheckedMode::kBoth || (options.mode == CheckedMode::kPhoto) == photo) {
            tuning.modes.push_back(readMode(files, photo));
            if (!options.backEnd.empty()) {
                tuning.modes.back().backEnd = options.backEnd;
            }
        }
    }
    Findings findings;
    checkFiles(tuning, findings);
    for (const auto& [name, file] : files.all()) {
        const bool otherMode = (name == "photoSet.ini" && options.mode == CheckedMode::kFrame) ||
                               (name == "frameSet.ini" && options.mode == CheckedMode::kPhoto);
        if (!otherMode) {
            checkIni(tuning, name, findings);
        }
    }
    checkPlatform(tuning, findings);
    checkTables(tuning, findings);
    checkScenes(tuning, findings);
    checkSettings(tuning, findings);
    checkLooks(tuning, findings);
    if (!options.backEnd.empty()) {
        findings.erase(std::remove_if(findings.begin(), findings.end(), isOverridden), findings.end());
    }
    for (Finding& finding : findings) {
        finding.message = printable(finding.message);
        finding.fix = finding.fix ? std::optional(printable(*finding.fix)) : std::nullopt;
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return std::strcmp(a.rule, b.rule) < 0; });
    return findings;
}

std::size_t countOf(const Findings& findings, Severity severity) {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [=](const Finding& finding) { return finding.severity == severity; }));
}

void noteWhatChangesPictures(const std::string& directory, const CheckOptions& options) {
    try {
        for (const Finding& finding : checkTuning(directory, options)) {
            if (finding.severity == Severity::kError) {
                note(textOf(finding));
            }
        }
    } catch (const ToolError&) {
        return;
    }
}

}  // namespace tool
