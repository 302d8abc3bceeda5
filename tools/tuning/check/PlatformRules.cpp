// Back ends, and the cache directory of the GPU's programs.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "tools/tuning/check/Rules.h"
#include "tools/tuning/check/Words.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr const char* kFile = "platformSet.ini";
constexpr std::size_t kMaxName = 15;
constexpr std::size_t kMaxCachePath = 511;

struct BackEnd {
    const char* name;
    bool photo, frame;
};
constexpr std::array<BackEnd, 4> kBackEnds = {
    {{"CPU", true, true}, {"NEON", true, false}, {"GPU", false, true}, {"OGL", true, true}}};

std::string choices(bool photo) { return photo ? "CPU, NEON or OGL" : "CPU, GPU or OGL"; }

void checkBackEnd(const CheckedTuning& tuning, bool photo, Findings& findings) {
    const char* const key = photo ? "photo" : "frame";
    const IniDocument& document = tuning.files.ini(kFile);
    const IniLookup lookup = document.find("platform", key);
    if (!lookup.found()) {
        return;  // the key's absence has a finding
    }
    const bool whole = !lookup.value.empty() && lookup.value.back() == '\r';
    // A lost last character has its own rule: here the name counts that is meant.
    const std::string name = whole ? lookup.value.substr(0, lookup.value.size() - 1) : lookup.value;
    const std::string frames = photo ? "captures" : "previews";
    const auto add = [&](const char* rule, const std::string& message, const std::string& fix) {
        findings.push_back({rule, Severity::kError, kFile, lookup.line, message, fix});
    };
    const std::string use = "Write " + std::string(key) + "=" + "CPU (one of " + choices(photo) + ").";
    if (name.empty()) {
        add("HV301", std::string(key) + " is empty: " + frames + " fail at set-up", use);
        return;
    }
    if (name.size() > kMaxName) {
        add("HV302", inQuotes(name) + " has more than 15 characters: " + frames + " fail at set-up", use);
        return;
    }
    const auto exact =
        std::find_if(kBackEnds.begin(), kBackEnds.end(), [&](const BackEnd& b) { return name == b.name; });
    if (exact == kBackEnds.end()) {
        const auto meant = std::find_if(kBackEnds.begin(), kBackEnds.end(), [&](const BackEnd& b) {
            return name.find(b.name) != std::string::npos || isMistyped(trimmed(name), b.name);
        });
        add("HV303",
            inQuotes(name) + " is no back end's name" + (trimmed(name) != name ? ", blanks included" : "") +
                ": the set-up succeeds, and every frame of " + frames + " is refused",
            meant != kBackEnds.end()
                ? "Write " + std::string(key) + "=" + meant->name + "; names have their case, and no blanks."
                : use);
    } else if (photo ? !exact->photo : !exact->frame) {
        add("HV304",
            name + " has no " + frames + ": the set-up succeeds, and every frame of " + frames +
                " is refused",
            "Write one of " + choices(photo) + ".");
    }
}

// Where a phone keeps things that a PC does not have.
bool isPhonePath(const std::string& path) {
    static constexpr const char* kRoots[] = {"/data/",   "/sdcard", "/storage/", "/mnt/",
                                             "/vendor/", "/odm/",   "/cache"};
    return std::any_of(std::begin(kRoots), std::end(kRoots),
                       [&](const char* root) { return path.rfind(root, 0) == 0; });
}

bool isOtherMachines(const std::string& path) {
    return path.find('\\') != std::string::npos || (path.size() > 1 && path[1] == ':') ||
           path.rfind("/home/", 0) == 0 || path.rfind("/Users/", 0) == 0 || path[0] == '~';
}

void checkCache(const CheckedTuning& tuning, Findings& findings) {
    const IniDocument& document = tuning.files.ini(kFile);
    const IniLookup lookup = document.find("cache", "path");
    if (!lookup.found()) {
        return;
    }
    const bool whole = !lookup.value.empty() && lookup.value.back() == '\r';
    const std::string path = whole ? lookup.value.substr(0, lookup.value.size() - 1) : lookup.value;
    const bool gpu = std::any_of(tuning.modes.begin(), tuning.modes.end(), [](const ModeSettings& mode) {
        return !mode.photo && mode.backEnd == "GPU";
    });
    const std::string effect =
        gpu ? ": its programs are compiled anew at every start of the camera, which takes seconds"
            : ": without effect while previews are not on GPU";
    const auto add = [&](const char* rule, Severity severity, const std::string& message) {
        findings.push_back({rule, severity, kFile, lookup.line, message,
                            "Name a directory that exists on the phone and that the camera may write."});
    };
    std::error_code error;
    if (lookup.value.empty() || path.size() > kMaxCachePath) {
        add("HV305", Severity::kError,
            std::string(path.empty() ? "the cache path is empty"
                                     : "the cache path has more than 511 characters") +
                ": previews fail at set-up, whatever their back end");
    } else if (path.empty()) {
        add("HV306", Severity::kWarning, "the cache path is empty, which means the root directory" + effect);
    } else if (isPhonePath(path)) {
        return;  // not to be judged from here
    } else if (trimmed(path) != path) {
        add("HV306", Severity::kWarning,
            "the cache path " + inQuotes(path) + " has blanks around it, which count" + effect);
    } else if (!fs::is_directory(path, error)) {
        add(isOtherMachines(path) ? "HV308" : "HV306", Severity::kWarning,
            "the cache directory " + inQuotes(path) +
                (isOtherMachines(path) ? " is of another machine" : " does not exist") + effect);
    } else if (access(path.c_str(), W_OK) != 0) {
        add("HV307", Severity::kWarning,
            "the cache directory " + inQuotes(path) + " cannot be written" + effect);
    } else if (path[0] != '/') {
        add("HV309", Severity::kWarning,
            "the cache path " + inQuotes(path) + " begins where the process happens to stand" + effect);
    }
}

}  // namespace

void checkPlatform(const CheckedTuning& tuning, Findings& findings) {
    for (const ModeSettings& mode : tuning.modes) {
        checkBackEnd(tuning, mode.photo, findings);
    }
    if (std::any_of(tuning.modes.begin(), tuning.modes.end(),
                    [](const ModeSettings& m) { return !m.photo; })) {
        checkCache(tuning, findings);
    }
}

}  // namespace tool
