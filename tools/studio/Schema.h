// What the page needs to know to draw its controls: every key with its range and meaning, from where the
// files' own readers have them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "tools/tuning/TuningKeys.h"

namespace tool {

// Settings of photoSet.ini or frameSet.ini that the studio edits, in its order.
struct StudioSetting {
    const TuningKey* key;
    const char* label;
};
std::vector<StudioSetting> studioSettings(bool photo);

// "strengths", "adjustments", "settings" and "stages" of GET /api/open.
void addSchema(nlohmann::ordered_json& json);

}  // namespace tool
