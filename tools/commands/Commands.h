// The subcommands. Each adds itself to the command line; when it was asked for, parsing leaves in `action`
// what it does. Actions return an exit code or throw a ToolError.
#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "tools/ToolError.h"

namespace tool {

using Action = std::function<ExitCode()>;

void addRun(CLI::App& app, Action& action);
void addConvert(CLI::App& app, Action& action);
void addCompare(CLI::App& app, Action& action);
void addInfo(CLI::App& app, Action& action);
// `tuning` is the subcommand that these share.
void addTuningCheck(CLI::App& tuning, Action& action);
void addTuningNew(CLI::App& tuning, Action& action);

}  // namespace tool
