#include <filesystem>
#include <memory>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/picture/Png.h"
#include "tools/stages/Enhancer.h"
#include "tools/stages/StagePage.h"
#include "tools/tuning/FileChanges.h"
#include "tools/tuning/TuningDirectory.h"
#include "tools/tuning/check/Check.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct StagesOptions {
    LibraryOptions library;
    std::string in, out, tuning;
    std::string mode = "photo";
    std::string scene = "0";
    std::string backEnd;
    std::string mask;
    std::size_t frames = 1;
};

constexpr float kGain = 8.0F;

// "2_curve": numbers stay with their stages, so that names mean the same for every tuning.
std::string fileOf(Stage stage) { return std::to_string(static_cast<int>(stage) + 1) + "_" + nameOf(stage); }

// Of an earlier run, whose tuning had other stages on.
void removeOld(FileChanges& changes) {
    changes.remove("mask.png");
    changes.remove("clahe_curves.svg");
    for (const Stage stage : kStages) {
        changes.remove(fileOf(stage) + ".png");
        changes.remove(fileOf(stage) + "_difference.png");
    }
}

class StageFiles {
public:
    StageFiles(const StageRun& run, const StagedTuning& tuning, FileChanges& changes)
        : m_run(run), m_tuning(tuning), m_changes(changes) {
        removeOld(changes);
    }

    void addPicture(const std::string& file, const std::string& title, const Picture& picture) {
        ShownStage shown{file, title, uprightRgb(picture, ColorMatrix::kBt601), {}};
        m_changes.write(file + ".png", encodePicture(picture, FileKind::kPng, ColorMatrix::kBt601, 100));
        if (!m_shown.stages.empty()) {
            shown.difference = difference(m_shown.stages.back().picture, shown.picture, kGain);
            m_changes.write(file + "_difference.png", encodePng(*shown.difference));
        }
        m_shown.stages.push_back(std::move(shown));
    }

    void addCurves() {
        const std::vector<TileCurve> curves = tileCurves(m_run, m_tuning);
        if (curves.empty()) {
            note("no tile curves: the picture cannot be divided into the grid");
            return;
        }
        m_shown.curves =
            tileCurvesSvg(curves, *m_run.source.picture(), m_tuning.mode.gridWidth, m_tuning.mode.gridHeight);
        m_changes.write("clahe_curves.svg", m_shown.curves);
    }

    void addMask() {
        const GrayPicture mask = maskOf(m_run, m_tuning);
        RgbPicture rgb{mask.size, {}};
        for (const std::uint8_t level : mask.levels) {
            rgb.levels.insert(rgb.levels.end(), 3, level);
        }
        turnUpright(rgb.levels, rgb.size.width, rgb.size.height,
                    m_run.source.picture()->metadata.orientation());
        GrayPicture upright{rgb.size, {}};
        for (std::size_t i = 0; i < rgb.levels.size(); i += 3) {
            upright.levels.push_back(rgb.levels[i]);
        }
        m_changes.write("mask.png", encodePng(upright));
        m_shown.mask = std::move(rgb);
    }

    StagesShown& shown() { return m_shown; }

private:
    const StageRun& m_run;
    const StagedTuning& m_tuning;
    FileChanges& m_changes;
    StagesShown m_shown;
};

void noteFade(const StagesOptions& options, const ModeSettings& mode) {
    if (!mode.photo && mode.sceneNum > 1 &&
        options.frames <= static_cast<std::size_t>(std::max(mode.transFrameNum, 0))) {
        note("a preview begins with a fade of " + std::to_string(mode.transFrameNum) +
             " frames: this is frame " + std::to_string(options.frames) + " of it; --frames " +
             std::to_string(mode.transFrameNum + 2) + " shows the scene itself");
    }
}

ExitCode stages(const StagesOptions& options) {
    const bool photo = options.mode == "photo";
    checkTuningPath(options.tuning);
    const int scene = sceneNumber(options.tuning, options.scene, photo);
    FrameSource source(options.in, {}, {});
    if (!source.picture()) {
        throw usageError("stages are shown of a picture, JPEG or PNG: " + options.in + " is none");
    }
    noteWhatChangesPictures(options.tuning, {.size = Size{source.roi().width, source.roi().height},
                                             .mode = photo ? CheckedMode::kPhoto : CheckedMode::kFrame,
                                             .backEnd = options.backEnd});
    const StagedTuning tuning(options.tuning, photo, options.backEnd);
    noteFade(options, tuning.mode);
    std::vector<float> mask;
    if (!options.mask.empty()) {
        mask = readMask(options.mask, source);
    }
    const HostLibrary library(options.library.library, options.library.verbose);
    const StageRun run{library,
                       source,
                       options.tuning,
                       options.backEnd,
                       scene,
                       options.frames,
                       mask.empty() ? nullptr : &mask};

    std::error_code failed;
    fs::create_directories(options.out, failed);
    if (!fs::is_directory(options.out)) {
        throw fileError("cannot make the directory " + options.out + ": " + failed.message());
    }
    FileChanges changes(options.out);
    StageFiles files(run, tuning, changes);
    files.addPicture("0_input", "Input", *source.picture());
    const std::vector<Stage> on = stagesOf(tuning.mode);
    Progress progress(on.size());
    for (std::size_t i = 0; i < on.size(); ++i) {
        files.addPicture(fileOf(on[i]), titleOf(on[i]), pictureAfter(run, tuning, on[i]));
        progress.show(i + 1);
    }
    const std::string errors = HostLibrary::takeErrors();
    // These set the library up otherwise, so they come last.
    if (!on.empty() && on.front() == Stage::kClahe) {
        files.addCurves();
    }
    if (hasMask(tuning.mode) && (tuning.mode.maskSource == 2 || !mask.empty())) {
        files.addMask();
    }
    StagesShown& shown = files.shown();
    shown.input = options.in;
    shown.tuning = options.tuning;
    shown.about = options.mode + " on " + tuning.mode.backEnd + ", scene " + options.scene;
    changes.write("stages.html", stagesPage(shown));
    changes.commit();
    if (!errors.empty()) {
        note("written, but the library logged errors:" + errors);
    }
    return ExitCode::kGood;
}

}  // namespace

void addStages(CLI::App& app, Action& action) {
    auto shared = std::make_shared<StagesOptions>();
    StagesOptions& options = *shared;
    CLI::App* command = app.add_subcommand(
        "stages", "Show a picture after each stage: pictures, differences, mask, tile curves, and a page");
    command->add_option("IN", options.in, "JPEG or PNG; '-' is standard input")->required();
    command->add_option("-t,--tuning", options.tuning, "Tuning directory")->required();
    command->add_option("-o,--output", options.out, "Directory for the files, made when it is not there")
        ->required();
    command->add_option("-m,--mode", options.mode, "photo (capture) or frame (preview)")
        ->check(CLI::IsMember({"photo", "frame"}))
        ->capture_default_str();
    command->add_option("-s,--scene", options.scene, "Scene, by its look's name or its number")
        ->capture_default_str();
    command
        ->add_option("-b,--backend", options.backEnd,
                     "Back end instead of the tuning's: CPU, NEON, GPU or OGL; the tuning stays as it is")
        ->transform(backEndName());
    command->add_option("--mask", options.mask,
                        "Portrait mask of the frame's size, gray JPEG, PNG or PGM: 255 protects");
    command->add_option("-n,--frames", options.frames, "Frames of a preview; the last one is shown")
        ->check(CLI::Range(std::size_t{1}, std::size_t{100'000}))
        ->capture_default_str();
    add(command, options.library);
    command->footer(
        "Examples:\n"
        "  huevance stages in.jpg --tuning my_tuning --scene food --output shown\n\n"
        "Writes 0_input.png, 1_clahe.png, 2_curve.png, 3_correction.png, 4_table.png and 5_protection.png as "
        "far\n"
        "as they are on, N_..._difference.png (times eight around grey), mask.png (255 keeps the input),\n"
        "clahe_curves.svg and stages.html. The last picture is what run writes.\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return stages(*shared); }; });
}

}  // namespace tool
