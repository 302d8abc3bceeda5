// A complete tuning directory to start from. Its looks are the files of tools/tuning/starter/.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tools/tuning/FileChanges.h"
#include "tools/tuning/Look.h"

namespace tool {

// In the order of their host scene numbers; neutral is the first.
std::vector<std::string> starterLookNames();
// Throws a usage error, with the list, for a name that is none.
Look starterLook(const std::string& name);

enum class Protection { kNone, kMask, kSkin };

struct StarterOptions {
    std::string photo = "CPU";
    std::string frame = "CPU";
    std::string cache;               // empty: the directory itself
    std::vector<std::string> looks;  // empty: all; neutral and night are always there
    Protection protection = Protection::kNone;
};

// The back ends that take photos, or previews.
std::span<const char* const> backEndsOf(bool photo);

// Throws a usage error for a back end without the mode, and for what platformSet.ini cannot hold.
void checkStarter(const StarterOptions& options);

// Writes every file into an existing directory, all or nothing.
void writeStarter(const std::string& directory, const StarterOptions& options);
// A small one, with one back end for both modes, whatever its modes are: to see whether it runs.
void writeStarterTuning(const std::string& directory, const std::string& backEnd);

}  // namespace tool
