// Options that several subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "tools/host/FrameFile.h"

namespace tool {

extern const char* const kExitCodes;  // what they mean, for the footers

struct LibraryOptions {
    std::string library;  // empty: beside this program
    bool verbose = false;
};

const CLI::Validator& backEndName();
void add(CLI::App* command, LibraryOptions& options);
void add(CLI::App* command, FrameOptions& options);
void add(CLI::App* command, ColorOptions& options);
void addKind(CLI::App* command, std::string& to);

}  // namespace tool
