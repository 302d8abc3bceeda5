// Who may see whom: jni -> {cpu, neon, gpu, ogl} -> core -> jni/algocommon, and gpu -> jni/opticommon.
// Whatever stands further along an arrow may be seen as well. Checked on the #include lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;
using std::string;
using std::string_view;
using std::vector;

struct Room {
    string_view path;
    vector<string_view> sees;      // rooms or files, beside itself
    vector<string_view> platform;  // beginnings of the platform headers that are its own
};

// The first room whose path begins a file's path is the file's room.
const Room kRooms[] = {
    {"jni/algocommon/", {}, {"android/log.h"}},
    {"jni/opticommon/", {"jni/algocommon/"}, {"CL/"}},
    {"jni/", {"cpu/", "neon/", "gpu/", "ogl/", "core/", "jni/algocommon/"}, {}},
    {"core/", {"jni/algocommon/"}, {}},
    {"cpu/", {"core/", "jni/algocommon/"}, {}},
    {"neon/", {"core/", "jni/algocommon/"}, {"arm_neon.h", "simde/"}},
    {"gpu/", {"core/", "jni/algocommon/", "jni/opticommon/"}, {"CL/", "android/"}},
    {"ogl/", {"core/", "jni/algocommon/"}, {"EGL/", "GLES", "android/"}},
    // Not the library: the simulated device knows the list of a driver's entries, the tool what a host knows.
    {"sim/", {"jni/opticommon/symb/"}, {}},
    {"tools/",
     {"jni/HuevanceAPI.h", "jni/HuevanceTypes.h", "jni/algocommon/ImageTypes.h", "jni/algocommon/Export.h"},
     {}},
};
const string_view kLibrary[] = {"jni/", "core/", "cpu/", "neon/", "gpu/", "ogl/"};
// Headers that not every room may use; a room names its own above.
const string_view kGuarded[] = {"android/", "EGL/", "GLES", "CL/", "arm_neon.h", "simde/", "sim/"};

bool beginsWithAny(string_view text, const auto& beginnings) {
    return std::any_of(std::begin(beginnings), std::end(beginnings),
                       [text](string_view b) { return text.starts_with(b); });
}

const Room* roomOf(string_view file) {
    const auto* room = std::find_if(std::begin(kRooms), std::end(kRooms),
                                    [file](const Room& r) { return file.starts_with(r.path); });
    return room != std::end(kRooms) ? room : nullptr;
}

// Why `file` may not include `header`, or nothing. `quoted`: "header" rather than <header>.
string_view fault(string_view file, string_view header, bool quoted) {
    const Room* room = roomOf(file);
    if (room == nullptr) {
        return "";
    }
    if (quoted) {
        const bool own = roomOf(header) == room;
        return own || beginsWithAny(header, room->sees) ? "" : "is not seen from this room";
    }
    if (!beginsWithAny(file, kLibrary)) {
        return "";
    }
    if (beginsWithAny(header, kGuarded) && !beginsWithAny(header, room->platform)) {
        return "is another room's platform";
    }
    // Standard headers of C++ have neither a suffix nor a folder.
    const bool standard = header.find_first_of("./") == string_view::npos;
    return room->path == "core/" && !standard ? "is a platform's, which core knows nothing of" : "";
}

struct Include {
    string file;  // from the root
    string header;
    bool quoted;
};

vector<Include> includesUnder(const string& folder) {
    vector<Include> result;
    const fs::path root = HUEVANCE_SOURCE_DIR;
    if (!fs::exists(root / folder)) {
        return result;
    }
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
        const string suffix = entry.path().extension().string();
        if (suffix != ".cpp" && suffix != ".h" && suffix != ".inc" && suffix != ".c") {
            continue;
        }
        std::ifstream in(entry.path());
        for (string line; std::getline(in, line);) {
            std::size_t at = line.find_first_not_of(" \t");
            if (at == string::npos || line[at] != '#') {
                continue;
            }
            at = line.find_first_not_of(" \t", at + 1);
            if (at == string::npos || line.compare(at, 7, "include") != 0) {
                continue;
            }
            const std::size_t open = line.find_first_of("\"<", at);
            const std::size_t close =
                open != string::npos ? line.find_first_of("\">", open + 1) : string::npos;
            if (close == string::npos) {
                ADD_FAILURE() << entry.path() << ": " << line;
                continue;
            }
            result.push_back({entry.path().lexically_relative(root).string(),
                              line.substr(open + 1, close - open - 1), line[open] == '"'});
        }
    }
    return result;
}

TEST(IncludeArrows, TheRulesKnowRightFromWrong) {
    const struct {
        const char* file;
        const char* header;
        bool quoted;
        bool allowed;
    } cases[] = {
        {"jni/Huevance.cpp", "cpu/HuevancePhoto_CPU.h", true, true},
        {"jni/Huevance.cpp", "jni/algocommon/LogPrintf.h", true, true},
        {"cpu/A.cpp", "core/B.h", true, true},
        {"cpu/A.cpp", "jni/algocommon/LogPrintf.h", true, true},
        {"cpu/A.cpp", "jni/Huevance.h", true, false},
        {"cpu/A.cpp", "neon/B.h", true, false},
        {"neon/A.cpp", "cpu/B.h", true, false},
        {"neon/A.cpp", "B.h", true, false},
        {"ogl/A.cpp", "gpu/B.h", true, false},
        {"gpu/A.cpp", "jni/opticommon/symb/OpenCLSymbol.h", true, true},
        {"ogl/A.cpp", "jni/opticommon/symb/OpenCLSymbol.h", true, false},
        {"core/A.cpp", "cpu/B.h", true, false},
        {"core/A.cpp", "jni/HuevanceTypes.h", true, false},
        {"core/A.cpp", "unistd.h", false, false},
        {"core/A.cpp", "android/log.h", false, false},
        {"core/A.cpp", "cstdint", false, true},
        {"core/A.cpp", "arm_neon.h", false, false},
        {"jni/algocommon/A.cpp", "core/B.h", true, false},
        {"jni/algocommon/A.cpp", "android/log.h", false, true},
        {"gpu/A.cpp", "EGL/egl.h", false, false},
        {"ogl/A.cpp", "GLES3/gl32.h", false, true},
        {"cpu/A.cpp", "sim/log.h", false, false},
        {"jni/A.cpp", "tests/support/Frames.h", true, false},
        {"tools/A.cpp", "core/B.h", true, false},
        {"tools/A.cpp", "sim/log.h", false, true},
        {"tests/A.cpp", "core/B.h", true, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(fault(c.file, c.header, c.quoted).empty(), c.allowed) << c.file << " -> " << c.header;
    }
}

TEST(IncludeArrows, HoldInTheSources) {
    int seen = 0;
    for (const Room& room : kRooms) {
        for (const Include& include : includesUnder(string(room.path))) {
            ++seen;
            const string_view why = fault(include.file, include.header, include.quoted);
            EXPECT_TRUE(why.empty()) << include.file << ": " << include.header << " " << why;
        }
    }
    EXPECT_GT(seen, 100) << "the sources were not found";
}

TEST(IncludeArrows, OneHeaderPicksTheVectorIntrinsics) {
    vector<string> files;
    for (const char* folder :
         {"jni", "core", "cpu", "neon", "gpu", "ogl", "tests", "bench", "fuzz", "tools", "sim"}) {
        for (const Include& include : includesUnder(folder)) {
            const bool intrinsics = include.header == "arm_neon.h" || include.header.starts_with("simde/");
            if (intrinsics && std::find(files.begin(), files.end(), include.file) == files.end()) {
                files.push_back(include.file);
            }
        }
    }
    EXPECT_LE(files.size(), 1U);
    for (const string& file : files) {
        EXPECT_TRUE(file.starts_with("neon/") && file.ends_with(".h")) << file;
    }
}

}  // namespace
