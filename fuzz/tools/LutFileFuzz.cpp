// `huevance lut import` over any file: the first byte chooses the ending, the rest is the file. It is read as
// a LUT whose every colour is within RGB, or refused with a reason.
#include <iterator>

#include "fuzz/Input.h"
#include "tests/support/TuningDir.h"
#include "tools/ToolError.h"
#include "tools/tuning/LutFile.h"

namespace {

using fuzz::require;

// In the order of the corpus files' first bytes, 'a' and up.
constexpr const char* kEndings[] = {"cube",   "3dl",  "clf", "ctf", "csp", "spi1d", "spi3d",
                                    "spimtx", "look", "vf",  "lut", "cub", "cdl",   "cc",
                                    "ccc",    "itx",  "mga", "hdl", "png", "icc"};

bool within(double value) { return value >= 0.0 && value <= 1.0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    static const test::TuningDir directory;
    const std::string name =
        std::string("input.") + kEndings[static_cast<std::size_t>(data[0] + 256 - 'a') % std::size(kEndings)];
    directory.write(name, std::string(data + 1, data + size));
    try {
        const tool::RgbLut lut = tool::readLutFile(directory.path() + "/" + name);
        require(lut.size >= 2 && lut.size <= 65, "a size that looks do not have");
        require(lut.points.size() == static_cast<std::size_t>(lut.size * lut.size * lut.size),
                "not all points");
        for (const tool::Rgb& point : lut.points) {
            require(within(point.r) && within(point.g) && within(point.b), "a colour outside of RGB");
        }
    } catch (const tool::ToolError& error) {
        require(error.code() == tool::ExitCode::kFile && std::string(error.what()).size() > 10, "no reason");
    }
    directory.remove(name);
    return 0;
}
