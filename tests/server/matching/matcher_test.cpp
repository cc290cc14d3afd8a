// SPDX-License-Identifier: Apache-2.0
#include "coding/recording_coder.h"
#include "commands/identify.h"
#include "matching/catalogue_recogniser.h"
#include "matching/matcher.h"
#include "server/matching/pieces.h"
#include "support/melody.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <thread>

using kvxtest::kPieceSeconds;
using kvxtest::piece;
using kvxtest::queryOf;
using kvxtest::stretch;

using namespace tarn::server;

using kvxtest::melody;
using kvxtest::TemporaryDirectory;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr uint32_t kPieces = 8;

std::vector<int16_t> excerpt(uint32_t seed, double startSeconds, double seconds) {
    return stretch(piece(seed), startSeconds, seconds);
}

void addNoise(std::vector<int16_t>& samples, int32_t amplitude) {
    std::mt19937 dice(99);
    for (int16_t& sample : samples) {
        const int32_t noisy = sample + static_cast<int32_t>(dice() % static_cast<uint32_t>(2 * amplitude)) - amplitude;
        sample = static_cast<int16_t>(std::clamp(noisy, -32768, 32767));
    }
}

// Eight pieces; piece 3 is there twice, the second time 4 s later and a little louder.
class Matching : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder_ = new TemporaryDirectory;
        CatalogueWriter writer(location());
        for (uint32_t seed = 1; seed <= kPieces; ++seed) add(writer, seed, piece(seed));
        std::vector<int16_t> twin = melody(77, 4);
        twin.insert(twin.end(), piece(3).begin(), piece(3).end());
        for (int16_t& sample : twin) sample = static_cast<int16_t>(sample * 11 / 10);
        add(writer, 103, twin);
        writer.commit();
    }
    static void TearDownTestSuite() {
        delete folder_;
        folder_ = nullptr;
    }
    static std::string location() { return *folder_ / "catalogue"; }

    static void add(CatalogueWriter& writer, uint32_t number, const std::vector<int16_t>& samples) {
        Recording recording = kvxtest::sampleRecording(number);
        recording.codes = codeRecording(samples);
        writer.put(recording);
    }

    static TemporaryDirectory* folder_;
};

TemporaryDirectory* Matching::folder_ = nullptr;

} // namespace

TEST_F(Matching, FindsAnExcerptFromAnywhereAndItsPlace) {
    CatalogueRecogniser recogniser(location());
    for (const uint32_t seed : {1U, 2U, 5U, 8U}) {
        for (const double start : {0.0, 7.0013, 20.5, 44.0}) {
            SCOPED_TRACE(std::to_string(seed) + " from " + std::to_string(start));
            const auto matches = recogniser.recognise(queryOf(excerpt(seed, start, 30.1)), 5).matches;
            ASSERT_EQ(matches.size(), 1U);
            EXPECT_EQ(matches[0].recordingId, seed);
            EXPECT_EQ(matches[0].trackBlob, kvxtest::sampleRecording(seed).trackBlob);
            EXPECT_EQ(matches[0].albumBlob, kvxtest::sampleRecording(seed).albumBlob);
            EXPECT_EQ(matches[0].trackId, kvxtest::sampleRecording(seed).trackId);
            EXPECT_EQ(matches[0].albumId, kvxtest::sampleRecording(seed).albumId);
            EXPECT_EQ(matches[0].tags.title, kvxtest::sampleRecording(seed).tags.title);
            EXPECT_GE(matches[0].confidence, 90);
            EXPECT_NEAR(matches[0].offsetMs, start * 1000, 1000);
        }
    }
}

TEST_F(Matching, ShowsItsRecordingsOneAfterAnother) {
    CatalogueRecogniser recogniser(location());
    std::vector<uint32_t> ids;
    std::optional<uint32_t> after = 0;
    while (after) {
        after = recogniser.browse(*after, 1000, [&](const Match& match) {
            EXPECT_EQ(match.confidence, 100);
            EXPECT_NE(match.trackId, "");
            ids.push_back(match.recordingId);
            return false; // one at a time
        });
    }
    EXPECT_EQ(ids.size(), recogniser.recordingCount());
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
}

TEST_F(Matching, FindsAShortExcerptAndANoisyOne) {
    CatalogueRecogniser recogniser(location());
    for (const uint32_t seed : {2U, 6U}) {
        SCOPED_TRACE(seed);
        const auto brief = recogniser.recognise(queryOf(excerpt(seed, 31.3, 15)), 5).matches;
        ASSERT_EQ(brief.size(), 1U);
        EXPECT_EQ(brief[0].recordingId, seed);
        std::vector<int16_t> samples = excerpt(seed, 12.7, 30.1);
        addNoise(samples, 1200);
        const auto noisy = recogniser.recognise(queryOf(samples), 5).matches;
        ASSERT_EQ(noisy.size(), 1U);
        EXPECT_EQ(noisy[0].recordingId, seed);
    }
}

TEST_F(Matching, DoesNotFindWhatIsNotThere) {
    CatalogueRecogniser recogniser(location());
    for (uint32_t seed = 201; seed <= 206; ++seed) {
        SCOPED_TRACE(seed);
        EXPECT_THAT(recogniser.recognise(queryOf(melody(seed, 31)), 5).matches, IsEmpty());
    }
}

TEST_F(Matching, TheSameRecordingTwiceIsOneAnswerWithACompanion) {
    CatalogueReader reader(location());
    const FingerprintQuery query = queryOf(excerpt(3, 25, 30.1));
    const Examination examination = examine(reader, query);
    ASSERT_GE(examination.candidates.size(), 2U);
    const Candidate& best = examination.candidates[0];
    const Candidate& companion = examination.candidates[1];
    EXPECT_TRUE(best.accepted);
    EXPECT_THAT((std::set<std::string>{best.recording.contentHash, companion.recording.contentHash}),
                ::testing::ElementsAre("hash103", "hash3"));
    EXPECT_EQ(companion.sameAs, best.id);
    EXPECT_LT(best.evidence.rivalBits, 0.5 * best.evidence.bits); // the companion is no rival
    EXPECT_EQ(CatalogueRecogniser(location()).recognise(query, 5).matches.size(), 1U);
    for (const Candidate* candidate : {&best, &companion}) {
        const double start = candidate->recording.contentHash == "hash3" ? 25000 : 29000;
        EXPECT_NEAR(offsetMs(candidate->alignment), start, 1000);
    }
}

TEST_F(Matching, TwoRecordingsInOneQueryDoNotHideEachOther) {
    CatalogueReader reader(location());
    for (const auto& [first, second] : {std::pair(1U, 5U), std::pair(2U, 6U), std::pair(4U, 5U)}) {
        SCOPED_TRACE(std::to_string(first) + " then " + std::to_string(second));
        std::vector<int16_t> samples = excerpt(first, 10, 8.05);
        const std::vector<int16_t> rest = excerpt(second, 40, 8.05);
        samples.insert(samples.end(), rest.begin(), rest.end());
        const Examination examination = examine(reader, queryOf(samples));
        ASSERT_GE(examination.candidates.size(), 2U);
        const Candidate& best = examination.candidates[0];
        EXPECT_THAT((std::set{best.id, examination.candidates[1].id}), ::testing::ElementsAre(first, second));
        ASSERT_LT(best.evidence.bits - best.evidence.rivalBits, 5.0); // neither leads
        EXPECT_TRUE(best.accepted);
    }
}

TEST_F(Matching, SaysNothingToEmptyAndDegenerateQueries) {
    CatalogueRecogniser recogniser(location());
    const FingerprintQuery sound = queryOf(excerpt(1, 5, 30.1));
    const std::string one(300, 'k');
    std::string four; // different letters in each of the strings are too few
    while (four.size() < 300) four += "abcd";
    const std::string foreign(300, '\xff');
    for (const std::string& code : {std::string(), std::string("abc"), one, four, foreign, std::string(300, '\0')}) {
        SCOPED_TRACE(code.substr(0, 20));
        FingerprintQuery query = sound;
        query.codes.fill(code);
        EXPECT_THAT(recogniser.recognise(query, 5).matches, IsEmpty());
        // A sound string beside one that is too short does not save its map, one sound map saves the query.
        query.codes[0] = sound.codes[0];
        if (code.size() < kMinLetters) {
            EXPECT_THAT(recogniser.recognise(query, 5).matches, IsEmpty());
        }
        query.codes[1] = sound.codes[1];
        const auto matches = recogniser.recognise(query, 5).matches;
        ASSERT_EQ(matches.size(), 1U);
        EXPECT_EQ(matches[0].recordingId, 1U);
    }
    EXPECT_THAT(recogniser.recognise({}, 5).matches, IsEmpty());
}

TEST_F(Matching, BearsQueriesOfAnyLengthAndDuration) {
    CatalogueRecogniser recogniser(location());
    std::mt19937 dice(5);
    for (const size_t letters : {size_t{40}, kMaxLetters, kMaxLetters + 1, size_t{200000}}) {
        SCOPED_TRACE(letters);
        FingerprintQuery query;
        query.durationMs = 31000;
        for (std::string& code : query.codes) {
            while (code.size() < letters) code.push_back(static_cast<char>('a' + dice() % 24));
        }
        EXPECT_THAT(recogniser.recognise(query, 5).matches, IsEmpty());
        CatalogueReader reader(location());
        EXPECT_EQ(examine(reader, query).refusal.empty(), letters <= kMaxLetters);
    }
    for (const uint32_t durationMs : {0U, 1U, 50U, 51U, 1000U, UINT32_MAX}) {
        SCOPED_TRACE(durationMs);
        FingerprintQuery sound = queryOf(excerpt(4, 10, 30.1));
        sound.durationMs = durationMs; // a client may say anything; the letters count
        const auto matches = recogniser.recognise(sound, 5).matches;
        ASSERT_LE(matches.size(), 1U);
        for (const Match& match : matches) EXPECT_EQ(match.recordingId, 4U);
    }
}

TEST_F(Matching, GivesAtMostAsManyAnswersAsWanted) {
    CatalogueRecogniser recogniser(location());
    EXPECT_THAT(recogniser.recognise(queryOf(excerpt(1, 5, 30.1)), 0).matches, IsEmpty());
    EXPECT_EQ(recogniser.lookUp("A-0", 100).size(), 8U);
    EXPECT_EQ(recogniser.lookUp("A-0", 3).size(), 3U);
    EXPECT_EQ(recogniser.recordingCount(), kPieces + 1);
}

TEST_F(Matching, LooksUpTracksAndAlbums) {
    CatalogueRecogniser recogniser(location());
    const auto track = recogniser.lookUp("T-5", 10);
    ASSERT_EQ(track.size(), 1U);
    EXPECT_EQ(track[0].recordingId, 5U);
    EXPECT_EQ(track[0].confidence, 100);
    EXPECT_EQ(track[0].albumBlob, "album 5");
    EXPECT_EQ(recogniser.lookUp("A-10", 10).size(), 1U);
    EXPECT_THAT(recogniser.lookUp("T-999", 10), IsEmpty());
    EXPECT_THAT(recogniser.lookUp("", 10), IsEmpty());
}

TEST_F(Matching, ServesSeveralThreadsWhileTheCatalogueGrows) {
    CatalogueRecogniser recogniser(location());
    const FingerprintQuery query = queryOf(excerpt(2, 3, 30.1));
    constexpr size_t kThreads = 4;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    std::atomic<int> right = 0;
    for (size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5; ++i) {
                const Recognition found = recogniser.recognise(query, 5);
                if (found.matches.size() == 1 && found.matches[0].recordingId == 2) ++right;
                EXPECT_GE(found.candidatesJudged, 1U);
            }
        });
    }
    CatalogueWriter writer(location());
    for (uint32_t n = 500; n < 512; ++n) {
        writer.put(kvxtest::sampleRecording(n));
        writer.commit();
        if (n % 4 == 0) writer.compact();
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 20);
    for (uint32_t id = kPieces + 2; id <= kPieces + 13; ++id) EXPECT_TRUE(writer.remove(id));
    writer.commit();
    EXPECT_EQ(recogniser.recordingCount(), kPieces + 1); // seen without a restart
}

TEST_F(Matching, IsUnavailableWhileTheCatalogueCannotBeRead) {
    const TemporaryDirectory folder;
    CatalogueRecogniser recogniser(folder / "catalogue");
    EXPECT_THROW(recogniser.recognise(queryOf(excerpt(1, 5, 30.1)), 5), Unavailable);
    EXPECT_THROW(recogniser.lookUp("T-1", 5), Unavailable);
    EXPECT_THROW(recogniser.recordingCount(), Unavailable);
    std::filesystem::copy(location(), folder / "catalogue");
    EXPECT_EQ(recogniser.recordingCount(), kPieces + 1); // and back by itself
}

TEST_F(Matching, IdentifyTellsWhatItFoundAndWhy) {
    CatalogueReader reader(location());
    std::ostringstream found;
    EXPECT_TRUE(identify(reader, queryOf(excerpt(3, 25, 30.1)), false, found));
    EXPECT_THAT(found.str(), HasSubstr("accepted with confidence"));
    EXPECT_THAT(found.str(), HasSubstr("the same recording as"));
    EXPECT_THAT(found.str(), HasSubstr("another recording fits better"));
    EXPECT_THAT(found.str(), HasSubstr("Artist 3 - Title 3"));
    EXPECT_THAT(found.str(), HasSubstr("bits, at 0:2"));
    std::ostringstream unknown;
    EXPECT_FALSE(identify(reader, queryOf(melody(300, 31)), false, unknown));
    EXPECT_THAT(unknown.str(), HasSubstr("not accepted: confidence"));
    std::ostringstream refused;
    EXPECT_FALSE(identify(reader, {}, false, refused));
    EXPECT_EQ(refused.str(),
              "Not looked up: the fingerprint has too few letters, too few different ones, or too many\n");
}
