// `huevance`: the library from the command line, used as a camera host uses it.
#include <CLI/CLI.hpp>
#include <csignal>
#include <functional>
#include <iostream>

#include "tools/Commands.h"
#include "tools/Stdio.h"
#include "tools/TemporaryTuning.h"

namespace {

using namespace tool;

constexpr const char* kExitCodes =
    "Exit codes: 0 good, 1 a check found differences, 2 usage, 3 a file cannot be read or written,\n"
    "4 the library refused (its code is printed), 5 the back end is not available.\n";

const CLI::Validator& backEndName() {
    static const CLI::Validator validator(
        [](const std::string& name) {
            return isBackEndName(name) ? std::string() : "'" + name + "' cannot be a back end's name";
        },
        "NAME");
    return validator;
}

void add(CLI::App* command, LibraryOptions& options) {
    command->add_option("--library", options.library,
                        "libHuevance.so to load (default: beside this program)");
    command->add_flag("-v,--verbose", options.verbose,
                      "Show the library's log and its standard output, on standard error");
}

void add(CLI::App* command, FrameOptions& options) {
    command->add_option("--size", options.size, "WxH: the files hold raw frames of this size");
    command
        ->add_option("--format", options.format,
                     "Frame format: nv21, nv12, nv12-16 (16-bit samples, low-aligned), p010 "
                     "(high-aligned)")
        ->capture_default_str();
    command->add_option("--bits", options.bits, "Significant bits of 16-bit samples: 10 to 16 (default 10)");
    command->add_option("--stride", options.stride, "Bytes per row of a frame (default: without padding)")
        ->check(CLI::PositiveNumber);
    command->add_option("--scanline", options.scanline, "Rows allocated for luma (default: without padding)")
        ->check(CLI::PositiveNumber);
}

void add(CLI::App* command, ColorOptions& options) {
    command->add_option("--matrix", options.matrix, "Between YUV and the RGB of PNG files: bt601 or bt709")
        ->check(CLI::IsMember({"bt601", "bt709"}))
        ->capture_default_str();
    command->add_option("--range", options.range, "Range of YUV levels beside PNG files: full or limited")
        ->check(CLI::IsMember({"full", "limited"}))
        ->capture_default_str();
    command->add_option("--quality", options.quality, "JPEG quality")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
}

void addKind(CLI::App* command, std::string& to) {
    command->add_option("--to", to, "Kind of OUT: jpeg, png or raw (default: from its name; for '-' as IN)")
        ->check(CLI::IsMember({"jpeg", "png", "raw"}));
}

void addRun(CLI::App& app, RunOptions& options) {
    CLI::App* command = app.add_subcommand("run", "Enhance a picture, raw frames, or a stream of them");
    command->add_option("IN", options.in, "JPEG, PNG, or with --size raw frames; '-' is standard input")
        ->required();
    command->add_option("OUT", options.out, "JPEG, PNG or raw frames by its ending; '-' is standard output")
        ->required();
    command->add_option("-t,--tuning", options.tuning, "Tuning directory")->required();
    command->add_option("-m,--mode", options.mode, "photo (capture) or frame (preview)")
        ->check(CLI::IsMember({"photo", "frame"}))
        ->capture_default_str();
    command->add_option("-s,--scene", options.scene, "Scene number")->capture_default_str();
    command->add_option("--scenes", options.scenes,
                        "Scene script FRAME:SCENE,...: from each frame on its scene");
    command
        ->add_option("-b,--backend", options.backEnd,
                     "Back end instead of the tuning's: CPU, NEON, GPU or OGL; the tuning stays as it is")
        ->check(backEndName());
    command->add_option("--mask", options.mask,
                        "Portrait mask of the frame's size, gray JPEG, PNG or PGM: 255 protects");
    command
        ->add_option("-n,--frames", options.frames,
                     "Frames to process; a picture is repeated (default: 1, or all)")
        ->check(CLI::PositiveNumber);
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
}

void addConvert(CLI::App& app, ConvertOptions& options) {
    CLI::App* command = app.add_subcommand(
        "convert", "Change a picture or raw frames into another kind, without the library");
    command->add_option("IN", options.in, "As for run")->required();
    command->add_option("OUT", options.out, "As for run")->required();
    CLI::Option* resize = command->add_option("--resize", options.resize, "WxH: scale the picture");
    command
        ->add_option("--megapixels", options.megapixels, "Scale the picture to that many, in its proportions")
        ->check(CLI::Range(0.0001, 200.0))
        ->excludes(resize);
    addKind(command, options.to);
    add(command, options.frame);
    add(command, options.color);
    command->footer(
        "Examples:\n"
        "  huevance convert in.jpg camera_size.jpg --megapixels 12\n"
        "  huevance convert in.jpg out.nv12 --format nv12 --stride 4096\n"
        "  huevance convert in.nv21 first.png --size 1920x1080\n\n" +
        std::string(kExitCodes));
}

void addCompare(CLI::App& app, CompareOptions& options) {
    CLI::App* command =
        app.add_subcommand("compare", "Measure the differences of two pictures or streams, plane by plane");
    command->add_option("A", options.a, "JPEG, PNG, or with --size raw frames")->required();
    command->add_option("B", options.b, "The other one")->required();
    command->add_option("--side-by-side", options.sideBySide,
                        "Write both in one picture (PNG, or JPEG by its ending)");
    command->add_option("--tolerance", options.tolerance, "Largest difference that still counts as equal")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->add_flag("--json", options.json, "Report as JSON, with the whole histograms");
    add(command, options.frame);
    add(command, options.color);
    command->footer(
        "Examples:\n"
        "  huevance compare in.jpg out.jpg --side-by-side before_after.png\n"
        "  huevance compare a.nv21 b.nv21 --size 1920x1080 --json\n\n" +
        std::string(kExitCodes));
}

void addTuning(CLI::App& app, TuningOptions& options) {
    CLI::App* tuning = app.add_subcommand("tuning", "Tuning directories");
    tuning->require_subcommand(1);
    CLI::App* command =
        tuning->add_subcommand("new", "Write a complete starter tuning: neutral, vivid, night, portrait");
    command->add_option("DIR", options.directory, "Directory, new or empty")->required();
    command->add_option("-b,--backend", options.backEnd, "Back end of both modes")
        ->check(backEndName())
        ->capture_default_str();
    command->add_flag("--force", options.force, "Also into a directory that is not empty");
    command->footer("Example:\n  huevance tuning new my_tuning\n\n" + std::string(kExitCodes));
}

void addInfo(CLI::App& app, InfoOptions& options) {
    CLI::App* command = app.add_subcommand("info", "Version, back ends that can run here, drivers found");
    command->add_flag("--json", options.json, "Report as JSON");
    add(command, options.library);
    command->footer("Examples:\n  huevance info\n  huevance info --json\n\n" + std::string(kExitCodes));
}

ExitCode dispatch(int argc, char** argv) {
    CLI::App app("huevance: better camera pictures from the command line", "huevance");
    app.require_subcommand(1);
    app.set_version_flag("--version", HUEVANCE_TOOL_VERSION);
    app.footer(
        "Examples:\n"
        "  huevance tuning new my_tuning\n"
        "  huevance run in.jpg out.jpg --tuning my_tuning\n"
        "  huevance compare in.jpg out.jpg --side-by-side before_after.png\n"
        "'huevance run --help' has more.\n\n" +
        std::string(kExitCodes));
    RunOptions runOptions;
    ConvertOptions convertOptions;
    CompareOptions compareOptions;
    TuningOptions tuningOptions;
    InfoOptions infoOptions;
    addRun(app, runOptions);
    addConvert(app, convertOptions);
    addCompare(app, compareOptions);
    addTuning(app, tuningOptions);
    addInfo(app, infoOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitCode::kGood : ExitCode::kUsage;
    }
    if (app.got_subcommand("run")) {
        return run(runOptions);
    }
    if (app.got_subcommand("convert")) {
        return convert(convertOptions);
    }
    if (app.got_subcommand("compare")) {
        return compare(compareOptions);
    }
    return app.got_subcommand("tuning") ? tuningNew(tuningOptions) : info(infoOptions);
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that goes away is a write error like any other.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(dispatch(argc, argv));
    } catch (const ToolError& error) {
        note(error.what());
        return static_cast<int>(error.code());
    } catch (const std::bad_alloc&) {
        note("out of memory");
    } catch (const std::exception& error) {
        note(error.what());
    }
    return static_cast<int>(ExitCode::kFile);
}
