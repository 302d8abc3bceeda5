#include <filesystem>
#include <memory>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/StarterTuning.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct TuningOptions {
    std::string directory;
    std::string backEnd = "CPU";
    bool force = false;
};

ExitCode tuningNew(const TuningOptions& options) {
    std::error_code error;
    fs::create_directories(options.directory, error);
    if (error) {
        throw fileError("cannot make " + options.directory + ": " + error.message());
    }
    if (!options.force && !fs::is_empty(options.directory, error)) {
        throw fileError(options.directory + " is not empty (--force writes into it all the same)");
    }
    writeStarterTuning(options.directory, options.backEnd);
    note("wrote a starter tuning to " + options.directory + " (README.txt there says what is what)");
    return ExitCode::kGood;
}

}  // namespace

void addTuningNew(CLI::App& tuning, Action& action) {
    auto shared = std::make_shared<TuningOptions>();
    TuningOptions& options = *shared;
    CLI::App* command =
        tuning.add_subcommand("new", "Write a complete starter tuning: neutral, vivid, night, portrait");
    command->add_option("DIR", options.directory, "Directory, new or empty")->required();
    command->add_option("-b,--backend", options.backEnd, "Back end of both modes")
        ->transform(backEndName())
        ->capture_default_str();
    command->add_flag("--force", options.force, "Also into a directory that is not empty");
    command->footer("Example:\n  huevance tuning new my_tuning\n\n" + std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return tuningNew(*shared); }; });
}

}  // namespace tool
