#include "tools/commands/Options.h"

#include "tools/host/PlatformSet.h"

namespace tool {

const char* const kExitCodes =
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

}  // namespace tool
