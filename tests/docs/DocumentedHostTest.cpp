// The host program that docs/integrating.md prints: it enhances a frame, and says when it cannot. It has
// nothing but the library's path, and no log library in its process yet: all that the library needs must be
// found from where it lies.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/TuningDir.h"

namespace {

int run(const std::string& arguments) {
    const std::string command =
        "cd /; " + std::string(EMULATOR) + " " DOCUMENTED_HOST " " + arguments + " >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(DocumentedHost, EnhancesAFrameInPlace) {
    const test::TuningDir tuning;
    tuning.writePlatform("CPU");
    tuning.writeSets({{"curveSwitch", "1"}});
    tuning.writeParam(0, 0, 0, 0);  // no saturation: every chroma sample becomes 128
    std::vector<float> negative(256);
    for (int i = 0; i < 256; ++i) {
        negative[static_cast<std::size_t>(i)] = static_cast<float>(255 - i);
    }
    tuning.writeFloats("curveLut0", negative);
    tuning.write("frame.nv21", std::string(8 * 4, '\x10') + std::string(8 * 2, '\x40'));

    const std::string frame = tuning.path() + "/frame.nv21";
    const std::string host = HUEVANCE_BINARY_DIR "/libHuevance.so " + tuning.parent() + " " + tuning.name();
    ASSERT_EQ(run(host + " 8 4 " + frame), 0);

    std::ifstream file(frame, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(bytes, std::string(8 * 4, '\xEF') + std::string(8 * 2, '\x80'));

    EXPECT_EQ(run(host + " 80 40 " + frame), 4) << "a frame that the file does not hold";
    EXPECT_EQ(run(host + " 8 4 " + frame + ".missing"), 3);
    EXPECT_EQ(run(host), 2);
}

}  // namespace
