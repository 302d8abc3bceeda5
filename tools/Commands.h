// The subcommands: what the command line asked for, and the functions that do it. They return an exit code or
// throw a ToolError.
#pragma once

#include <optional>
#include <string>

#include "tools/Geometry.h"
#include "tools/Picture.h"
#include "tools/ToolError.h"

namespace tool {

// Options that several subcommands share, as typed.
struct LibraryOptions {
    std::string library;  // empty: beside this program
    bool verbose = false;
};

struct FrameOptions {
    std::string size;  // set: raw frames of this size
    std::string format = "nv21";
    int bits = 0;
    int stride = 0;
    int scanline = 0;
};

struct ColorOptions {
    std::string matrix = "bt601";
    std::string range = "full";
    int quality = 95;
};

struct RunOptions {
    LibraryOptions library;
    FrameOptions frame;
    ColorOptions color;
    std::string in, out, tuning;
    std::string mode = "photo";
    int scene = 0;
    std::string scenes;
    std::string backEnd;
    std::string mask;
    std::string to;      // kind of the output; empty: from its name
    std::string report;  // file for the timings
    std::size_t frames = 0;
};
ExitCode run(const RunOptions& options);

struct ConvertOptions {
    FrameOptions frame;
    ColorOptions color;
    std::string in, out, to, resize;
    double megapixels = 0.0;  // another way to say resize: keeps the proportions
};
ExitCode convert(const ConvertOptions& options);

struct CompareOptions {
    FrameOptions frame;
    ColorOptions color;
    std::string a, b;
    std::string sideBySide;
    bool json = false;
    int tolerance = 0;
};
ExitCode compare(const CompareOptions& options);

struct TuningOptions {
    std::string directory;
    std::string backEnd = "CPU";
    bool force = false;
};
ExitCode tuningNew(const TuningOptions& options);

struct InfoOptions {
    LibraryOptions library;
    bool json = false;
};
ExitCode info(const InfoOptions& options);

}  // namespace tool
