// `huevance tuning new`: what a starter says of pictures, and where it goes. That nothing is missing or wrong
// in its files says the check, which has tests of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

constexpr const char* kLooks[] = {"vivid",     "neutral", "night",     "portrait",
                                  "landscape", "food",    "backlight", "document"};
constexpr std::size_t kPlane = 16 * 16 * 16;

struct TuningNewTest : testing::Test {
    ToolBench bench;

    void SetUp() override { ASSERT_EQ(bench.run({"tuning", "new", bench.path("t")}).exitCode, 0); }
};

TEST_F(TuningNewTest, IsCleanForEveryBackEnd) {
    for (const std::string photo : {"CPU", "NEON", "OGL"}) {
        for (const std::string frame : {"CPU", "GPU", "OGL"}) {
            const std::string fresh = bench.path(photo + frame);
            bench.run({"tuning", "new", fresh, "--photo", photo, "--frame", frame});
            const ToolResult result = bench.run({"tuning", "check", fresh, "--strict"});
            EXPECT_EQ(result.exitCode, 0) << photo << frame << result.out;
        }
    }
}

// Strengths leave greys alone, curves keep black and white, tables keep greys near grey and in their order.
TEST_F(TuningNewTest, TablesKeepGreys) {
    for (const std::string table : {"0", "1", "2", "3", "4", "5", "6", "7"}) {
        SCOPED_TRACE(table);
        EXPECT_THAT(bench.text("t/param" + table + ".ini"), testing::HasSubstr("satStrength=1\r\n"));
        const std::vector<float> curve = bench.floats("t/curveLut" + table),
                                 lut = bench.floats("t/colorLut" + table);
        EXPECT_LE(curve.front(), 8.0F);
        EXPECT_GE(curve.back(), 245.0F);
        for (std::size_t y = 0; y < 16; ++y) {
            for (std::size_t plane = 0; plane < 3; ++plane) {
                float mean = 0;  // of the points around 128
                for (const std::size_t corner : {0U, 1U, 2U, 3U}) {
                    mean += lut[plane * kPlane + (7 + corner / 2) * 256 + (7 + corner % 2) * 16 + y] / 4;
                }
                EXPECT_NEAR(mean, plane == 0 ? static_cast<float>(17 * y) : 127.5F, plane == 0 ? 6.0F : 8.0F);
            }
        }
    }
}

TEST_F(TuningNewTest, EverySceneMakesAnotherPicture) {
    const std::string photo = std::string(HUEVANCE_SOURCE_DIR) + "/samples/portrait.jpg",
                      out = bench.path("o.nv12");
    for (const char* mode : {"photo", "frame"}) {
        std::vector<Bytes> pictures;
        for (const char* scene : kLooks) {
            ASSERT_EQ(bench.run({"run", photo, out, "-t", bench.path("t"), "-m", mode, "-s", scene}).exitCode,
                      0);
            pictures.push_back(bench.read("o.nv12"));
            EXPECT_EQ(std::count(pictures.begin(), pictures.end(), pictures.back()), 1) << mode << scene;
        }
    }
}

TEST_F(TuningNewTest, ExistingDirectories) {
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("t")}).exitCode, 3);
    const Bytes before = bench.read("t/photoSet.ini");
    bench.write("t/photoSet.ini", {'x'});
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("t"), "--force", "--photo", "neon"}).exitCode, 0);
    EXPECT_EQ(bench.read("t/photoSet.ini"), before);
    EXPECT_THAT(bench.text("t/platformSet.ini"), testing::HasSubstr("\r\nphoto=NEON\r\n"));
    EXPECT_EQ(bench.run({"tuning", "new", bench.path("u/v/w")}).exitCode, 0);
}

TEST_F(TuningNewTest, ListsItsLooks) {
    const std::string list = bench.run({"tuning", "new", "--looks", "list"}).out;
    for (const std::string name : kLooks) {
        EXPECT_THAT(list, testing::HasSubstr(name + " "));
    }
}

}  // namespace
}  // namespace test
