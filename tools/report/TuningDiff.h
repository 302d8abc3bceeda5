// The difference of two tunings, in words first.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/report/TuningView.h"

namespace tool {

struct SceneDifference {
    std::string name;
    const TableView* a = nullptr;  // null: only in B
    const TableView* b = nullptr;
    std::vector<std::string> words;  // "mid-grey +4 levels", "blues 3 % deeper"; empty when nothing is seen
    // CIEDE2000 between what the two make of a grid of RGB colours.
    double deltaEMean = 0.0, deltaEMax = 0.0;
    double midGrey = 0.0;  // levels that mid-grey is brighter in B
    bool equal() const { return a != nullptr && b != nullptr && words.empty() && deltaEMax == 0.0; }
};

struct SettingDifference {
    std::string file, key;
    std::string a, b;  // as the library reads them, with its defaults
};

struct TuningDifference {
    std::vector<SceneDifference> scenes;  // matched by name
    std::vector<SettingDifference> settings;
    bool equal() const;
    // Everything, a line each.
    std::vector<std::string> words() const;
};

// The views must live as long as the result.
TuningDifference differenceOf(const TuningView& a, const TuningView& b);

// The families of hues that words are about, and how one table's colour of a family differs from another's.
struct HueFamily {
    const char* name;  // "blues"
    double hue;        // degrees in Oklab
};
inline constexpr HueFamily kHueFamilies[] = {{"reds", 29},     {"skin", 55},   {"yellows", 105},
                                             {"greens", 142},  {"cyans", 195}, {"blues", 264},
                                             {"magentas", 328}};

}  // namespace tool
