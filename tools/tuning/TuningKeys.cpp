#include "tools/tuning/TuningKeys.h"

#include <algorithm>

#include "tools/tuning/TuningFiles.h"

namespace tool {

namespace {

using Kind = TuningKey::Kind;

constexpr const char* kOnlyOne = "a switch is on only when it is exactly 1, so this one is off";
constexpr const char* kGridOff =
    "no grid can be laid, and local contrast is off with an error line for each frame";
constexpr const char* kTiny = "tiles are so small that local contrast follows noise";
constexpr const char* kFew = "tiles are judged by a few of their samples, and local contrast is rough";
constexpr const char* kNoMask = "there is no such mask: nothing is protected";
constexpr const char* kStays = "the strength stays that of whichever table was read before";

constexpr TuningKey kPlatform[] = {
    {"platform", "photo", Kind::kText, 0, 0, 0, true, "captures fail at set-up", "", ""},
    {"platform", "frame", Kind::kText, 0, 0, 0, true, "previews fail at set-up", "", ""},
    {"cache", "path", Kind::kText, 0, 0, 0, true, "previews fail at set-up, whatever their back end", "", ""},
};

// Of photoSet.ini and frameSet.ini; the first two and transFrameNum differ.
#define SHARED_KEYS                                                                                           \
    {"hvc", "claheSwitch", Kind::kSwitch, 0, 0, 1, true, "local contrast is off", kOnlyOne, kOnlyOne},        \
        {"hvc",    "curveSwitch", Kind::kSwitch, 0, 0, 1, true, "tone curve and saturation are off",          \
         kOnlyOne, kOnlyOne},                                                                                 \
        {"hvc", "colorSwitch", Kind::kSwitch, 0, 0, 1, true, "the colour table is off", kOnlyOne, kOnlyOne},  \
        {"hvc", "cCorrSwitch", Kind::kSwitch, 0, 0, 1, true, "colour correction is off", kOnlyOne, kOnlyOne}, \
        {"hvc",    "gridWidth", Kind::kInteger, 8, 1, 64, false, "local contrast works with 8 tiles across",  \
         kGridOff, kTiny},                                                                                    \
        {"hvc",    "gridHeight", Kind::kInteger, 6, 1, 64, false, "local contrast works with 6 tiles down",   \
         kGridOff, kTiny},                                                                                    \
        {"hvc",    "sampRate", Kind::kInteger, 4, 1, 32, false, "every fourth sample is counted",             \
         kGridOff, kFew},                                                                                     \
        {"portrait", "maskSource", Kind::kInteger, 0, 0, 2, false, "there is no portrait mask",               \
         kNoMask,    kNoMask},                                                                                \
        {"portrait", "pProtectSwitch", Kind::kSwitch, 0, 0, 1, false, "portrait protection is off",           \
         kOnlyOne,   kOnlyOne},                                                                               \
        {"scene",                                                                                             \
         "sceneNum",                                                                                          \
         Kind::kInteger,                                                                                      \
         1,                                                                                                   \
         1,                                                                                                   \
         kMaxSceneTables,                                                                                     \
         true,                                                                                                \
         "there is one scene table, table 0",                                                                 \
         "no scene has a table, and every frame is refused",                                                  \
         "previews fail at set-up"},                                                                          \
    {                                                                                                         \
        "scene", "sceneIdx", Kind::kList, 0, 0, 0, true, "every scene has table 0", "", ""                    \
    }

constexpr TuningKey kPhotoSet[] = {
    {"save", "photo", Kind::kSwitch, 0, 0, 1, false, "captures are not dumped", kOnlyOne, kOnlyOne},
    {"switch", "photoSwitch", Kind::kSwitch, 0, 0, 1, true, "captures come back as they were", kOnlyOne,
     kOnlyOne},
    SHARED_KEYS};

constexpr TuningKey kFrameSet[] = {
    {"save", "frame", Kind::kSwitch, 0, 0, 1, false, "previews are not dumped", kOnlyOne, kOnlyOne},
    {"switch", "frameSwitch", Kind::kSwitch, 0, 0, 1, true, "previews come back as they were", kOnlyOne,
     kOnlyOne},
    {"hvc", "transFrameNum", Kind::kInteger, 60, 0, 600, true, "a change of scene fades over 60 frames",
     "a change of scene does not fade", "a change of scene takes more than ten seconds to fade"},
    SHARED_KEYS};
#undef SHARED_KEYS

constexpr TuningKey kParam[] = {
    {"hvc", "colorStrength", Kind::kNumber, 0, 0, 1, true, kStays,
     "the colour table's change is turned round", "the colour table's change is exaggerated"},
    {"hvc", "satStrength", Kind::kNumber, 0, 0, 4, true, kStays, "colours turn into their opposites",
     "colours burn out"},
    {"hvc", "claheStrength", Kind::kNumber, 0, 0, 8, true, kStays, "tones are flattened",
     "local contrast is not held back at all, and noise is lifted"},
};

}  // namespace

std::span<const TuningKey> keysOfFile(const std::string& file) {
    if (file == "platformSet.ini") {
        return kPlatform;
    }
    if (file == "photoSet.ini") {
        return kPhotoSet;
    }
    if (file == "frameSet.ini") {
        return kFrameSet;
    }
    return tableOfFile(kTableFileKinds[0], file) ? std::span<const TuningKey>(kParam)
                                                 : std::span<const TuningKey>();
}

}  // namespace tool
