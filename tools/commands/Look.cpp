#include "tools/tuning/Look.h"

#include <memory>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/LookEdit.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace {

struct LookOptions {
    std::string directory, scene;
    std::vector<std::string> changes;
    bool list = false;
};

ExitCode lookSet(const LookOptions& options) {
    if (options.list) {
        print(lookKeyList());
        return ExitCode::kGood;
    }
    if (options.directory.empty() || options.scene.empty() || options.changes.empty()) {
        throw usageError(
            "look set needs DIR, --scene and KEY=VALUE ('huevance look set --list' shows the keys)");
    }
    TuningDirectory tuning(options.directory);
    const int table = tuning.tableOf(options.scene);
    Look look = lookOf(tuning, table);
    for (const std::string& change : options.changes) {
        editLook(look, change);
    }
    tuning.setLook(table, look);
    noteChanges(options.directory, tuning.save());
    return ExitCode::kGood;
}

}  // namespace

Look lookOf(TuningDirectory& tuning, int table) {
    if (!tuning.look(table)) {
        tuning.adoptOne(table);
    }
    return *tuning.look(table);
}

void addLook(CLI::App& app, Action& action) {
    CLI::App* look = app.add_subcommand("look", "Looks: the editable sources of scene tables");
    look->require_subcommand(1);
    auto shared = std::make_shared<LookOptions>();
    LookOptions& options = *shared;
    CLI::App* command = look->add_subcommand("set", "Change a look, and the tables that are made from it");
    command->add_option("DIR", options.directory, "Tuning directory");
    command->add_option("CHANGES", options.changes, "KEY=VALUE ...");
    command->add_option("-s,--scene", options.scene, "Name of the look, or host scene number");
    command->add_flag("--list", options.list, "Print the keys, their ranges and meanings");
    command->footer(
        "Examples:\n"
        "  huevance look set my_tuning --scene food vibrance.amount=0.3 warmth=0.05\n"
        "  huevance look set my_tuning --scene night \"curve=0,0 40,52 255,255\" claheStrength=0.2\n"
        "  huevance look set --list\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return lookSet(*shared); }; });
}

}  // namespace tool
