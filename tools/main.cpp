// `huevance`: the library from the command line, used as a camera host uses it.
#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"

namespace {

using namespace tool;

ExitCode dispatch(int argc, char** argv) {
    CLI::App app("huevance: better camera pictures from the command line", "huevance");
    app.require_subcommand(1);
    app.set_version_flag("--version", HUEVANCE_TOOL_VERSION);
    app.footer(
        "Examples:\n"
        "  huevance tuning new my_tuning\n"
        "  huevance run in.jpg out.jpg --tuning my_tuning\n"
        "  huevance compare in.jpg out.jpg --side-by-side before_after.png\n"
        "'huevance run --help' has more.\n\n" +
        std::string(kExitCodes));
    Action action;
    addRun(app, action);
    addConvert(app, action);
    addStages(app, action);
    addBatch(app, action);
    addCompare(app, action);
    CLI::App* tuning = app.add_subcommand("tuning", "Tuning directories");
    tuning->require_subcommand(1);
    addTuningCheck(*tuning, action);
    addTuningNew(*tuning, action);
    addTuningShow(*tuning, action);
    addTuningRetarget(*tuning, action);
    addTuningBake(*tuning, action);
    addTuningScene(*tuning, action);
    addLook(app, action);
    addCurve(app, action);
    addLut(app, action);
    addFit(app, action);
    addStudio(app, action);
    addInfo(app, action);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitCode::kGood : ExitCode::kUsage;
    }
    return action();
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that goes away is a write error like any other.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(dispatch(argc, argv));
    } catch (const ToolError& error) {
        note(error.what());
        return static_cast<int>(error.code());
    } catch (const std::bad_alloc&) {
        note("out of memory");
    } catch (const std::exception& error) {
        note(error.what());
    }
    return static_cast<int>(ExitCode::kFile);
}
