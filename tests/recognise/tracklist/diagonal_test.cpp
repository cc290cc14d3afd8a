// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/diagonal.h"

#include <gtest/gtest.h>

using tarn::recognise::Diagonal;

namespace {

struct Points {
    const char* name;
    double speed;
    double placeAtStart;
    int count;
    int outlierEach; // every outlierEach-th place is 1.5 s too low; 0: none
    bool isClear;
};

const Points kPoints[] = {
    {"as recorded", 1, 10'000, 30, 0, false},
    {"2 % faster", 1.02, 10'000, 30, 0, true},
    {"1 % slower", 0.99, 0, 30, 0, true},
    {"faster, with places that are off", 1.02, 10'000, 40, 5, true},
    {"as recorded, with places that are off", 1, 10'000, 40, 5, false},
    {"0.3 % faster: not clear", 1.003, 10'000, 30, 0, false},
    {"more places than are kept", 1.015, 10'000, 1000, 7, true},
};

Diagonal diagonalOf(const Points& points) {
    Diagonal diagonal;
    for (int i = 0; i < points.count; ++i) {
        const int64_t streamMs = int64_t{4000} * i;
        auto placeMs = static_cast<int64_t>(points.placeAtStart + points.speed * static_cast<double>(streamMs));
        if (points.outlierEach > 0 && i % points.outlierEach == points.outlierEach - 1) placeMs -= 1500;
        diagonal.add(streamMs, placeMs);
    }
    return diagonal;
}

TEST(Diagonal, FindsStartAndSpeed) {
    for (const Points& each : kPoints) {
        SCOPED_TRACE(each.name);
        const Diagonal diagonal = diagonalOf(each);
        EXPECT_NEAR(diagonal.placeAt(0), each.placeAtStart, 120);
        EXPECT_NEAR(diagonal.streamAt(each.placeAtStart), 0, 120);
        EXPECT_EQ(diagonal.clearSpeed().has_value(), each.isClear);
        if (each.isClear) {
            EXPECT_NEAR(diagonal.clearSpeed().value_or(0), each.speed, 0.002);
        }
    }
}

TEST(Diagonal, AgreesWithWhatGoesOn) {
    Diagonal diagonal;
    EXPECT_TRUE(diagonal.agrees(5000, 77'000));
    diagonal.add(5000, 77'000);
    EXPECT_TRUE(diagonal.agrees(9000, 81'000));
    EXPECT_TRUE(diagonal.agrees(9000, 83'119)); // 2 s and 3 % of 4 s
    EXPECT_FALSE(diagonal.agrees(9000, 83'121));
    EXPECT_FALSE(diagonal.agrees(9000, 78'879));
    EXPECT_TRUE(diagonal.agrees(105'000, 181'900)); // 3 % of 100 s
}

TEST(Diagonal, HasNoSpeedOfFewPlaces) {
    Diagonal diagonal;
    for (int i = 0; i < 7; ++i) diagonal.add(4000 * i, 4080 * i);
    EXPECT_FALSE(diagonal.clearSpeed().has_value());
    EXPECT_NEAR(diagonal.placeAt(12'000), 12'240, 1);
}

} // namespace
