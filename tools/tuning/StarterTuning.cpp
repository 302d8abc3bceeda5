#include "tools/tuning/StarterTuning.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "tools/ToolError.h"
#include "tools/tuning/StarterLooks.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPhotoBackEnds[] = {"CPU", "NEON", "OGL"};
constexpr const char* kFrameBackEnds[] = {"CPU", "GPU", "OGL"};
constexpr std::size_t kMaxCache = 126;  // what the library keeps of a value, less the carriage return

void checkMode(const char* option, const std::string& name, const char* const (&known)[3]) {
    if (std::find(std::begin(known), std::end(known), name) == std::end(known)) {
        throw usageError(std::string(option) + ": the back end '" + name +
                         "' has no such mode; those that have: " + known[0] + ", " + known[1] + ", " +
                         known[2]);
    }
}

std::string platformText(const StarterOptions& options, const std::string& cache) {
    return "[platform]\r\nphoto=" + options.photo + "\r\nframe=" + options.frame +
           "\r\n[cache]\r\npath=" + cache + "\r\n";
}

std::string setText(bool photo, const StarterOptions& options, std::size_t tables,
                    const std::string& sceneIdx) {
    // The colours that belong to a changed tone are in the tables, where they keep their hue; colour
    // correction would turn them. Protection needs a mask, and holds back greys with skin's.
    const int mask = options.protection == Protection::kMask   ? 1
                     : options.protection == Protection::kSkin ? 2
                                                               : 0;
    return std::string("[save]\r\n") +
           (photo ? "photo=0\r\n[switch]\r\nphotoSwitch=1\r\n" : "frame=0\r\n[switch]\r\nframeSwitch=1\r\n") +
           "[hvc]\r\nclaheSwitch=1\r\ncurveSwitch=1\r\ncolorSwitch=1\r\ncCorrSwitch=0\r\n"
           "gridWidth=8\r\ngridHeight=6\r\nsampRate=4\r\n" +
           (photo ? "" : "transFrameNum=30\r\n") + "[portrait]\r\nmaskSource=" + std::to_string(mask) +
           "\r\npProtectSwitch=" + (mask != 0 ? "1" : "0") +
           "\r\n[scene]\r\nsceneNum=" + std::to_string(tables) + "\r\nsceneIdx=" + sceneIdx + "\r\n";
}

// The looks asked for, with neutral first and night.
std::vector<std::string> lookNames(const StarterOptions& options) {
    if (options.looks.empty()) {
        return starterLookNames();
    }
    std::vector<std::string> names = {"neutral"};
    const auto add = [&](const std::string& name) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    };
    std::for_each(options.looks.begin(), options.looks.end(), add);
    add("night");
    return names;
}

std::string readmeText(const std::vector<Look>& tables, const std::vector<int>& sceneIdx) {
    std::string text = "A tuning for libHuevance. Host scene numbers and their looks:\n\n";
    for (std::size_t scene = 0; scene < sceneIdx.size(); ++scene) {
        const Look& look = tables[static_cast<std::size_t>(sceneIdx[scene])];
        text += "  scene " + std::to_string(scene) + "  " + look.name + " (" + lookFileName(sceneIdx[scene]) +
                "): " + look.about + "\n";
    }
    return text + "\nEvery other scene number has table 0, " + tables[0].name +
           ": map those of your host with `huevance tuning scene map`.\n"
           "\nlook<n>.json is the source of param<n>.ini, curveLut<n> and colorLut<n>. Change it with "
           "`huevance look "
           "set`,\n`huevance curve set` or by hand, and run `huevance tuning bake` after that; it makes "
           "CurveLut and "
           "ColorLut, too.\nNeutral is table 1, because a preview's first frames fade in from table "
           "1.\nLines of "
           "platformSet.ini must end in carriage return and line feed; sections must have no blank "
           "lines;\nevery "
           "element of a list needs a \"/\" after it. `huevance tuning check` looks after these.\n";
}

Bytes bytesOf(const std::vector<float>& values) {
    Bytes bytes(values.size() * sizeof(float));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

// Baking takes a while, and a process may need the same tables for several directories.
const BakedTable& bakedOnce(const Look& look, TableReader reader) {
    static std::map<std::pair<std::string, TableReader>, BakedTable> tables;
    const auto key = std::pair(look.name, reader);
    const auto at = tables.find(key);
    return at != tables.end() ? at->second : tables.emplace(key, bake(look, reader)).first->second;
}

}  // namespace

std::span<const char* const> backEndsOf(bool photo) { return photo ? kPhotoBackEnds : kFrameBackEnds; }

std::vector<std::string> starterLookNames() {
    std::vector<std::string> names;
    for (const EmbeddedLook& look : embeddedLooks()) {
        names.emplace_back(look.name);
    }
    return names;
}

Look starterLook(const std::string& name) {
    for (const EmbeddedLook& look : embeddedLooks()) {
        if (name == look.name) {
            return parseLook(look.text, "starter/" + name + ".json");
        }
    }
    std::string known;
    for (const std::string& one : starterLookNames()) {
        known += (known.empty() ? "" : ", ") + one;
    }
    throw usageError("the starter has no look '" + name + "' (" + known + ")");
}

void checkStarter(const StarterOptions& options) {
    checkMode("--photo", options.photo, kPhotoBackEnds);
    checkMode("--frame", options.frame, kFrameBackEnds);
    if (options.protection == Protection::kSkin && (options.photo == "OGL" || options.frame == "OGL")) {
        throw usageError(
            "--protect skin: the OGL back end has skin detection reversed, it would protect all but skin");
    }
    const auto plain = [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7f'; };
    if (options.cache.size() > kMaxCache || !std::all_of(options.cache.begin(), options.cache.end(), plain)) {
        throw usageError("--cache: the library reads at most " + std::to_string(kMaxCache) +
                         " characters of a path, none of them a control character");
    }
    for (const std::string& look : options.looks) {
        starterLook(look);
    }
}

void writeStarter(const std::string& directory, const StarterOptions& options) {
    // Neutral is table 1: previews fade in from table 1.
    const std::vector<std::string> names = lookNames(options);
    std::vector<Look> tables;
    for (const std::string& name : names) {
        tables.push_back(starterLook(name));
    }
    std::vector<int> sceneIdx(names.size());
    for (std::size_t scene = 0; scene < names.size(); ++scene) {
        sceneIdx[scene] = scene == 0 ? 1 : scene == 1 ? 0 : static_cast<int>(scene);
    }
    std::swap(tables[0], tables[1]);
    std::string list;
    for (const int table : sceneIdx) {
        list += std::to_string(table) + "/";
    }
    FileChanges changes(directory);
    const std::string cache =
        options.cache.empty() ? fs::absolute(directory).lexically_normal().string() : options.cache;
    changes.write("platformSet.ini", platformText(options, cache));
    changes.write("photoSet.ini", setText(true, options, tables.size(), list));
    changes.write("frameSet.ini", setText(false, options, tables.size(), list));
    changes.write("README.txt", readmeText(tables, sceneIdx));
    const TableReader reader = tableReader(options.photo, options.frame);
    Bytes curves, colors;
    for (std::size_t table = 0; table < tables.size(); ++table) {
        const std::string number = std::to_string(table);
        const BakedTable& baked = bakedOnce(tables[table], reader);
        const Bytes curve = bytesOf(baked.curve), color = bytesOf(baked.color);
        changes.write("look" + number + ".json", toJson(tables[table]));
        changes.write("param" + number + ".ini", paramText(baked));
        changes.write("curveLut" + number, curve);
        changes.write("colorLut" + number, color);
        curves.insert(curves.end(), curve.begin(), curve.end());
        colors.insert(colors.end(), color.begin(), color.end());
    }
    changes.write("CurveLut", curves);
    changes.write("ColorLut", colors);
    changes.commit();
}

void writeStarterTuning(const std::string& directory, const std::string& backEnd) {
    StarterOptions options;
    options.photo = options.frame = backEnd;
    options.looks = {"neutral"};
    writeStarter(directory, options);
}

}  // namespace tool
