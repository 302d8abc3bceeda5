// Set-up and refusals that captures and previews share: geometry, grids, depths, sizes beyond memory, scenes,
// reuse.
#include <gtest/gtest.h>
#include <malloc.h>

#include <optional>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#include "tests/cpu/Rig.h"

namespace {

using model::Tuning;
using rig::Shape;
using test::Content;

// Everything is tried with both pipelines.
template <typename Pipeline>
class SetUp : public testing::Test {
protected:
    // A handle for the shape; the one before is released.
    rig::Handle<Pipeline>& setUp(const Shape& shape) {
        m_handle.reset();
        return m_handle.emplace(dir, shape);
    }

    // All of the stages that both pipelines have.
    Tuning tuning = rig::makeTuning(1, 11);
    test::TuningDir dir;
    test::LogCapture log;

private:
    std::optional<rig::Handle<Pipeline>> m_handle;
};
using Pipelines = testing::Types<CHuevancePhoto_CPU, CHuevanceFrame_CPU>;
TYPED_TEST_SUITE(SetUp, Pipelines);

const Shape kSquare{8, 6, {16, 16, 16, 16}};

TYPED_TEST(SetUp, LogsTheDirectoryTheValuesAndTheGeometry) {
    rig::write(this->dir, {this->tuning}, {{"photoSwitch", "0"}, {"frameSwitch", "0"}});
    auto& handle = this->setUp({8, 6, {48, 36, 52, 40}});
    ASSERT_EQ(handle.setUpResult, 0);
    const std::vector<std::string> lines = this->log.texts(test::kInfo);
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines.front(), "pcSensorPath: " + this->dir.path());
    EXPECT_EQ(lines.back(), "roiInfo: 48, 36, 52, 40");
    EXPECT_TRUE(this->log.texts(test::kError).empty());
    // Without the files the process-wide engine keeps its values: switched off, the frame passes.
    this->dir.remove("photoSet.ini");
    this->dir.remove("frameSet.ini");
    this->setUp(kSquare).expectUntouched(this->log, 0);
}

TYPED_TEST(SetUp, AGridThatDoesNotFitLeavesTheLumaAndSaysSoOncePerFrame) {
    const int cases[][5] = {{0, 6, 4, 20, 14},   {8, 0, 4, 20, 14},      {-8, 6, 4, 20, 14},
                            {-8, -6, 4, 20, 14}, {21, 6, 4, 20, 14},     {8, 15, 4, 20, 14},
                            {8, 6, 0, 20, 14},   {8, 6, -2, 20, 14},     {8, 6, 4, 7, 6},
                            {8, 6, 4, 1, 1},     {1000000, 0, 4, 20, 14}};
    for (const auto& [gridWidth, gridHeight, rate, width, height] : cases) {
        for (const int bits : {8, 10}) {
            this->tuning = rig::makeTuning(1, 1);
            this->tuning.grid = {gridWidth, gridHeight, rate};
            rig::write(this->dir, {this->tuning});
            auto& handle = this->setUp({bits, bits == 8 ? 6 : 10, {width, height, 2 * width, height}});
            ASSERT_EQ(handle.setUpResult, 0);
            for (int i = 0; i < 2; ++i) {
                this->log.clear();
                handle.check(Tuning{}, Content::kNoise, "grid");
                EXPECT_EQ(this->log.texts(test::kError),
                          std::vector<std::string>{"CLAHE grid " + std::to_string(gridWidth) + " x " +
                                                   std::to_string(gridHeight) + " with sampRate " +
                                                   std::to_string(rate) + " does not fit the frame!"});
            }
        }
    }
    // The next set-up with a good grid equalises again.
    this->tuning.grid = {3, 2, 1};
    rig::write(this->dir, {this->tuning});
    this->setUp({8, 6, {20, 14, 40, 14}}).check(this->tuning, Content::kPhotoLike, "good grid");
}

TYPED_TEST(SetUp, WhatCannotBeHeldOrAllocatedIsRefusedAndNothingIsKept) {
    const RoiInfo square{16, 16, 32, 16};
    const int big = 2147483647;
    // Bits, width, height, stride, scanline, grid (both ways), and how it is refused: 0 with the frame at
    // last, 1 by the set-up, 2 by the capture's set-up (a preview allocates nothing by the size of 8-bit
    // frames).
    const int cases[][7] = {{8, 16, 16, 15, 16, 8, 0},
                            {8, 16, 16, 16, 15, 8, 0},
                            {10, 16, 16, 31, 16, 8, 0},
                            {10, 16, 16, 33, 16, 8, 0},
                            {8, 0, 16, 16, 16, 8, 0},
                            {8, 16, 0, 16, 16, 8, 0},
                            {8, -16, 16, 16, 16, 8, 0},
                            {8, 16, -1, 16, 16, 8, 0},
                            {8, 16, 16, -16, 16, 8, 0},
                            {8, 0, 0, 0, 0, 8, 0},
                            {9, 16, 16, 32, 16, 8, 1},
                            {17, 16, 16, 34, 16, 8, 1},
                            {0, 16, 16, 32, 16, 8, 1},
                            {-8, 16, 16, 32, 16, 8, 1},
                            {256, 16, 16, 32, 16, 8, 1},
                            {8, big, 16, big, 16, 8, 1},
                            {10, 1000000, 1000000, 2000000, 1000000, 8, 1},
                            {8, 1000000, 1000000, 1000000, 1000000, 8, 2},
                            {8, 16, 16, big - 1, big, 8, 2},
                            {8, 16, 16, 32, 16, 100000, 1},
                            {8, 16, 16, 32, 16, big, 1},
                            {16, 16, 16, 32, 16, 100, 1}};
    for (const auto& [bits, width, height, stride, scanline, grid, refused] : cases) {
        if (refused == 2 && !std::is_same_v<TypeParam, CHuevancePhoto_CPU>) {
            continue;
        }
        SCOPED_TRACE(testing::Message() << bits << " bits, " << width << " " << height << " " << stride << " "
                                        << scanline << ", grid " << grid);
        this->tuning.grid = {grid, grid, 4};
        rig::write(this->dir, {this->tuning});
        this->log.clear();
        auto& handle = this->setUp({bits, 6, {width, height, stride, scanline}});
        if (refused != 0) {
            EXPECT_EQ(handle.setUpResult, -1);
            EXPECT_EQ(this->log.texts(test::kError).size(), 1U);
        }
        // Released, so that a later use is refused instead of finding half of the buffers.
        test::GuardedMemory memory(4096);
        const std::vector<unsigned char> before(memory.data(), memory.data() + memory.size());
        this->log.clear();
        EXPECT_EQ(handle.pipeline.process(memory.data(), IMAGE_FORMAT_TYPE_NV12, 0), -1);
        EXPECT_EQ(this->log.texts(test::kError).size(), 1U);
        EXPECT_TRUE(refused != 0 || this->log.lines().size() == 1U);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), memory.data()));
    }
    this->tuning.grid = {8, 6, 4};
    rig::write(this->dir, {this->tuning});
    auto& handle = this->setUp({10, 10, square});
    test::GuardedMemory memory(4096);
    for (void* frame : {static_cast<void*>(nullptr), static_cast<void*>(memory.data() + 1)}) {
        this->log.clear();
        EXPECT_EQ(handle.pipeline.process(frame, IMAGE_FORMAT_TYPE_YUV16_HIGH, 0), -1);
        EXPECT_EQ(this->log.texts(test::kError).size(), 1U);
    }
    EXPECT_EQ(handle.pipeline.malloc(nullptr, square), -1);
}

TYPED_TEST(SetUp, AFailedSetUpLeavesNothingAllocated) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator does not count here";
#else
    // Large blocks are counted: the 12-megapixel buffers of the attempts before the one that fails.
    rig::write(this->dir, {this->tuning}, {{"gridWidth", "100"}, {"gridHeight", "100"}});
    TypeParam().free();
    const auto before = mallinfo2();
    ASSERT_EQ(this->setUp({16, 9, {4000, 3000, 8000, 3000}}).setUpResult, -1);
    const auto after = mallinfo2();
    EXPECT_LT(after.hblkhd, before.hblkhd + 100000);
    EXPECT_LT(after.uordblks, before.uordblks + 100000);
#endif
}

TYPED_TEST(SetUp, ScenesWithoutATable) {
    const Shape shape{10, 10, {16, 12, 32, 12}};
    for (const char* scenes : {"1/0/2/-1/", "", "7"}) {
        rig::write(this->dir, {this->tuning, rig::makeTuning(2)}, {{"sceneIdx", scenes}});
        auto& handle = this->setUp(shape);
        ASSERT_EQ(handle.setUpResult, 0);
        for (const int scene : {-1, 2, 3, 4, 511, 512, 2147483647, 0}) {
            if (scene == 0 && scenes[0] == '1') {
                continue;  // has its table
            }
            const std::string number = std::to_string(scene);
            handle.expectUntouched(this->log, -1, scene);
            EXPECT_EQ(
                this->log.texts(),
                (std::vector<std::string>{"scene: " + number, "scene " + number + " has no tuning table!"}));
        }
    }
}

TYPED_TEST(SetUp, RepeatedSetUpsOfAllDepthsAndProcessAfterFree) {
    std::uint32_t seed = 0;
    rig::Handle<TypeParam> handle(this->dir, kSquare);
    for (const int bits : {8, 10, 16, 8, 12, 14, 10, 8}) {
        const int size = 8 + static_cast<int>(seed % 3) * 12;
        this->tuning = rig::makeTuning(++seed, 11);
        rig::write(this->dir, {this->tuning});
        handle.shape = {bits, bits == 8 ? 5 : 9, {size, size, 2 * size, size}};
        ASSERT_EQ(handle.setUp(this->dir), 0);
        handle.check(this->tuning, Content::kPhotoLike, "again");
        if (seed % 2 == 0) {
            handle.pipeline.free();
            handle.pipeline.free();
            EXPECT_EQ(handle.expectUntouched(this->log, -1).size(), 1U);
        }
    }
}

TYPED_TEST(SetUp, AnotherDepthWithoutItsOwnSetUpIsRefused) {
    // The tables of any stage are too short for it.
    const bool photo = std::is_same_v<TypeParam, CHuevancePhoto_CPU>;
    for (const int stages : {1, 2, 11}) {
        rig::write(this->dir, {rig::makeTuning(1, stages)});
        auto& handle = this->setUp({10, 9, {24, 18, 48, 18}});
        ASSERT_EQ(handle.setUpResult, 0);
        for (const int bits : {8, 12, 16, 9, 0, 40}) {
            handle.pipeline.setDataBit(bits);
            EXPECT_EQ(handle.expectUntouched(this->log, -1),
                      std::vector<std::string>{photo ? "capture is not set up!" : "preview is not set up!"})
                << bits;
        }
    }
}

}  // namespace
