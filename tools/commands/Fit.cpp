#include "tools/tuning/Fit.h"

#include <cstdio>
#include <memory>

#include "tools/Files.h"
#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/picture/Rgb.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace {

struct FitCommand {
    std::string directory, scene;
    std::vector<std::string> before, after;
    FitOptions fit;
    bool json = false;
};

std::vector<PicturePair> readPairs(const FitCommand& command) {
    if (command.before.size() != command.after.size()) {
        throw usageError("there are " + std::to_string(command.before.size()) + " pictures before and " +
                         std::to_string(command.after.size()) + " after: name as many, in the same order");
    }
    std::vector<PicturePair> pairs;
    for (std::size_t i = 0; i < command.before.size(); ++i) {
        const std::string &before = command.before[i], &after = command.after[i];
        pairs.push_back({before, after, decodeUpright(readFile(before), before),
                         decodeUpright(readFile(after), after)});
        checkPair(pairs.back());
    }
    return pairs;
}

// A switch of captures; missing keys are off.
bool isOn(const IniDocument& photoSet, const char* section, const char* key) {
    return photoSet.integer(section, key).value_or(0) == 1;
}

void noteSwitches(const IniDocument& photoSet, const FitCommand& command) {
    const auto say = [&](const std::string& text) { note(command.directory + "/photoSet.ini: " + text); };
    if (!isOn(photoSet, "hvc", "colorSwitch")) {
        say("colorSwitch is off, so captures will not show the fitted table");
    }
    if (command.fit.curve && !isOn(photoSet, "hvc", "curveSwitch")) {
        say("curveSwitch is off, so captures will not show the fitted curve, and the table expects it");
    }
    if (isOn(photoSet, "portrait", "pProtectSwitch")) {
        say("portrait protection is on: skin, and what is taken for it, stays nearer to the input than the "
            "fit");
    }
}

std::string textOf(const std::vector<PicturePair>& pairs, const FitReport& report) {
    std::string text;
    char number[80];
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        std::snprintf(number, sizeof(number), ": CIEDE2000 %.2f remains on average\n", report.deltaE[i]);
        text += pairs[i].beforeName + " -> " + pairs[i].afterName + number;
    }
    if (report.heldOut) {
        std::snprintf(number, sizeof(number), "%.2f on pictures that the fit has not seen\n",
                      *report.heldOut);
        text += number;
    }
    std::snprintf(number, sizeof(number), "%.0f %% of RGB's cells covered\n", report.coveredPercent);
    return text + number;
}

ExitCode fit(FitCommand command) {
    TuningDirectory tuning(command.directory);
    const int table = tuning.tableOf(command.scene);
    const std::vector<PicturePair> pairs = readPairs(command);
    const IniDocument photoSet =
        IniDocument::load(command.directory + "/photoSet.ini").value_or(IniDocument());
    command.fit.correction = isOn(photoSet, "hvc", "cCorrSwitch");
    const FittedColors colors = fitColors(pairs, command.fit);
    const FitReport report = reportOf(pairs, colors, command.fit);
    Look look = lookOf(tuning, table);
    setFitted(look, colors);
    tuning.setLook(table, look);
    noteChanges(command.directory, tuning.save());
    noteSwitches(photoSet, command);
    constexpr double kMuch = 3.0;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        if (report.deltaE[i] > kMuch) {
            note(pairs[i].afterName +
                 " has been changed by more than its colours: places, sharpness or noise");
        }
    }
    print(command.json ? jsonOf(pairs, report) : textOf(pairs, report));
    return ExitCode::kGood;
}

}  // namespace

void addFit(CLI::App& app, Action& action) {
    auto shared = std::make_shared<FitCommand>();
    FitCommand& options = *shared;
    CLI::App* command =
        app.add_subcommand("fit", "Make a look that turns the pictures before into those after");
    command->add_option("DIR", options.directory, "Tuning directory")->required();
    command->add_option("-s,--scene", options.scene, "Name of the look, or host scene number")->required();
    command->add_option("--before", options.before, "Pictures as they came, JPEG or PNG")->required();
    command->add_option("--after", options.after, "The same, edited in any editor, in the same order")
        ->required();
    command->add_flag("--curve", options.fit.curve,
                      "Fit a tone curve, too; texture follows it pixel by pixel");
    command->add_option("--smooth", options.fit.smooth, "How smooth the table is to be, 1 as usual")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    command->add_flag("--json", options.json, "Report as JSON");
    command->footer(
        "The look's strengths, curve and adjustments are replaced: colorStrength 1, satStrength 1,\n"
        "claheStrength 0, and one fitted table. Pictures must have the same size and show the "
        "same.\n\nExample:\n"
        "  huevance fit my_tuning --scene food --before 1.jpg 2.jpg --after 1_edited.jpg 2_edited.jpg\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return fit(*shared); }; });
}

}  // namespace tool
