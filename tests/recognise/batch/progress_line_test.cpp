// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/progress_line.h"

#include <gtest/gtest.h>

namespace {

using namespace tarn::recognise;
using std::chrono::seconds;

Tally tallyOf(size_t files, size_t matched, size_t unknown, size_t unreadable) {
    Tally tally;
    tally.files = files;
    tally.matched = matched;
    tally.unknown = unknown;
    tally.unreadable = unreadable;
    return tally;
}

TEST(RecognitionProgress, ShowsRateAndRemainingTime) {
    EXPECT_EQ(progressLine(tallyOf(100, 40, 8, 2), seconds(10)),
              "[############............]  50 %  50/100 files  5.0 a second  0:10 left");
    EXPECT_EQ(progressLine(tallyOf(10'000, 0, 0, 0), seconds(3)), "[........................]   0 %  0/10000 files");
}

TEST(RecognitionProgress, CountsWhatCameFromTheCacheForNoRate) {
    Tally tally = tallyOf(100, 50, 0, 0);
    tally.fromCache = 40;
    EXPECT_EQ(progressLine(tally, seconds(10)),
              "[############............]  50 %  50/100 files  1.0 a second  0:50 left");
}

TEST(RecognitionProgress, FitsATerminal) {
    EXPECT_LE(progressLine(tallyOf(4'000'000'000, 1'000'000'000, 8, 2), std::chrono::hours(1000)).size(), 79U);
}

TEST(RecognitionSummary, CountsEachKind) {
    Tally tally = tallyOf(6, 2, 1, 1);
    EXPECT_EQ(summaryOf(tally, seconds(75)), "6 files: 2 matched, 1 unknown, 1 unreadable; 1:15");
    tally.server = 2;
    tally.fromCache = 3;
    EXPECT_EQ(summaryOf(tally, seconds(75)),
              "6 files: 2 matched, 1 unknown, 1 unreadable, 2 without an answer; 3 known from the cache; 1:15");
}

} // namespace
