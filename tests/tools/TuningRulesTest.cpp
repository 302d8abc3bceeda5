// Every rule of the check: a mutation of a clean directory that it names, with the file, the line and the
// severity, and a harmless neighbour that it does not. The library itself says whether a mutation changes
// pictures.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include "jni/HuevanceAPI.h"
#include "tests/support/HostRecords.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Rig.h"
#include "tools/ToolError.h"
#include "tools/tuning/Bake.h"
#include "tools/tuning/StarterTuning.h"
#include "tools/tuning/check/Check.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using test::TuningDir;
using tool::Finding;
using tool::Severity;

// --- A clean tuning of three tables, and its mutations ---------------------------------------------------

std::vector<float> curveOf(int table) {
    std::vector<float> curve;
    for (int i = 0; i < 256; ++i) {
        curve.push_back(255.0F *
                        std::pow(static_cast<float>(i) / 255.0F, 1.0F - 0.1F * static_cast<float>(table)));
    }
    return curve;
}

std::vector<float> colorsOf(int table) {
    std::vector<float> lut(3 * 4096);
    for (std::size_t i = 0; i < 4096; ++i) {
        const auto level = [](std::size_t k) { return 17.0F * static_cast<float>(k); };
        const float gain = 1.0F + 0.1F * static_cast<float>(table);
        lut[i] = level(i % 16);
        lut[i + 4096] = std::clamp(128.0F + gain * (level(i / 16 % 16) - 128.0F), 0.0F, 255.0F);
        lut[i + 8192] = std::clamp(128.0F + gain * (level(i / 256) - 128.0F), 0.0F, 255.0F);
    }
    return lut;
}

void writeClean(const TuningDir& dir) {
    dir.writePlatform("CPU", "/data/vendor/camera");
    std::vector<model::Tuning> tables(3);
    for (int table = 0; table < 3; ++table) {
        tables[static_cast<std::size_t>(table)] = {.clahe = true,
                                                   .curve = true,
                                                   .correct = true,
                                                   .color = true,
                                                   .grid = {4, 3, 2},
                                                   .colorStrength = 0.75F,
                                                   .satStrength = 1.0F + 0.1F * static_cast<float>(table),
                                                   .claheStrength = 0.5F,
                                                   .yCurve = curveOf(table),
                                                   .lattice = colorsOf(table)};
    }
    rig::write(dir, tables, {{"transFrameNum", "10"}, {"sceneIdx", "1/0/2/"}});
}

using Mutation = std::function<void(const TuningDir&)>;

// The clean tuning, mutated.
struct Mutated : TuningDir {
    explicit Mutated(const Mutation& mutation) {
        writeClean(*this);
        mutation(*this);
    }
};

// Replaces the first `from`, which must be there.
Mutation sub(const string& file, const string& from, const string& to) {
    return [=](const TuningDir& dir) {
        string text = dir.read(file);
        const std::size_t at = text.find(from);
        ASSERT_NE(at, string::npos) << file << " has no " << from;
        dir.write(file, text.replace(at, from.size(), to));
    };
}
// Every one.
Mutation all(const string& file, const string& from, const string& to) {
    return [=](const TuningDir& dir) {
        string text = dir.read(file);
        for (std::size_t at = text.find(from); at != string::npos; at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
        dir.write(file, text);
    };
}
Mutation put(const string& file, const string& bytes) {
    return [=](const TuningDir& dir) { dir.write(file, bytes); };
}
Mutation gone(const string& file) {
    return [=](const TuningDir& dir) { dir.remove(file); };
}
Mutation renamed(const string& file, const string& to) {
    return [=](const TuningDir& dir) { fs::rename(dir.path() + "/" + file, dir.path() + "/" + to); };
}
Mutation copied(const string& file, const string& to) {
    return [=](const TuningDir& dir) { dir.write(to, dir.read(file)); };
}
Mutation both(const Mutation& first, const Mutation& second) {
    return [=](const TuningDir& dir) {
        first(dir);
        second(dir);
    };
}
// Rewrites a table number by number, as another type and in another order.
template <typename T>
Mutation table(const string& file, const std::function<T(const std::vector<float>&, std::size_t)>& number,
               bool swapped = false) {
    return [=](const TuningDir& dir) {
        const string bytes = dir.read(file);
        std::vector<float> numbers(bytes.size() / sizeof(float));
        std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(float));
        string out;
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            const T value = number(numbers, i);
            string raw(reinterpret_cast<const char*>(&value), sizeof(T));
            out += swapped ? string(raw.rbegin(), raw.rend()) : raw;
        }
        dir.write(file, out);
    };
}
Mutation numbers(const string& file, const std::function<float(float, std::size_t)>& change) {
    return table<float>(file, [=](const std::vector<float>& v, std::size_t i) { return change(v[i], i); });
}
// Point (fast, middle, slow) of each plane from (y, u, v) put into another order.
Mutation axes(const string& file, int y, int u, int v) {
    return table<float>(file, [=](const std::vector<float>& from, std::size_t i) {
        const std::size_t step[] = {1, 16, 256};
        const std::size_t at = i % 4096, digit[] = {at % 16, at / 16 % 16, at / 256};
        return from[i - at + digit[y] * step[0] + digit[u] * step[1] + digit[v] * step[2]];
    });
}
Mutation interleaved(const string& file) {
    return table<float>(
        file, [](const std::vector<float>& from, std::size_t i) { return from[i % 3 * 4096 + i / 3]; });
}
Mutation utf16(const string& file) {
    return [=](const TuningDir& dir) {
        string wide = "\xFF\xFE";
        for (const char c : dir.read(file)) {
            wide += c;
            wide += '\0';
        }
        dir.write(file, wide);
    };
}
Mutation backEnds(const string& photo, const string& frame) {
    return put("platformSet.ini", "[platform]\r\nphoto=" + photo + "\r\nframe=" + frame +
                                      "\r\n[cache]\r\npath=/data/vendor/camera\r\n");
}
// A look that bakes to the files that are there.
Mutation look(int table, const string& name) {
    return [=](const TuningDir& dir) {
        tool::Look written;
        written.name = name;
        const string index = std::to_string(table);
        if (fs::exists(dir.path() + "/colorLut" + index)) {
            written.colorStrength = 0.75;
            written.satStrength = 1.0 + 0.1 * table;
            written.claheStrength = 0.5;
            const std::vector<float> curve = curveOf(table);
            written.curve.levels.assign(curve.begin(), curve.end());
            written.adjustments = {tool::Table{"adopted", 1, false, tool::Lattice(colorsOf(table))}};
        }
        dir.write(tool::lookFileName(table), toJson(written));
    };
}
// Moves a file's time of change, in seconds from the other files'.
Mutation aged(const string& file, int seconds) {
    return [=](const TuningDir& dir) {
        const string path = dir.path() + "/" + file;
        fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(seconds));
    };
}
// A look whose colours have to be computed, baked; as old as its table.
Mutation computed(int table) {
    return [=](const TuningDir& dir) {
        tool::Look written;
        written.name = "vivid";
        written.adjustments = {tool::Saturation{0.25}};
        const tool::BakedTable baked = bake(written);
        const string index = std::to_string(table);
        dir.writeParam(table, baked.colorStrength, baked.satStrength, baked.claheStrength);
        dir.writeFloats("curveLut" + index, baked.curve);
        dir.writeFloats("colorLut" + index, baked.color);
        dir.write(tool::lookFileName(table), toJson(written));
    };
}
Mutation cache(const string& path) { return sub("platformSet.ini", "/data/vendor/camera", path); }

const string kParam = "param1.ini", kPhoto = "photoSet.ini", kFrame = "frameSet.ini",
             kPlatform = "platformSet.ini";
const string kMark = "\xEF\xBB\xBF";
constexpr Severity kError = Severity::kError, kWarning = Severity::kWarning;

const struct Case {
    const char* rule;
    Severity severity;
    string file;
    int line;  // 0: none
    Mutation mutation;
    Mutation neighbour;
    // What the library does to pictures on CPU: mostly as the severity says.
    bool elsewhere = false;  // seen only on another back end or machine, or by a person
} kCases[] = {
    // clang-format off
    {"HV101", kError, kPlatform, 0, gone(kPlatform), gone("nothing")},
    {"HV101", kError, kPhoto, 0, renamed(kPhoto, "photoset.ini"), copied(kPhoto, "photoset.ini")},
    {"HV101", kError, kParam, 0, gone(kParam), put("README.txt", "words")},
    {"HV101", kError, "curveLut2", 0, renamed("curveLut2", "CurveLut2"), put("CurveLut2", "")},
    {"HV101", kError, "colorLut0", 0, gone("colorLut0"), both(all(kFrame, "colorSwitch=1", "colorSwitch=0"), put("notes", ""))},
    {"HV101", kWarning, "CurveLut", 0, gone("CurveLut"), gone("nothing")},
    {"HV101", kError, "ColorLut", 0, both(backEnds("CPU", "GPU"), gone("ColorLut")), backEnds("CPU", "GPU"), true},
    {"HV101", kError, "param3.ini", 0, sub(kPhoto, "sceneNum=3", "sceneNum=4000"), gone("nothing"), true},
    {"HV102", kError, kParam, 0, [](const TuningDir& dir) { dir.remove(kParam); fs::create_directory(dir.path() + "/" + kParam); },
        [](const TuningDir& dir) { fs::create_directory(dir.path() + "/notes"); }},
    {"HV102", kError, kPhoto, 0, [](const TuningDir& d) { d.write(kPhoto, d.read(kPhoto) + string(1 << 20, '#')); },
        [](const TuningDir& d) { d.write(kPhoto, d.read(kPhoto) + "#=" + string(1000, '#')); }},
    {"HV103", kError, "curveLut1", 0, put("curveLut1", ""), put("notes", "")},
    {"HV103", kError, kPhoto, 0, put(kPhoto, ""), put("extra.ini", "")},
    {"HV105", kWarning, ".param0.ini.huevance-12.new", 0, put(".param0.ini.huevance-12.new", "x"), put(".hidden", "x")},
    {"HV201", kError, kParam, 1, sub(kParam, "[hvc]", kMark + "[hvc]"), sub(kParam, "[hvc]", kMark + "#=\r\n[hvc]")},
    {"HV201", kWarning, kPhoto, 1, sub(kPhoto, "[save]", kMark + "[save]"), gone("nothing")},
    {"HV202", kError, kPhoto, 1, utf16(kPhoto), gone("nothing")},
    {"HV203", kError, kPhoto, 1, all(kPhoto, "\r\n", "\r"), all(kPhoto, "\r\n", "\n")},
    {"HV204", kError, kPlatform, 2, all(kPlatform, "\r\n", "\n"), sub(kPlatform, "[platform]\r\n", "[platform]\n")},
    {"HV204", kError, kPlatform, 3, sub(kPlatform, "frame=CPU\r", "frame=CPU"), sub(kPlatform, "path=/data/vendor/camera\r\n", "path=/data/vendor/camera\r")},
    {"HV205", kError, kPhoto, 6, sub(kPhoto, "claheSwitch", "\r\nclaheSwitch"), sub(kPhoto, "[scene]", "\r\n[scene]")},
    {"HV205", kError, kParam, 3, sub(kParam, "satStrength", "# night scenes\r\nsatStrength"), sub(kParam, "satStrength", "#= night scenes\r\nsatStrength")},
    {"HV205", kError, kFrame, 9, sub(kFrame, "cCorrSwitch", "off\r\ncCorrSwitch"), sub(kFrame, "[switch]", "# switches\r\n[switch]")},
    {"HV205", kWarning, kPhoto, 2, sub(kPhoto, "photo=0", "\r\nphoto=0"), sub(kPhoto, "[save]", "\r\n[save]")},
    {"HV208", kError, kPhoto, 18, sub(kPhoto, "sceneIdx=1", "sceneIdx=" + string(1200, ' ') + "1"), sub(kPhoto, "sceneIdx=1", "sceneIdx=" + string(100, ' ') + "1")},
    {"HV209", kError, kParam, 0, put(kParam, string(300, '\1')), gone("nothing")},
    {"HV209", kError, kParam, 3, sub(kParam, "satStrength=", string("satStrength=\0", 13)), sub(kParam, "satStrength=", "satStrength=\t")},
    {"HV210", kError, kParam, 1, sub(kParam, "[hvc]", " [hvc]"), sub(kParam, "[hvc]", "[hvc] # strengths")},
    {"HV210", kError, kPhoto, 5, sub(kPhoto, "[hvc]", "[HVC]"), sub(kPhoto, "[hvc]\r", "[hvc]")},
    {"HV210", kError, kPhoto, 16, sub(kPhoto, "[scene]", "[scenes]"), gone("nothing")},
    {"HV211", kError, kParam, 0, sub(kParam, "[hvc]\r\n", ""), gone("nothing")},
    {"HV211", kWarning, kPhoto, 0, sub(kPhoto, "[save]\r\nphoto=0\r\n", ""), gone("nothing")},
    {"HV212", kError, kParam, 3, sub(kParam, "satStrength", "[hvc]\r\nsatStrength"), gone("nothing")},
    {"HV212", kWarning, kPhoto, 19, [](const TuningDir& dir) { dir.write(kPhoto, dir.read(kPhoto) + "[hvc]\r\nclaheSwitch=0\r\n"); }, gone("nothing")},
    {"HV213", kError, kPhoto, 6, sub(kPhoto, "claheSwitch", "clahSwitch"), sub(kPhoto, "claheSwitch=1", "claheSwitch =1")},
    {"HV213", kError, kParam, 2, sub(kParam, "colorStrength", "colourStrength"), sub(kParam, "=", " = ")},
    {"HV213", kError, kPhoto, 4, sub(kPhoto, "photoSwitch", "photoswitch"), sub(kPhoto, "photoSwitch=1", "photoSwitch=+1")},
    {"HV214", kError, kPhoto, 6, sub(kPhoto, "claheSwitch", "//claheSwitch=0\r\nclaheSwitch"), sub(kPhoto, "claheSwitch", "#claheSwitch=0\r\nclaheSwitch")},
    {"HV214", kError, kParam, 2, sub(kParam, "colorStrength", "note=was satStrength\r\ncolorStrength"), sub(kParam, "colorStrength", "#note=was satStrength\r\ncolorStrength")},
    {"HV214", kWarning, kPhoto, 6, sub(kPhoto, "claheSwitch", "xclaheSwitch"), gone("nothing")},
    {"HV215", kError, kPhoto, 5, both(sub(kPhoto, "claheSwitch=1\r\n", ""), sub(kPhoto, "[hvc]", "claheSwitch=1\r\n[hvc]")), gone("nothing")},
    {"HV216", kError, kPhoto, 0, sub(kPhoto, "colorSwitch=1\r\n", ""), sub(kPhoto, "maskSource=0\r\n", "maskSource= 0\r\n")},
    {"HV216", kError, kParam, 0, sub(kParam, "satStrength=", "#satStrength="), gone("nothing")},
    {"HV216", kWarning, kPhoto, 0, sub(kPhoto, "pProtectSwitch=0\r\n", ""), gone("nothing")},
    {"HV217", kError, kPhoto, 7, sub(kPhoto, "claheSwitch=1", "claheSwitch=0\r\nclaheSwitch=1"), gone("nothing")},
    {"HV217", kWarning, kPhoto, 7, sub(kPhoto, "claheSwitch=1", "claheSwitch=1\r\nclaheSwitch= 1"), gone("nothing")},
    {"HV218", kError, kPhoto, 7, sub(kPhoto, "curveSwitch=1", "curveSwitch=on"), sub(kPhoto, "curveSwitch=1", "curveSwitch= 01")},
    {"HV218", kWarning, kPhoto, 2, sub(kPhoto, "photo=0", "photo=off"), sub(kPhoto, "photo=0", "photo=00")},
    {"HV218", kError, kPhoto, 10, sub(kPhoto, "gridWidth=4", "gridWidth="), sub(kPhoto, "gridWidth=4", "gridWidth=004")},
    {"HV219", kError, kParam, 3, sub(kParam, "satStrength=", "satStrength=nan "), sub(kParam, "satStrength=1.1", "satStrength=1.1e0")},
    {"HV220", kError, kParam, 3, sub(kParam, "satStrength=1.", "satStrength=1,"), sub(kParam, "satStrength=", "satStrength=0")},
    {"HV220", kError, kParam, 2, sub(kParam, "colorStrength=0.75", "colorStrength=90%"), gone("nothing")},
    {"HV220", kError, kPhoto, 11, sub(kPhoto, "gridHeight=3", "gridHeight=0x3"), gone("nothing")},
    {"HV220", kWarning, kPhoto, 11, sub(kPhoto, "gridHeight=3", "gridHeight=3 ; three"), sub(kPhoto, "gridHeight=3", "gridHeight=3 \t")},
    {"HV221", kError, kParam, 3, sub(kParam, "satStrength=1.1", "satStrength=110"), sub(kParam, "satStrength=1.1", "satStrength=1.100")},
    {"HV221", kError, kPhoto, 6, sub(kPhoto, "claheSwitch=1", "claheSwitch=2"), gone("nothing")},
    {"HV221", kError, kPhoto, 10, sub(kPhoto, "gridWidth=4", "gridWidth=0"), gone("nothing")},
    {"HV221", kError, kPhoto, 12, sub(kPhoto, "sampRate=2", "sampRate=-2"), gone("nothing")},
    {"HV221", kWarning, kPhoto, 2, sub(kPhoto, "photo=0", "photo=2"), gone("nothing")},
    {"HV222", kWarning, kPhoto, 1, sub(kPhoto, "[save]", "[author]\r\n[save]"), sub(kPhoto, "[save]", "# [author]\r\n[save]")},
    {"HV223", kWarning, kPhoto, 13, sub(kPhoto, "[portrait]", "sharpness=3\r\n[portrait]"), sub(kPhoto, "[portrait]", "#sharpness=3\r\n[portrait]")},
    {"HV301", kError, kPlatform, 2, backEnds("", "CPU"), gone("nothing")},
    {"HV302", kError, kPlatform, 3, backEnds("CPU", "CPUCPUCPUCPUCPUC"), gone("nothing")},
    {"HV303", kError, kPlatform, 2, backEnds("cpu", "CPU"), gone("nothing")},
    {"HV303", kError, kPlatform, 2, backEnds(" CPU", "CPU"), sub(kPlatform, "[cache]", "[cache] ")},
    {"HV303", kError, kPlatform, 3, backEnds("CPU", "Vulkan"), gone("nothing")},
    {"HV304", kError, kPlatform, 2, backEnds("GPU", "CPU"), backEnds("NEON", "CPU")},
    {"HV304", kError, kPlatform, 3, backEnds("CPU", "NEON"), gone("nothing")},
    {"HV305", kError, kPlatform, 5, cache("/" + string(600, 'x')), cache("/data/" + string(400, 'x'))},
    {"HV306", kWarning, kPlatform, 5, cache("/nowhere/cache"), cache("/tmp")},
    {"HV306", kWarning, kPlatform, 5, cache("/tmp "), cache("/data/local/tmp")},
    {"HV308", kWarning, kPlatform, 5, cache("C:\\cache"), gone("nothing")},
    {"HV309", kWarning, kPlatform, 5, cache("."), gone("nothing")},
    {"HV401", kError, "curveLut1", 0, [](const TuningDir& d) { d.write("curveLut1", d.read("curveLut1").substr(0, 1000)); }, gone("nothing")},
    {"HV402", kWarning, "curveLut1", 0, [](const TuningDir& d) { d.write("curveLut1", d.read("curveLut1") + "tail"); }, gone("nothing")},
    {"HV402", kError, "colorLut1", 0, [](const TuningDir& d) { d.write("colorLut1", "\x93NUMPY" + string(122, ' ') + d.read("colorLut1")); }, gone("nothing")},
    {"HV403", kError, "curveLut1", 0, put("curveLut1", "0\n1.5\n3\n"), gone("nothing")},
    {"HV404", kError, "curveLut1", 0, table<double>("curveLut1", [](const auto& v, std::size_t i) { return static_cast<double>(v[i]); }), gone("nothing")},
    {"HV405", kError, "colorLut1", 0, table<unsigned char>("colorLut1", [](const auto& v, std::size_t i) { return static_cast<unsigned char>(v[i]); }), gone("nothing")},
    {"HV406", kError, "curveLut1", 0, table<float>("curveLut1", [](const auto& v, std::size_t i) { return v[i]; }, true), gone("nothing")},
    {"HV407", kError, "curveLut1", 0, table<std::int32_t>("curveLut1", [](const auto& v, std::size_t i) { return static_cast<std::int32_t>(v[i]); }), gone("nothing")},
    {"HV407", kError, "colorLut1", 0, table<std::uint16_t>("colorLut1", [](const auto& v, std::size_t i) { return static_cast<std::uint16_t>(v[i]); }), gone("nothing")},
    {"HV408", kError, "curveLut1", 0, numbers("curveLut1", [](float v, std::size_t) { return v / 255.0F; }), gone("nothing")},
    {"HV409", kError, "curveLut1", 0, numbers("curveLut1", [](float v, std::size_t i) { return i == 100 ? NAN : v; }), gone("nothing")},
    {"HV409", kError, "colorLut1", 0, numbers("colorLut1", [](float v, std::size_t i) { return i % 2 == 0 ? INFINITY : v; }), gone("nothing")},
    {"HV410", kError, "curveLut1", 0, numbers("curveLut1", [](float v, std::size_t) { return v * 1.2F; }), numbers("curveLut1", [](float v, std::size_t i) { return i == 255 ? v + 0.25F : v; })},
    {"HV411", kError, "curveLut1", 0, numbers("curveLut1", [](float v, std::size_t i) { return i == 100 ? v + 9.0F : v; }), numbers("curveLut1", [](float v, std::size_t i) { return i == 254 ? 254.4F : i == 255 ? 254.6F : v; })},
    {"HV412", kError, "colorLut1", 0, interleaved("colorLut1"), gone("nothing")},
    {"HV412", kError, "colorLut1", 0, axes("colorLut1", 2, 1, 0), axes("colorLut1", 0, 1, 2)},
    {"HV412", kError, "colorLut1", 0, axes("colorLut1", 0, 2, 1), gone("nothing")},
    {"HV412", kError, "colorLut1", 0, axes("colorLut1", 1, 0, 2), gone("nothing")},
    {"HV412", kError, "colorLut1", 0, axes("colorLut1", 1, 2, 0), gone("nothing")},
    {"HV412", kError, "colorLut1", 0, axes("colorLut1", 2, 0, 1), gone("nothing")},
    {"HV413", kError, "curveLut1", 0, numbers("curveLut1", [](float, std::size_t) { return 0.0F; }), gone("nothing")},
    {"HV413", kError, "colorLut1", 0, numbers("colorLut1", [](float, std::size_t) { return 128.0F; }), gone("nothing")},
    {"HV414", kError, "CurveLut", 0, both(backEnds("CPU", "GPU"), copied("curveLut0", "CurveLut")), backEnds("CPU", "GPU"), true},
    {"HV414", kWarning, "CurveLut", 0, copied("curveLut0", "CurveLut"), gone("nothing")},
    {"HV415", kError, "ColorLut", 0, both(backEnds("CPU", "GPU"), numbers("colorLut2", [](float v, std::size_t) { return v * 0.9F; })), gone("nothing")},
    {"HV415", kWarning, "CurveLut", 0, numbers("CurveLut", [](float v, std::size_t) { return v * 0.9F; }), gone("nothing")},
    {"HV416", kWarning, "CurveLut", 0, [](const TuningDir& d) { d.write("CurveLut", d.read("CurveLut") + d.read("curveLut0")); }, gone("nothing")},
    {"HV501", kError, kPhoto, 18, sub(kPhoto, "sceneIdx=1/0/2/", "sceneIdx=1/0/2"), sub(kPhoto, "sceneIdx=1/0/2/", "sceneIdx=1/0/2/ ")},
    {"HV501", kWarning, kPhoto, 18, both(all(kPhoto, "1/0/2/", "1/2/0"), sub(kFrame, "1/0/2/", "1/2/0/")), both(sub(kPhoto, "1/0/2/", "1/2/0/"), sub(kFrame, "1/0/2/", "1/2/0/")), true},
    {"HV502", kError, kPhoto, 18, sub(kPhoto, "1/0/2/", "1,0,2,"), gone("nothing")},
    {"HV502", kError, kFrame, 19, sub(kFrame, "1/0/2/", "1 0/2/"), sub(kFrame, "1/0/2/", "1/ 0/2/")},
    {"HV503", kError, kPhoto, 18, sub(kPhoto, "1/0/2/", "/0/2/"), gone("nothing")},
    {"HV503", kError, kPhoto, 18, sub(kPhoto, "1/0/2/", "one/0/2/"), gone("nothing")},
    {"HV505", kError, kPhoto, 18, sub(kPhoto, "1/0/2/", "1/0/3/"), gone("nothing")},
    {"HV505", kError, kFrame, 19, sub(kFrame, "sceneNum=3", "sceneNum=2"), gone("nothing")},
    {"HV506", kWarning, "param2.ini", 0, both(sub(kPhoto, "1/0/2/", "1/0/"), sub(kFrame, "1/0/2/", "1/0/")), gone("nothing"), true},
    {"HV507", kWarning, "param3.ini", 0, copied("param2.ini", "param3.ini"), copied("param2.ini", "param3.txt")},
    {"HV508", kWarning, "param2.ini", 0, both(copied("param1.ini", "param2.ini"), both(copied("curveLut1", "curveLut2"), copied("colorLut1", "colorLut2"))),
        copied("param1.ini", "param2.ini"), true},
    {"HV509", kWarning, kFrame, 19, sub(kFrame, "1/0/2/", "1/0/2/1/"), both(sub(kPhoto, "1/0/2/", "1/0/2/1/"), sub(kFrame, "1/0/2/", "1/0/2/1/")), true},
    {"HV601", kWarning, kPhoto, 4, sub(kPhoto, "photoSwitch=1", "photoSwitch=0"), gone("nothing"), true},
    {"HV602", kWarning, kPhoto, 6, both(both(sub(kPhoto, "claheSwitch=1", "claheSwitch=0"), sub(kPhoto, "curveSwitch=1", "curveSwitch=0")),
        both(sub(kPhoto, "colorSwitch=1", "colorSwitch=0"), sub(kPhoto, "cCorrSwitch=1", "cCorrSwitch=0"))), gone("nothing"), true},
    {"HV603", kWarning, kPhoto, 2, sub(kPhoto, "photo=0", "photo=1"), gone("nothing")},
    {"HV604", kError, kPhoto, 10, sub(kPhoto, "gridWidth=4", "gridWidth=64"), sub(kPhoto, "gridWidth=4", "gridWidth=4\r\n#=64")},
    {"HV605", kError, kFrame, 10, both(backEnds("OGL", "OGL"), both(sub(kFrame, "gridWidth=4", "gridWidth=20"), sub(kFrame, "gridHeight=3", "gridHeight=13"))),
        backEnds("OGL", "OGL"), true},
    {"HV606", kWarning, kPhoto, 12, sub(kPhoto, "sampRate=2", "sampRate=20"), gone("nothing"), true},
    {"HV701", kError, kPhoto, 15, sub(kPhoto, "pProtectSwitch=0", "pProtectSwitch=1"), gone("nothing")},
    {"HV701", kWarning, kFrame, 16, sub(kFrame, "pProtectSwitch=0", "pProtectSwitch=1"), gone("nothing")},
    {"HV702", kWarning, kPhoto, 14, both(sub(kPhoto, "maskSource=0", "maskSource=2"), sub(kPhoto, "pProtectSwitch=0", "pProtectSwitch=1")), sub(kPhoto, "maskSource=0", "maskSource=2"), true},
    {"HV703", kWarning, kPhoto, 14, both(backEnds("OGL", "OGL"), both(sub(kPhoto, "maskSource=0", "maskSource=2"), sub(kPhoto, "pProtectSwitch=0", "pProtectSwitch=1"))),
        backEnds("OGL", "OGL"), true},
    {"HV704", kWarning, kPhoto, 14, sub(kPhoto, "maskSource=0", "maskSource=1"), gone("nothing"), true},
    {"HV705", kError, kParam, 2, backEnds("NEON", "OGL"), backEnds("OGL", "OGL"), true},
    {"HV706", kError, kParam, 2, both(backEnds("OGL", "OGL"), sub(kParam, "colorStrength=0.75", "colorStrength=1.")), backEnds("OGL", "OGL"), true},
    {"HV706", kWarning, kParam, 2, sub(kParam, "colorStrength=0.75", "colorStrength=0."), gone("nothing"), true},
    {"HV801", kWarning, "look1.json", 3, put("look1.json", "{\n  \"name\": \"vivid\",\n  \"curve\": }\n"), look(1, "vivid")},
    {"HV801", kWarning, "look1.json", 1, put("look1.json", ""), put("look1.txt", "")},
    {"HV802", kWarning, "look3.json", 0, look(3, "vivid"), look(2, "vivid")},
    {"HV803", kWarning, "look2.json", 0, both(look(1, "vivid"), look(2, "vivid")), both(look(1, "vivid"), look(2, "night"))},
    {"HV804", kError, kParam, 3, both(look(1, "vivid"), both(sub("look1.json", "1.1", "1.25"), aged("look1.json", 9))), both(look(1, "vivid"), aged("look1.json", 9)), true},
    {"HV804", kError, "curveLut1", 0, both(look(1, "vivid"), both(put("look1.json", R"({"name": "vivid"})"), aged("look1.json", 9))), look(1, "vivid"), true},
    {"HV804", kError, "colorLut1", 0, both(computed(1), both(sub("look1.json", "0.25", "0.26"), aged("look1.json", 1))), both(computed(1), aged("look1.json", 9)), true},
    {"HV804", kError, "colorLut1", 0, both(computed(1), both(sub("look1.json", "0.25", "0.26"), aged("look1.json", 9))), sub(kParam, "[hvc]", "[hvc]"), true},
    {"HV804", kError, "colorLut1", 0, both(computed(1), both(backEnds("OGL", "OGL"), aged("look1.json", -9))), both(computed(1), backEnds("OGL", "Vulkan")), true},
    {"HV805", kWarning, kParam, 3, both(look(1, "vivid"), both(sub(kParam, "satStrength=1.1", "satStrength=1.2"), aged("look1.json", -9))), both(look(1, "vivid"), sub(kParam, "1.1", "1.100")), true},
    {"HV805", kWarning, "colorLut1", 0, both(computed(1), both(numbers("colorLut1", [](float v, std::size_t i) { return i == 12000 ? v + 1.0F : v; }), aged("colorLut1", 1))), computed(1), true},
    // clang-format on
};

// --- What the library makes of a directory ---------------------------------------------------------------

constexpr RoiInfo kRoi = {32, 24, 32, 24};

void appendPictures(const TuningDir& dir, int mode, string& result) {
    AlgoApi api;
    get_algo_api(&api);
    for (int scene = 0; scene < 3; ++scene) {
        InitParam init = test::initParam(dir, mode, kRoi);
        void* handle = nullptr;
        result += std::to_string(api.algoInitHandle(&handle, &init));
        // Two frames: previews begin with a fade.
        for (int frame = 0; handle != nullptr && frame < 2; ++frame) {
            string pixels;
            for (int i = 0; i < kRoi.stride * kRoi.scanline * 3 / 2; ++i) {
                pixels += static_cast<char>(i * 13 % 256);
            }
            Image image = test::hostImage(pixels.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
            result += std::to_string(api.singleProcessImage(handle, &image, &scene, nullptr)) + pixels;
        }
        if (handle != nullptr) {
            api.releaseHandle(handle, nullptr);
        }
    }
}

// Captures and previews of every scene, and how each call ended, in a process of their own: settings outlive
// a handle.
string picturesOf(const TuningDir& dir) {
    const string path = dir.path() + ".pictures";
    const pid_t child = fork();
    if (child == 0) {
        const test::LogCapture log;
        const int nothing = open("/dev/null", O_WRONLY);
        dup2(nothing, STDOUT_FILENO);
        string result;
        appendPictures(dir, kPhotoMode, result);
        appendPictures(dir, kFrameMode, result);
        std::ofstream(path, std::ios::binary) << result;
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const string result = test::readFile(path) + std::to_string(status);
    fs::remove(path);
    return result;
}

const tool::CheckOptions kSmallFrames = {.size = tool::Size{kRoi.width, kRoi.height}};

string allOf(const tool::Findings& findings) {
    string text;
    for (const Finding& finding : findings) {
        text += textOf(finding) + "\n";
    }
    return text.empty() ? "no finding" : text;
}

TEST(TuningRules, NameEachMistakeAndNotItsHarmlessNeighbour) {
    const Mutated clean(gone("nothing"));
    ASSERT_EQ(allOf(tool::checkTuning(clean.path(), kSmallFrames)), "no finding");
    const string pictures = picturesOf(clean);
    for (const Case& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.rule << ", case " << &c - kCases << ", " << c.file);
        const Mutated wrong(c.mutation), right(c.neighbour);
        const tool::Findings findings = tool::checkTuning(wrong.path(), kSmallFrames);
        SCOPED_TRACE(allOf(findings));
        const auto isIt = [&c](const Finding& f) { return string(f.rule) == c.rule && f.file == c.file; };
        const auto found = std::find_if(findings.begin(), findings.end(), isIt);
        if (found == findings.end()) {
            ADD_FAILURE() << "no such finding";
            continue;
        }
        EXPECT_EQ(found->severity, c.severity);
        EXPECT_EQ(found->line.value_or(0), c.line);
        EXPECT_TRUE(found->fix);
        EXPECT_LE(findings.size(), 5U);  // one mistake, few words
        const bool changes = picturesOf(wrong) != pictures;
        if (!c.elsewhere) {
            EXPECT_EQ(countOf(findings, kError) > 0, changes);
        }
        const tool::Findings others = tool::checkTuning(right.path(), kSmallFrames);
        EXPECT_TRUE(std::none_of(others.begin(), others.end(), isIt)) << "neighbour: " << allOf(others);
    }
}

TEST(TuningRules, AllHaveACaseAndAPlaceInTheDocumentation) {
    // Those of a path that is too long and of a directory that cannot be written have tests of their own.
    std::set<string> covered = {"HV104", "HV307"}, numbers;
    for (const Case& c : kCases) {
        covered.insert(c.rule);
    }
    const string page = test::readFile(HUEVANCE_SOURCE_DIR "/docs/tuning-check.md");
    for (const tool::Rule& rule : tool::checkRules()) {
        EXPECT_TRUE(numbers.insert(rule.number).second) << rule.number;
        EXPECT_NE(page.find("### " + string(rule.number) + ": " + rule.title), string::npos) << rule.number;
    }
    EXPECT_EQ(covered, numbers);
}

TEST(TuningRules, PathsTooLongAndCachesThatCannotBeWritten) {
    const TuningDir dir;
    for (const int length : {480, 500}) {
        string path = dir.path();
        while (static_cast<int>(path.size()) + 2 < length) {
            path +=
                "/" +
                string(std::min<std::size_t>(200, static_cast<std::size_t>(length) - path.size() - 1), 'x');
        }
        fs::create_directories(path);
        EXPECT_EQ(allOf(tool::checkTuning(path)).find("HV104") != string::npos, length == 500);
    }
    writeClean(dir);
    fs::permissions(dir.path(), fs::perms(0755));
    cache("/usr")(dir);
    const pid_t child = fork();
    if (child == 0) {  // as somebody who is not allowed everything, in a directory that he may read
        const bool other = chdir(dir.path().c_str()) == 0 && (getuid() != 0 || setuid(65534) == 0);
        _exit(other && allOf(tool::checkTuning(".")).find("HV307") != string::npos ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// A whole starter, as it was written.
TEST(TuningRules, TakeLessThanFiftyMilliseconds) {
    const TuningDir dir;
    tool::StarterOptions options;
    options.frame = "GPU";
    tool::writeStarter(dir.path(), options);
    ASSERT_EQ(allOf(tool::checkTuning(dir.path())), "no finding");
    double least = 1e9;
    for (int i = 0; i < 5; ++i) {
        const std::clock_t begin = std::clock();  // of the processor: others may use it, too
        tool::checkTuning(dir.path());
        least = std::min(least, 1e3 * static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
    }
#ifdef __SANITIZE_ADDRESS__
    EXPECT_LT(least, 500.0);
#else
    EXPECT_LT(least, 50.0);
#endif
}

// What --fix mends is clean afterwards, and what it does not is not touched.
TEST(TuningRules, MendWhatHasOneRightAnswer) {
    const Mutation mended[] = {all(kPlatform, "\r\n", "\n"),
                               all(kPhoto, "\r\n", "\r"),
                               utf16(kParam),
                               utf16(kPlatform),
                               sub(kPhoto, "[save]", kMark + "[save]"),
                               sub(kPhoto, "[save]", kMark + "\xFE\xFF" + kMark + "[save]"),
                               sub(kFrame, "1/0/2/", "1/0/2"),
                               sub(kPlatform, "camera\r\n", "camera"),
                               gone("CurveLut"),
                               copied("colorLut0", "ColorLut"),
                               put("CurveLut", "")};
    const std::map<string, string> clean = test::filesIn(Mutated(gone("nothing")).path());
    for (const Mutation& mutation : mended) {
        const Mutated dir(mutation);
        EXPECT_THAT(tool::fixTuning(dir.path()), testing::SizeIs(1));
        EXPECT_EQ(allOf(tool::checkTuning(dir.path())), "no finding");
        EXPECT_EQ(test::filesIn(dir.path()), clean);
        EXPECT_THAT(tool::fixTuning(dir.path()), testing::IsEmpty());
    }
    // Looks are the answer for tables that are older or missing, unless somebody has changed the others.
    const Mutation older = both(computed(1), both(sub("look1.json", "0.25", "0.26"), aged("look1.json", 9)));
    for (const Mutation& mutation :
         {older, both(computed(1), gone("colorLut1")), both(computed(1), put("curveLut1", "")),
          both(computed(1), gone(kParam)), both(older, look(2, "night"))}) {
        const Mutated dir(mutation);
        EXPECT_THAT(tool::fixTuning(dir.path()), testing::Not(testing::IsEmpty()));
        EXPECT_EQ(allOf(tool::checkTuning(dir.path())), "no finding");
        EXPECT_THAT(tool::fixTuning(dir.path()), testing::IsEmpty());
    }
    const Mutation byHandLater = both(sub("param2.ini", "1.2", "1.3"), aged("param2.ini", 9));
    const Mutated edited(both(older, both(look(2, "night"), byHandLater)));
    const string byHand = edited.read("param2.ini");
    tool::fixTuning(edited.path());
    EXPECT_EQ(edited.read("param2.ini"), byHand);
    EXPECT_EQ(allOf(tool::checkTuning(edited.path())).rfind("param2.ini:3: warning HV805", 0), 0U);
    const Mutation kept[] = {sub(kPhoto, "claheSwitch", "\r\nclaheSwitch"), gone("curveLut1"),
                             put("colorLut1", "short"), sub(kPhoto, "1/0/2/", "1,0,2")};
    for (const Mutation& mutation : kept) {
        const Mutated dir(mutation);
        const string before = allOf(tool::checkTuning(dir.path()));
        EXPECT_THAT(tool::fixTuning(dir.path()), testing::IsEmpty());
        EXPECT_EQ(allOf(tool::checkTuning(dir.path())), before);
    }
}

}  // namespace
