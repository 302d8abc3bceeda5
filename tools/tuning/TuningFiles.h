// A tuning directory, read once, and its settings as the library reads them.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/tuning/IniDocument.h"

namespace tool {

inline constexpr int kMaxScenes = 512;        // host scene numbers that a tuning can map
inline constexpr int kMaxSceneTables = 4096;  // that a preview's set-up accepts
inline constexpr int kCurveFloats = 256;
inline constexpr int kColorFloats = 3 * 16 * 16 * 16;

// One file. What is no regular file, or cannot be read, says why.
struct TuningFile {
    std::string bytes;     // as far as any reader looks
    std::size_t size = 0;  // of the whole file
    std::filesystem::file_time_type changed = {};
    std::string error;
    bool readable() const { return error.empty(); }
};

class TuningFiles {
public:
    // Reads every file that the library or this program reads. Throws (exit code 3) when the directory itself
    // cannot be read.
    explicit TuningFiles(const std::string& directory);

    const std::string& directory() const { return m_directory; }
    const std::map<std::string, TuningFile>& all() const { return m_files; }
    // Null when there is none.
    const TuningFile* find(const std::string& name) const;
    // Null also when it cannot be read.
    const std::string* bytes(const std::string& name) const;
    // Empty for a file that is not there, as for the library.
    const IniDocument& ini(const std::string& name) const;

private:
    std::string m_directory;
    std::map<std::string, TuningFile> m_files;
    std::map<std::string, IniDocument> m_inis;
};

// "param3.ini", "curveLut3", "colorLut3"; the index of such a name, or nothing.
struct TableFileKind {
    const char* prefix;
    const char* suffix;
    int floats;  // 0 for text
};
inline constexpr TableFileKind kTableFileKinds[] = {
    {"param", ".ini", 0}, {"curveLut", "", kCurveFloats}, {"colorLut", "", kColorFloats}};
std::string tableFile(const TableFileKind& kind, int table);
std::optional<int> tableOfFile(const TableFileKind& kind, const std::string& name);

// The settings of one mode in a fresh process: a key that the library does not find has its default.
struct ModeSettings {
    bool photo = true;
    std::string file;     // photoSet.ini or frameSet.ini
    std::string backEnd;  // as the library has it, its last character dropped; empty when there is none
    bool on = false;      // master switch
    bool clahe = false, curve = false, color = false, correction = false, protection = false;
    int gridWidth = 8, gridHeight = 6, sampRate = 4, transFrameNum = 60;
    int maskSource = 0, sceneNum = 1;
    std::vector<int> sceneIdx;  // at most kMaxScenes

    // Of a host scene number; scenes that the list does not name have table 0.
    int tableOf(std::size_t scene) const { return scene < sceneIdx.size() ? sceneIdx[scene] : 0; }
};
ModeSettings readMode(const TuningFiles& files, bool photo);

struct Strengths {
    float color = 0.0F, saturation = 0.0F, clahe = 0.0F;
};
Strengths readStrengths(const TuningFiles& files, int table);

}  // namespace tool
