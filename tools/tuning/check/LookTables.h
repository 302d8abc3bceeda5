// Whether tables are what their looks bake to.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/tuning/Bake.h"
#include "tools/tuning/TuningFiles.h"

namespace tool {

// A file of a table that is not what the look bakes to.
struct DifferingFile {
    enum class Reason {
        kOlder,          // than the look
        kOtherBackEnds,  // made for others than platformSet.ini names
        kEdited,         // since it was baked
        kNotWhole,       // missing or of another size
    };
    std::string name;
    Reason reason = Reason::kOlder;
    std::optional<int> line;  // of an INI file
    std::string what;         // "satStrength is 1.3, not 1.1", empty for a whole table
};

// Who reads the directory's tables; nothing when a back end's name is none.
std::optional<TableReader> tableReader(const TuningFiles& files);

// The files of table `table`, whose look is `look`.
//
// Baking the colours of a starter takes 0.3 s. A colour table that was written right before its look, as
// commands write them, is compared in one point of sixteen; any other one in all.
std::vector<DifferingFile> differingFiles(const TuningFiles& files, int table, const Look& look,
                                          TableReader reader);

}  // namespace tool
