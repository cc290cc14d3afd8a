// SPDX-License-Identifier: Apache-2.0
// Recognition in catalogues of very few and of very many recordings.
#include "coding/recording_coder.h"
#include "matching/catalogue_recogniser.h"
#include "matching/matcher.h"
#include "server/matching/pieces.h"
#include "support/melody.h"
#include "support/server/sample_recording.h"

#include <gtest/gtest.h>
#include <numeric>
#include <random>

using kvxtest::kPieceSeconds;
using kvxtest::piece;
using kvxtest::queryOf;
using kvxtest::stretch;

using namespace tarn::server;

using kvxtest::melody;
using kvxtest::TemporaryDirectory;

// A new user adds an album and tries what is not on it.
TEST(MatchingOfASmallCatalogue, DoesNotTakeUnknownMusicForTheOneRecordingThatItHolds) {
    const auto excerpts = [](const std::vector<int16_t>& samples) {
        std::vector<FingerprintQuery> queries;
        for (const double start : {0.0, 9.1, 18.2}) {
            for (const double seconds : {8.0, 12.0}) queries.push_back(queryOf(stretch(samples, start, seconds)));
        }
        return queries;
    };
    std::vector<FingerprintQuery> unknown;
    for (uint32_t seed = 1001; seed <= 1003; ++seed) {
        for (FingerprintQuery& query : excerpts(melody(seed, 31))) unknown.push_back(std::move(query));
    }
    const TemporaryDirectory folder;
    const std::string location = folder / "catalogue";
    Recording recording = kvxtest::sampleRecording(1);
    recording.codes = codeRecording(piece(1));
    CatalogueWriter writer(location);
    CatalogueRecogniser recogniser(location);
    for (const char* const held : {"the recording", "a copy of it, too, which is no rival either"}) {
        SCOPED_TRACE(held);
        recording.contentHash = held;
        writer.put(recording);
        writer.commit();
        size_t answers = 0;
        for (const FingerprintQuery& query : unknown) answers += recogniser.recognise(query, 5).matches.size();
        EXPECT_EQ(answers, 0U);
        for (const FingerprintQuery& query : excerpts(piece(1)))
            EXPECT_EQ(recogniser.recognise(query, 5).matches.size(), 1U);
    }
}

// Where every recording holds the same theme, the theme's grams are too common to be read.
TEST(MatchingOfALargeCatalogue, LooksForTheRarestGramsUpToABound) {
    constexpr uint32_t kRecordings = 800;
    constexpr uint64_t kBound = 200'000; // postings
    const TemporaryDirectory folder;
    std::mt19937 dice(3);
    const auto letters = [&](size_t count) {
        std::string text;
        while (text.size() < count) text.push_back(static_cast<char>('a' + dice() % 24));
        return text;
    };
    const std::string theme = letters(300);
    FingerprintQuery query;
    query.durationMs = 30000;
    {
        CatalogueWriter writer(folder / "catalogue");
        for (uint32_t number = 1; number <= kRecordings; ++number) {
            Recording recording = kvxtest::sampleRecording(number);
            const std::string own = letters(110);
            for (auto& coding : recording.codes) {
                for (CodeString& string : coding) {
                    string.letters = theme + own;
                    string.frames.clear();
                    for (uint32_t i = 0; i < string.letters.size(); ++i) string.frames.push_back(45 + 7 * i);
                }
            }
            if (number == 77) query.codes.fill(theme + own);
            writer.put(recording);
        }
        writer.commit();
    }
    CatalogueReader reader(folder / "catalogue");
    std::vector<uint64_t> frequencies;
    const Lookup lookup = reader.lookUp(PreparedQuery(query).lists(reader.gramLetters()));
    for (size_t gram = 0; gram < lookup.size(); ++gram) frequencies.push_back(lookup.frequency(gram));
    std::sort(frequencies.begin(), frequencies.end());
    ASSERT_GT(std::accumulate(frequencies.begin(), frequencies.end(), uint64_t{0}), 2 * kBound);

    const Examination examination = examine(reader, query);
    ASSERT_FALSE(examination.candidates.empty());
    EXPECT_EQ(examination.candidates[0].id, 77U);
    EXPECT_TRUE(examination.candidates[0].accepted);
    EXPECT_GE(examination.grams, 40U);
    const auto end = frequencies.begin() + static_cast<std::ptrdiff_t>(examination.grams);
    EXPECT_LE(std::accumulate(frequencies.begin(), end, uint64_t{0}), kBound);

    // All letters of the theme: no gram is rare, and the bound holds all the same.
    query.codes.fill(theme);
    const Examination common = examine(reader, query);
    EXPECT_LE(common.grams * kRecordings, kBound);
    EXPECT_GE(common.grams, 40U);
}
