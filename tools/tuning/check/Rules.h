// The parts of the check. Each adds to `findings`.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/picture/Size.h"
#include "tools/tuning/TuningFiles.h"
#include "tools/tuning/check/Finding.h"

namespace tool {

// What every part looks at.
struct CheckedTuning {
    const TuningFiles& files;
    std::vector<ModeSettings> modes;  // those that are checked: captures, previews, or one of them
    std::optional<Size> size;         // of the frames

    // The largest sceneNum, as far as tables can be.
    int tables() const;
    // Whether a mode is on and `matters`.
    template <typename Predicate>
    bool anyOn(Predicate matters) const {
        for (const ModeSettings& mode : modes) {
            if (mode.on && matters(mode)) {
                return true;
            }
        }
        return false;
    }
};

// Names, presence and length of paths: HV1xx.
void checkFiles(const CheckedTuning& tuning, Findings& findings);
// The text of one INI file: HV2xx.
void checkIni(const CheckedTuning& tuning, const std::string& name, Findings& findings);
// Back ends and the cache: HV3xx.
void checkPlatform(const CheckedTuning& tuning, Findings& findings);
// Curves and colour tables, and the fused ones: HV4xx.
void checkTables(const CheckedTuning& tuning, Findings& findings);
// Scenes: HV5xx.
void checkScenes(const CheckedTuning& tuning, Findings& findings);
// Settings that do not go together: HV6xx; protection, and what OGL reads otherwise: HV7xx.
void checkSettings(const CheckedTuning& tuning, Findings& findings);
// Looks beside their tables: HV8xx.
void checkLooks(const CheckedTuning& tuning, Findings& findings);

}  // namespace tool
