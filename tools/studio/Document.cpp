#include "tools/studio/Document.h"

#include <algorithm>
#include <climits>
#include <nlohmann/json.hpp>

#include "tools/Files.h"
#include "tools/host/PlatformSet.h"
#include "tools/studio/Digest.h"
#include "tools/studio/Http.h"
#include "tools/studio/Schema.h"
#include "tools/tuning/TuningFiles.h"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kDeepest = 16;              // a look has five levels, a document three more
constexpr std::size_t kMaxBackEnd = 126;  // what the library keeps of a value, less its last character

[[noreturn]] void wrong(const std::string& what) { throw HttpError(400, what); }

// Values are copied and written by recursion, as deep as the text is.
bool tooDeep(std::string_view text) {
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (quoted) {
            i += c == '\\' ? 1U : 0U;
        } else if (c == '[' || c == '{') {
            if (++depth > kDeepest) {
                return true;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

const Json& member(const Json& object, const char* key) {
    const auto found = object.is_object() ? object.find(key) : object.end();
    if (!object.is_object() || found == object.end()) {
        wrong(std::string("the request has no \"") + key + "\"");
    }
    return *found;
}

int wholeNumber(const Json& json, const std::string& what, int low, int high) {
    // Compared as a double first: whatever is out of range has no int.
    if (!json.is_number() || !(json.get<double>() >= low && json.get<double>() <= high) ||
        json.get<double>() != static_cast<int>(json.get<double>())) {
        wrong(what + " must be a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return static_cast<int>(json.get<double>());
}

StudioTable tableOf(const Json& json, int table) {
    StudioTable result;
    const std::string at = "tables[" + std::to_string(table) + "]";
    const Json& look = member(json, "look");
    if (!look.is_null()) {
        try {
            result.look =
                parseLook(look.dump(-1, ' ', false, Json::error_handler_t::replace), lookFileName(table));
        } catch (const LookError& error) {
            wrong("table " + std::to_string(table) + ": " + error.reason());
        }
    }
    const auto origin = json.find("origin");
    if (origin != json.end() && !origin->is_null()) {
        result.origin = wholeNumber(*origin, at + ".origin", -1, kMaxSceneTables - 1);
    }
    return result;
}

Json modeScenes(const StudioDocument& document) {
    return {{"photo", document.photo.scenes}, {"frame", document.frame.scenes}};
}

StudioMode readMode(const TuningDirectory& tuning, bool photo) {
    StudioMode mode;
    mode.scenes = tuning.sceneIdx(photo);
    mode.platform = tuning.platform(photo);
    for (const auto& [key, label] : studioSettings(photo)) {
        mode.settings[key->name] =
            tuning.settings(photo).integer(key->section, key->name).value_or(static_cast<int>(key->fallback));
    }
    return mode;
}

}  // namespace

StudioDocument readDocument(const std::string& directory) {
    TuningDirectory tuning(directory);
    StudioDocument document;
    for (int table = 0; table < tuning.tableCount(); ++table) {
        StudioTable& one = document.tables.emplace_back();
        one.origin = table;
        if (!tuning.look(table)) {
            try {
                tuning.adoptOne(table);
            } catch (const ToolError& error) {
                one.reason = error.what();
            }
        }
        one.look = tuning.look(table);
    }
    document.photo = readMode(tuning, true);
    document.frame = readMode(tuning, false);
    return document;
}

Json toJson(const StudioDocument& document) {
    Json tables = Json::array();
    for (const StudioTable& table : document.tables) {
        Json one = {{"look", nullptr}};
        if (table.look) {
            one["look"] = Json::parse(toJson(*table.look));
        } else {
            one["reason"] = table.reason;
        }
        one["origin"] = table.origin < 0 ? Json() : Json(table.origin);
        tables.push_back(std::move(one));
    }
    return {{"tables", std::move(tables)},
            {"scenes", modeScenes(document)},
            {"platform", {{"photo", document.photo.platform}, {"frame", document.frame.platform}}},
            {"settings", {{"photo", document.photo.settings}, {"frame", document.frame.settings}}}};
}

Json parseJson(std::string_view text) {
    if (tooDeep(text)) {
        wrong("the request is nested too deeply");
    }
    Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) {
        wrong("the request is no JSON object");
    }
    return json;
}

const Json& documentIn(const Json& request) { return member(request, "document"); }

int wholeNumber(const Json& object, const char* key, int low, int high, int fallback) {
    const auto found = object.find(key);
    return found == object.end() || found->is_null() ? fallback : wholeNumber(*found, key, low, high);
}

std::string textOf(const Json& object, const char* key, const std::string& fallback) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return fallback;
    }
    if (!found->is_string()) {
        wrong(std::string(key) + " must be a text");
    }
    return found->get<std::string>();
}

StudioTable parseTable(const Json& document, int table) {
    const Json& tables = member(document, "tables");
    if (!tables.is_array() || table < 0 || static_cast<std::size_t>(table) >= tables.size()) {
        wrong("there is no table " + std::to_string(table));
    }
    const Json& json = tables[static_cast<std::size_t>(table)];
    if (!json.is_object()) {
        wrong("table " + std::to_string(table) + " must be an object");
    }
    return tableOf(json, table);
}

StudioMode parseMode(const Json& document, bool photo) {
    const char* const name = photo ? "photo" : "frame";
    StudioMode mode;
    const Json& scenes = member(member(document, "scenes"), name);
    if (!scenes.is_array() || scenes.size() > static_cast<std::size_t>(kMaxScenes)) {
        wrong("scenes must be a list of at most " + std::to_string(kMaxScenes) + " tables");
    }
    for (const Json& scene : scenes) {
        mode.scenes.push_back(wholeNumber(scene, "a scene's table", INT_MIN, INT_MAX));
    }
    mode.platform = textOf(member(document, "platform"), name, "");
    if (!mode.platform.empty() && (!isBackEndName(mode.platform) || mode.platform.size() > kMaxBackEnd)) {
        wrong("this cannot be a back end's name");
    }
    const Json& settings = member(member(document, "settings"), name);
    if (!settings.is_object()) {
        wrong("settings must be an object");
    }
    for (const auto& [key, value] : settings.items()) {
        mode.settings[key] = wholeNumber(value, "the setting " + key, INT_MIN, INT_MAX);
    }
    return mode;
}

StudioDocument parseDocument(const Json& json) {
    StudioDocument document;
    const Json& tables = member(json, "tables");
    if (!tables.is_array() || tables.empty() || tables.size() > static_cast<std::size_t>(kMaxSceneTables)) {
        wrong("a tuning has 1 to " + std::to_string(kMaxSceneTables) + " tables");
    }
    for (std::size_t table = 0; table < tables.size(); ++table) {
        document.tables.push_back(parseTable(json, static_cast<int>(table)));
    }
    document.photo = parseMode(json, true);
    document.frame = parseMode(json, false);
    return document;
}

void applySettings(const StudioMode& mode, bool photo, IniDocument& set) {
    const std::vector<StudioSetting> known = studioSettings(photo);
    for (const auto& [name, value] : mode.settings) {
        const auto found = std::find_if(known.begin(), known.end(), [&name = name](const StudioSetting& one) {
            return one.key->name == name;
        });
        if (found == known.end()) {
            wrong("there is no setting " + name);
        }
        const TuningKey& key = *found->key;
        if (set.integer(key.section, key.name).value_or(static_cast<int>(key.fallback)) == value) {
            continue;
        }
        if (value < key.low || value > key.high) {
            wrong("the setting " + name + " must be from " + std::to_string(static_cast<int>(key.low)) +
                  " to " + std::to_string(static_cast<int>(key.high)));
        }
        set.set(key.section, key.name, std::to_string(value));
    }
}

namespace {

// A number may have a table that there is not only where the disk says so already.
void checkScenes(const StudioDocument& document, const TuningDirectory& tuning, bool photo) {
    const std::vector<int>& scenes = document.mode(photo).scenes;
    const std::vector<int>& before = tuning.sceneIdx(photo);
    for (std::size_t number = 0; number < scenes.size(); ++number) {
        const int table = scenes[number];
        const bool known = table >= 0 && static_cast<std::size_t>(table) < document.tables.size();
        if (!known && (number >= before.size() || before[number] != table)) {
            wrong("scene " + std::to_string(number) + " has table " + std::to_string(table) +
                  ", and there is no such table");
        }
    }
}

}  // namespace

void apply(const StudioDocument& document, TuningDirectory& tuning) {
    checkScenes(document, tuning, true);
    checkScenes(document, tuning, false);
    std::vector<TuningDirectory::EditedTable> tables;
    for (const StudioTable& table : document.tables) {
        const bool known = table.origin >= 0 && table.origin < tuning.tableCount();
        if (!known && !table.look) {
            wrong("a table without a look that is not in the directory");
        }
        tables.push_back({table.look, known ? table.origin : -1});
    }
    tuning.setTables(std::move(tables));
    for (const bool photo : {true, false}) {
        const StudioMode& mode = document.mode(photo);
        tuning.setScenes(photo, mode.scenes);
        tuning.setPlatform(photo, mode.platform);
        IniDocument set = tuning.settings(photo);
        applySettings(mode, photo, set);
        tuning.setSettings(photo, std::move(set));
    }
}

std::string digestOf(const std::string& directory) {
    const TuningFiles files(directory);
    Digest digest;
    for (const auto& [name, file] : files.all()) {
        if (!file.readable() || (file.bytes.empty() && file.size == 0)) {
            continue;  // other files, whatever they are
        }
        digest.add(name);
        digest.add(file.size);
        // Looks with large LUTs are longer than what the checks look at.
        const bool whole = file.bytes.size() == file.size || name.rfind("look", 0) != 0;
        const Bytes rest = whole ? Bytes() : readFile(directory + "/" + name);
        digest.add(whole ? std::string_view(file.bytes)
                         : std::string_view(reinterpret_cast<const char*>(rest.data()), rest.size()));
    }
    return digest.hex();
}

}  // namespace tool
