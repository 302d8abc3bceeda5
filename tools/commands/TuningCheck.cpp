#include <memory>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/check/Check.h"

namespace tool {

namespace {

struct TuningCheckOptions {
    std::string directory, size;
    bool json = false, strict = false, fix = false;
};

std::string counted(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string textReport(const std::string& directory, const Findings& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += textOf(finding) + "\n";
    }
    return text + directory + ": " + counted(countOf(findings, Severity::kError), "error") + ", " +
           counted(countOf(findings, Severity::kWarning), "warning") + "\n";
}

ExitCode tuningCheck(const TuningCheckOptions& options) {
    CheckOptions check;
    if (!options.size.empty()) {
        check.size = parseSize(options.size);
    }
    if (options.fix) {
        for (const std::string& done : fixTuning(options.directory)) {
            note("mended " + done);
        }
    }
    const Findings findings = checkTuning(options.directory, check);
    print(options.json ? jsonReport(options.directory, findings) : textReport(options.directory, findings));
    const bool bad = countOf(findings, Severity::kError) > 0 || (options.strict && !findings.empty());
    return bad ? ExitCode::kDifferent : ExitCode::kGood;
}

}  // namespace

void addTuningCheck(CLI::App& tuning, Action& action) {
    auto shared = std::make_shared<TuningCheckOptions>();
    TuningCheckOptions& options = *shared;
    CLI::App* command = tuning.add_subcommand(
        "check",
        "Look for everything in a tuning that makes pictures other than meant (docs/tuning-check.md)");
    command->add_option("DIR", options.directory, "Tuning directory")->required();
    command->add_option("--size", options.size, "WxH of the frames: whether grids fit");
    command->add_flag("--json", options.json, "Report as JSON");
    command->add_flag("--strict", options.strict, "Exit with 1 for warnings, too");
    command->add_flag(
        "--fix", options.fix,
        "First mend what has one right answer: line ends, byte-order marks, missing slashes of lists, "
        "fused tables");
    command->footer("Example:\n  huevance tuning check my_tuning --size 4000x3000\n\n" +
                    std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return tuningCheck(*shared); }; });
}

}  // namespace tool
