// The host program as a process, and small independent readers and writers of its files.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/TuningDir.h"

namespace test {

using Bytes = std::vector<std::uint8_t>;

struct ToolResult {
    int exitCode;  // 128 + number for a signal
    std::string out;
    std::string err;
};

// A directory for one test's files, and the program run with it as its TMPDIR.
class ToolBench {
  public:
    ToolBench();
    ~ToolBench();
    ToolBench(const ToolBench&) = delete;
    ToolBench& operator=(const ToolBench&) = delete;

    // "<directory>/name"
    std::string path(const std::string& name) const { return m_files.path() + "/" + name; }
    std::string write(const std::string& name, const Bytes& contents) const;
    Bytes read(const std::string& name) const;

    ToolResult run(const std::vector<std::string>& arguments, const Bytes& input = {}) const;
    // Starts the program with a standard input that never ends, and ends it with a signal once it is at work.
    ToolResult runAndKill(const std::vector<std::string>& arguments, int signal) const;
    // Whether anything was left in TMPDIR.
    std::vector<std::string> leftovers() const;

  private:
    pid_t start(const std::vector<std::string>& arguments, const std::string& input) const;
    ToolResult wait(pid_t child) const;

    TuningDir m_files;
    TuningDir m_temporary;
};

// A tuning with every stage off but a curve: table t maps every level to levels[t]. `values` as in writeSets.
void writeConstantCurves(const TuningDir& tuning, const std::vector<int>& levels,
                         std::map<std::string, std::string> values = {});

// Decoded by the JPEG library's all-in-one call: Y, U and V, rows without padding, at the file's own
// subsampling.
struct JpegPlanes {
    int width = 0;
    int height = 0;
    int subsampling = 0;
    Bytes planes;
};
JpegPlanes decodeJpeg(const Bytes& jpeg);
// From RGB (3 bytes a sample), at one of the library's subsamplings.
Bytes encodeJpeg(const Bytes& rgb, int width, int height, int subsampling);

struct RgbPicture {
    int width = 0;
    int height = 0;
    Bytes rgb;
};
RgbPicture decodePng(const Bytes& png);
Bytes encodePng(const RgbPicture& picture);
// One level, or RGB, everywhere.
RgbPicture solid(int width, int height, int red, int green, int blue);
// Deterministic noise.
Bytes noise(std::size_t size, std::uint32_t seed);

}  // namespace test
