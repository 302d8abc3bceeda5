#include "tools/studio/Workspace.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "tools/Files.h"
#include "tools/host/PlatformSet.h"
#include "tools/studio/Http.h"
#include "tools/tuning/TuningFiles.h"
#include "tools/tuning/TuningKeys.h"

namespace tool {

namespace {

Bytes bytesOf(const std::vector<float>& values) {
    Bytes bytes(values.size() * sizeof(float));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

void write(const std::string& path, const std::string& text) {
    writeFile(path, Bytes(text.begin(), text.end()));
}

// In the mode's file; sections in the order of its keys.
std::string settingsText(const WorkTuning& tuning) {
    const char* const file = tuning.photo ? "photoSet.ini" : "frameSet.ini";
    std::string scenes;
    for (std::size_t table = 0; table < tuning.tables.size(); ++table) {
        scenes += std::to_string(table) + "/";
    }
    std::string text;
    std::string section;
    for (const TuningKey& key : keysOfFile(file)) {
        if (section != key.section) {
            section = key.section;
            text += "[" + section + "]\r\n";
        }
        const auto known = tuning.settings.find(key.name);
        const bool list = key.kind == TuningKey::Kind::kList;
        const int value = std::string_view(key.name) == "sceneNum" ? static_cast<int>(tuning.tables.size())
                          : known != tuning.settings.end()         ? known->second
                                                                   : 0;  // no dumps
        text += key.name + std::string("=") + (list ? scenes : std::to_string(value)) + "\r\n";
    }
    return text;
}

std::string paramText(const WorkTable& table) {
    BakedTable strengths;
    strengths.colorStrength = table.colorStrength;
    strengths.satStrength = table.satStrength;
    strengths.claheStrength = table.claheStrength;
    return paramText(strengths);
}

// Pipes would be waited for.
Bytes readRegular(const std::string& path) {
    return std::filesystem::is_regular_file(path) ? readFile(path) : Bytes();
}

}  // namespace

WorkTable workTable(const StudioTable& table, TableReader reader, const std::string& directory,
                    BakeCache& cache) {
    if (table.look) {
        const BakedTable baked = cache.get(*table.look, reader);
        return {baked.colorStrength, baked.satStrength, baked.claheStrength, bytesOf(baked.curve),
                bytesOf(baked.color)};
    }
    if (table.origin < 0) {
        throw HttpError(400, "a table without a look that is not in the directory");
    }
    const auto path = [&](int kind) {
        return directory + "/" + tableFile(kTableFileKinds[kind], table.origin);
    };
    const IniDocument param(IniDocument::load(path(0)).value_or(IniDocument()));
    const auto strength = [&param](const char* key) {
        const float value = param.number("hvc", key).value_or(0.0F);
        return std::isfinite(value) ? value : 0.0F;
    };
    return {strength("colorStrength"), strength("satStrength"), strength("claheStrength"),
            readRegular(path(1)), readRegular(path(2))};
}

std::map<std::string, int> workSettings(const std::string& directory, const StudioMode& mode, bool photo) {
    const char* const file = photo ? "photoSet.ini" : "frameSet.ini";
    std::optional<IniDocument> set = IniDocument::load(directory + "/" + file);
    if (!set) {
        throw fileError("cannot read " + directory + "/" + file);
    }
    applySettings(mode, photo, *set);
    std::map<std::string, int> settings;
    for (const TuningKey& key : keysOfFile(file)) {
        if (std::string_view(key.section) != "save" && key.kind != TuningKey::Kind::kList) {
            settings[key.name] = set->integer(key.section, key.name).value_or(static_cast<int>(key.fallback));
        }
    }
    return settings;
}

void writeWork(const WorkTuning& tuning, const std::string& directory, const std::string& cache) {
    Bytes curves, colors;
    for (std::size_t table = 0; table < tuning.tables.size(); ++table) {
        const WorkTable& one = tuning.tables[table];
        const std::string number = std::to_string(table);
        write(directory + "/param" + number + ".ini", paramText(one));
        writeFile(directory + "/curveLut" + number, one.curve);
        writeFile(directory + "/colorLut" + number, one.color);
        curves.insert(curves.end(), one.curve.begin(), one.curve.end());
        colors.insert(colors.end(), one.color.begin(), one.color.end());
    }
    writeFile(directory + "/CurveLut", curves);
    writeFile(directory + "/ColorLut", colors);
    write(directory + (tuning.photo ? "/photoSet.ini" : "/frameSet.ini"), settingsText(tuning));
    write(directory + "/platformSet.ini", platformText(tuning.backEnd, cache));
}

}  // namespace tool
