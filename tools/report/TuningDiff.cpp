#include "tools/report/TuningDiff.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "tools/page/Page.h"
#include "tools/picture/ColorDifference.h"
#include "tools/tuning/TuningKeys.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace {

Rgb shown(const TableView& table, const Yuv& color) { return clamped(toRgb(table.through(color))); }

Lab labOf(const Rgb& color) { return labOfSrgb(255 * color.r, 255 * color.g, 255 * color.b); }

std::string signedNumber(double value, int places) { return (value < 0 ? "" : "+") + decimal(value, places); }

// Greys first: where they went, and whether they took colour.
void addGreys(const TableView& a, const TableView& b, std::vector<std::string>& words) {
    const struct {
        const char* name;
        double level;
    } greys[] = {
        {"deep shadows", 24}, {"shadows", 64}, {"mid-grey", 128}, {"highlights", 192}, {"white", 255}};
    for (const auto& [name, level] : greys) {
        const Yuv from = a.through({level, 128, 128});
        const Yuv to = b.through({level, 128, 128});
        if (std::abs(to.y - from.y) >= 0.5) {
            words.push_back(std::string(name) + " " + signedNumber(to.y - from.y, 0) + " levels");
        }
        if (std::hypot(to.u - from.u, to.v - from.v) >= 1) {
            const double warm = (to.v - from.v) - (to.u - from.u);
            words.push_back(std::string(name) + (warm > 0 ? " warmer" : " cooler") + " (U " +
                            signedNumber(to.u - from.u, 1) + ", V " + signedNumber(to.v - from.v, 1) + ")");
        }
    }
}

// How a family's colour from B stands to A's.
struct HueChange {
    double deeper = 0, lighter = 0;  // percent
    double turn = 0;                 // degrees; rising hues go from red over yellow and green to blue
};

HueChange changeOf(const HueFamily& family, const TableView& a, const TableView& b) {
    constexpr double kLightness = 0.62;
    const OkLch middle = {kLightness, 0.55 * maxChroma(kLightness, family.hue), family.hue};
    const Yuv color = toYuv(toRgb(toOklab(middle)));
    const OkLch from = toOkLch(toOklab(shown(a, color)));
    const OkLch to = toOkLch(toOklab(shown(b, color)));
    HueChange change;
    change.deeper = from.c > 0 ? 100 * (to.c / from.c - 1) : 0;
    change.lighter = 100 * (to.l - from.l);
    change.turn = std::min(from.c, to.c) > 0.02 ? std::remainder(to.h - from.h, 360.0) : 0;
    return change;
}

// "3 % deeper and 2 % darker"; empty when nothing is seen.
std::string textOf(const HueChange& change) {
    std::vector<std::string> parts;
    if (std::abs(change.deeper) >= 1) {
        parts.push_back(decimal(std::abs(change.deeper), 0) + " % " +
                        (change.deeper > 0 ? "deeper" : "paler"));
    }
    if (std::abs(change.lighter) >= 1) {
        parts.push_back(decimal(std::abs(change.lighter), 0) + " % " +
                        (change.lighter > 0 ? "lighter" : "darker"));
    }
    if (std::abs(change.turn) >= 1) {
        parts.push_back("turned " + signedNumber(change.turn, 0) + " degrees");
    }
    return listed(parts);
}

void addHues(const TableView& a, const TableView& b, std::vector<std::string>& words) {
    std::vector<HueChange> changes;
    for (const HueFamily& family : kHueFamilies) {
        changes.push_back(changeOf(family, a, b));
    }
    // What all have in common is said once.
    HueChange common;
    for (double HueChange::*part : {&HueChange::deeper, &HueChange::lighter}) {
        const auto ends =
            std::minmax_element(changes.begin(), changes.end(),
                                [part](const HueChange& x, const HueChange& y) { return x.*part < y.*part; });
        const double low = (*ends.first).*part, high = (*ends.second).*part;
        if (high - low <= 2 && std::min(std::abs(low), std::abs(high)) >= 1) {
            common.*part = (low + high) / 2;
            for (HueChange& change : changes) {
                change.*part = 0;
            }
        }
    }
    if (const std::string text = textOf(common); !text.empty()) {
        words.push_back("all colours " + text);
    }
    for (std::size_t i = 0; i < changes.size(); ++i) {
        if (const std::string text = textOf(changes[i]); !text.empty()) {
            words.push_back(std::string(kHueFamilies[i].name) + " " + text);
        }
    }
}

void addStrengths(const TableView& a, const TableView& b, std::vector<std::string>& words) {
    const struct {
        const char* name;
        float from, to;
    } strengths[] = {{"colorStrength", a.strengths.color, b.strengths.color},
                     {"satStrength", a.strengths.saturation, b.strengths.saturation},
                     {"claheStrength", a.strengths.clahe, b.strengths.clahe}};
    for (const auto& [name, from, to] : strengths) {
        if (from != to) {
            words.push_back(std::string(name) + " " + decimal(static_cast<double>(from), 3) + " to " +
                            decimal(static_cast<double>(to), 3));
        }
    }
}

void measure(SceneDifference& scene) {
    constexpr int kSide = 9;
    double sum = 0;
    for (int i = 0; i < kSide * kSide * kSide; ++i) {
        const Rgb rgb = {(i % kSide) / (kSide - 1.0), (i / kSide % kSide) / (kSide - 1.0),
                         (i / kSide / kSide) / (kSide - 1.0)};
        const Yuv color = toYuv(rgb);
        const double difference = deltaE2000(labOf(shown(*scene.a, color)), labOf(shown(*scene.b, color)));
        sum += difference;
        scene.deltaEMax = std::max(scene.deltaEMax, difference);
    }
    scene.deltaEMean = sum / (kSide * kSide * kSide);
    scene.midGrey = scene.b->through({128, 128, 128}).y - scene.a->through({128, 128, 128}).y;
}

std::string scenesText(const TableView& table) {
    const auto list = [](const std::vector<int>& scenes) {
        std::vector<std::string> words;
        for (const int scene : scenes) {
            words.push_back(std::to_string(scene));
        }
        return words.empty() ? std::string("none") : listed(words);
    };
    const std::string photo = list(table.photoScenes), frame = list(table.frameScenes);
    return photo == frame ? photo : photo + " (photos), " + frame + " (previews)";
}

SceneDifference sceneOf(const std::string& name, const TableView* a, const TableView* b) {
    SceneDifference scene{name, a, b, {}};
    if (a == nullptr || b == nullptr) {
        scene.words.push_back(a == nullptr ? "only in B" : "only in A");
        return scene;
    }
    addGreys(*a, *b, scene.words);
    addHues(*a, *b, scene.words);
    addStrengths(*a, *b, scene.words);
    if (scenesText(*a) != scenesText(*b)) {
        scene.words.push_back("shown for scene " + scenesText(*b) + " instead of " + scenesText(*a));
    }
    measure(scene);
    if (scene.words.empty() && scene.deltaEMax > 0) {
        scene.words.push_back("tables differ, by less than a person sees");
    }
    return scene;
}

std::string effective(const TuningFiles& files, const std::string& file, const TuningKey& key) {
    const IniLookup found = files.ini(file).find(key.section, key.name);
    if (!found.found()) {
        return key.kind == TuningKey::Kind::kText   ? std::string()
               : key.kind == TuningKey::Kind::kList ? "0/"
                                                    : std::to_string(static_cast<int>(key.fallback));
    }
    return key.kind == TuningKey::Kind::kText || key.kind == TuningKey::Kind::kList
               ? trimmed(found.value)
               : std::to_string(iniInt(found.value));
}

bool isOwn(const TuningView& tuning, const std::string& path) {
    std::error_code ignored;
    return std::filesystem::equivalent(tuning.files.directory(), path, ignored);
}

}  // namespace

bool TuningDifference::equal() const {
    return settings.empty() && std::all_of(scenes.begin(), scenes.end(),
                                           [](const SceneDifference& scene) { return scene.equal(); });
}

std::vector<std::string> TuningDifference::words() const {
    std::vector<std::string> lines;
    for (const SceneDifference& scene : scenes) {
        std::string line;
        for (const std::string& word : scene.words) {
            line += (line.empty() ? "" : ", ") + word;
        }
        if (!line.empty()) {
            lines.push_back(scene.name + ": " + line);
        }
    }
    for (const SettingDifference& setting : settings) {
        lines.push_back(setting.file + ": " + setting.key + " " + printable(setting.a) + " to " +
                        printable(setting.b));
    }
    return lines;
}

TuningDifference differenceOf(const TuningView& a, const TuningView& b) {
    TuningDifference result;
    for (const TableView& table : a.tables) {
        result.scenes.push_back(sceneOf(table.name, &table, b.find(table.name)));
    }
    for (const TableView& table : b.tables) {
        if (a.find(table.name) == nullptr) {
            result.scenes.push_back(sceneOf(table.name, nullptr, &table));
        }
    }
    for (const char* file : {"platformSet.ini", "photoSet.ini", "frameSet.ini"}) {
        for (const TuningKey& key : keysOfFile(file)) {
            // The number of tables and their numbers are what the scenes say in words.
            const bool scenes = std::string_view(key.section) == "scene";
            const std::string from = effective(a.files, file, key), to = effective(b.files, file, key);
            // Where each keeps its cache in itself, as a fresh one does, nothing differs.
            const bool own = std::string_view(key.name) == "path" && isOwn(a, from) && isOwn(b, to);
            if (from != to && !scenes && !own) {
                result.settings.push_back({file, key.name, from, to});
            }
        }
    }
    return result;
}

}  // namespace tool
