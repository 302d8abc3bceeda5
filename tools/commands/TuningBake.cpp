#include <memory>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace {

ExitCode tuningBake(const std::string& directory) {
    TuningDirectory tuning(directory);
    noteChanges(directory, tuning.save());
    return ExitCode::kGood;
}

ExitCode tuningAdopt(const std::string& directory) {
    TuningDirectory tuning(directory);
    const std::vector<int> tables = tuning.adopt();
    for (const int table : tables) {
        note("table " + std::to_string(table) + " is the look '" + tuning.look(table)->name + "' now, " +
             lookFileName(table));
    }
    if (tables.empty()) {
        note("every table of " + directory + " has a look already");
    }
    return ExitCode::kGood;
}

void addOne(CLI::App& tuning, Action& action, const char* name, const char* what,
            ExitCode (*run)(const std::string&), const std::string& footer) {
    auto directory = std::make_shared<std::string>();
    CLI::App* command = tuning.add_subcommand(name, what);
    command->add_option("DIR", *directory, "Tuning directory")->required();
    command->footer(footer + "\n" + kExitCodes);
    command->callback([directory, &action, run] { action = [directory, run] { return run(*directory); }; });
}

}  // namespace

void noteChanges(const std::string& directory, const std::vector<std::string>& files) {
    std::string names;
    for (const std::string& file : files) {
        names += (names.empty() ? "" : ", ") + file;
    }
    note(directory + ": " + (names.empty() ? "nothing to change" : "wrote " + names));
}

void addTuningBake(CLI::App& tuning, Action& action) {
    addOne(tuning, action, "bake", "Compute the tables that the library reads from the looks", tuningBake,
           "Writes param<n>.ini, curveLut<n>, colorLut<n>, CurveLut and ColorLut, those that change.\n");
    addOne(tuning, action, "adopt", "Make looks for tables that have none, without changing a byte of them",
           tuningAdopt, "The tables are kept as they are; adjustments can be added to them afterwards.\n");
}

}  // namespace tool
