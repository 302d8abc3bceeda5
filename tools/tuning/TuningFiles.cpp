#include "tools/tuning/TuningFiles.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "tools/Numbers.h"
#include "tools/ToolError.h"
#include "tools/tuning/Look.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// What any reader looks at: every table of a fused file, and more of text than a person writes.
constexpr std::size_t kTextBytes = std::size_t{1} << 20;
constexpr std::size_t kFusedBytes = std::size_t{kMaxSceneTables} * kColorFloats * sizeof(float);

bool isOurs(const std::string& name) {
    const auto ends = [&](const char* ending) { return fs::path(name).extension() == ending; };
    return ends(".ini") || name == "CurveLut" || name == "ColorLut" || name.rfind("curveLut", 0) == 0 ||
           name.rfind("colorLut", 0) == 0 || (name.rfind("look", 0) == 0 && ends(".json"));
}

TuningFile readOne(const fs::path& path, const std::string& name) {
    TuningFile file;
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
        file.error = error ? error.message() : fs::is_directory(path) ? "it is a directory" : "it is no file";
        return file;
    }
    file.size = fs::file_size(path, error);
    file.changed = fs::last_write_time(path, error);
    if (path.extension() == ".ini" && file.size > kTextBytes) {
        file.error = "it has more than 1 MiB";  // the library refuses it
        return file;
    }
    const bool fused = name == "CurveLut" || name == "ColorLut";
    // One byte more than a look may have, for the reader to see that.
    const std::size_t most = fused ? kFusedBytes : path.extension() == ".json" ? kMaxLookBytes + 1 : kTextBytes;
    const std::size_t wanted = std::min<std::size_t>(file.size, most);
    std::ifstream in(path, std::ios::binary);
    file.bytes.resize(wanted);
    in.read(file.bytes.data(), static_cast<std::streamsize>(wanted));
    if (!in) {
        file.error = "it cannot be read";
        file.bytes.clear();
    }
    return file;
}

bool isOne(const IniDocument& document, const char* section, const char* key) {
    return document.integer(section, key) == 1;
}

}  // namespace

TuningFiles::TuningFiles(const std::string& directory) : m_directory(directory) {
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            const std::string name = entry.path().filename().string();
            m_files[name] = isOurs(name) ? readOne(entry.path(), name) : TuningFile{};
            if (fs::path(name).extension() == ".ini") {
                m_inis.emplace(name, IniDocument(m_files[name].bytes));
            }
        }
    } catch (const fs::filesystem_error& error) {
        throw fileError("cannot read the tuning directory " + directory + ": " + error.code().message());
    }
}

const TuningFile* TuningFiles::find(const std::string& name) const {
    const auto found = m_files.find(name);
    return found != m_files.end() ? &found->second : nullptr;
}

const std::string* TuningFiles::bytes(const std::string& name) const {
    const TuningFile* file = find(name);
    return file != nullptr && file->readable() ? &file->bytes : nullptr;
}

const IniDocument& TuningFiles::ini(const std::string& name) const {
    static const IniDocument empty;
    const auto found = m_inis.find(name);
    return found != m_inis.end() ? found->second : empty;
}

std::string tableFile(const TableFileKind& kind, int table) {
    return kind.prefix + std::to_string(table) + kind.suffix;
}

std::optional<int> tableOfFile(const TableFileKind& kind, const std::string& name) {
    const std::string prefix = kind.prefix, suffix = kind.suffix;
    if (name.size() <= prefix.size() + suffix.size() || name.rfind(prefix, 0) != 0 ||
        name.substr(name.size() - suffix.size()) != suffix) {
        return std::nullopt;
    }
    const auto table = parseNumber<int>(
        std::string_view(name).substr(prefix.size(), name.size() - prefix.size() - suffix.size()), 0);
    return table && tableFile(kind, *table) == name ? table : std::nullopt;  // without padding
}

ModeSettings readMode(const TuningFiles& files, bool photo) {
    ModeSettings mode;
    mode.photo = photo;
    mode.file = photo ? "photoSet.ini" : "frameSet.ini";
    mode.backEnd = files.ini("platformSet.ini").find("platform", photo ? "photo" : "frame").value;
    mode.backEnd = mode.backEnd.substr(0, std::max<std::size_t>(mode.backEnd.size(), 1) - 1);
    const IniDocument& set = files.ini(mode.file);
    mode.on = isOne(set, "switch", photo ? "photoSwitch" : "frameSwitch");
    mode.clahe = isOne(set, "hvc", "claheSwitch");
    mode.curve = isOne(set, "hvc", "curveSwitch");
    mode.color = isOne(set, "hvc", "colorSwitch");
    mode.correction = isOne(set, "hvc", "cCorrSwitch");
    mode.protection = isOne(set, "portrait", "pProtectSwitch");
    mode.gridWidth = set.integer("hvc", "gridWidth").value_or(mode.gridWidth);
    mode.gridHeight = set.integer("hvc", "gridHeight").value_or(mode.gridHeight);
    mode.sampRate = set.integer("hvc", "sampRate").value_or(mode.sampRate);
    mode.transFrameNum = set.integer("hvc", "transFrameNum").value_or(mode.transFrameNum);
    mode.maskSource = set.integer("portrait", "maskSource").value_or(mode.maskSource);
    mode.sceneNum = set.integer("scene", "sceneNum").value_or(mode.sceneNum);
    mode.sceneIdx = iniInts(set.find("scene", "sceneIdx").value, kMaxScenes);
    return mode;
}

Strengths readStrengths(const TuningFiles& files, int table) {
    const IniDocument& param = files.ini(tableFile(kTableFileKinds[0], table));
    const auto read = [&](const char* key) {
        const float value = param.number("hvc", key).value_or(0.0F);
        return std::isfinite(value) ? value : 0.0F;
    };
    return {read("colorStrength"), read("satStrength"), read("claheStrength")};
}

}  // namespace tool
