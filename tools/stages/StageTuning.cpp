#include "tools/stages/StageTuning.h"

#include <algorithm>
#include <array>

#include "tools/tuning/TuningKeys.h"

namespace tool {

namespace {

struct StageWords {
    const char* name;
    const char* title;
    const char* section;
    const char* key;
};

constexpr StageWords kWords[] = {{"clahe", "Local contrast", "hvc", "claheSwitch"},
                                 {"curve", "Tone curve and saturation", "hvc", "curveSwitch"},
                                 {"correction", "Colour correction", "hvc", "cCorrSwitch"},
                                 {"table", "Colour table", "hvc", "colorSwitch"},
                                 {"protection", "Portrait protection", "portrait", "pProtectSwitch"}};

const StageWords& wordsOf(Stage stage) { return kWords[static_cast<std::size_t>(stage)]; }

// Adds what the library would not find in a file.
IniDocument settled(const IniDocument& document, const std::string& file) {
    IniDocument result = document;
    for (const TuningKey& key : keysOfFile(file)) {
        if (!document.find(key.section, key.name).found()) {
            result.set(
                key.section, key.name,
                key.kind == TuningKey::Kind::kList ? "0/" : std::to_string(static_cast<int>(key.fallback)));
        }
    }
    return result;
}

// The tables whose numbers a set-up looks at, as far as there are files: what is missing stays missing.
int tablesOf(const StagedTuning& tuning) { return std::clamp(tuning.mode.sceneNum, 0, kMaxSceneTables); }

// Changes every param<n>.ini, with the strengths in it that a key has which is missing: in a capture of the
// host's processor 0, elsewhere, where all tables are read at set-up, that of the table before.
template <typename Change>
void changeParams(const StagedTuning& tuning, NamedTexts& files, Change change) {
    const bool remembered = !tuning.mode.photo || tuning.mode.backEnd == "OGL";
    IniDocument before;
    for (int table = 0; table < tablesOf(tuning); ++table) {
        const std::string name = tableFile(kTableFileKinds[0], table);
        IniDocument param = tuning.files.ini(name);
        for (const TuningKey& key : keysOfFile(name)) {
            const IniLookup inherited = before.find(key.section, key.name);
            if (!param.find(key.section, key.name).found()) {
                param.set(key.section, key.name, remembered && inherited.found() ? inherited.value : "0");
            }
        }
        before = param;
        change(param);
        files[name] = param.bytes();
    }
}

void switchOff(IniDocument& set, Stage stage) { set.set(wordsOf(stage).section, wordsOf(stage).key, "0"); }
void switchOn(IniDocument& set, Stage stage) { set.set(wordsOf(stage).section, wordsOf(stage).key, "1"); }

IniDocument settledSet(const StagedTuning& tuning) {
    IniDocument set = settled(tuning.files.ini(tuning.mode.file), tuning.mode.file);
    set.set("save", tuning.mode.photo ? "photo" : "frame", "0");
    return set;
}

// Only `stage` is on, and there is no fade.
IniDocument setOfOne(const StagedTuning& tuning, Stage stage) {
    IniDocument set = settledSet(tuning);
    for (const Stage other : kStages) {
        switchOff(set, other);
    }
    switchOn(set, stage);
    set.set("switch", tuning.mode.photo ? "photoSwitch" : "frameSwitch", "1");
    if (!tuning.mode.photo) {
        set.set("hvc", "transFrameNum", "0");
    }
    return set;
}

}  // namespace

const char* nameOf(Stage stage) { return wordsOf(stage).name; }
const char* titleOf(Stage stage) { return wordsOf(stage).title; }

StagedTuning::StagedTuning(const std::string& directory, bool photo, const std::string& backEnd)
    : files(directory), mode(readMode(files, photo)) {
    mode.backEnd = backEnd.empty() ? mode.backEnd : backEnd;
}

std::vector<Stage> stagesOf(const ModeSettings& mode) {
    const bool on[] = {mode.clahe, mode.curve, mode.correction, mode.color, mode.protection};
    const bool hostPreview = !mode.photo && mode.backEnd == "CPU";
    std::vector<Stage> stages;
    for (const Stage stage : kStages) {
        const bool looksBack = stage == Stage::kCorrection || stage == Stage::kProtection;
        const bool unmasked = stage == Stage::kProtection && mode.backEnd == "OGL" && mode.maskSource != 1 &&
                              mode.maskSource != 2;
        if (mode.on && on[static_cast<std::size_t>(stage)] && !(hostPreview && looksBack) && !unmasked) {
            stages.push_back(stage);
        }
    }
    return stages;
}

NamedTexts settledFiles(const StagedTuning& tuning) {
    NamedTexts files;
    changeParams(tuning, files, [](IniDocument&) {});
    files[tuning.mode.file] = settledSet(tuning).bytes();
    return files;
}

NamedTexts filesUpTo(const StagedTuning& tuning, std::optional<Stage> last) {
    NamedTexts files = settledFiles(tuning);
    IniDocument set(files[tuning.mode.file]);
    for (const Stage stage : kStages) {
        if (!last || stage > *last) {
            switchOff(set, stage);
        }
    }
    // The GPU's correction looks back at the luma that the last stage to write it has not yet overwritten. It
    // has an effect only when another stage comes behind it: the colour table, without any strength.
    const bool shows = last == Stage::kCorrection && tuning.mode.correction && tuning.mode.backEnd == "GPU" &&
                       (tuning.mode.color || tuning.mode.protection);
    if (shows) {
        switchOn(set, Stage::kTable);
        changeParams(tuning, files, [](IniDocument& param) { param.set("hvc", "colorStrength", "0"); });
        const std::size_t bytes = sizeof(float) * kColorFloats * static_cast<std::size_t>(tablesOf(tuning));
        files["ColorLut"] = std::string(bytes, '\0');
    }
    files[tuning.mode.file] = set.bytes();
    return files;
}

bool hasMask(const ModeSettings& mode) {
    return mode.on && (mode.maskSource == 1 || mode.maskSource == 2) && (mode.photo || mode.backEnd != "CPU");
}

NamedTexts maskFiles(const StagedTuning& tuning) {
    IniDocument set = setOfOne(tuning, Stage::kProtection);
    switchOn(set, Stage::kCurve);  // to black
    NamedTexts files;
    changeParams(tuning, files, [&](IniDocument& param) {
        // Where skin is looked for behind the curve stage, chroma must be what it is there.
        if (!tuning.mode.curve) {
            param.set("hvc", "satStrength", "1");
        }
    });
    const std::string black(sizeof(float) * kCurveFloats, '\0');
    for (int table = 0; table < tablesOf(tuning); ++table) {
        files[tableFile(kTableFileKinds[1], table)] = black;
        files["CurveLut"] += black;
    }
    files[tuning.mode.file] = set.bytes();
    return files;
}

NamedTexts claheFiles(const StagedTuning& tuning, int sampRate) {
    IniDocument set = setOfOne(tuning, Stage::kClahe);
    set.set("hvc", "sampRate", std::to_string(sampRate));
    set.set("portrait", "maskSource", "0");
    NamedTexts files;
    changeParams(tuning, files, [](IniDocument&) {});
    files[tuning.mode.file] = set.bytes();
    return files;
}

}  // namespace tool
