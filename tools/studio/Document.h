// What the page edits: the looks, scenes, back ends and settings of a tuning, as one value.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tuning/TuningDirectory.h"

namespace tool {

struct StudioTable {
    std::optional<Look> look;
    std::string reason;  // without a look: why none can be made
    int origin = -1;     // the table on the disk that this one was, -1: a new one
};

struct StudioMode {
    std::vector<int> scenes;  // host scene number -> table
    std::string platform;
    std::map<std::string, int> settings;  // by the key's name
};

struct StudioDocument {
    std::vector<StudioTable> tables;
    StudioMode photo, frame;
    const StudioMode& mode(bool isPhoto) const { return isPhoto ? photo : frame; }
};

// A document as the directory is now. Tables without a look get one where that changes nothing. Throws what
// TuningDirectory throws.
StudioDocument readDocument(const std::string& directory);

nlohmann::ordered_json toJson(const StudioDocument& document);

// From a request. Each throws an HttpError that names the place.
nlohmann::ordered_json parseJson(std::string_view text);
// The member "document".
const nlohmann::ordered_json& documentIn(const nlohmann::ordered_json& request);
StudioDocument parseDocument(const nlohmann::ordered_json& json);
// Only what one picture needs.
StudioTable parseTable(const nlohmann::ordered_json& document, int table);
StudioMode parseMode(const nlohmann::ordered_json& document, bool photo);
// A number within low..high that is whole; `fallback` where it is missing or null.
int wholeNumber(const nlohmann::ordered_json& object, const char* key, int low, int high, int fallback);
std::string textOf(const nlohmann::ordered_json& object, const char* key, const std::string& fallback);

// Makes `tuning` so, in memory.
void apply(const StudioDocument& document, TuningDirectory& tuning);
// The settings of a mode in photoSet.ini or frameSet.ini: a key whose value is already so keeps its line.
// Throws an HttpError for a value out of its range that was not there before.
void applySettings(const StudioMode& mode, bool photo, IniDocument& set);

// Of everything that this program and the library read of a directory. Throws (exit code 3).
std::string digestOf(const std::string& directory);

}  // namespace tool
