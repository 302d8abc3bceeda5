// Set-up and refusals that captures and previews share: geometry, grids, depths, sizes beyond memory, reuse.
#include <gtest/gtest.h>

#include <optional>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#include "neon/HuevancePhoto_NEON.h"
#include "tests/support/Rig.h"
#include "tests/support/Vectors.h"

namespace {

using model::Tuning;
using rig::Shape;
using test::Content;
using Lines = std::vector<std::string>;

template <typename Pipeline>
class SetUp : public testing::Test {
protected:
    static constexpr bool kPreview = std::is_base_of_v<CHuevanceFrame_CPU, Pipeline>;
    // The set-up never fails there: what it could not do shows in its lines, and captures are refused.
    static constexpr bool kNeon = std::is_same_v<Pipeline, CHuevancePhoto_NEON>;

    // A handle for the shape, with the tuning's files; the one before is released.
    rig::Handle<Pipeline>& setUp(const Shape& shape, std::map<std::string, std::string> more = {}) {
        m_handle.reset();
        rig::write(dir, {tuning}, std::move(more));
        log.clear();
        return m_handle.emplace(dir, shape);
    }

    // All of the stages that all pipelines have.
    Tuning tuning = rig::makeTuning(1, 11);
    test::TuningDir dir;
    test::LogCapture log;

private:
    std::optional<rig::Handle<Pipeline>> m_handle;
};
using Pipelines = testing::Types<CHuevancePhoto_CPU, test::Vectors<CHuevancePhoto_CPU>, CHuevancePhoto_NEON,
                                 CHuevanceFrame_CPU, test::Vectors<CHuevanceFrame_CPU>>;
TYPED_TEST_SUITE(SetUp, Pipelines);

const Shape kSquare{8, 6, {16, 16, 16, 16}};

TYPED_TEST(SetUp, LogsTheDirectoryTheValuesAndTheGeometry) {
    auto& handle = this->setUp({8, 6, {48, 36, 52, 40}}, {{"photoSwitch", "0"}, {"frameSwitch", "0"}});
    ASSERT_EQ(handle.setUpResult, 0);
    const Lines lines = this->log.texts();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines.front(), "pcSensorPath: " + this->dir.path());
    EXPECT_EQ(lines.back(), "roiInfo: 48, 36, 52, 40");
    // Without the files the process-wide engine keeps its values: switched off, the frame passes.
    this->dir.remove("photoSet.ini");
    this->dir.remove("frameSet.ini");
    rig::Handle<TypeParam>(this->dir, kSquare).expectUntouched(this->log, 0, 77);
}

// Every kind of such a grid: tests/faults.
TYPED_TEST(SetUp, AGridThatDoesNotFitHasALineWithItsNumbers) {
    this->tuning = rig::makeTuning(1, 1);
    this->tuning.grid = {21, -6, 4};
    for (const int bits : {8, 10}) {
        auto& handle = this->setUp({bits, bits == 8 ? 6 : 10, {20, 14, 40, 14}});
        ASSERT_EQ(handle.setUpResult, 0);
        this->log.clear();
        handle.check(Tuning{}, Content::kNoise, "grid");
        EXPECT_EQ(this->log.texts(test::kError),
                  Lines{"CLAHE grid 21 x -6 with sampRate 4 does not fit the frame!"});
    }
}

// Geometries that hold no frame: tests/faults.
TYPED_TEST(SetUp, WhatCannotBeHeldOrAllocatedIsRefused) {
    const int big = 2147483647;
    const struct {
        int bits;
        RoiInfo roi;
        int grid;                    // both ways
        const char* line = nullptr;  // the first of the set-up's, where it is one of its own
        bool byTheFrame = false;     // a preview allocates nothing by the size of 8-bit frames
    } cases[] = {
        // clang-format off
        {9, {16, 16, 32, 16}, 8, "dataBit 9 is not supported!"}, {17, {16, 16, 34, 16}, 8}, {0, {16, 16, 32, 16}, 8},
        {-8, {16, 16, 32, 16}, 8}, {256, {16, 16, 32, 16}, 8},
        {8, {big, 16, big, 16}, 8, "frame width 2147483647 is not supported!"},
        {10, {1000000, 1000000, 2000000, 1000000}, 8},
        {8, {1000000, 1000000, 1000000, 1000000}, 8, "portrait mask cannot be allocated!", true},
        {8, {16, 16, big - 1, big}, 8, nullptr, true}, {8, {16, 16, 32, 16}, 100000}, {8, {16, 16, 32, 16}, big},
        {16, {16, 16, 32, 16}, 100, "CLAHE tables cannot be allocated!"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        this->tuning.grid = {c.grid, c.grid, 4};
        auto& refused = this->setUp({c.bits, 6, c.roi});
        const Lines errors = this->log.texts(test::kError);
        const bool goesOn = this->kPreview && c.byTheFrame;
        EXPECT_EQ(refused.setUpResult, this->kNeon || goesOn ? 0 : -1);
        EXPECT_TRUE(this->kNeon ? !errors.empty() : errors.size() == (goesOn ? 0 : 1));
        EXPECT_TRUE(goesOn || c.line == nullptr || errors.front() == c.line);
    }
    this->tuning.grid = {8, 6, 4};
    auto& handle = this->setUp({10, 10, {16, 16, 32, 16}});
    test::GuardedMemory memory(4096);
    for (void* frame : {static_cast<void*>(nullptr), static_cast<void*>(memory.data() + 1)}) {
        this->log.clear();
        EXPECT_EQ(handle.pipeline.process(frame, IMAGE_FORMAT_TYPE_YUV16_HIGH, 0), -1);
        EXPECT_EQ(this->log.texts().size(), 1U);
        if (frame == nullptr && this->kNeon) {
            EXPECT_EQ(this->log.texts()[0], "CHuevancePhoto_NEON: input buffer cannot be NULL!");
        }
    }
    EXPECT_EQ(handle.pipeline.malloc(nullptr, kSquare.roi), this->kNeon ? 0 : -1);
    if (!this->kNeon) {
        handle.shape.format = 6;
        EXPECT_FALSE(handle.expectUntouched(this->log, -1).empty()) << "what was set up before is gone";
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
        handle.check(this->tuning, Content::kPhotoLike, "first");
        handle.check(this->tuning, Content::kNoise, "second");  // sees nothing of the first
        if (seed % 2 == 0) {
            handle.pipeline.free();
            handle.pipeline.free();
            EXPECT_EQ(handle.expectUntouched(this->log, -1).size(), 1U);
        }
    }
}

// The tables of any stage are too short for it.
TYPED_TEST(SetUp, AnotherDepthWithoutItsOwnSetUpIsRefused) {
    for (const int stages : {1, 2, 11}) {
        this->tuning = rig::makeTuning(1, stages);
        auto& handle = this->setUp({10, 6, {24, 18, 48, 18}});
        ASSERT_EQ(handle.setUpResult, 0);
        for (const int bits : {8, 12, 16, 9, 0, 40}) {
            handle.pipeline.setDataBit(bits);
            EXPECT_EQ(handle.expectUntouched(this->log, -1),
                      Lines{this->kPreview ? "preview is not set up!" : "capture is not set up!"})
                << bits;
        }
    }
}

}  // namespace
