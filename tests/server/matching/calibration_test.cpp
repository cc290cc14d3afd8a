#include "matching/calibration.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

Evidence evidence(double distance, double rivalDistance, size_t letters = 350) {
    return {.distance = distance, .rivalDistance = rivalDistance, .letters = letters, .firstByWeight = true};
}

} // namespace

TEST(Chance, FallsWithTheDistanceAndRisesWithTheLeadAndTheLength) {
    double last = 1.1;
    for (double distance = 0.0; distance <= 1.0; distance += 0.05) {
        const double chance = chanceOf(evidence(distance, distance + 0.1));
        EXPECT_LT(chance, last);
        EXPECT_GT(chance, 0.0);
        last = chance;
    }
    EXPECT_GT(chanceOf(evidence(0.55, 0.70)), chanceOf(evidence(0.55, 0.60)));
    EXPECT_GT(chanceOf(evidence(0.55, 0.60, 400)), chanceOf(evidence(0.55, 0.60, 100)));
    EXPECT_EQ(chanceOf(evidence(0.55, 0.50)), chanceOf(evidence(0.55, 0.55))); // no lead below none
}

TEST(Chance, IsNeverAboveTheLineForWhatOtherMusicReaches) {
    // Nearest different recordings that were measured: of 30 s and of 12 s.
    EXPECT_LT(chanceOf(evidence(0.60, 0.62, 370)), kLeastChance);
    EXPECT_LT(chanceOf(evidence(0.52, 0.55, 110)), kLeastChance);
    EXPECT_LT(chanceOf(evidence(1.0, 1.0, 0)), kLeastChance);
    EXPECT_GE(chanceOf(evidence(0.45, 0.68, 370)), kLeastChance);
    EXPECT_GE(chanceOf(evidence(0.15, 0.60, 110)), kLeastChance);
}

TEST(Confidence, IsTheChanceInWholePercent) {
    EXPECT_EQ(confidenceOf(0.0), 0);
    EXPECT_EQ(confidenceOf(0.704), 70);
    EXPECT_EQ(confidenceOf(0.996), 100);
    EXPECT_EQ(confidenceOf(1.0), 100);
    EXPECT_EQ(confidenceOf(-1.0), 0);
    EXPECT_EQ(confidenceOf(2.0), 100);
}
