// What the NEON captures have of their own: dumps; and whom the door hands the vector kernels. Pictures,
// masks, refusals, log lines and set-up are tested with the other back end's in tests/cpu.
#include <gtest/gtest.h>
#include <sim/log.h>

#include "jni/HostKernels.h"
#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "neon/HuevancePhoto_NEON.h"
#include "neon/NeonKernels.h"
#include "tests/faults/Calls.h"
#include "tests/support/Files.h"
#include "tests/support/Rig.h"

namespace {

using test::Content;
using Photo = rig::Handle<CHuevancePhoto_NEON>;

class Neon : public testing::Test {
protected:
    test::TuningDir dir;
    test::LogCapture log;
};

TEST_F(Neon, DumpsInputAndOutput) {
    rig::write(dir, {rig::makeTuning(1, 2)}, {{"photo", "1"}});
    // More rows than the frame's, behind whose last one nothing can be read.
    Photo photo(dir, {8, 5, {20, 10, 24, 40}});
    test::Frame frame = rig::makeFrame(photo.shape, Content::kNoise);
    faults::setDumpFolder(dir.path());
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
            EXPECT_EQ(test::readFile(dir.path() + kind + "photo_20x10_0_" + counter + ".yuv"), expected);
        }
    }
    EXPECT_EQ(log.texts(test::kError), std::vector<std::string>());
}

// Opening is what costs: a file of settings is looked through once for each key, here 13 and three strengths,
// and the two tables' files are read once.
TEST_F(Neon, OpensEachFileOnceForWhatItIsAsked) {
    rig::write(dir, {rig::makeTuning(1, 15)});
    Photo photo(dir, {8, 6, {32, 32, 32, 32}});
    test::Frame frame = rig::makeFrame(photo.shape, Content::kPhotoLike);
    faults::takeOpens();
    EXPECT_EQ(photo.setUp(dir), 0);
    EXPECT_EQ(faults::takeOpens(), 13);
    EXPECT_EQ(photo.pipeline.process(frame.data(), photo.shape.type(), 0), 0);
    EXPECT_EQ(faults::takeOpens(), 3 + 2);
}

// Which kernels a handle has shows where it takes memory: the vector kernels need none for a frame.
TEST(Door, HandsTheCpuBackEndTheVectorKernels) {
    const bool vectors = huevance::hasVectorInstructions();
    EXPECT_EQ(&dispatch::hostKernels(),
              vectors ? &huevance::neonHostKernels() : &huevance::referenceHostKernels());
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);  // takes none either
    test::TuningDir dir;
    rig::write(dir, {rig::makeTuning(1, 1)});
    const rig::Shape shape = {8, 6, {16, 16, 16, 16}};
    test::Frame picture = rig::makeFrame(shape, Content::kNoise);
    void *photo = nullptr, *frame = nullptr;
    ASSERT_EQ(HuevancePhotoMalloc_CPU(dir.mutablePath(), shape.roi, 8, &photo), 0);
    ASSERT_EQ(HuevanceFrameMalloc_CPU(dir.mutablePath(), shape.roi, 8, &frame), 0);
    for (const bool capture : {true, false}) {
        faults::arm(faults::Kind::kAllocation, 0);
        {
            const faults::Inside inside;
            EXPECT_EQ(capture ? HuevancePhotoProcess_CPU(photo, picture.data(), shape.type(), 0)
                              : HuevanceFrameProcess_CPU(frame, picture.data(), shape.type(), 0),
                      0);
        }
        EXPECT_EQ(faults::disarm(faults::Kind::kAllocation) == 0, vectors);
    }
    EXPECT_EQ(HuevancePhotoFree_CPU(photo) + HuevanceFrameFree_CPU(frame), 0);
}

}  // namespace
