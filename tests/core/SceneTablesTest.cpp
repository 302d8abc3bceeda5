#include <gtest/gtest.h>

#include <vector>

#include "core/SceneTables.h"

namespace {

using huevance::SceneFade;

TEST(FusionWeight, FallsToZeroAndOnceBelow) {
    EXPECT_FLOAT_EQ(huevance::fusionWeight(60, 0), 59.0F / 60.0F);
    EXPECT_FLOAT_EQ(huevance::fusionWeight(60, 29), 0.5F);
    EXPECT_EQ(huevance::fusionWeight(60, 59), 0.0F);
    EXPECT_FLOAT_EQ(huevance::fusionWeight(60, 60), -1.0F / 60.0F);
    EXPECT_EQ(huevance::fusionWeight(1, 0), 0.0F);
    EXPECT_EQ(huevance::fusionWeight(1, 1), -1.0F);
    EXPECT_EQ(huevance::fusionWeight(0, 0), 0.0F);
    EXPECT_EQ(huevance::fusionWeight(-4, 2), 0.0F);
}

struct Step {
    int scene;  // table asked for
    int previous;
    int counter;
};

void expectSteps(SceneFade& fade, const std::vector<Step>& steps, int sceneNum, int transFrameNum) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        fade.begin(steps[i].scene, sceneNum, transFrameNum);
        EXPECT_EQ(fade.previous(), steps[i].previous) << "frame " << i;
        EXPECT_EQ(fade.current(), steps[i].scene) << "frame " << i;
        EXPECT_EQ(fade.counter(), steps[i].counter) << "frame " << i;
        fade.end(transFrameNum);
    }
}

TEST(SceneFade, StartsFromTableOneAndCountsOneFrameLonger) {
    SceneFade fade;
    expectSteps(
        fade, {{1, 1, 0}, {1, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 1, 2}, {0, 1, 3}, {0, 0, 0}, {2, 0, 0}}, 3, 3);
}

TEST(SceneFade, AThirdSceneInMidFadeGoesOnWithTheCounter) {
    SceneFade fade;
    expectSteps(fade, {{0, 1, 0}, {0, 1, 1}, {2, 1, 2}, {2, 1, 3}, {2, 2, 0}}, 3, 3);
}

TEST(SceneFade, TheWayBackInMidFadeKeepsTheCounter) {
    SceneFade fade;
    expectSteps(fade, {{0, 1, 0}, {0, 1, 1}, {1, 1, 2}, {1, 1, 2}, {0, 1, 2}, {0, 1, 3}, {0, 0, 0}}, 3, 3);
}

TEST(SceneFade, NoPreviousTableOrNoFramesMeansNoFade) {
    SceneFade single;
    expectSteps(single, {{0, 0, 0}, {0, 0, 0}}, 1, 60);
    for (const int frames : {0, -5}) {
        SceneFade fade;
        expectSteps(fade, {{0, 0, 0}, {2, 2, 0}, {1, 1, 0}}, 3, frames);
    }
    SceneFade fade;  // a shorter fade set up while the counter is beyond its end still ends
    expectSteps(fade, {{0, 1, 0}, {0, 1, 1}, {0, 1, 2}}, 3, 60);
    expectSteps(fade, {{0, 1, 3}, {0, 0, 0}}, 3, 2);
}

}  // namespace
