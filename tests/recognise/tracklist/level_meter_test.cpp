// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/level_meter.h"

#include "recognise/tracklist/sample_history.h"

#include <gtest/gtest.h>

#include <vector>

using namespace tarn::recognise;

namespace {

void add(LevelMeter& meter, int64_t ms, int16_t value) {
    meter.add(std::vector<int16_t>(static_cast<size_t>(samplesOfMs(ms)), value));
}

TEST(LevelMeter, FindsSilence) {
    LevelMeter meter;
    add(meter, 5000, 400);
    add(meter, 4000, 0);
    add(meter, 5000, -400);
    EXPECT_FALSE(meter.isSilent(4900));
    EXPECT_TRUE(meter.isSilent(5000));
    EXPECT_TRUE(meter.isSilent(8900));
    EXPECT_FALSE(meter.isSilent(9000));
    EXPECT_EQ(meter.silentMs(0, 14'000), 4000);
    EXPECT_EQ(meter.silentMs(6000, 7000), 1000);
    EXPECT_EQ(meter.firstStart(0, 14'000), 5000);
    EXPECT_EQ(meter.firstStart(5100, 14'000), std::nullopt);
    EXPECT_EQ(meter.lastEnd(0, 14'000), 9000);
    EXPECT_EQ(meter.lastEnd(0, 8900), std::nullopt);
}

TEST(LevelMeter, DoesNotCountWhatIsShortOrAudible) {
    LevelMeter meter;
    add(meter, 2900, 0);
    add(meter, 5000, 33); // just above
    EXPECT_EQ(meter.silentMs(0, 8000), 0);
    add(meter, 5000, 32); // just below
    EXPECT_EQ(meter.silentMs(0, 13'000), 5000);
}

TEST(LevelMeter, ForgetsWhatIsOver) {
    LevelMeter meter;
    for (int i = 0; i < 4; ++i) {
        add(meter, 4000, 0);
        add(meter, 4000, 400);
    }
    meter.forget(10'000);
    EXPECT_EQ(meter.silentMs(0, 32'000), 2000 + 4000 + 4000);
    // A silence that goes on is one, wherever its start was forgotten.
    add(meter, 40'000, 0);
    meter.forget(60'000);
    add(meter, 10'000, 0);
    EXPECT_EQ(meter.silentMs(0, 100'000), 22'000);
}

} // namespace
