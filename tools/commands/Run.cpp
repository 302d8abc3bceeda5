#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>

#include "tools/Files.h"
#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/host/FrameFile.h"
#include "tools/host/PlatformSet.h"
#include "tools/host/TemporaryTuning.h"
#include "tools/stages/Enhancer.h"
#include "tools/tuning/TuningDirectory.h"
#include "tools/tuning/check/Check.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct RunOptions {
    LibraryOptions library;
    FrameOptions frame;
    ColorOptions color;
    std::string in, out, tuning;
    std::string mode = "photo";
    std::string scene = "0";
    std::string scenes;
    std::string backEnd;
    std::string mask;
    std::string to;      // kind of the output; empty: from its name
    std::string report;  // file for the timings
    std::size_t frames = 0;
    bool strict = false;
};

constexpr std::size_t kMostFrames = 1'000'000'000;

void warnIfMaskUnused(const RunOptions& options, bool photo) {
    const std::string source =
        iniValue(options.tuning + (photo ? "/photoSet.ini" : "/frameSet.ini"), "portrait", "maskSource");
    if (!options.mask.empty() && source != "1") {
        note("the tuning does not ask for a mask (maskSource=" + source + "): " + options.mask +
             " has no effect");
    }
}

void checkNotOverwritten(const RunOptions& options) {
    std::error_code ignored;
    if (options.in != "-" && options.out != "-" && !options.frame.size.empty() &&
        fs::equivalent(options.in, options.out, ignored)) {
        throw usageError("a raw file cannot be written while it is read: " + options.out);
    }
}

class Timings {
public:
    void add(double milliseconds) { m_all.push_back(milliseconds); }
    std::size_t count() const { return m_all.size(); }
    double median() const {
        std::vector<double> sorted = m_all;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0.0 : sorted[sorted.size() / 2];
    }
    nlohmann::json json() const {
        return {{"frames", m_all.size()},
                {"milliseconds",
                 {{"first", m_all.empty() ? 0.0 : m_all.front()},
                  {"median", median()},
                  {"min", m_all.empty() ? 0.0 : *std::min_element(m_all.begin(), m_all.end())},
                  {"total", std::accumulate(m_all.begin(), m_all.end(), 0.0)}}}};
    }

private:
    std::vector<double> m_all;
};

void report(const RunOptions& options, const std::string& backEnd, const FrameSource& source,
            const Timings& timings) {
    const std::string size = std::to_string(source.roi().width) + "x" + std::to_string(source.roi().height);
    if (!options.report.empty()) {
        nlohmann::json json = timings.json();
        json["backend"] = backEnd;
        json["mode"] = options.mode;
        json["size"] = size;
        json["format"] = toString(source.format());
        const std::string text = json.dump(2) + "\n";
        writeFile(options.report, Bytes(text.begin(), text.end()));
    }
    if (options.library.verbose) {
        char text[160];
        std::snprintf(text, sizeof(text), "%s %s %s: %zu frame(s), %.2f ms each (median)", backEnd.c_str(),
                      options.mode.c_str(), size.c_str(), timings.count(), timings.median());
        note(text);
    }
}

void processAll(Enhancer& enhancer, const RunOptions& options, const SceneScript& scenes, FrameSource& source,
                FileKind kind, Timings& timings) {
    FrameSink sink(options.out, kind, source, options.color);
    Frame frame(source.roi(), source.format());
    // A picture is one frame unless more are asked for; a stream ends with its file.
    const std::size_t wanted = options.frames != 0 ? options.frames : source.picture() ? 1 : SIZE_MAX;
    const std::size_t shown =
        source.count() != 0 && !source.picture() ? std::min(wanted, source.count()) : wanted;
    Progress progress(shown == SIZE_MAX ? 0 : shown);
    for (std::size_t i = 0; i < wanted && source.read(frame); ++i) {
        timings.add(enhancer.process(frame, scenes.at(i)));
        sink.write(frame);
        progress.show(i + 1);
    }
    sink.finish(frame);
    enhancer.finish();
}

ExitCode run(const RunOptions& options) {
    const bool photo = options.mode == "photo";
    checkTuningPath(options.tuning);
    const int scene = sceneNumber(options.tuning, options.scene, photo);
    const SceneScript scenes =
        options.scenes.empty() ? SceneScript(scene)
                               : SceneScript(numberedScenes(options.tuning, options.scenes, photo), scene);
    checkNotOverwritten(options);
    FrameSource source(options.in, options.frame, options.color);
    const FileKind kind = outputKind(options.out, options.to, source);
    noteWhatChangesPictures(options.tuning, {.size = Size{source.roi().width, source.roi().height},
                                             .mode = photo ? CheckedMode::kPhoto : CheckedMode::kFrame,
                                             .backEnd = options.backEnd});
    std::vector<float> mask;
    if (!options.mask.empty()) {
        mask = readMask(options.mask, source);
        warnIfMaskUnused(options, photo);
    }

    const HostLibrary library(options.library.library, options.library.verbose);
    std::optional<TemporaryTuning> overlay;
    if (!options.backEnd.empty()) {
        overlay.emplace(options.tuning, options.backEnd);
    }
    const std::string directory = overlay ? overlay->path() : options.tuning;
    Enhancer enhancer(library,
                      {photo, directory, source.roi(), source.format(), mask.empty() ? nullptr : &mask});
    if (enhancer.drawsNothing()) {
        note(std::string("the tuning is switched off (") + (photo ? "photoSwitch" : "frameSwitch") +
             "): OGL draws nothing, and the picture is copied");
    }
    Timings timings;
    processAll(enhancer, options, scenes, source, kind, timings);
    report(options, enhancer.backEnd(), source, timings);
    // Where nothing was to be drawn the lines about missing drawing are no news.
    const std::string errors = enhancer.drawsNothing() ? std::string() : HostLibrary::takeErrors();
    if (!errors.empty()) {
        note("written, but the library logged errors:" + errors);
    }
    return options.strict && !errors.empty() ? ExitCode::kRefused : ExitCode::kGood;
}

}  // namespace

void addRun(CLI::App& app, Action& action) {
    auto shared = std::make_shared<RunOptions>();
    RunOptions& options = *shared;
    CLI::App* command = app.add_subcommand("run", "Enhance a picture, raw frames, or a stream of them");
    command->add_option("IN", options.in, "JPEG, PNG, or with --size raw frames; '-' is standard input")
        ->required();
    command->add_option("OUT", options.out, "JPEG, PNG or raw frames by its ending; '-' is standard output")
        ->required();
    command->add_option("-t,--tuning", options.tuning, "Tuning directory")->required();
    command->add_option("-m,--mode", options.mode, "photo (capture) or frame (preview)")
        ->check(CLI::IsMember({"photo", "frame"}))
        ->capture_default_str();
    command->add_option("-s,--scene", options.scene, "Scene, by its look's name or its number")
        ->capture_default_str();
    command->add_option("--scenes", options.scenes,
                        "Scene script FRAME:SCENE,...: from each frame on its scene");
    command
        ->add_option("-b,--backend", options.backEnd,
                     "Back end instead of the tuning's: CPU, NEON, GPU or OGL; the tuning stays as it is")
        ->transform(backEndName());
    command->add_option("--mask", options.mask,
                        "Portrait mask of the frame's size, gray JPEG, PNG or PGM: 255 protects");
    command
        ->add_option("-n,--frames", options.frames,
                     "Frames to process; a picture is repeated (default: 1, or all)")
        ->check(CLI::Range(std::size_t{1}, kMostFrames));
    command->add_flag("--strict", options.strict,
                      "End with 4 when the library logged an error, also for a frame that it took");
    command->add_option("--report", options.report, "Write a JSON file with the milliseconds per frame");
    addKind(command, options.to);
    add(command, options.frame);
    add(command, options.color);
    add(command, options.library);
    command->footer(
        "Examples:\n"
        "  huevance run in.jpg out.jpg --tuning my_tuning\n"
        "  huevance run in.png out.png --tuning my_tuning --scene 1 --backend NEON\n"
        "  huevance run in.nv21 out.nv21 --tuning my_tuning --size 1920x1080 --mode frame --scenes "
        "0:0,120:2\n"
        "  huevance run in.p010 out.p010 --tuning my_tuning --size 4000x3000 --format p010 --bits 10 "
        "--stride 8192\n"
        "  cat in.jpg | huevance run - - --tuning my_tuning > out.jpg\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return run(*shared); }; });
}

}  // namespace tool
