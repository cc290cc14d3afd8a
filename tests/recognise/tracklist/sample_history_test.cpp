// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/sample_history.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace tarn::recognise;

namespace {

// Samples that say where they are.
std::vector<int16_t> numbered(size_t first, size_t count) {
    std::vector<int16_t> samples(count);
    for (size_t i = 0; i < count; ++i) samples[i] = static_cast<int16_t>((first + i) % 30'011);
    return samples;
}

TEST(SampleHistory, KeepsWhatIsPromisedWhateverThePieces) {
    for (const size_t piece : {size_t{1'999}, size_t{22'050}, size_t{3'000'000}, size_t{9'000'000}}) {
        SCOPED_TRACE(piece);
        SampleHistory history;
        for (size_t added = 0; added < 12'000'000; added += piece) {
            history.add(numbered(added, piece));
            ASSERT_LE(history.keptSamples(), SampleHistory::kMaxSamples);
            const int64_t end = history.lengthMs() / 20 * 20;
            const int64_t start = std::max<int64_t>(0, end - SampleHistory::kKeptMs + 20);
            const auto part = history.part(start, end);
            ASSERT_EQ(part.size(), static_cast<size_t>(samplesOfMs(end - start)));
            ASSERT_EQ(part.front(), static_cast<int16_t>(samplesOfMs(start) % 30'011));
            ASSERT_EQ(part.back(), static_cast<int16_t>((samplesOfMs(end) - 1) % 30'011));
        }
    }
}

TEST(SampleHistory, HasNoPartThatIsNotAllThere) {
    SampleHistory history;
    history.add(numbered(0, 22'050));
    EXPECT_EQ(history.part(0, 1000).size(), 22'050U);
    EXPECT_TRUE(history.part(0, 1020).empty());
    EXPECT_TRUE(history.part(-20, 500).empty());
    EXPECT_TRUE(history.part(500, 400).empty());
    history.add(numbered(22'050, 2 * SampleHistory::kMaxSamples));
    EXPECT_TRUE(history.part(0, 1000).empty());
    EXPECT_FALSE(history.part(history.startMs() / 20 * 20 + 20, history.startMs() / 20 * 20 + 1020).empty());
}

} // namespace
