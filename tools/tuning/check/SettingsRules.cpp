// Values that are right by themselves and wrong together.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

constexpr long long kMaxOglTiles = 256;
constexpr const char* kStages[] = {"claheSwitch", "curveSwitch", "colorSwitch", "cCorrSwitch"};

class SettingsCheck {
public:
    SettingsCheck(const CheckedTuning& tuning, const ModeSettings& mode, Findings& findings)
        : m_tuning(tuning), m_mode(mode), m_findings(findings), m_ogl(mode.backEnd == "OGL") {}

    void run() {
        checkSwitches();
        if (m_mode.on) {
            checkGrid();
            checkProtection();
        }
    }

private:
    void add(const char* rule, Severity severity, const char* section, const char* key,
             const std::string& message, const std::string& fix) {
        const IniLookup lookup = m_tuning.files.ini(m_mode.file).find(section, key);
        m_findings.push_back({rule, severity, m_mode.file,
                              lookup.found() ? std::optional(lookup.line) : std::nullopt, message, fix});
    }
    void checkSwitches();
    void checkGrid();
    void checkProtection();
    const char* pictures() const { return m_mode.photo ? "captures" : "previews"; }

    const CheckedTuning& m_tuning;
    const ModeSettings& m_mode;
    Findings& m_findings;
    bool m_ogl;
};

void SettingsCheck::checkSwitches() {
    const IniDocument& document = m_tuning.files.ini(m_mode.file);
    const char* const master = m_mode.photo ? "photoSwitch" : "frameSwitch";
    if (document.integer("switch", master) == 0) {
        add("HV601", Severity::kWarning, "switch", master,
            std::string(master) + " is 0: " + pictures() + " come back as they were",
            std::string("Write ") + master + "=1 unless that is meant.");
    } else if (m_mode.on && std::all_of(std::begin(kStages), std::end(kStages),
                                        [&](const char* key) { return document.integer("hvc", key) == 0; })) {
        add("HV602", Severity::kWarning, "hvc", "claheSwitch",
            std::string("every stage is off: ") + pictures() + " come back as they were",
            "Switch a stage on, or the master switch off, which is faster.");
    }
    if (document.integer("save", m_mode.photo ? "photo" : "frame") == 1) {
        add("HV603", Severity::kWarning, "save", m_mode.photo ? "photo" : "frame",
            std::string("dumps are on: ") + pictures() +
                " are slower, and fill the storage or log that each dump failed",
            "Write 0 before the tuning ships.");
    }
}

void SettingsCheck::checkGrid() {
    const long long tiles = static_cast<long long>(m_mode.gridWidth) * m_mode.gridHeight;
    const std::string grid = std::to_string(m_mode.gridWidth) + " x " + std::to_string(m_mode.gridHeight);
    if (m_ogl && m_mode.gridWidth > 0 && m_mode.gridHeight > 0 && tiles > kMaxOglTiles) {
        add("HV605", Severity::kError, "hvc", "gridWidth",
            "the grid of " + grid + " has " + std::to_string(tiles) +
                " tiles, and OGL has at most 256: " + pictures() + " fail at set-up",
            "Keep gridWidth x gridHeight at 256 or less.");
    }
    if (!m_tuning.size || !m_mode.clahe || m_mode.gridWidth < 1 || m_mode.gridHeight < 1) {
        return;
    }
    const Size size = *m_tuning.size;
    const std::string frame = std::to_string(size.width) + " x " + std::to_string(size.height);
    if (m_mode.gridWidth > size.width || m_mode.gridHeight > size.height) {
        add("HV604", Severity::kError, "hvc", "gridWidth",
            "the grid of " + grid + " tiles does not fit frames of " + frame +
                ": local contrast is off, with an error line for each frame",
            "Use fewer tiles.");
    } else if (m_mode.sampRate > size.width / m_mode.gridWidth ||
               m_mode.sampRate > size.height / m_mode.gridHeight) {
        add("HV606", Severity::kWarning, "hvc", "sampRate",
            "sampRate=" + std::to_string(m_mode.sampRate) + " is larger than a tile of frames of " + frame +
                ": one sample stands for the whole tile",
            "Lower sampRate, or use fewer tiles.");
    }
}

void SettingsCheck::checkProtection() {
    const bool host = !m_mode.photo && m_mode.backEnd == "CPU";
    if (m_mode.protection && m_mode.maskSource == 0) {
        add("HV701", errorIf(!host), "portrait", "pProtectSwitch",
            std::string("protection is on, and maskSource is 0, no mask: ") +
                (host    ? "previews on CPU ignore both"
                 : m_ogl ? "nothing is protected"
                         : std::string("every frame of ") + pictures() + " is refused"),
            "Write maskSource=1 or 2, or pProtectSwitch=0.");
    } else if (m_mode.protection && m_mode.maskSource == 2 && !host) {
        if (m_ogl) {
            add("HV703", Severity::kWarning, "portrait", "maskSource",
                "on OGL the skin mask is read the other way round: skin is enhanced in full, and the rest "
                "keeps more "
                "of the input the less its colour is like skin's",
                "Write pProtectSwitch=0, or give a mask with maskSource=1.");
        } else {
            add("HV702", Severity::kWarning, "portrait", "maskSource",
                "protection by skin colour holds back more than skin: neutral grey keeps 57 % of the input, "
                "so that "
                "whole pictures look paler than the tables",
                "Write pProtectSwitch=0, or give a mask with maskSource=1.");
        }
    } else if (m_mode.maskSource == 1 && !host && !m_ogl) {
        add("HV704", Severity::kWarning, "portrait", "maskSource",
            std::string("maskSource is 1, the host's mask: every frame of ") + pictures() +
                " for which the host passes none is refused",
            "Write maskSource=0 unless the host passes a mask.");
    }
}

// colorStrength means the opposite on OGL.
void checkStrengths(const CheckedTuning& tuning, Findings& findings) {
    bool ogl = false, others = false;
    for (const ModeSettings& mode : tuning.modes) {
        (mode.backEnd == "OGL" ? ogl : others) |= mode.on && mode.color;
    }
    for (int table = 0; table < tuning.tables(); ++table) {
        const std::string name = tableFile(kTableFileKinds[0], table);
        const IniLookup lookup = tuning.files.ini(name).find("hvc", "colorStrength");
        const float strength = readStrengths(tuning.files, table).color;
        if (!lookup.found() || strength < 0.0F || strength > 1.0F) {
            continue;
        }
        char value[32];
        std::snprintf(value, sizeof(value), "%.4g", static_cast<double>(strength));
        if (ogl && others && std::abs(strength - 0.5F) > 0.02F) {
            findings.push_back(
                {"HV705", Severity::kError, name, lookup.line,
                 std::string("one mode runs on OGL, where colorStrength counts the other way round: ") +
                     value +
                     " takes the colour table in full measure in one and holds it back in the "
                     "other, so that captures look unlike the viewfinder",
                 "Write 0.5, which means the same on both, or use OGL for both."});
        } else if ((ogl && !others && strength == 1.0F) || (others && !ogl && strength == 0.0F)) {
            findings.push_back({"HV706", ogl ? Severity::kError : Severity::kWarning, name, lookup.line,
                                std::string("colorStrength=") + value + " keeps the input" +
                                    (ogl ? " on OGL, which reads it the other way round" : "") +
                                    ": the colour table has no effect",
                                ogl ? "Write 0 for the table in full." : "Write 1 for the table in full."});
        }
    }
}

}  // namespace

void checkSettings(const CheckedTuning& tuning, Findings& findings) {
    for (const ModeSettings& mode : tuning.modes) {
        SettingsCheck(tuning, mode, findings).run();
    }
    checkStrengths(tuning, findings);
}

}  // namespace tool
