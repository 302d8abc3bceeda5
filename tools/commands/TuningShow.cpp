#include <memory>
#include <nlohmann/json.hpp>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/report/TuningPage.h"

namespace tool {

namespace {

using nlohmann::json;

struct ShowOptions {
    std::string a, b;
    std::string out;
    bool json = false;
};

void writePage(const std::string& name, const std::string& text) {
    writeFile(name, Bytes(text.begin(), text.end()));
}

std::string summaryOf(const TuningView& tuning) {
    std::string text = "photos on " + tuning.photo.backEnd + ", previews on " + tuning.frame.backEnd + "\n";
    for (const TableView& table : tuning.tables) {
        char line[160];
        const Yuv grey = table.through({128, 128, 128});
        std::snprintf(line, sizeof(line),
                      "table %d %s: mid-grey %.0f, colorStrength %g, satStrength %g, claheStrength %g\n",
                      table.number, table.name.c_str(), grey.y, static_cast<double>(table.strengths.color),
                      static_cast<double>(table.strengths.saturation),
                      static_cast<double>(table.strengths.clahe));
        text += line;
    }
    return text;
}

ExitCode show(const ShowOptions& options) {
    const TuningView tuning(options.a);
    if (options.out.empty()) {
        print(summaryOf(tuning));
    } else {
        writePage(options.out, tuningPage(tuning));
    }
    return ExitCode::kGood;
}

std::string jsonOf(const ShowOptions& options, const TuningDifference& difference) {
    json scenes = json::array();
    for (const SceneDifference& scene : difference.scenes) {
        scenes.push_back({{"name", scene.name},
                          {"in_a", scene.a != nullptr},
                          {"in_b", scene.b != nullptr},
                          {"words", scene.words},
                          {"delta_e_mean", scene.deltaEMean},
                          {"delta_e_max", scene.deltaEMax},
                          {"mid_grey", scene.midGrey}});
    }
    json settings = json::array();
    for (const SettingDifference& setting : difference.settings) {
        settings.push_back(
            {{"file", setting.file}, {"key", setting.key}, {"a", setting.a}, {"b", setting.b}});
    }
    const json all = {{"a", options.a},
                      {"b", options.b},
                      {"equal", difference.equal()},
                      {"words", difference.words()},
                      {"scenes", scenes},
                      {"settings", settings}};
    return all.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

ExitCode diff(const ShowOptions& options) {
    const TuningView a(options.a), b(options.b);
    const TuningDifference difference = differenceOf(a, b);
    if (!options.out.empty()) {
        writePage(options.out, differencePage(a, b, difference));
    }
    if (options.json) {
        print(jsonOf(options, difference));
    } else if (options.out != "-") {
        std::string text;
        for (const std::string& line : difference.words()) {
            text += line + "\n";
        }
        print(text.empty() ? "the same\n" : text);
    }
    return difference.equal() ? ExitCode::kGood : ExitCode::kDifferent;
}

}  // namespace

void addTuningShow(CLI::App& tuning, Action& action) {
    auto shared = std::make_shared<ShowOptions>();
    CLI::App* showing =
        tuning.add_subcommand("show", "Show what a tuning's tables do: in words, or as a page");
    showing->add_option("DIR", shared->a, "Tuning directory")->required();
    showing->add_option("-o,--output", shared->out,
                        "Write a page with curves, hues and colours; '-' is standard output");
    showing->footer("Example:\n  huevance tuning show my_tuning --output my_tuning.html\n\n" +
                    std::string(kExitCodes));
    showing->callback([shared, &action] { action = [shared] { return show(*shared); }; });

    auto two = std::make_shared<ShowOptions>();
    CLI::App* differing =
        tuning.add_subcommand("diff", "Say how two tunings differ: in words, and as a page");
    differing->add_option("A", two->a, "Tuning directory")->required();
    differing->add_option("B", two->b, "The other one")->required();
    differing->add_option("-o,--output", two->out,
                          "Write a page, too; '-' is standard output, instead of the words");
    differing->add_flag("--json", two->json, "Report as JSON");
    differing->footer(
        "Example:\n  huevance tuning diff old new --output changes.html\n\n"
        "Exit code 1 when the two differ. Scenes are matched by the names of their looks.\n\n" +
        std::string(kExitCodes));
    differing->callback([two, &action] { action = [two] { return diff(*two); }; });
}

}  // namespace tool
