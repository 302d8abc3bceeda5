#include <algorithm>
#include <memory>

#include "tools/Files.h"
#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/picture/Picture.h"
#include "tools/tuning/Bake.h"
#include "tools/tuning/LutFile.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace {

struct LutOptions {
    std::string directory, scene, file;
    std::string gamut = "keep";
    std::string matrix = "bt601";
    double amount = 1.0;
    int size = 33;
    int level = 8;
};

enum class LutKind { kCube, kHald };

LutKind kindOf(const std::string& file) {
    std::string ending = file.substr(std::min(file.rfind('.'), file.size()));
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending != ".cube" && ending != ".png") {
        throw usageError(file + ": LUTs are written as .cube or, in a HALD picture, as .png");
    }
    return ending == ".png" ? LutKind::kHald : LutKind::kCube;
}

ExitCode lutHald(const LutOptions& options) {
    writeFile(options.file, haldOf(options.level, [](const Rgb& color) { return color; }));
    return ExitCode::kGood;
}

ExitCode lutImport(const LutOptions& options) {
    TuningDirectory tuning(options.directory);
    const int table = tuning.tableOf(options.scene);
    RgbLut lut = readLutFile(options.file);
    lut.amount = options.amount;
    lut.outside = options.gamut == "keep" ? OutsideGamut::kKeep : OutsideGamut::kClamp;
    lut.weights = options.matrix == "bt601" ? LumaWeights::kBt601 : LumaWeights::kBt709;
    Look look = lookOf(tuning, table);
    // The same file again is its newer state, not a second one behind the first.
    const auto before =
        std::find_if(look.adjustments.begin(), look.adjustments.end(), [&](const Adjustment& a) {
            const auto* other = std::get_if<RgbLut>(&a);
            return other != nullptr && other->source == lut.source;
        });
    if (before != look.adjustments.end()) {
        *before = std::move(lut);
    } else {
        look.adjustments.emplace_back(std::move(lut));
    }
    tuning.setLook(table, look);
    noteChanges(options.directory, tuning.save());
    return ExitCode::kGood;
}

// What the curve stage and the table do to a colour, without the rounding between them.
Rgb lookedUp(const BakedTable& baked, const Lattice& lattice, const Rgb& color) {
    Yuv in = toYuv(color);
    const auto low = std::min(static_cast<std::size_t>(std::max(in.y, 0.0)), baked.curve.size() - 2);
    const double part = in.y - static_cast<double>(low);
    const auto chroma = [&](double level) {
        return std::clamp(static_cast<double>(baked.satStrength) * (level - 128.0) + 128.0, 0.0, 255.0);
    };
    in = {(1.0 - part) * static_cast<double>(baked.curve[low]) +
              part * static_cast<double>(baked.curve[low + 1]),
          chroma(in.u), chroma(in.v)};
    const Yuv out = lattice.at(in);
    const double strength = static_cast<double>(baked.colorStrength);
    const auto mix = [strength](double from, double to) { return from + strength * (to - from); };
    return clamped(toRgb(Yuv{mix(in.y, out.y), mix(in.u, out.u), mix(in.v, out.v)}));
}

ExitCode lutExport(const LutOptions& options) {
    const LutKind kind = kindOf(options.file);
    TuningDirectory tuning(options.directory);
    const Look look = lookOf(tuning, tuning.tableOf(options.scene));
    // As the directory has it, or for OGL with the same look's colours between levels.
    const bool shaped = tuning.reader() == TableReader::kShaped;
    const BakedTable baked = bake(look, shaped ? TableReader::kShaped : TableReader::kLevels);
    const Lattice lattice(baked.color);
    const auto map = [&](const Rgb& color) { return lookedUp(baked, lattice, color); };
    writeFile(options.file,
              kind == LutKind::kHald ? haldOf(options.level, map) : cubeOf(options.size, map, look.name));
    return ExitCode::kGood;
}

class Subcommands {
public:
    Subcommands(CLI::App* lut, Action& action) : m_lut(lut), m_action(action) {}

    CLI::App* add(const char* name, const char* what, ExitCode (*run)(const LutOptions&)) {
        CLI::App* command = m_lut->add_subcommand(name, what);
        command->callback(
            [shared = options, &action = m_action, run] { action = [shared, run] { return run(*shared); }; });
        return command;
    }

    CLI::App* addForScene(const char* name, const char* what, ExitCode (*run)(const LutOptions&)) {
        CLI::App* command = add(name, what, run);
        command->add_option("DIR", options->directory, "Tuning directory")->required();
        command->add_option("-s,--scene", options->scene, "Name of the look, or host scene number")
            ->required();
        return command;
    }

    std::shared_ptr<LutOptions> options = std::make_shared<LutOptions>();

private:
    CLI::App* m_lut;
    Action& m_action;
};

void addLevel(CLI::App* command, LutOptions& options) {
    command
        ->add_option("--level", options.level, "Level L of a HALD: L^3 x L^3 pixels hold L^2 points an axis")
        ->check(CLI::Range(kMinHaldLevel, kMaxHaldLevel))
        ->capture_default_str();
}

void addImport(Subcommands& subcommands) {
    LutOptions& options = *subcommands.options;
    CLI::App* command = subcommands.addForScene("import", "Add a LUT to a look", lutImport);
    command
        ->add_option("FILE", options.file,
                     ".cube, .3dl, .clf, .csp, .spi1d, .spi3d, ..., or a HALD picture (.png)")
        ->required();
    command->add_option("--amount", options.amount, "0 input, 1 LUT")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
    command
        ->add_option(
            "--gamut", options.gamut,
            "What becomes of lattice points outside RGB: mapped at RGB's edge with the rest of their "
            "chroma kept, or clamped")
        ->check(CLI::IsMember({"keep", "clamp"}))
        ->capture_default_str();
    command->add_option("--matrix", options.matrix, "Of the frames: bt601 or bt709")
        ->check(CLI::IsMember({"bt601", "bt709"}))
        ->capture_default_str();
    command->footer(
        "A table without a look is adopted. The same file again replaces its older state.\n\nExample:\n"
        "  huevance lut hald identity.png      (grade it in any editor, as sRGB, save it as graded.png)\n"
        "  huevance lut import my_tuning --scene food graded.png --amount 0.8\n\n" +
        std::string(kExitCodes));
}

}  // namespace

void addLut(CLI::App& app, Action& action) {
    CLI::App* lut = app.add_subcommand("lut", "Colour LUTs from and for other programs");
    lut->require_subcommand(1);
    Subcommands subcommands(lut, action);
    LutOptions& options = *subcommands.options;
    CLI::App* hald = subcommands.add("hald", "Write an identity picture to grade in any editor", lutHald);
    hald->add_option("OUT", options.file, "PNG of 16 bits a sample")->required();
    addLevel(hald, options);
    hald->footer(
        "Edit its colours alone: no scaling, cropping, sharpening or noise reduction; save it as PNG.\n\n" +
        std::string(kExitCodes));
    addImport(subcommands);
    CLI::App* out = subcommands.addForScene(
        "export", "Write a look's colours, tone curve and saturation included", lutExport);
    out->add_option("FILE", options.file, ".cube, or a HALD picture as .png")->required();
    out->add_option("--size", options.size, "Points an axis of a .cube")
        ->check(CLI::Range(2, 129))
        ->capture_default_str();
    addLevel(out, options);
    out->footer(
        "Local contrast, colour correction and skin protection depend on the picture and are not in it.\n\n" +
        std::string(kExitCodes));
}

}  // namespace tool
