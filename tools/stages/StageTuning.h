// Tunings that let the library itself show what happens inside of it: fewer switches, or tables that make
// something visible. Nothing here computes a picture.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/host/TemporaryTuning.h"
#include "tools/tuning/TuningFiles.h"

namespace tool {

// In the order in which frames pass them.
enum class Stage { kClahe, kCurve, kCorrection, kTable, kProtection };
inline constexpr Stage kStages[] = {Stage::kClahe, Stage::kCurve, Stage::kCorrection, Stage::kTable,
                                    Stage::kProtection};
// "clahe", "curve", "correction", "table", "protection".
const char* nameOf(Stage stage);
// "Local contrast", ...
const char* titleOf(Stage stage);

// One mode of a tuning directory, as a back end runs it.
struct StagedTuning {
    TuningFiles files;
    ModeSettings mode;  // its backEnd is the one that runs
    // Throws (exit code 3) when the directory cannot be read. An empty `backEnd` is the tuning's own.
    StagedTuning(const std::string& directory, bool photo, const std::string& backEnd = {});
};

// The stages that frames pass: switched on, and known to the back end in this mode.
std::vector<Stage> stagesOf(const ModeSettings& mode);

// The files in which a tuning differs that has every setting of its mode in it, so that nothing of another
// set-up in this process shows: keys that the library would not find get its defaults, and nothing is dumped.
NamedTexts settledFiles(const StagedTuning& tuning);
// The same with the stages behind `last` switched off, or all of them: frames come out as they are after that
// stage.
NamedTexts filesUpTo(const StagedTuning& tuning, std::optional<Stage> last);

// Whether protection can have a mask at all in this mode; the host's (maskSource 1) must also be handed over.
bool hasMask(const ModeSettings& mode);
// With these a frame of luma 255 comes out with the luma 255 x m, m being the part of a pixel's input that
// protection keeps. Behind any fade of scenes.
NamedTexts maskFiles(const StagedTuning& tuning);

// With these only local contrast works, behind any fade of scenes, and judges every `sampRate`th sample.
NamedTexts claheFiles(const StagedTuning& tuning, int sampRate);

}  // namespace tool
