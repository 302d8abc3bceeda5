// The subcommands. Each adds itself to the command line; when it was asked for, parsing leaves in `action`
// what it does. Actions return an exit code or throw a ToolError.
#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/ToolError.h"

namespace tool {

using Action = std::function<ExitCode()>;

void addRun(CLI::App& app, Action& action);
void addConvert(CLI::App& app, Action& action);
void addCompare(CLI::App& app, Action& action);
void addBatch(CLI::App& app, Action& action);
void addStages(CLI::App& app, Action& action);
void addInfo(CLI::App& app, Action& action);
// `tuning` is the subcommand that these share.
void addTuningCheck(CLI::App& tuning, Action& action);
void addTuningShow(CLI::App& tuning, Action& action);  // and diff
void addTuningNew(CLI::App& tuning, Action& action);
void addTuningRetarget(CLI::App& tuning, Action& action);
void addTuningBake(CLI::App& tuning, Action& action);  // and adopt
void addTuningScene(CLI::App& tuning, Action& action);
void addLook(CLI::App& app, Action& action);
void addCurve(CLI::App& app, Action& action);
void addLut(CLI::App& app, Action& action);
void addFit(CLI::App& app, Action& action);
void addStudio(CLI::App& app, Action& action);

// What a command changed in a directory, as a note.
void noteChanges(const std::string& directory, const std::vector<std::string>& files);

class TuningDirectory;
struct Look;
// A table's look; a table without one is adopted, in memory.
Look lookOf(TuningDirectory& tuning, int table);

}  // namespace tool
