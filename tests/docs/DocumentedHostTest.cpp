// The hosts of docs/hosts as processes: they enhance their frames, and say when they cannot. They have
// nothing but the library's path, and no log library in their process yet: all that the library needs must be
// found from where it lies.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/TuningDir.h"

namespace {

using std::string;

constexpr int kWidth = 64;
constexpr int kHeight = 32;
constexpr int kLuma = kWidth * kHeight;
const string kLibrary = HUEVANCE_BINARY_DIR "/libHuevance.so ";

// The exit code; -1 when it crashed. What drivers keep is not the host's leak.
int run(const string& host, const string& arguments) {
    const string command = "cd /; ASAN_OPTIONS=detect_leaks=0 " + string(EMULATOR) + " " HOSTS + host + " " +
                           arguments + " >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A tuning that inverts luma and takes all colour away, and files of frames beside it.
class DocumentedHost : public testing::Test {
protected:
    DocumentedHost() {
        m_tuning.writeSets({{"curveSwitch", "1"}});
        m_tuning.writeParam(0, 0, 0, 0);
        std::vector<float> negative(256);
        for (int i = 0; i < 256; ++i) {
            negative[static_cast<std::size_t>(i)] = static_cast<float>(255 - i);
        }
        m_tuning.writeFloats("curveLut0", negative);
        m_tuning.writeFloats("CurveLut", negative);
    }

    string arguments() const {
        return m_tuning.parent() + " " + m_tuning.name() + " " + std::to_string(kWidth) + " " +
               std::to_string(kHeight) + " ";
    }
    string path(const string& file) const { return m_tuning.path() + "/" + file; }

    test::TuningDir m_tuning;
};

TEST_F(DocumentedHost, EnhancesACaptureInPlace) {
    const string before = string(kLuma, '\x10') + string(kLuma / 2, '\x40');
    const string after = string(kLuma, '\xEF') + string(kLuma / 2, '\x80');
    for (const char* platform : {"CPU", "NEON"}) {
        m_tuning.writePlatform(platform);
        const string frame = path("frame");
        m_tuning.write("frame", before);
        ASSERT_EQ(run("capture", kLibrary + arguments() + "8 " + frame), 0);
        EXPECT_EQ(test::readFile(frame), after) << platform;
        m_tuning.write("frame", before);
        ASSERT_EQ(run("capture_c", arguments() + frame), 0);
        EXPECT_EQ(test::readFile(frame), after) << platform << ", in C";

        // 10 bits at the top of 16: level 0 becomes 1023.
        m_tuning.write("frame", string(kLuma * 3, '\0'));
        ASSERT_EQ(run("capture", kLibrary + arguments() + "10 " + frame), 0);
        string white, gray = test::readFile(frame).substr(kLuma * 2);
        for (int i = 0; i < kLuma; ++i) {
            white += "\xC0\xFF";
        }
        EXPECT_EQ(test::readFile(frame).substr(0, kLuma * 2), white) << platform;
        EXPECT_NEAR(static_cast<unsigned char>(gray[1]), 128, 1) << platform;
        EXPECT_EQ(gray.substr(2), gray.substr(0, gray.size() - 2)) << platform;
    }
}

TEST_F(DocumentedHost, SaysWhatIsWrong) {
    m_tuning.writePlatform("CPU");
    m_tuning.write("short", "frame");
    for (const string host : {"capture", "capture_c"}) {
        const string start =
            (host == "capture" ? kLibrary : "") + arguments() + (host == "capture" ? "8 " : "");
        EXPECT_EQ(run(host, start + path("short")), 4);
        EXPECT_EQ(run(host, start + path("missing")), 3);
        EXPECT_EQ(run(host, ""), 2);
    }
    EXPECT_EQ(run("capture", kLibrary + arguments() + "9 " + path("short")), 4) << "no such depth";
    EXPECT_EQ(run("capture", "/nowhere.so " + arguments() + "8 " + path("short")), 3);
}

// Five frames through fewer buffers, so that each is used again.
TEST_F(DocumentedHost, EnhancesPreviews) {
#ifndef HUEVANCE_REQUIRE_DRIVERS
    GTEST_SKIP() << "needs drivers";
#endif
    string before;
    for (const char level : {'\x10', '\x20', '\x30', '\x40', '\x50'}) {
        before += string(kLuma, level) + string(kLuma / 2, '\x40');
    }
    const auto expectInverted = [&](const string& got) {
        ASSERT_EQ(got.size(), before.size());
        for (std::size_t i = 0; i < got.size(); ++i) {
            const bool luma = i % (kLuma * 3 / 2) < kLuma;
            ASSERT_NEAR(static_cast<unsigned char>(got[i]), luma ? 255 - before[i] : 128, 2) << i;
        }
    };
    m_tuning.writePlatform("GPU", m_tuning.path());
    m_tuning.write("stream", before);
    ASSERT_EQ(run("preview", kLibrary + arguments() + path("stream")), 0);
    expectInverted(test::readFile(path("stream")));

    m_tuning.writePlatform("OGL");
    m_tuning.write("stream", before);
    ASSERT_EQ(run("preview_ogl", kLibrary + arguments() + path("stream") + " " + path("drawn")), 0);
    expectInverted(test::readFile(path("drawn")));
}

}  // namespace
