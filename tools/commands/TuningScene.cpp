#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/Numbers.h"
#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/StarterTuning.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace {

struct SceneOptions {
    std::string directory, scene, from, to, show;
    int number = -1;
    bool json = false;
};

nlohmann::ordered_json listed(const TuningDirectory& tuning) {
    nlohmann::ordered_json json = {{"directory", tuning.path()}, {"tables", nlohmann::ordered_json::array()}};
    for (int table = 0; table < tuning.tableCount(); ++table) {
        const auto numbers = [&](bool photo) {
            nlohmann::ordered_json all = nlohmann::ordered_json::array();
            const std::vector<int>& idx = tuning.sceneIdx(photo);
            for (std::size_t number = 0; number < idx.size(); ++number) {
                if (idx[number] == table) {
                    all.push_back(number);
                }
            }
            return all;
        };
        const std::optional<Look>& look = tuning.look(table);
        json["tables"].push_back(
            {{"table", table},
             {"look", look ? nlohmann::ordered_json(look->name) : nlohmann::ordered_json()},
             {"photo", numbers(true)},
             {"frame", numbers(false)},
             {"about", look ? look->about : ""}});
    }
    return json;
}

ExitCode list(const SceneOptions& options) {
    const nlohmann::ordered_json json = listed(TuningDirectory(options.directory));
    if (options.json) {
        print(json.dump(2) + "\n");
        return ExitCode::kGood;
    }
    const auto column = [](std::string text, std::size_t width) {
        text.resize(std::max(width, text.size() + 1), ' ');
        return text;
    };
    const auto words = [](const nlohmann::ordered_json& numbers) {
        std::string text;
        for (const auto& number : numbers) {
            text += (text.empty() ? "" : ",") + number.dump();
        }
        return text.empty() ? std::string("-") : text;
    };
    std::string text = "photo   frame   table   look            about\n";
    for (const auto& table : json["tables"]) {
        text += column(words(table["photo"]), 8) + column(words(table["frame"]), 8) +
                column(table["table"].dump(), 8) +
                column(table["look"].is_null() ? "(none)" : table["look"].get<std::string>(), 16) +
                table["about"].get<std::string>() + "\n";
    }
    print(text);
    return ExitCode::kGood;
}

ExitCode addScene(const SceneOptions& options) {
    if (!isLookName(options.scene)) {
        throw usageError(
            "'" + options.scene +
            "' cannot be a look's name: 1 to 31 letters, digits, \"-\" or \"_\", a letter first");
    }
    TuningDirectory tuning(options.directory);
    // What the new look begins as: another scene here, or one of the starter's.
    const std::vector<std::string> starters = starterLookNames();
    const bool known = std::find(starters.begin(), starters.end(), options.scene) != starters.end();
    Look look;
    if (!options.from.empty()) {
        const std::optional<Look>& source = tuning.look(tuning.tableOf(options.from));
        if (!source) {
            throw usageError("the scene " + options.from +
                             " has no look ('huevance tuning adopt' makes one)");
        }
        look = *source;
    } else {
        look = starterLook(known ? options.scene : "neutral");
    }
    look.name = options.scene;
    const int table = tuning.addTable(look);
    const int next = static_cast<int>(std::max(tuning.sceneIdx(true).size(), tuning.sceneIdx(false).size()));
    const int number = options.number < 0 ? next : options.number;
    tuning.mapScene(number, table);
    noteChanges(options.directory, tuning.save());
    note("'" + look.name + "' is scene " + std::to_string(number) + ", table " + std::to_string(table));
    return ExitCode::kGood;
}

ExitCode removeScene(const SceneOptions& options) {
    TuningDirectory tuning(options.directory);
    const int table = tuning.tableOf(options.scene);
    const std::vector<int>& idx = tuning.sceneIdx(true);
    int instead = !options.to.empty() ? tuning.tableOf(options.to) : idx.empty() ? 0 : idx.front();
    if (options.to.empty() && instead == table) {
        instead = table == 0 ? 1 : 0;
    }
    tuning.removeTable(table, instead);
    noteChanges(options.directory, tuning.save());
    return ExitCode::kGood;
}

ExitCode mapScene(const SceneOptions& options) {
    TuningDirectory tuning(options.directory);
    tuning.mapScene(options.number, tuning.tableOf(options.scene));
    noteChanges(options.directory, tuning.save());
    return ExitCode::kGood;
}

}  // namespace

void addTuningScene(CLI::App& tuning, Action& action) {
    CLI::App* scene = tuning.add_subcommand("scene", "Scenes: which host scene number shows which look");
    scene->require_subcommand(1);
    auto shared = std::make_shared<SceneOptions>();
    SceneOptions& options = *shared;
    const auto sub = [&](const char* name, const char* what, ExitCode (*run)(const SceneOptions&)) {
        CLI::App* command = scene->add_subcommand(name, what);
        command->add_option("DIR", options.directory, "Tuning directory")->required();
        command->callback([shared, &action, run] { action = [shared, run] { return run(*shared); }; });
        return command;
    };
    sub("list", "Host scene numbers, tables and looks", list)->add_flag("--json", options.json, "As JSON");

    CLI::App* add = sub("add", "Add a scene with a look and a table of its own", addScene);
    add->add_option("NAME", options.scene, "The look's name; one of the starter's looks begins as that")
        ->required();
    add->add_option("--from", options.from, "Begin as a copy of this scene's look");
    add->add_option("--number", options.number, "Host scene number (default: the next)")
        ->check(CLI::NonNegativeNumber);
    add->footer("Example:\n  huevance tuning scene add my_tuning beach --from landscape\n");

    CLI::App* remove = sub("remove", "Remove a scene, its look and its table", removeScene);
    remove->add_option("SCENE", options.scene, "Name or host scene number")->required();
    remove->add_option("--to", options.to,
                       "What its scene numbers show from then on (default: what scene 0 shows)");
    remove->footer("Scene numbers at the end of the list go; others keep their number and show --to.\n");

    CLI::App* map = sub("map", "Let a host scene number show a look", mapScene);
    map->add_option("NUMBER", options.number, "Host scene number")->required()->check(CLI::NonNegativeNumber);
    map->add_option("SCENE", options.scene, "Name of the look, or a scene number that shows it")->required();
}

}  // namespace tool
