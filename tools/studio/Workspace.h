// A tuning directory for the library alone: one mode, the tables in question, and every setting spelled out,
// so that neither a quirk of the person's files nor an earlier set-up in this process shows.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/studio/BakeCache.h"
#include "tools/studio/Document.h"

namespace tool {

struct WorkTable {
    float colorStrength = 0, satStrength = 0, claheStrength = 0;
    Bytes curve, color;
};

// From a look, or, without one, from the files of table `origin` of `directory` as they are.
WorkTable workTable(const StudioTable& table, TableReader reader, const std::string& directory,
                    BakeCache& cache);

struct WorkTuning {
    bool photo = true;
    std::string backEnd;
    std::map<std::string, int> settings;  // every one of the mode, by the key's name
    std::vector<WorkTable> tables;        // host scene n shows table n
};

// The settings of a mode of `directory` with the document's in them. Throws an HttpError for values out of
// their ranges, and what reading throws.
std::map<std::string, int> workSettings(const std::string& directory, const StudioMode& mode, bool photo);

// Writes the files into an existing directory; `cache` is where the back end may keep compiled kernels.
void writeWork(const WorkTuning& tuning, const std::string& directory, const std::string& cache);

}  // namespace tool
