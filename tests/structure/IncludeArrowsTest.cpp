// Who may see whom: jni -> {cpu, neon, gpu, ogl} -> core -> jni/algocommon, and gpu -> jni/opticommon.
// Whatever stands further along an arrow may be seen as well. Checked on the #include lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

namespace {

namespace fs = std::filesystem;
using std::string;
using std::string_view;

struct Room {
    string_view path;
    string sees;           // rooms or files, beside itself
    string platform = "";  // beginnings of the platform headers that are its own; no others in the library
};

const string kGround = " tools/Files.h tools/Numbers.h tools/Stdio.h tools/ToolError.h ";
const string kHostsView =
    " jni/HuevanceAPI.h jni/HuevanceTypes.h jni/algocommon/ImageTypes.h jni/algocommon/Export.h ";

// The first room whose path begins a file's path is the file's room.
const Room kRooms[] = {
    {"jni/algocommon/", "", "android/log.h"},
    {"jni/opticommon/", "jni/algocommon/", "CL/"},
    {"jni/", "cpu/ neon/ gpu/ ogl/ core/ jni/algocommon/"},
    {"core/", "jni/algocommon/"},
    {"cpu/", "core/ jni/algocommon/"},
    {"neon/", "core/ jni/algocommon/", "arm_neon.h simde/"},
    {"gpu/", "core/ jni/algocommon/ jni/opticommon/", "CL/ android/"},
    {"ogl/", "core/ jni/algocommon/", "EGL/ GLES android/"},
    // Not the library: the simulated device knows the list of a driver's entries, the tool what a host knows.
    {"sim/", "jni/opticommon/symb/"},
    {"tools/commands/",
     "tools/studio/ tools/batch/ tools/stages/ tools/report/ tools/tuning/ tools/picture/ tools/host/" +
         kGround + kHostsView},
    {"tools/studio/", "tools/stages/ tools/tuning/ tools/picture/ tools/host/" + kGround + kHostsView},
    {"tools/batch/", "tools/stages/ tools/page/ tools/tuning/ tools/picture/ tools/host/" + kGround},
    {"tools/stages/", "tools/page/ tools/tuning/ tools/picture/ tools/host/ tools/ToolError.h"},
    {"tools/report/", "tools/page/ tools/tuning/ tools/picture/"},
    {"tools/page/", "tools/tuning/ tools/picture/"},
    {"tools/tuning/", "tools/picture/ tools/host/PlatformSet.h" + kGround},
    {"tools/picture/", kGround},
    {"tools/host/", "tools/picture/" + kGround + kHostsView},
    {"tools/probe/", "tools/host/Drivers.h tools/host/PlatformSet.h jni/HuevanceAPI.h"},
    {"tools/", "tools/commands/"},
};
const string kGuarded = "android/ EGL/ GLES CL/ arm_neon.h simde/ sim/";

bool beginsWithAny(string_view text, const string& beginnings) {
    std::istringstream words(beginnings);
    return std::any_of(std::istream_iterator<string>(words), {},
                       [text](const string& word) { return text.starts_with(word); });
}

const Room* roomOf(string_view file) {
    const auto* room = std::find_if(std::begin(kRooms), std::end(kRooms),
                                    [file](const Room& r) { return file.starts_with(r.path); });
    return room != std::end(kRooms) ? room : nullptr;
}

// `quoted`: "header" rather than <header>.
bool mayInclude(string_view file, string_view header, bool quoted) {
    const Room* room = roomOf(file);
    if (room == nullptr) {
        return true;
    }
    if (quoted) {
        return roomOf(header) == room || beginsWithAny(header, room->sees);
    }
    // Standard headers of C++ have neither a suffix nor a folder; core knows no others.
    const bool standard = header.find_first_of("./") == string_view::npos;
    const bool library = !room->path.starts_with("sim/") && !room->path.starts_with("tools/");
    return !library || ((!beginsWithAny(header, kGuarded) || beginsWithAny(header, room->platform)) &&
                        (room->path != "core/" || standard));
}

TEST(IncludeArrows, HoldInTheSources) {
    const fs::path root = HUEVANCE_SOURCE_DIR;
    const std::regex pattern("\\s*#\\s*include\\s*([\"<])([^\">]*)[\">].*");
    const std::set<string> sources = {".cpp", ".h", ".inc", ".c"};
    int seen = 0;
    std::set<string> intrinsics;  // files that pick the vector intrinsics: one header
    for (const char* folder :
         {"jni", "core", "cpu", "neon", "gpu", "ogl", "tests", "bench", "tools", "sim"}) {
        for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
            if (sources.count(entry.path().extension().string()) == 0) {
                continue;
            }
            const string file = entry.path().lexically_relative(root).string();
            std::ifstream in(entry.path());
            std::smatch match;
            for (string line; std::getline(in, line);) {
                if (std::regex_match(line, match, pattern)) {
                    const string header = match[2];
                    ++seen;
                    EXPECT_TRUE(mayInclude(file, header, match[1] == "\"")) << file << ": " << header;
                    if (header == "arm_neon.h" || header.starts_with("simde/")) {
                        intrinsics.insert(file);
                    }
                }
            }
        }
    }
    EXPECT_GT(seen, 100) << "the sources were not found";
    EXPECT_EQ(intrinsics, std::set<string>{"neon/NeonIntrinsics.h"});
}

}  // namespace
