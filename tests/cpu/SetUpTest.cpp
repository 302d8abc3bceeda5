// Set-up and refusals that captures and previews share: geometry, grids, depths, sizes beyond memory, scenes,
// reuse.
#include <gtest/gtest.h>
#include <malloc.h>

#include <memory>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#include "tests/cpu/Rig.h"
#include "tests/support/StdoutCapture.h"

namespace {

using model::Tuning;
using rig::Shape;
using test::Content;

// Everything is tried with both pipelines.
template <typename Pipeline>
class SetUp : public testing::Test {
  protected:
    int setUp(const RoiInfo& roi, int bits) {
        std::string path = dir.path();
        pipeline.setDataBit(bits);
        return pipeline.malloc(path.data(), roi);
    }
    void TearDown() override { pipeline.free(); }

    // All of the stages that both pipelines have.
    Tuning tuning = [] {
        Tuning t = rig::makeTuning(1);
        rig::setStages(t, 11);
        return t;
    }();
    test::TuningDir dir;
    test::LogCapture log;
    Pipeline pipeline;
};
using Pipelines = testing::Types<CHuevancePhoto_CPU, CHuevanceFrame_CPU>;
TYPED_TEST_SUITE(SetUp, Pipelines);

TYPED_TEST(SetUp, LogsTheDirectoryTheValuesAndTheGeometry) {
    rig::write(this->dir, {this->tuning});
    ASSERT_EQ(this->setUp({48, 36, 52, 40}, 8), 0);
    const std::vector<std::string> lines = this->log.texts(test::kInfo);
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines.front(), "pcSensorPath: " + this->dir.path());
    EXPECT_EQ(lines.back(), "roiInfo: 48, 36, 52, 40");
    EXPECT_TRUE(this->log.texts(test::kError).empty());
}

TYPED_TEST(SetUp, AnEmptyDirectoryPassesTheFrame) {
    // The process-wide engine may hold an earlier set-up's values: only the switches are wanted off.
    rig::write(this->dir, {this->tuning}, {{"photoSwitch", "0"}, {"frameSwitch", "0"}});
    const Shape shape{8, 6, {16, 16, 16, 16}};
    ASSERT_EQ(this->setUp(shape.roi, 8), 0);
    this->dir.remove("photoSet.ini");
    this->dir.remove("frameSet.ini");
    ASSERT_EQ(this->setUp(shape.roi, 8), 0);
    test::Frame frame = rig::makeFrame(shape, Content::kNoise);
    const auto before = frame.copyBytes();
    EXPECT_EQ(this->pipeline.process(frame.data(), shape.type(), 0), 0);
    EXPECT_EQ(frame.copyBytes(), before);
}

TYPED_TEST(SetUp, AGridThatDoesNotFitLeavesTheLumaAndSaysSoOncePerFrame) {
    struct Case {
        model::Grid grid;
        RoiInfo roi;
    };
    const RoiInfo roi{20, 14, 40, 14};
    const Case cases[] = {{{0, 6, 4}, roi},       {{8, 0, 4}, roi},         {{-8, 6, 4}, roi},
                          {{-8, -6, 4}, roi},     {{21, 6, 4}, roi},        {{8, 15, 4}, roi},
                          {{8, 6, 0}, roi},       {{8, 6, -2}, roi},        {{8, 6, 4}, {7, 6, 14, 6}},
                          {{1000000, 0, 4}, roi}, {{8, 6, 4}, {1, 1, 2, 1}}};
    this->tuning.curve = this->tuning.color = false;
    for (const Case& c : cases) {
        for (const int bits : {8, 10}) {
            this->tuning.grid = c.grid;
            rig::write(this->dir, {this->tuning});
            ASSERT_EQ(this->setUp(c.roi, bits), 0);
            const Shape shape{bits, bits == 8 ? 6 : 10, c.roi};
            test::Frame frame = rig::makeFrame(shape, Content::kNoise);
            const model::Picture expected =
                model::enhanced(model::fromFrame(frame), Tuning{}, shape.format, bits);
            for (int i = 0; i < 2; ++i) {
                this->log.clear();
                EXPECT_EQ(this->pipeline.process(frame.data(), shape.type(), 0), 0);
                EXPECT_EQ(this->log.texts(test::kError),
                          std::vector<std::string>{"CLAHE grid " + std::to_string(c.grid.width) + " x " +
                                                   std::to_string(c.grid.height) + " with sampRate " +
                                                   std::to_string(c.grid.rate) + " does not fit the frame!"});
            }
            rig::expectSame(frame, expected, "grid");
        }
    }
    // The next set-up with a good grid equalises again.
    this->tuning.grid = {3, 2, 1};
    rig::write(this->dir, {this->tuning});
    ASSERT_EQ(this->setUp(roi, 8), 0);
    test::Frame frame = rig::makeFrame({8, 6, roi}, Content::kPhotoLike);
    const model::Picture expected = model::enhanced(model::fromFrame(frame), this->tuning, 6, 8);
    EXPECT_EQ(this->pipeline.process(frame.data(), IMAGE_FORMAT_TYPE_NV12, 0), 0);
    rig::expectSame(frame, expected, "good grid");
}

TYPED_TEST(SetUp, FramesThatTheGeometryCannotHoldAreRefused) {
    rig::write(this->dir, {this->tuning});
    struct Case {
        int bits;
        RoiInfo roi;
    };
    const Case cases[] = {{8, {16, 16, 15, 16}},  {8, {16, 16, 16, 15}}, {10, {16, 16, 31, 16}},
                          {10, {16, 16, 33, 16}}, {8, {0, 16, 16, 16}},  {8, {16, 0, 16, 16}},
                          {8, {-16, 16, 16, 16}}, {8, {16, -1, 16, 16}}, {8, {16, 16, -16, 16}},
                          {8, {0, 0, 0, 0}}};
    for (const Case& c : cases) {
        this->setUp(c.roi, c.bits);
        test::GuardedMemory memory(4096);
        const std::vector<unsigned char> before(memory.data(), memory.data() + memory.size());
        this->log.clear();
        EXPECT_EQ(this->pipeline.process(memory.data(), IMAGE_FORMAT_TYPE_NV12, 0), -1);
        EXPECT_EQ(this->log.texts().size(), 1U);
        EXPECT_EQ(this->log.texts(test::kError).size(), 1U);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), memory.data()));
    }
    ASSERT_EQ(this->setUp({16, 16, 32, 16}, 10), 0);
    test::GuardedMemory memory(4096);
    for (void* frame : {static_cast<void*>(nullptr), static_cast<void*>(memory.data() + 1)}) {
        this->log.clear();
        EXPECT_EQ(this->pipeline.process(frame, IMAGE_FORMAT_TYPE_YUV16_HIGH, 0), -1);
        EXPECT_EQ(this->log.texts(test::kError).size(), 1U);
    }
}

TYPED_TEST(SetUp, WhatCannotBeAllocatedIsRefusedAndNothingIsKept) {
    struct Case {
        const char* what;
        RoiInfo roi;
        int bits;
        std::map<std::string, std::string> values;
        bool photoOnly = false;  // a preview allocates nothing by the size of 8-bit frames
    };
    const Case cases[] = {
        {"width beyond addressing", {2147483647, 16, 2147483647, 16}, 8, {}},
        {"a frame of terabytes", {1000000, 1000000, 2000000, 1000000}, 10, {}},
        {"the same at 8 bits", {1000000, 1000000, 1000000, 1000000}, 8, {}, true},
        {"stride and scanline alone", {16, 16, 2147483646, 2147483647}, 8, {}, true},
        {"a grid of millions of tiles",
         {16, 16, 32, 16},
         8,
         {{"gridWidth", "100000"}, {"gridHeight", "100000"}}},
        {"a grid whose product overflows",
         {16, 16, 32, 16},
         8,
         {{"gridWidth", "2147483647"}, {"gridHeight", "2147483647"}}},
        {"a grid too large for 16 bits", {16, 16, 32, 16}, 16, {{"gridWidth", "100"}, {"gridHeight", "100"}}},
        {"depth 9", {16, 16, 32, 16}, 9, {}},
        {"depth 17", {16, 16, 34, 16}, 17, {}},
        {"depth 0", {16, 16, 32, 16}, 0, {}},
        {"depth -8", {16, 16, 32, 16}, -8, {}},
        {"depth 256", {16, 16, 32, 16}, 256, {}},
    };
    const bool photo = std::is_same_v<TypeParam, CHuevancePhoto_CPU>;
    for (const Case& c : cases) {
        if (c.photoOnly && !photo) {
            continue;
        }
        rig::write(this->dir, {this->tuning}, c.values);
        this->log.clear();
        EXPECT_EQ(this->setUp(c.roi, c.bits), -1) << c.what;
        EXPECT_EQ(this->log.texts(test::kError).size(), 1U) << c.what;
        // Released, so that a later use is refused instead of finding half of the buffers.
        test::GuardedMemory memory(4096);
        this->log.clear();
        EXPECT_EQ(this->pipeline.process(memory.data(), IMAGE_FORMAT_TYPE_NV12, 0), -1) << c.what;
        EXPECT_EQ(this->log.texts(test::kError).size(), 1U) << c.what;
        EXPECT_EQ(this->pipeline.free(), 0) << c.what;
    }
    EXPECT_EQ(this->pipeline.malloc(nullptr, {16, 16, 16, 16}), -1);
}

TYPED_TEST(SetUp, AFailedSetUpLeavesNothingAllocated) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator does not count here";
#else
    // Large blocks are counted: the 12-megapixel buffers of the attempts before the one that fails.
    rig::write(this->dir, {this->tuning}, {{"gridWidth", "100"}, {"gridHeight", "100"}});
    this->pipeline.free();
    const auto before = mallinfo2();
    ASSERT_EQ(this->setUp({4000, 3000, 8000, 3000}, 16), -1);
    const auto after = mallinfo2();
    EXPECT_LT(after.hblkhd, before.hblkhd + 100000);
    EXPECT_LT(after.uordblks, before.uordblks + 100000);
#endif
}

TYPED_TEST(SetUp, ScenesWithoutATable) {
    rig::write(this->dir, {this->tuning, rig::makeTuning(2)}, {{"sceneIdx", "1/0/2/-1/"}});
    const Shape shape{10, 10, {16, 12, 32, 12}};
    ASSERT_EQ(this->setUp(shape.roi, 10), 0);
    for (const int scene : {-1, 2, 3, 4, 511, 512, 2147483647}) {
        test::Frame frame = rig::makeFrame(shape, Content::kNoise);
        const auto before = frame.copyBytes();
        this->log.clear();
        EXPECT_EQ(this->pipeline.process(frame.data(), shape.type(), scene), -1);
        EXPECT_EQ(this->log.texts(),
                  (std::vector<std::string>{"scene: " + std::to_string(scene),
                                            "scene " + std::to_string(scene) + " has no tuning table!"}));
        EXPECT_EQ(frame.copyBytes(), before);
    }
    for (const char* scenes : {"", "7"}) {  // no element at all
        rig::write(this->dir, {this->tuning}, {{"sceneIdx", scenes}});
        ASSERT_EQ(this->setUp(shape.roi, 10), 0);
        test::Frame frame = rig::makeFrame(shape, Content::kNoise);
        EXPECT_EQ(this->pipeline.process(frame.data(), shape.type(), 0), -1) << scenes;
    }
}

TYPED_TEST(SetUp, RepeatedSetUpsOfAllDepthsAndProcessAfterFree) {
    std::uint32_t seed = 0;
    for (const int bits : {8, 10, 16, 8, 12, 14, 10, 8}) {
        const int size = 8 + static_cast<int>(seed % 3) * 12;
        const Shape shape{bits, bits == 8 ? 5 : 9, {size, size, 2 * size, size}};
        Tuning t = rig::makeTuning(++seed);
        rig::setStages(t, 11);
        rig::write(this->dir, {t});
        ASSERT_EQ(this->setUp(shape.roi, bits), 0);
        test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
        const model::Picture expected = model::enhanced(model::fromFrame(frame), t, shape.format, bits);
        EXPECT_EQ(this->pipeline.process(frame.data(), shape.type(), 0), 0);
        rig::expectSame(frame, expected, rig::toString(shape));
        if (seed % 2 == 0) {
            const auto before = frame.copyBytes();
            this->pipeline.free();
            this->pipeline.free();
            this->log.clear();
            EXPECT_EQ(this->pipeline.process(frame.data(), shape.type(), 0), -1);
            EXPECT_EQ(this->log.texts(test::kError).size(), 1U);
            EXPECT_EQ(frame.copyBytes(), before);
        }
    }
}

TEST(PhotoSetUp, AnotherDepthWithoutItsOwnSetUpIsRefused) {
    test::TuningDir dir;
    test::LogCapture log;
    Tuning tuning = rig::makeTuning(1);
    rig::setStages(tuning, 11);
    rig::write(dir, {tuning});
    std::string path = dir.path();
    CHuevancePhoto_CPU photo;
    photo.setDataBit(10);
    ASSERT_EQ(photo.malloc(path.data(), {24, 18, 48, 18}), 0);
    test::Frame frame = rig::makeFrame({16, 9, {24, 18, 256, 18}}, Content::kNoise);
    const auto before = frame.copyBytes();
    for (const int bits : {8, 12, 16, 9, 0, 40}) {
        photo.setDataBit(bits);
        log.clear();
        EXPECT_EQ(photo.process(frame.data(), IMAGE_FORMAT_TYPE_YUV16_LOW, 0), -1) << bits;
        EXPECT_EQ(log.texts(test::kError), std::vector<std::string>{"capture is not set up!"}) << bits;
    }
    EXPECT_EQ(frame.copyBytes(), before);
    photo.free();
}

}  // namespace
