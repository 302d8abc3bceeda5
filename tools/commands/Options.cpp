#include "tools/commands/Options.h"

#include <algorithm>
#include <cctype>

#include "tools/host/PlatformSet.h"

namespace tool {

const char* const kExitCodes =
    "Exit codes: 0 good, 1 a check found differences, 2 usage, 3 a file cannot be read or written,\n"
    "4 the library refused (its code is printed), 5 the back end is not available.\n";

const CLI::Validator& backEndName() {
    // Names that the library knows are taken in any case; others pass as they are, for libraries that know
    // more.
    static const CLI::Validator validator(
        [](std::string& name) {
            std::string upper = name;
            std::transform(upper.begin(), upper.end(), upper.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            for (const char* known : {"CPU", "NEON", "GPU", "OGL"}) {
                if (upper == known) {
                    name = upper;
                }
            }
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
    command->add_option(
        "--format", options.format,
        "Frame format: nv21 (default), nv12, nv12-16 (16-bit samples, low-aligned), p010 (high-aligned)");
    command->add_option("--bits", options.bits, "Significant bits of 16-bit samples: 10 to 16 (default 10)");
    const auto layout = [command](const std::string& side, int& stride, int& scanline,
                                  const std::string& of) {
        command
            ->add_option("--" + side + "stride", stride,
                         "Bytes per row of " + of + " (default: without padding)")
            ->check(CLI::PositiveNumber);
        command->add_option("--" + side + "scanline", scanline, "Rows allocated for luma of " + of)
            ->check(CLI::PositiveNumber);
    };
    layout("", options.stride, options.scanline, "a frame");
    layout("in-", options.inStride, options.inScanline, "IN alone");
    layout("out-", options.outStride, options.outScanline, "OUT alone");
}

void add(CLI::App* command, ColorOptions& options) {
    command->add_option("--matrix", options.matrix, "Between YUV and the RGB of PNG files: bt601 or bt709")
        ->check(CLI::IsMember({"bt601", "bt709"}))
        ->capture_default_str();
    const auto range = [command](const char* name, std::string& value, const char* text) {
        command->add_option(name, value, text)->check(CLI::IsMember({"full", "limited"}));
    };
    range("--in-range", options.inRange,
          "Levels of IN's frames: full (0 to 255; default) or limited (16 to 235, as video; what Y4M says "
          "wins)");
    range("--out-range", options.outRange,
          "Levels of OUT's frames (default: full, or as the Y4M that was read)");
    range("--range", options.range, "Both at once");
    command->add_option("--quality", options.quality, "JPEG quality")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
}

void addKind(CLI::App* command, std::string& to) {
    command
        ->add_option("--to", to, "Kind of OUT: jpeg, png, y4m or raw (default: from its name; for '-' as IN)")
        ->check(CLI::IsMember({"jpeg", "png", "y4m", "raw"}));
}

}  // namespace tool
