// SPDX-License-Identifier: Apache-2.0
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
    EXPECT_GT(chanceOf(evidence(70, 55)), chanceOf(evidence(70, 60)));
    EXPECT_GT(chanceOf(evidence(90, 50, 87)), chanceOf(evidence(90, 50, 100000)));
    Evidence quiet = evidence(60, 40);
    quiet.queryBits = 150; // a query that says little cannot bring more
    EXPECT_GT(chanceOf(quiet), chanceOf(evidence(60, 40)));
    EXPECT_EQ(chanceOf(evidence(90, 50, 0)), chanceOf(evidence(90, 50, 87))); // a smaller one is no better
}

TEST(Chance, IsNeverAboveTheLineForWhatOtherMusicReaches) {
    EXPECT_LT(chanceOf(evidence(77, 69)), kMinChance);
    EXPECT_LT(chanceOf(evidence(60, 40)), kMinChance);
    EXPECT_LT(chanceOf(evidence(0, 0)), kMinChance);
    EXPECT_GE(chanceOf(evidence(90, 45)), kMinChance);
    EXPECT_GE(chanceOf(evidence(300, 60, 100000)), kMinChance);
}

TEST(Chance, CountsARivalThatIsMissingAsWhatOtherMusicReaches) {
    const struct {
        double bits; // of the best of one recording
        double queryBits;
        bool accepted;
    } cases[] = {
        // The longer the query, the more of it fits by chance: these are what unknown music reached among many.
        {46, 200, false},
        {58, 200, false},
        {60, 550, false},
        {69, 550, false},
        // What the recording itself brings.
        {80, 100, true},
        {120, 200, true},
        {100, 550, true},
        {300, 700, true},
    };
    for (const auto& c : cases) {
        for (const uint64_t recordings : {1U, 2U, 3U, 20U, 87U}) {
            SCOPED_TRACE(std::to_string(c.bits) + " of " + std::to_string(c.queryBits) + " among " +
                         std::to_string(recordings));
            const Evidence none{.bits = c.bits, .rivalBits = 0, .queryBits = c.queryBits, .recordings = recordings};
            Evidence weak = none;
            weak.rivalBits = 25; // below chance
            EXPECT_EQ(chanceOf(none) >= kMinChance, c.accepted);
            EXPECT_DOUBLE_EQ(chanceOf(weak), chanceOf(none));
        }
    }
}

TEST(Chance, IsHighFarAboveWhatOtherMusicReachesWhateverTheRival) {
    EXPECT_GE(chanceOf(evidence(178, 175)), kMinChance);
    EXPECT_GE(chanceOf(evidence(100, 100)), kMinChance);
    EXPECT_LT(chanceOf(evidence(84, 83)), kMinChance);
    EXPECT_LT(chanceOf(evidence(100, 100, 100000)), kMinChance); // chance reaches further in a large catalogue
    EXPECT_GE(chanceOf(evidence(178, 175, 1000000)), kMinChance);
}

TEST(Confidence, IsTheChanceInWholePercent) {
    EXPECT_EQ(confidenceOf(0.0), 0);
    EXPECT_EQ(confidenceOf(0.704), 70);
    EXPECT_EQ(confidenceOf(0.996), 100);
    EXPECT_EQ(confidenceOf(1.0), 100);
    EXPECT_EQ(confidenceOf(-1.0), 0);
    EXPECT_EQ(confidenceOf(2.0), 100);
}
