#include <memory>
#include <nlohmann/json.hpp>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/host/Drivers.h"
#include "tools/host/HostLibrary.h"
#include "tools/tuning/StarterTuning.h"

namespace tool {

namespace {

struct InfoOptions {
    LibraryOptions library;
    bool json = false;
};

#if defined(__aarch64__)
constexpr const char* kArchitecture = "aarch64";
constexpr const char* kNeonNote = "";
#else
constexpr const char* kArchitecture = "x86_64";
constexpr const char* kNeonNote = "through SIMDe: not the speed of a phone";
#endif

struct BackEnd {
    const char* name;
    const char* what;
    const char* remark;
};
constexpr BackEnd kBackEnds[] = {
    {"CPU", "this processor, with vectors where it has them", ""},
    {"NEON", "vector instructions", kNeonNote},
    {"GPU", "OpenCL", ""},
    {"OGL", "OpenGL ES", ""},
};

nlohmann::ordered_json collect(const HostLibrary& library) {
    nlohmann::ordered_json json = {{"version", HUEVANCE_TOOL_VERSION},
                                   {"library", library.path()},
                                   {"interface", library.version()},
                                   {"architecture", kArchitecture},
                                   {"backends", nlohmann::ordered_json::array()},
                                   {"drivers", nlohmann::ordered_json::array()}};
    for (const BackEnd& backEnd : kBackEnds) {
        json["backends"].push_back({{"name", backEnd.name},
                                    {"what", backEnd.what},
                                    {"photo", backEndRuns(library, backEnd.name, true, writeStarterTuning)},
                                    {"frame", backEndRuns(library, backEnd.name, false, writeStarterTuning)},
                                    {"note", backEnd.remark}});
    }
    for (const DriverReport& driver : driversOf(library.get())) {  // after the back ends have run
        nlohmann::ordered_json report = {{"name", driver.name}, {"path", driver.path}};
        for (const auto& [what, value] : driver.details) {
            report[what] = value;
        }
        json["drivers"].push_back(report);
    }
    HostLibrary::takeErrors();  // of what is not there
    return json;
}

std::string text(const nlohmann::ordered_json& json) {
    const auto word = [](const nlohmann::ordered_json& value) { return value.get<std::string>(); };
    const auto pad = [](std::string value, std::size_t width) {
        value.resize(std::max(width, value.size()), ' ');
        return value;
    };
    std::string out = "huevance " + word(json["version"]) + " (" + word(json["architecture"]) +
                      ")\nlibrary " + word(json["library"]) + "\ninterface " + word(json["interface"]) +
                      "\n\nback end  photo  frame\n";
    for (const auto& backEnd : json["backends"]) {
        const auto yes = [&](const char* mode) { return backEnd[mode].get<bool>() ? "yes" : "-"; };
        out += pad(word(backEnd["name"]), 10) + pad(yes("photo"), 7) + pad(yes("frame"), 7) +
               word(backEnd["what"]);
        out += word(backEnd["note"]).empty() ? "\n" : ", " + word(backEnd["note"]) + "\n";
    }
    out += "\ndriver\n";
    for (const auto& driver : json["drivers"]) {
        const std::string path = word(driver["path"]);
        out += pad(word(driver["name"]), 18) + (path.empty() ? "not found" : path) + "\n";
        for (const auto& [what, value] : driver.items()) {
            if (what != "name" && what != "path") {
                out += pad("", 18) + what + " " + word(value) + "\n";
            }
        }
    }
    return out;
}

ExitCode info(const InfoOptions& options) {
    const HostLibrary library(options.library.library, options.library.verbose);
    const nlohmann::ordered_json json = collect(library);
    print(options.json ? json.dump(2) + "\n" : text(json));
    return ExitCode::kGood;
}

}  // namespace

void addInfo(CLI::App& app, Action& action) {
    auto shared = std::make_shared<InfoOptions>();
    InfoOptions& options = *shared;
    CLI::App* command = app.add_subcommand("info", "Version, back ends that can run here, drivers found");
    command->add_flag("--json", options.json, "Report as JSON");
    add(command, options.library);
    command->footer("Examples:\n  huevance info\n  huevance info --json\n\n" + std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return info(*shared); }; });
}

}  // namespace tool
