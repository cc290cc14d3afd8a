// SPDX-License-Identifier: Apache-2.0
#include "ingest/progress.h"

#include <gtest/gtest.h>

namespace {

using tarn::server::Progress;
using tarn::server::progressLine;

TEST(ProgressLine, EstimatesTheRestByBytes) {
    Progress progress;
    progress.filesDone = 3;
    progress.files = 10;
    progress.bytesDone = 250;
    progress.bytes = 1000;
    progress.audioMs = 600'000;
    progress.elapsed = std::chrono::milliseconds(2000);
    EXPECT_EQ(progressLine(progress), "[######..................]  25 %  3/10 files  300 x real time  0:06 left");
}

TEST(ProgressLine, SaysNothingThatIsNotKnownYet) {
    Progress progress;
    progress.files = 10;
    progress.bytes = 1000;
    EXPECT_EQ(progressLine(progress), "[........................]   0 %  0/10 files");
}

TEST(ProgressLine, FitsATerminalLine) {
    Progress progress;
    progress.filesDone = 123'456'789;
    progress.files = 987'654'321;
    progress.bytesDone = 1;
    progress.bytes = UINT64_MAX;
    progress.audioMs = 1'000'000'000'000;
    progress.elapsed = std::chrono::hours(1000);
    EXPECT_LE(progressLine(progress).size(), 79U);
}

} // namespace
