#include "tools/tuning/TuningDirectory.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <filesystem>
#include <set>

#include "tools/Numbers.h"
#include "tools/ToolError.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr int kMaxTables = 4096;
constexpr std::size_t kMaxScenes = 512;
constexpr const char* kStrengths[] = {"colorStrength", "satStrength", "claheStrength"};

std::string numbered(const char* name, int table, const char* ending = "") {
    return name + std::to_string(table) + ending;
}

std::string shortest(float value) {
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof(text), value);
    return {text, error == std::errc() ? end : text};
}

Bytes bytesOf(const std::vector<float>& values) {
    Bytes bytes(values.size() * sizeof(float));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

std::vector<float> floatsOf(const Bytes& bytes) {
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
    return values;
}

constexpr std::size_t kCurveBytes = 256 * sizeof(float);
constexpr std::size_t kColorBytes = Lattice::kFloats * sizeof(float);

IniDocument loadOrThrow(const std::string& path) {
    std::optional<IniDocument> document = IniDocument::load(path);
    if (!document) {
        throw fileError("cannot read " + path);
    }
    return *document;
}

int tableCountOf(const IniDocument& set, const std::string& file) {
    const int count = set.integer("scene", "sceneNum").value_or(1);
    if (count < 1 || count > kMaxTables) {
        throw fileError(file + ": sceneNum is " + std::to_string(count) + ", not 1 to " +
                        std::to_string(kMaxTables));
    }
    return count;
}

std::vector<int> sceneIdxOf(const IniDocument& set) {
    const IniLookup found = set.find("scene", "sceneIdx");
    return found.found() ? iniInts(found.value, kMaxScenes) : std::vector<int>{0};
}

std::string listText(const std::vector<int>& values) {
    std::string text;
    for (const int value : values) {
        text += std::to_string(value) + "/";
    }
    return text;
}

bool sameStrength(std::optional<float> held, float wanted) { return held && *held == wanted; }

}  // namespace

TuningDirectory::TuningDirectory(const std::string& path) : m_path(path) {
    if (!fs::is_directory(path)) {
        throw fileError("there is no tuning directory " + path);
    }
    m_platformSet = IniDocument::load(path + "/platformSet.ini").value_or(IniDocument());
    m_photoSet = loadOrThrow(path + "/photoSet.ini");
    m_frameSet = loadOrThrow(path + "/frameSet.ini");
    m_photoIdx = sceneIdxOf(m_photoSet);
    m_frameIdx = sceneIdxOf(m_frameSet);
    m_tablesOnDisk = tableCountOf(m_photoSet, path + "/photoSet.ini");
    const int frames = tableCountOf(m_frameSet, path + "/frameSet.ini");
    if (frames != m_tablesOnDisk) {
        throw fileError(path + ": sceneNum is " + std::to_string(m_tablesOnDisk) + " in photoSet.ini and " +
                        std::to_string(frames) +
                        " in frameSet.ini; both read the same tables, make them equal");
    }
    for (int table = 0; table < m_tablesOnDisk; ++table) {
        const std::string file = path + "/" + lookFileName(table);
        if (fs::exists(file) && !fs::is_regular_file(file)) {
            throw fileError("cannot read " + file + ": it is no file");
        }
        m_looks.push_back(fs::exists(file) ? std::optional(readLook(file)) : std::nullopt);
        m_origin.push_back(table);
    }
    m_onDisk = m_looks;
}

std::string TuningDirectory::platform(bool photo) const {
    std::string value = m_platformSet.find("platform", photo ? "photo" : "frame").value;
    return value.substr(0, value.empty() ? 0 : value.size() - 1);  // the library drops the last character
}

TableReader TuningDirectory::reader() const {
    const auto of = [](const IniDocument& set) {
        return [&set](const char* key) { return set.integer("hvc", key).value_or(0); };
    };
    return tableReader(platform(true), of(m_photoSet), platform(false), of(m_frameSet));
}

std::string TuningDirectory::sceneNames() const {
    std::string names;
    for (int table = 0; table < tableCount(); ++table) {
        names += (table == 0 ? "" : ", ") + (look(table) ? look(table)->name : std::to_string(table));
    }
    return names;
}

int TuningDirectory::tableOf(const std::string& scene) const {
    for (int table = 0; table < tableCount(); ++table) {
        if (look(table) && look(table)->name == scene) {
            return table;
        }
    }
    const std::optional<int> number = parseNumber<int>(scene, 0);
    if (!number) {
        throw usageError("there is no scene '" + scene + "' in " + m_path + " (" + sceneNames() + ")");
    }
    const auto tableIn = [&](const std::vector<int>& idx) {
        const auto at = static_cast<std::size_t>(*number);
        return at < idx.size() && idx[at] >= 0 && idx[at] < tableCount() ? idx[at] : -1;
    };
    const int photo = tableIn(m_photoIdx), frame = tableIn(m_frameIdx);
    if (photo < 0 || photo != frame) {
        const auto words = [](int table) {
            return table < 0 ? "no table" : "table " + std::to_string(table);
        };
        throw usageError("scene " + scene + " has " + words(photo) + " in photoSet.ini" +
                         (photo == frame ? "" : " and " + words(frame) + " in frameSet.ini") +
                         ": name the look (" + sceneNames() + ")");
    }
    return photo;
}

int TuningDirectory::sceneOf(const std::string& scene, bool photo) const {
    for (int table = 0; table < tableCount(); ++table) {
        if (!look(table) || look(table)->name != scene) {
            continue;
        }
        const std::vector<int>& idx = sceneIdx(photo);
        const auto at = std::find(idx.begin(), idx.end(), table);
        if (at == idx.end()) {
            throw usageError("no scene number shows '" + scene + "' in " +
                             (photo ? "photoSet.ini" : "frameSet.ini") +
                             " ('huevance tuning scene map' gives it one)");
        }
        return static_cast<int>(at - idx.begin());
    }
    const std::optional<int> number = parseNumber<int>(scene, INT_MIN);
    if (!number) {
        throw usageError("there is no scene '" + scene + "' in " + m_path + " (" + sceneNames() + ")");
    }
    return *number;
}

void TuningDirectory::setLook(int table, Look look) {
    m_looks[static_cast<std::size_t>(table)] = std::move(look);
}

int TuningDirectory::addTable(Look look) {
    if (tableCount() >= kMaxTables) {
        throw usageError("a tuning has at most " + std::to_string(kMaxTables) + " tables");
    }
    m_looks.emplace_back(std::move(look));
    m_origin.push_back(-1);
    return tableCount() - 1;
}

void TuningDirectory::removeTable(int table, int instead) {
    if (tableCount() == 1 || table == instead) {
        throw usageError("the last scene cannot be removed, nor replaced by itself");
    }
    m_looks.erase(m_looks.begin() + table);
    m_origin.erase(m_origin.begin() + table);
    const auto moved = [table](int t) { return t > table ? t - 1 : t; };
    for (std::vector<int>* idx : {&m_photoIdx, &m_frameIdx}) {
        while (idx->size() > 1 && idx->back() == table) {
            idx->pop_back();
        }
        for (int& entry : *idx) {
            entry = moved(entry == table ? instead : entry);
        }
    }
}

void TuningDirectory::mapScene(int number, int table) {
    const auto at = static_cast<std::size_t>(number);
    for (std::vector<int>* idx : {&m_photoIdx, &m_frameIdx}) {
        if (at > idx->size() || at >= kMaxScenes) {
            throw usageError("the next scene number is " + std::to_string(idx->size()) +
                             ": numbers have no gaps, and there are at most " + std::to_string(kMaxScenes));
        }
        if (at == idx->size()) {
            idx->push_back(table);
        } else {
            (*idx)[at] = table;
        }
    }
}

void TuningDirectory::setTables(std::vector<EditedTable> tables) {
    m_looks.clear();
    m_origin.clear();
    for (EditedTable& table : tables) {
        m_looks.push_back(std::move(table.look));
        m_origin.push_back(table.origin);
    }
}

void TuningDirectory::setPlatform(bool photo, const std::string& name) {
    if (platform(photo) != name) {
        m_platformSet.set("platform", photo ? "photo" : "frame", name);
    }
}

std::vector<std::string> TuningDirectory::setPlatforms(const std::string& photo, const std::string& frame) {
    std::vector<std::string> lost;
    for (const bool isPhoto : {true, false}) {
        const std::string& to = isPhoto ? photo : frame;
        IniDocument& set = isPhoto ? m_photoSet : m_frameSet;
        const std::string from = platform(isPhoto), file = isPhoto ? "photoSet.ini" : "frameSet.ini";
        const bool skin =
            set.integer("portrait", "maskSource") == 2 && set.integer("portrait", "pProtectSwitch") == 1;
        if (skin && (from == "OGL") != (to == "OGL")) {
            set.set("portrait", "pProtectSwitch", "0");
            lost.push_back(file +
                           ": protection is off now, because skin detection means the opposite on OGL");
        }
        const int tiles =
            set.integer("hvc", "gridWidth").value_or(8) * set.integer("hvc", "gridHeight").value_or(6);
        if (to == "OGL" && tiles > 256) {
            lost.push_back(file + ": OGL refuses more than 256 tiles, gridWidth x gridHeight is " +
                           std::to_string(tiles));
        }
        if (!isPhoto && to == "CPU" && from != "CPU" && set.integer("hvc", "cCorrSwitch") == 1) {
            lost.push_back(file + ": previews on CPU have no colour correction");
        }
        m_platformSet.set("platform", isPhoto ? "photo" : "frame", to);
    }
    if (reader() == TableReader::kBoth) {
        for (std::optional<Look>& look : m_looks) {
            look = look ? std::optional(forBothReaders(*look)) : look;
        }
    }
    return lost;
}

TuningDirectory::Raw TuningDirectory::rawOf(int table) const {
    const int origin = m_origin[static_cast<std::size_t>(table)];
    if (origin < 0) {
        return {};
    }
    const auto contents = [&](const std::string& name) {
        const std::string file = m_path + "/" + name;
        return fs::is_regular_file(file) ? readFile(file) : Bytes();
    };
    return {IniDocument::load(m_path + "/" + numbered("param", origin, ".ini")).value_or(IniDocument()),
            contents(numbered("curveLut", origin)), contents(numbered("colorLut", origin))};
}

void TuningDirectory::checkNames() const {
    std::set<std::string> names;
    for (int table = 0; table < tableCount(); ++table) {
        if (look(table) && !names.insert(look(table)->name).second) {
            throw fileError(m_path + ": two looks have the name '" + look(table)->name + "', " +
                            lookFileName(table) + " is the second one; rename one of them");
        }
    }
}

void TuningDirectory::putScenes() {
    for (const bool photo : {true, false}) {
        IniDocument& set = photo ? m_photoSet : m_frameSet;
        const std::vector<int>& idx = sceneIdx(photo);
        if (set.integer("scene", "sceneNum").value_or(1) != tableCount()) {
            set.set("scene", "sceneNum", std::to_string(tableCount()));
        }
        if (sceneIdxOf(set) != idx) {
            set.set("scene", "sceneIdx", listText(idx));
        }
    }
}

std::vector<std::string> TuningDirectory::save() { return changes().commit(); }

FileChanges TuningDirectory::changes() {
    return changes([](const Look& look, TableReader reader) { return bake(look, reader); });
}

FileChanges TuningDirectory::changes(const BakeFunction& bakeLook) {
    checkNames();
    putScenes();
    FileChanges changes(m_path);
    Bytes curves, colors;
    for (int table = 0; table < tableCount(); ++table) {
        Raw raw = rawOf(table);
        if (look(table) && m_kept.count(table) == 0) {
            const BakedTable baked = bakeLook(*look(table), reader());
            const float strengths[] = {baked.colorStrength, baked.satStrength, baked.claheStrength};
            for (int i = 0; i < 3; ++i) {
                if (!sameStrength(raw.param.number("hvc", kStrengths[i]), strengths[i])) {
                    raw.param.set("hvc", kStrengths[i], shortest(strengths[i]));
                }
            }
            raw.curve = bytesOf(baked.curve);
            raw.color = bytesOf(baked.color);
            // A file that says the same in other words is left alone.
            if (table >= m_tablesOnDisk || m_onDisk[static_cast<std::size_t>(table)] != look(table)) {
                changes.write(lookFileName(table), toJson(*look(table)));
            }
        }
        const auto whole = [&](const char* name, const Bytes& bytes, std::size_t wanted) {
            if (bytes.size() != wanted) {
                throw fileError(m_path + "/" + numbered(name, table) + " has " +
                                std::to_string(bytes.size()) + " bytes instead of " + std::to_string(wanted) +
                                ", and no look to make it from ('huevance tuning check' says more)");
            }
        };
        whole("curveLut", raw.curve, kCurveBytes);
        whole("colorLut", raw.color, kColorBytes);
        changes.write(numbered("param", table, ".ini"), raw.param.bytes());
        changes.write(numbered("curveLut", table), raw.curve);
        changes.write(numbered("colorLut", table), raw.color);
        curves.insert(curves.end(), raw.curve.begin(), raw.curve.end());
        colors.insert(colors.end(), raw.color.begin(), raw.color.end());
    }
    changes.write("CurveLut", curves);
    changes.write("ColorLut", colors);
    changes.write("platformSet.ini", m_platformSet.bytes());
    changes.write("photoSet.ini", m_photoSet.bytes());
    changes.write("frameSet.ini", m_frameSet.bytes());
    for (int table = 0; table < std::max(m_tablesOnDisk, tableCount()); ++table) {
        if (table >= tableCount()) {
            for (const std::string& name : {numbered("param", table, ".ini"), numbered("curveLut", table),
                                            numbered("colorLut", table), lookFileName(table)}) {
                changes.remove(name);
            }
        } else if (!look(table)) {
            changes.remove(lookFileName(table));  // of the table that had this number
        }
    }
    return changes;
}

Look TuningDirectory::adopted(int table, const Raw& raw) const {
    const auto refuse = [&](const std::string& file, const std::string& what) {
        throw fileError(m_path + "/" + file + " " + what +
                        ": a look cannot stand for it ('huevance tuning check' "
                        "says what it does to the picture)");
    };
    Look look;
    look.name = "table" + std::to_string(table);
    look.about = "Adopted from tables.";
    const bool reversed = platform(true) == "OGL";
    double* const strengths[] = {&look.colorStrength, &look.satStrength, &look.claheStrength};
    for (int i = 0; i < 3; ++i) {
        const std::optional<float> held = raw.param.number("hvc", kStrengths[i]);
        if (!held) {
            refuse(numbered("param", table, ".ini"), std::string("has no ") + kStrengths[i]);
        }
        *strengths[i] = lookStrength(*held, i == 0 && reversed);
    }
    if (raw.curve.size() != kCurveBytes) {
        refuse(numbered("curveLut", table),
               "has " + std::to_string(raw.curve.size()) + " bytes instead of 1024");
    }
    if (raw.color.size() != kColorBytes) {
        refuse(numbered("colorLut", table),
               "has " + std::to_string(raw.color.size()) + " bytes instead of 49152");
    }
    // The identity needs no words.
    const std::vector<float> curve = floatsOf(raw.curve), color = floatsOf(raw.color);
    if (bytesOf(bake(look, reader()).curve) != raw.curve) {
        look.curve.levels = curve;
    }
    if (bytesOf(bake(look, reader()).color) != raw.color || reader() == TableReader::kBoth) {
        look.adjustments = {Table{"adopted", 1, reversed, Lattice(color)}};
    }
    // The reader of look files has ranges; the library does not.
    try {
        if (!(parseLook(toJson(look), lookFileName(table)) == look)) {
            throw fileError("");
        }
    } catch (const LookError& error) {
        refuse(numbered("param", table, ".ini"), "has values that no look has (" + error.reason() + ")");
    }
    return look;
}

void TuningDirectory::adoptOne(int table) {
    const Raw raw = rawOf(table);
    const Look look = adopted(table, raw);
    const BakedTable baked = bake(look, reader());
    const float strengths[] = {baked.colorStrength, baked.satStrength, baked.claheStrength};
    bool same = bytesOf(baked.curve) == raw.curve && bytesOf(baked.color) == raw.color;
    for (int i = 0; i < 3; ++i) {
        same = same && sameStrength(raw.param.number("hvc", kStrengths[i]), strengths[i]);
    }
    if (!same) {
        throw fileError(m_path + ": table " + std::to_string(table) + " cannot be kept exactly");
    }
    setLook(table, look);
}

std::vector<int> TuningDirectory::adopt() {
    std::vector<int> tables;
    FileChanges changes(m_path);
    for (int table = 0; table < tableCount(); ++table) {
        if (!look(table)) {
            adoptOne(table);
            changes.write(lookFileName(table), toJson(*look(table)));
            tables.push_back(table);
        }
    }
    checkNames();
    changes.commit();
    return tables;
}

std::string paramText(const BakedTable& baked) {
    const float strengths[] = {baked.colorStrength, baked.satStrength, baked.claheStrength};
    std::string text = "[hvc]\r\n";
    for (int i = 0; i < 3; ++i) {
        text += std::string(kStrengths[i]) + "=" + shortest(strengths[i]) + "\r\n";
    }
    return text;
}

int sceneNumber(const std::string& directory, const std::string& scene, bool photo) {
    if (const std::optional<int> number = parseNumber<int>(scene, INT_MIN)) {
        return *number;
    }
    return TuningDirectory(directory).sceneOf(scene, photo);
}

std::string numberedScenes(const std::string& directory, const std::string& script, bool photo) {
    std::string numbered;
    for (std::size_t begin = 0; begin < script.size();) {
        const std::size_t end = std::min(script.find(',', begin), script.size());
        const std::string change = script.substr(begin, end - begin);
        const std::size_t colon = change.find(':');
        // Only what begins like a name is one; the rest is the script reader's to judge.
        const bool name = colon != std::string::npos && isLookName(change.substr(colon + 1));
        numbered += name ? change.substr(0, colon + 1) +
                               std::to_string(sceneNumber(directory, change.substr(colon + 1), photo))
                         : change;
        numbered += end < script.size() ? "," : "";
        begin = end + 1;
    }
    return numbered;
}

}  // namespace tool
