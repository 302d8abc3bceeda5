// Derived geometry, and the order of the stages.
#include <gtest/gtest.h>

#include <vector>

#include "core/Geometry.h"
#include "core/Stages.h"

namespace {

std::vector<int> numbers(const RoiInfo& roi) {
    return {roi.width, roi.height, roi.stride, roi.scanline};
}

TEST(Geometry, WorkingCopyAndSkinMaskHaveStridesOf128) {
    struct Case {
        int width;
        int copyStride;
        int maskStride;  // bytes of 4-byte cells
    };
    for (const Case& c : {Case{1, 128, 128},
                          {32, 128, 128},
                          {33, 128, 256},
                          {127, 128, 512},
                          {128, 128, 512},
                          {129, 256, 640},
                          {4000, 4096, 16000}}) {
        const RoiInfo frame{c.width, 30, 9000, 77};
        EXPECT_EQ(numbers(huevance::workingCopyRoi(frame)),
                  (std::vector<int>{c.width, 30, c.copyStride, 30}));
        EXPECT_EQ(numbers(huevance::skinMaskRoi(frame)), (std::vector<int>{c.width, 30, c.maskStride, 30}));
    }
}

TEST(Geometry, TilesTruncateAndSamplesRoundUp) {
    struct Case {
        int gridWidth, gridHeight, rate;
        std::vector<int> expected;  // tileWidth, tileHeight, sampCols, sampRows
    };
    for (const Case& c :
         {Case{8, 6, 4, {12, 11, 3, 3}}, Case{7, 9, 4, {14, 7, 4, 2}}, Case{101, 71, 1, {0, 0, 0, 0}},
          Case{0, 6, 4, {0, 11, 0, 3}}, Case{8, -1, 4, {12, 0, 3, 0}}, Case{8, 6, 0, {12, 11, 0, 0}}}) {
        const huevance::TileGeometry tile =
            huevance::tileGeometry({100, 70, 100, 70}, c.gridWidth, c.gridHeight, c.rate);
        EXPECT_EQ((std::vector<int>{tile.tileWidth, tile.tileHeight, tile.sampCols, tile.sampRows}),
                  c.expected);
    }
}

TEST(Stages, OrderOfEveryCombination) {
    using huevance::Stage;
    const Stage order[] = {Stage::kClahe, Stage::kCurve, Stage::kColorCorrect, Stage::kColorMap,
                           Stage::kPortraitProtect};
    for (int mask = 0; mask < 32; ++mask) {
        const auto on = [mask](int stage) { return (mask >> stage & 1) != 0; };
        const huevance::StageSwitches switches{on(0), on(1), on(2), on(3), on(4)};
        std::vector<Stage> capture;
        std::vector<Stage> preview;
        for (int stage = 0; stage < 5; ++stage) {
            if (on(stage)) {
                capture.push_back(order[stage]);
                if (stage != 2 && stage != 4) {  // capture alone
                    preview.push_back(order[stage]);
                }
            }
        }
        const huevance::StagePlan captured = huevance::planCapture(switches);
        const huevance::StagePlan previewed = huevance::planPreview(switches);
        EXPECT_EQ(std::vector<Stage>(captured.begin(), captured.end()), capture) << mask;
        EXPECT_EQ(std::vector<Stage>(previewed.begin(), previewed.end()), preview) << mask;
        EXPECT_EQ(huevance::needsBackup(switches), on(2) || on(4)) << mask;
    }
}

}  // namespace
