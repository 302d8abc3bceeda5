#include <charconv>
#include <memory>
#include <sstream>

#include "tools/Files.h"
#include "tools/Numbers.h"
#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/LookEdit.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace {

struct CurveOptions {
    std::string directory, scene, file;
    std::vector<std::string> points;
};

ExitCode put(const CurveOptions& options, const ToneCurve& curve) {
    TuningDirectory tuning(options.directory);
    const int table = tuning.tableOf(options.scene);
    Look look = lookOf(tuning, table);
    look.curve = curve;
    tuning.setLook(table, look);
    noteChanges(options.directory, tuning.save());
    return ExitCode::kGood;
}

ExitCode curveSet(const CurveOptions& options) {
    ToneCurve curve;
    for (const std::string& point : options.points) {
        curve.points.push_back(parseCurvePoint(point));
    }
    if (const char* wrong = wrongWith(curve.points); *wrong != '\0') {
        throw usageError(wrong);
    }
    return put(options, curve);
}

// Rows of two numbers with a comma, semicolon, tab or blank between them; a first row of words is a heading.
ToneCurve readCsv(const std::string& file) {
    const Bytes bytes = readFile(file);
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    ToneCurve curve;
    int number = 0;
    const auto fail = [&](const std::string& what) {
        throw fileError(file + ", line " + std::to_string(number) + ": " + what);
    };
    for (std::string line; std::getline(in, line);) {
        ++number;
        const std::size_t end = line.find_last_not_of(" \t\r");
        line.resize(end == std::string::npos ? 0 : end + 1);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t gap = line.find_first_of(",;\t ");
        const std::size_t next = gap == std::string::npos ? gap : line.find_first_not_of(",;\t ", gap);
        const std::optional<double> x = parseNumber<double>(line.substr(0, gap), 0);
        const std::optional<double> y =
            next == std::string::npos ? std::nullopt : parseNumber<double>(line.substr(next), 0);
        if ((!x || !y) && curve.points.empty() && number == 1) {
            continue;
        }
        if (!x || !y) {
            fail("must be two levels, input and output, from 0 to 255");
        }
        curve.points.push_back({*x, *y});
        if (const char* wrong = wrongWith(curve.points); *wrong != '\0' && curve.points.size() > 1) {
            fail(wrong);
        }
    }
    if (const char* wrong = wrongWith(curve.points); *wrong != '\0' || curve.points.empty()) {
        fail(curve.points.empty() ? "there is no point" : wrong);
    }
    return curve;
}

ExitCode curveImport(const CurveOptions& options) {
    ToneCurve curve = readCsv(options.file);
    constexpr std::size_t kControlPoints = 64;
    if (curve.points.size() > kControlPoints) {
        // Measured, not drawn: kept as levels.
        const CurveLevels levels = levelsOf(curve);
        curve.points.clear();
        curve.levels.assign(levels.begin(), levels.end());
    }
    return put(options, curve);
}

ExitCode curveExport(const CurveOptions& options) {
    TuningDirectory tuning(options.directory);
    const CurveLevels levels = levelsOf(lookOf(tuning, tuning.tableOf(options.scene)).curve);
    std::string text = "input,output\n";
    for (std::size_t i = 0; i < levels.size(); ++i) {
        char number[32];
        const auto [end, error] = std::to_chars(number, number + sizeof(number), levels[i]);
        text += std::to_string(i) + "," + std::string(number, error == std::errc() ? end : number) + "\n";
    }
    writeFile(options.file, Bytes(text.begin(), text.end()));
    return ExitCode::kGood;
}

}  // namespace

void addCurve(CLI::App& app, Action& action) {
    CLI::App* curve = app.add_subcommand("curve", "The tone curve of a look");
    curve->require_subcommand(1);
    auto shared = std::make_shared<CurveOptions>();
    CurveOptions& options = *shared;
    const auto sub = [&](const char* name, const char* what, ExitCode (*run)(const CurveOptions&)) {
        CLI::App* command = curve->add_subcommand(name, what);
        command->add_option("DIR", options.directory, "Tuning directory")->required();
        command->add_option("-s,--scene", options.scene, "Name of the look, or host scene number")
            ->required();
        command->callback([shared, &action, run] { action = [shared, run] { return run(*shared); }; });
        return command;
    };
    CLI::App* set = sub("set", "A curve through points, without overshoot", curveSet);
    set->add_option("POINTS", options.points,
                    "X,Y ...: input and output level, 0 to 255, from dark to bright")
        ->required()
        ->delimiter(' ');
    set->footer("Example:\n  huevance curve set my_tuning --scene food 0,0 60,54 190,200 255,255\n\n" +
                std::string(kExitCodes));
    CLI::App* import =
        sub("import", "A curve from a CSV file with rows of input and output level", curveImport);
    import->add_option("FILE", options.file, "CSV; '-' is standard input")->required();
    import->footer("Up to 64 rows are control points; more are kept as the levels that they make.\n");
    CLI::App* out = sub("export", "The 256 levels of a curve as a CSV file", curveExport);
    out->add_option("FILE", options.file, "CSV; '-' is standard output")->required();
}

}  // namespace tool
