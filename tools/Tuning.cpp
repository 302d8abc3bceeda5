#include <filesystem>

#include "tools/Commands.h"
#include "tools/StarterTuning.h"
#include "tools/Stdio.h"

namespace tool {

namespace fs = std::filesystem;

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

}  // namespace tool
