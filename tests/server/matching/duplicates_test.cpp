// SPDX-License-Identifier: Apache-2.0
#include "coding/recording_coder.h"
#include "matching/duplicates.h"
#include "server/matching/pieces.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using kvxtest::piece;
using kvxtest::stretch;
using kvxtest::TemporaryDirectory;
using namespace tarn::server;

using Samples = std::vector<int16_t>;

// As a lossy encoder would: some noise, another level, and a little silence in front.
Samples encoded(const Samples& samples, uint32_t seed) {
    std::mt19937 dice(seed);
    Samples copy(1105, 0); // 50 ms
    copy.reserve(copy.size() + samples.size());
    for (const int16_t sample : samples) {
        copy.push_back(static_cast<int16_t>(sample * 9 / 10 + static_cast<int32_t>(dice() % 400) - 200));
    }
    return copy;
}

Samples joined(Samples first, const Samples& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class Duplicates : public testing::Test {
  protected:
    // Numbers are given from 1 on.
    void add(const Samples& samples) {
        Recording recording = kvxtest::sampleRecording(++recordings_);
        recording.durationMs = static_cast<uint32_t>(samples.size() * 1000 / kEngineRateHz);
        recording.codes = codeRecording(samples);
        writer_.put(recording);
        writer_.commit();
    }

    std::vector<DuplicateGroup> found() {
        CatalogueReader reader(folder_ / "catalogue");
        return findDuplicates(reader);
    }

    TemporaryDirectory folder_;
    CatalogueWriter writer_{folder_ / "catalogue"};
    uint32_t recordings_ = 0;
};

TEST_F(Duplicates, AreCopiesAndExcerptsWithTheirPlaces) {
    add(piece(1));
    add(piece(2));
    add(encoded(piece(1), 7));
    add(stretch(encoded(piece(1), 8), 21.3, 25));
    add(piece(3));
    add(encoded(piece(1), 9));
    add(encoded(stretch(piece(3), 40, 30), 10));
    const std::vector<DuplicateGroup> groups = found();
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].copies, (std::vector<uint32_t>{1, 3, 6}));
    ASSERT_EQ(groups[0].excerpts.size(), 1U);
    EXPECT_EQ(groups[0].excerpts[0].id, 4U);
    EXPECT_NEAR(groups[0].excerpts[0].startMs, 21'300, 700);
    EXPECT_EQ(groups[1].copies, std::vector<uint32_t>{5});
    ASSERT_EQ(groups[1].excerpts.size(), 1U);
    EXPECT_EQ(groups[1].excerpts[0].id, 7U);
    EXPECT_NEAR(groups[1].excerpts[0].startMs, 40'000, 700);
}

TEST_F(Duplicates, AreNotWhatSharesOnlyAPassage) {
    add(piece(1));
    add(joined(stretch(piece(1), 0, 35), stretch(piece(2), 0, 40)));
    add(joined(stretch(piece(3), 30, 40), stretch(piece(1), 40, 35)));
    EXPECT_EQ(found(), std::vector<DuplicateGroup>{});
}

TEST_F(Duplicates, AreNotTheUnrelatedTheTooShortAndTheSilent) {
    for (const uint32_t seed : {1U, 2U, 3U, 4U}) add(piece(seed));
    for (const double start : {0.0, 0.1}) add(stretch(piece(5), start, 5));
    for (const uint32_t seconds : {60U, 61U}) add(Samples(size_t{seconds} * kEngineRateHz, 0));
    EXPECT_EQ(found(), std::vector<DuplicateGroup>{});
}

TEST_F(Duplicates, AreGoneWithTheirRecordings) {
    add(piece(1));
    add(encoded(piece(1), 7));
    EXPECT_EQ(found().size(), 1U);
    writer_.remove(2);
    writer_.commit();
    EXPECT_EQ(found(), std::vector<DuplicateGroup>{});
}

TEST_F(Duplicates, OfRecordingsWithoutTimesAreNotFound) {
    for (uint32_t number = 1; number <= 2; ++number) {
        Recording recording = kvxtest::sampleRecording(number);
        recording.codes = kvxtest::sampleRecording(1).codes;
        for (auto& coding : recording.codes) {
            for (CodeString& string : coding) string.frames.clear();
        }
        writer_.put(recording);
    }
    writer_.commit();
    EXPECT_EQ(found(), std::vector<DuplicateGroup>{});
}

} // namespace
