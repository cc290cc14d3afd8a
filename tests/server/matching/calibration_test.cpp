#include "matching/calibration.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

Evidence evidence(double bits, double rivalBits, uint64_t recordings = 87) {
    return {.bits = bits, .rivalBits = rivalBits, .queryBits = 800, .recordings = recordings};
}

} // namespace

TEST(Chance, RisesWithTheBitsAndTheLeadAndFallsWithTheSizeOfTheCatalogue) {
    double last = 0.0;
    for (int bits = 0; bits <= 200; bits += 5) {
        const double chance = chanceOf(evidence(bits, bits / 2.0));
        EXPECT_GT(chance, last);
        EXPECT_LT(chance, 1.0);
        last = chance;
    }
    EXPECT_GT(chanceOf(evidence(70, 40)), chanceOf(evidence(70, 50)));
    EXPECT_GT(chanceOf(evidence(90, 50, 87)), chanceOf(evidence(90, 50, 100000)));
    Evidence quiet = evidence(60, 40);
    quiet.queryBits = 150; // a query that says little cannot bring more
    EXPECT_GT(chanceOf(quiet), chanceOf(evidence(60, 40)));
    EXPECT_EQ(chanceOf(evidence(90, 50, 0)), chanceOf(evidence(90, 50, 87))); // a smaller one is no better
}

TEST(Chance, IsNeverAboveTheLineForWhatOtherMusicReaches) {
    EXPECT_LT(chanceOf(evidence(77, 69)), kLeastChance);
    EXPECT_LT(chanceOf(evidence(60, 40)), kLeastChance);
    EXPECT_LT(chanceOf(evidence(0, 0)), kLeastChance);
    EXPECT_GE(chanceOf(evidence(90, 45)), kLeastChance);
    EXPECT_GE(chanceOf(evidence(300, 60, 100000)), kLeastChance);
}

TEST(Confidence, IsTheChanceInWholePercent) {
    EXPECT_EQ(confidenceOf(0.0), 0);
    EXPECT_EQ(confidenceOf(0.704), 70);
    EXPECT_EQ(confidenceOf(0.996), 100);
    EXPECT_EQ(confidenceOf(1.0), 100);
    EXPECT_EQ(confidenceOf(-1.0), 0);
    EXPECT_EQ(confidenceOf(2.0), 100);
}
