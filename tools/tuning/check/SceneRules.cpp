// Scenes, and the tables that they name.
#include <algorithm>
#include <set>

#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

class SceneCheck {
public:
    SceneCheck(const CheckedTuning& tuning, const ModeSettings& mode, Findings& findings)
        : m_mode(mode),
          m_lookup(tuning.files.ini(mode.file).find("scene", "sceneIdx")),
          m_findings(findings) {}

    void run() {
        if (m_lookup.found()) {
            checkList();
        }
        checkEntries();
    }

private:
    void add(const char* rule, bool harm, const std::string& message, const std::string& fix) {
        m_findings.push_back({rule, errorIf(harm), m_mode.file,
                              m_lookup.found() ? std::optional(m_lookup.line) : std::nullopt, message, fix});
    }
    void checkList();
    void checkEntries();

    const ModeSettings& m_mode;
    IniLookup m_lookup;
    Findings& m_findings;
};

// How the list is written.
void SceneCheck::checkList() {
    const std::string list = trimmed(m_lookup.value);
    const std::vector<IniElement> elements = iniElements(m_lookup.value);
    if (list.find('/') == std::string::npos && list.find_first_of(",;| \t") != std::string::npos) {
        add("HV502", true,
            "sceneIdx=" + list.substr(0, 60) +
                " has no \"/\", which alone separates its elements: the list is empty, "
                "and every scene has table 0",
            "Write a \"/\" after every element.");
        return;
    }
    for (const IniElement& element : elements) {
        const std::string text = trimmed(element.text);
        const std::size_t digits =
            text.find_first_not_of("0123456789", text[0] == '-' || text[0] == '+' ? 1 : 0);
        if (element.counts && (text.empty() || digits != std::string::npos)) {
            const std::size_t scene = static_cast<std::size_t>(&element - elements.data());
            const bool list1 = text.find_first_of(",; ") != std::string::npos;
            add(list1 ? "HV502" : "HV503", true,
                "the element " + inQuotes(text) + " of sceneIdx is read as " + std::to_string(iniInt(text)) +
                    (list1 ? ", and the scenes behind it move: only a \"/\" separates elements"
                           : ": scene " + std::to_string(scene) + " gets that table"),
                "Write a whole number and a \"/\" for every scene.");
            break;
        }
    }
    if (!elements.empty() && !elements.back().counts) {
        const std::size_t scene = elements.size() - 1;
        const int table = iniInt(elements.back().text);
        add("HV501", table != 0,
            "sceneIdx lacks the \"/\" behind its last element, which does not count: scene " +
                std::to_string(scene) + " gets table 0 instead of " + trimmed(elements.back().text),
            "Write a \"/\" behind it, or let --fix do so.");
    }
}

// Which tables the elements name.
void SceneCheck::checkEntries() {
    std::vector<std::string> refused;
    for (std::size_t scene = 0; scene < m_mode.sceneIdx.size(); ++scene) {
        const int table = m_mode.sceneIdx[scene];
        if (table < 0 || table >= m_mode.sceneNum) {
            refused.push_back("scene " + std::to_string(scene) + " names table " + std::to_string(table));
        }
    }
    if (!refused.empty()) {
        const std::size_t shown = std::min<std::size_t>(refused.size(), 4);
        add("HV505", true,
            listed({refused.begin(), refused.begin() + static_cast<std::ptrdiff_t>(shown)}) +
                (refused.size() > shown ? " (and " + std::to_string(refused.size() - shown) + " more)" : "") +
                ", and sceneNum=" + std::to_string(m_mode.sceneNum) + " has no such table: every frame of " +
                (refused.size() == 1 ? "that scene" : "those scenes") + " is refused",
            "Name a table from 0 to sceneNum - 1, or raise sceneNum and add the table's files.");
    }
}

// Tables that no scene shows: between 0 and sceneNum, and files beyond.
void checkUnused(const CheckedTuning& tuning, Findings& findings) {
    std::set<int> shown = {0};  // scenes that no list names have it
    int scenes = 0;
    for (const ModeSettings& mode : tuning.modes) {
        shown.insert(mode.sceneIdx.begin(), mode.sceneIdx.end());
        scenes = std::max(scenes, static_cast<int>(mode.sceneIdx.size()));
    }
    for (const auto& [name, file] : tuning.files.all()) {
        const std::optional<int> table = tableOfFile(kTableFileKinds[0], name);
        if (table && *table >= tuning.tables() && tuning.tables() > 0) {
            findings.push_back(
                {"HV507", Severity::kWarning, name, std::nullopt,
                 "the file is of table " + std::to_string(*table) + ", and sceneNum counts " +
                     std::to_string(tuning.tables()) + " tables: it has no effect",
                 "Raise sceneNum and add the table to sceneIdx, or remove the table's files."});
        } else if (table && shown.count(*table) == 0 && scenes > 0) {
            findings.push_back(
                {"HV506", Severity::kWarning, name, std::nullopt,
                 "no scene of sceneIdx names table " + std::to_string(*table) + ": nobody sees it",
                 "Add it to sceneIdx, or remove it."});
        }
    }
}

void checkSame(const CheckedTuning& tuning, Findings& findings) {
    std::map<std::string, int> first;
    for (int table = 0; table < tuning.tables(); ++table) {
        const std::string* curve = tuning.files.bytes(tableFile(kTableFileKinds[1], table));
        const std::string* color = tuning.files.bytes(tableFile(kTableFileKinds[2], table));
        if (curve == nullptr || color == nullptr) {
            continue;
        }
        const Strengths strengths = readStrengths(tuning.files, table);
        const float numbers[] = {strengths.color, strengths.saturation, strengths.clahe};
        const std::string all =
            std::string(reinterpret_cast<const char*>(numbers), sizeof(numbers)) + *curve + *color;
        const auto [at, isNew] = first.emplace(all, table);
        if (!isNew) {
            findings.push_back({"HV508", Severity::kWarning, tableFile(kTableFileKinds[0], table),
                                std::nullopt,
                                "tables " + std::to_string(at->second) + " and " + std::to_string(table) +
                                    " are the same to the byte: their scenes look alike",
                                "Map their scenes to one table, or make them differ."});
        }
    }
}

// A capture should look like the preview before it.
void checkAgreement(const CheckedTuning& tuning, Findings& findings) {
    if (tuning.modes.size() < 2 || !tuning.modes[0].on || !tuning.modes[1].on) {
        return;
    }
    const ModeSettings& photo = tuning.modes[0];
    const ModeSettings& frame = tuning.modes[1];
    for (std::size_t scene = 0; scene < std::max(photo.sceneIdx.size(), frame.sceneIdx.size()); ++scene) {
        if (photo.tableOf(scene) != frame.tableOf(scene)) {
            const IniLookup lookup = tuning.files.ini(frame.file).find("scene", "sceneIdx");
            findings.push_back({"HV509", Severity::kWarning, frame.file,
                                lookup.found() ? std::optional(lookup.line) : std::nullopt,
                                "scene " + std::to_string(scene) + " has table " +
                                    std::to_string(frame.tableOf(scene)) + " here and table " +
                                    std::to_string(photo.tableOf(scene)) +
                                    " in photoSet.ini: captures look unlike the viewfinder",
                                "Write the same sceneIdx into both files."});
            return;
        }
    }
}

}  // namespace

void checkScenes(const CheckedTuning& tuning, Findings& findings) {
    for (const ModeSettings& mode : tuning.modes) {
        SceneCheck(tuning, mode, findings).run();
    }
    checkUnused(tuning, findings);
    checkSame(tuning, findings);
    checkAgreement(tuning, findings);
}

}  // namespace tool
