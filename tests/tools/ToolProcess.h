// The host program as a process, and small independent readers and writers of its files.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/TuningDir.h"

namespace test {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::string>;

inline Words join(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

struct ToolResult {
    int exitCode;  // 128 + number for a signal
    std::string out, err;
};

// A command line that is refused: how it ends, and a part of what it says.
struct Refusal {
    Words words;
    int exitCode;
    std::string message = "";
};

// A directory for one test's files, and the program run with another one as its TMPDIR.
class ToolBench {
public:
    std::string path(const std::string& name) const { return m_files.path() + "/" + name; }
    // Returns the path.
    std::string write(const std::string& name, const Bytes& contents) const;
    std::string writeText(const std::string& name, const std::string& text) const;
    Bytes read(const std::string& name) const;
    std::string text(const std::string& name) const { return m_files.read(name); }
    std::vector<float> floats(const std::string& name) const;
    // Writes `to` where `from`, which must be there, stands first.
    void replace(const std::string& name, const std::string& from, const std::string& to) const;

    ToolResult run(const Words& arguments, const Bytes& input = {}) const;
    // What it says on standard output, with --json.
    nlohmann::json json(const Words& arguments) const;
    // Each says why on standard error and nothing else, writes no file and leaves nothing in TMPDIR.
    void expectRefused(const std::vector<Refusal>& refusals) const;
    // Starts the program with a standard input that never ends, and ends it with a signal once it is at work.
    ToolResult runAndKill(const Words& arguments, int signal) const;
    // What was left in TMPDIR.
    Words leftovers() const;

private:
    ToolResult shell(const std::string& before, const Words& arguments, const std::string& input) const;

    TuningDir m_files, m_temporary, m_streams;
};

// A tuning with every stage off but a curve: table t maps every level to levels[t]. `values` as in writeSets.
void writeConstantCurves(const TuningDir& tuning, const std::vector<int>& levels,
                         std::map<std::string, std::string> values = {});

// Decoded by the JPEG library's all-in-one call: Y, U and V without padding, at the file's own subsampling;
// a plane is as large as whole chroma samples make it.
struct JpegPicture {
    struct Plane {
        int width, height;
        Bytes samples;
        int at(int x, int y) const { return samples[static_cast<std::size_t>(y * width + x)]; }
    };
    int width = 0, height = 0;
    std::vector<Plane> planes;
};
JpegPicture decodeJpeg(const Bytes& jpeg);

struct RgbPicture {
    int width = 0, height = 0;
    Bytes rgb;
};
// The subsamplings of the JPEG library.
enum { k444 = 0, k422 = 1, k420 = 2, kGray = 3, k440 = 4, k411 = 5 };
Bytes encodeJpeg(const RgbPicture& picture, int subsampling);
RgbPicture decodePng(const Bytes& png);
Bytes encodePng(const RgbPicture& picture);
// level(x, y, channel), cut to a whole number.
RgbPicture painted(int width, int height, const std::function<double(int, int, int)>& level);
RgbPicture solid(int width, int height, int red, int green, int blue);
// Deterministic noise.
Bytes noise(std::size_t size, std::uint32_t seed);

}  // namespace test
