// Previews through CHuevanceFrame_CPU, with the reference and with the vector kernels: fades between scenes
// against the model, the counter's rules, dumps and refusals.
#include <gtest/gtest.h>

#include <algorithm>

#include "cpu/HuevanceFrame_CPU.h"
#include "neon/NeonKernels.h"
#include "tests/support/Rig.h"

namespace {

using model::Tuning;
using rig::Shape;
using test::Content;

using Lines = std::vector<std::string>;
const Shape kSmall{8, 6, {24, 18, 24, 18}};
const Shape kSmall10{10, 10, {24, 18, 48, 18}};

using Kernels = const huevance::HostKernels& (*)();
Kernels g_kernels;

// With the kernels of the test that runs.
class Frames : public CHuevanceFrame_CPU {
public:
    Frames() { useKernels(g_kernels()); }
};

// A stream, and beside it what its counter should be.
class Stream : public rig::Handle<Frames> {
public:
    using Handle::Handle;

    // One frame of the scene, compared with the model's fade. `frames` is transFrameNum.
    void fade(const std::vector<Tuning>& tables, int scene, int frames, const std::string& what) {
        const model::Fade now = m_fade.next(scene, static_cast<int>(tables.size()), frames);
        Tuning tuning = tables[static_cast<std::size_t>(scene)];
        if (now.p != now.q) {
            tuning = model::faded(tables[static_cast<std::size_t>(now.p)], tuning, now.k, frames);
        }
        tuning.correct = tuning.protect = false;  // never in preview
        tuning.maskSource = 0;
        check(tuning, Content::kPhotoLike, what, scene, ++m_seed);
    }

private:
    model::Fade m_fade;
    std::uint32_t m_seed = 0;
};

std::vector<Tuning> makeTables(int count, int stages) {
    std::vector<Tuning> tables;
    for (int i = 0; i < count; ++i) {
        tables.push_back(rig::makeTuning(static_cast<std::uint32_t>(20 + i), stages));
        tables.back().grid = {3, 2, 2};
        tables.back().maskSource = 2;
    }
    return tables;
}

class Preview : public testing::TestWithParam<Kernels> {
protected:
    Preview() { g_kernels = GetParam(); }

    test::TuningDir dir;
    test::LogCapture log;
};

TEST_P(Preview, EveryCombinationOfStagesDuringAFade) {
    for (const Shape& shape : {Shape{8, 6, {37, 29, 48, 32}},
                               {8, 5, {34, 26, 34, 26}},
                               {8, 7, {34, 26, 34, 26}},
                               {10, 10, {37, 29, 80, 30}},
                               {13, 6, {21, 16, 42, 16}},
                               {14, 9, {25, 18, 50, 18}}}) {
        for (int stages = 0; stages < 32; ++stages) {
            const std::vector<Tuning> tables = makeTables(2, stages);
            rig::write(dir, tables, {{"transFrameNum", "5"}});
            Stream stream(dir, shape);
            for (const int scene : {1, 0, 0}) {
                stream.fade(tables, scene, 5, "stages " + std::to_string(stages));
            }
        }
    }
}

TEST_P(Preview, AWholeFadeAndChangesInMidFade) {
    // 60 frames, the overshoot, and the first steady frame; before that the fade's goal changed.
    std::vector<int> whole = {1, 0, 0, 0, 0};
    whole.insert(whole.end(), 62, 2);
    const struct {
        const char* what;
        int frames;
        std::vector<int> scenes;
        int tables = 3;
    } cases[] = {
        {"to a third scene", 60, whole},
        {"and back, keeping the counter", 6, {1, 0, 0, 0, 1, 1, 1, 2, 2, 2, 2, 2, 2}},
        {"one frame", 1, {1, 0, 0, 0, 2, 2, 2}},
        {"none", 0, {0, 2, 1, 1}},
        {"fewer than none", -3, {0, 2, 1, 1}},
        {"a single table, where a stream starts with the previous table 1", 60, {0, 0}, 1},
    };
    for (const Shape& shape : {Shape{8, 5, {24, 18, 24, 18}}, kSmall10}) {
        for (const auto& c : cases) {
            const std::vector<Tuning> tables = makeTables(c.tables, 11);
            rig::write(dir, tables, {{"transFrameNum", std::to_string(c.frames)}});
            Stream stream(dir, shape);
            for (const int scene : c.scenes) {
                stream.fade(tables, scene, c.frames, c.what);
            }
        }
    }
}

TEST_P(Preview, TheFadeOutlivesReleaseAndSetUp) {
    const std::vector<Tuning> tables = makeTables(3, 10);
    rig::write(dir, tables, {{"transFrameNum", "4"}});
    Stream stream(dir, kSmall);
    stream.fade(tables, 0, 4, "k = 0");
    stream.fade(tables, 0, 4, "k = 1");
    stream.pipeline.free();
    ASSERT_EQ(stream.setUp(dir), 0);
    stream.fade(tables, 0, 4, "k = 2");
    // A fade that the new set-up makes shorter than the counter ends with the next frame.
    rig::write(dir, tables, {{"transFrameNum", "2"}});
    ASSERT_EQ(stream.setUp(dir), 0);
    stream.fade(tables, 0, 2, "k = 3 of 2");
    stream.fade(tables, 0, 2, "faded");
    // One that the new set-up takes away is forgotten.
    stream.fade(tables, 1, 2, "k = 0 of 2");
    for (const int frames : {0, 4}) {
        rig::write(dir, tables, {{"transFrameNum", std::to_string(frames)}});
        ASSERT_EQ(stream.setUp(dir), 0);
        stream.fade(tables, 2, frames, "without a fade");
    }
    stream.fade(tables, 0, 4, "k = 0 of 4");
}

TEST_P(Preview, TablesAreLoadedOnceAndMissingStrengthsFollowTheTableBefore) {
    std::vector<Tuning> tables = makeTables(3, 11);
    rig::write(dir, tables, {{"transFrameNum", "0"}});
    dir.write("param1.ini", "[hvc]\r\nsatStrength=0.5\r\n");
    dir.remove("curveLut2");
    dir.writeFloats("colorLut1", {tables[1].lattice.begin(), tables[1].lattice.begin() + 700});
    Stream stream(dir, kSmall);
    tables[1].satStrength = 0.5F;
    tables[1].colorStrength = tables[0].colorStrength;
    tables[1].claheStrength = tables[0].claheStrength;
    std::fill(tables[2].yCurve.begin(), tables[2].yCurve.end(), 0.0F);
    std::fill(tables[1].lattice.begin() + 700, tables[1].lattice.end(), 0.0F);
    rig::write(dir, makeTables(1, 11));  // what the files hold now no longer counts
    for (const int scene : {0, 1, 2}) {
        stream.fade(tables, scene, 0, "scene " + std::to_string(scene));
    }
}

TEST_P(Preview, LinesOfAFrame) {
    std::vector<Tuning> tables = makeTables(2, 31);
    tables[0].colorStrength = tables[0].satStrength = tables[0].claheStrength = 0.0F;
    tables[1].colorStrength = 1.0F;
    tables[1].satStrength = 2.0F;
    tables[1].claheStrength = 4.0F;
    rig::write(dir, tables, {{"transFrameNum", "4"}});
    Stream stream(dir, {8, 5, {24, 18, 24, 18}});
    log.clear();
    stream.fade(tables, 0, 4, "lines");
    EXPECT_EQ(log.texts(test::kInfo),
              (Lines{"yuvType: IMAGE_FORMAT_TYPE_NV21", "scene: 0", "colorStrength: 0.750000",
                     "satStrength: 1.500000", "claheStrength: 3.000000"}));
    EXPECT_EQ(log.lines().size(), 5U);
}

TEST_P(Preview, DumpsFailEveryThirtyFirstFrame) {
    // The counter runs 0 .. 30: frames 0, 31, 62. It is the object's own, and counts with the stages off,
    // too.
    const Lines failed = {"srcFrame save failed!", "dstFrame save failed!"};
    for (const char* on : {"0", "1", "2"}) {
        rig::write(dir, makeTables(1, 10), {{"frame", "1"}, {"frameSwitch", on}});
        Stream stream(dir, {8, 6, {8, 6, 8, 6}});
        for (int i = 0; i < 70; ++i) {
            test::Frame frame = rig::makeFrame(stream.shape, Content::kNoise);
            const auto before = frame.copyBytes();
            log.clear();
            EXPECT_EQ(stream.pipeline.process(frame.data(), IMAGE_FORMAT_TYPE_NV12, 0), 0);
            EXPECT_EQ(log.texts(test::kError), i % 31 == 0 ? failed : Lines()) << i;
            EXPECT_EQ(frame.copyBytes() != before, *on == '1');
        }
    }
}

// In mid-fade: the next good frame goes on as if the refused ones had not been.
TEST_P(Preview, ASceneWithoutATableChangesNothing) {
    const std::vector<Tuning> tables = makeTables(3, 11);
    rig::write(dir, tables, {{"transFrameNum", "6"}, {"sceneIdx", "0/1/2/3/-1/"}});
    Stream stream(dir, kSmall10);
    stream.fade(tables, 0, 6, "k = 0");
    for (const int scene : {-1, 3, 4, 512, -2147483647}) {
        stream.expectUntouched(log, -1, scene);
    }
    stream.fade(tables, 0, 6, "k = 1");
}

INSTANTIATE_TEST_SUITE_P(With, Preview,
                         testing::Values(&huevance::referenceHostKernels, &huevance::neonHostKernels),
                         [](const auto& kernels) { return kernels.index == 0 ? "Reference" : "Vectors"; });

}  // namespace
