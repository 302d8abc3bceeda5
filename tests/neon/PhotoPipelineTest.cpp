// What the NEON captures have of their own: log lines, dumps, and the one pass over strips, which gives what
// the stage operations give. Pictures, masks, refusals and set-up are tested with the other back end's in
// tests/cpu.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "neon/HuevancePhoto_NEON.h"
#include "tests/support/Rig.h"

namespace {
// Where files of the device's dump folder go; empty: there is no such folder.
std::string g_dumpFolder;
constexpr char kDeviceFolder[] = "/data/hvcSave/";
}  // namespace

// The linker sends the library's calls through here, so that the device's folder needs not exist on this machine.
extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, mode_t mode) {
    if (std::strncmp(path, kDeviceFolder, sizeof(kDeviceFolder) - 1) != 0) {
        return __real_open(path, flags, mode);
    }
    if (g_dumpFolder.empty()) {
        return -1;
    }
    return __real_open((g_dumpFolder + "/" + (path + sizeof(kDeviceFolder) - 1)).c_str(), flags, mode);
}

namespace {

using test::Content;
using Lines = std::vector<std::string>;
using Photo = rig::Handle<CHuevancePhoto_NEON>;

class Neon : public testing::Test {
protected:
    void TearDown() override { g_dumpFolder.clear(); }

    test::TuningDir dir;
    test::LogCapture log;
};

TEST_F(Neon, LinesInOrder) {
    const struct {
        int bits, format;
        const char *name, *on, *save;
    } cases[] = {{8, 6, "NV12", "1", "1"},
                 {8, 5, "NV21", "1", "0"},
                 {10, 7, nullptr, "1", "0"},
                 {8, 5, "NV21", "2", "1"}};
    for (const auto& c : cases) {
        model::Tuning tuning = rig::makeTuning(1, 31);
        tuning.maskSource = 2;
        rig::write(dir, {tuning}, {{"photo", c.save}, {"photoSwitch", c.on}});
        Photo photo(dir, {c.bits, c.format, {20, 10, 40, 10}});
        test::Frame frame = rig::makeFrame(photo.shape, Content::kNoise);
        const auto before = frame.copyBytes();
        log.clear();
        EXPECT_EQ(photo.pipeline.process(frame.data(), photo.shape.type(), 0), 0);
        Lines expected = {"scene: 0", test::format("m_iPhotoSwitch=%s m_iMaskSource=2\n", c.on),
                          "m_iPProtectSwitch=1 m_iClaheSwitch=1\n",
                          "m_iCurveSwitch=1 m_iCCorrSwitch=1 m_iColorSwitch=1\n"};
        if (c.name != nullptr) {
            expected.insert(expected.begin(), std::string("yuvType: IMAGE_FORMAT_TYPE_") + c.name);
        }
        for (std::string& line : expected) {
            line.insert(0, "CHuevancePhoto_NEON: ");
        }
        if (*c.save == '1') {
            expected.insert(expected.end() - 3, "srcPhoto save failed!");
        }
        if (*c.on == '1') {
            expected.push_back("CHuevance_CPU::readHvcParam finished!");
        }
        if (*c.save == '1') {
            expected.push_back("dstPhoto save failed!");
        }
        EXPECT_EQ(log.tagged(test::kVersionTag), expected);
        EXPECT_EQ(log.texts(test::kError).size(), *c.save == '1' ? 2U : 0U);
        EXPECT_EQ(frame.copyBytes() != before, *c.on == '1');
    }
}

TEST_F(Neon, DumpsInputAndOutput) {
    rig::write(dir, {rig::makeTuning(1, 2)}, {{"photo", "1"}});
    // More rows than the frame's, behind whose last one nothing can be read.
    Photo photo(dir, {8, 5, {20, 10, 24, 40}});
    test::Frame frame = rig::makeFrame(photo.shape, Content::kNoise);
    g_dumpFolder = dir.path();
    // stride x scanline x 3 / 2 bytes
    const auto text = [&] {
        std::string bytes(reinterpret_cast<const char*>(frame.data8()), frame.bytes());
        bytes.resize(24 * 60);
        return bytes;
    };
    for (const char* counter : {"0", "1"}) {
        const std::string input = text();
        EXPECT_EQ(photo.pipeline.process(frame.data(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
        EXPECT_NE(input, text());
        for (const auto& [kind, expected] : {std::pair{"/src", input}, {"/dst", text()}}) {
            std::ifstream in(dir.path() + kind + "photo_20x10_0_" + counter + ".yuv", std::ios::binary);
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), expected);
        }
    }
    EXPECT_EQ(log.texts(test::kError), Lines());
}

}  // namespace
