// SPDX-License-Identifier: Apache-2.0
// What a catalogue does, whichever engine stores it.
#include "catalogue/catalogue.h"
#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/recording_packing.h"
#include "catalogue/store.h"
#include "server/catalogue/engines.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::sampleRecording;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Ne;

namespace {

using Outcome = CatalogueWriter::Outcome;

std::vector<std::string> titlesIn(const std::string& location) {
    std::vector<std::string> titles;
    CatalogueReader reader(location);
    reader.forEach([&](const Recording& recording) { titles.push_back(recording.tags.title); });
    EXPECT_EQ(reader.recordingCount(), titles.size());
    EXPECT_THAT(reader.check(true), IsEmpty());
    return titles;
}

// The recordings that share most grams with this one; each gram counts 1.
std::vector<ScoredRecording> nearest(CatalogueReader& reader, const Recording& recording, size_t most) {
    Lookup lookup = reader.lookUp(listsOf(recording.codes, reader.gramLetters()));
    std::vector<WeightedGram> grams;
    for (size_t gram = 0; gram < lookup.size(); ++gram) grams.push_back({gram, 1});
    lookup.add(grams);
    EXPECT_TRUE(lookup.complete());
    return reader.best(most);
}

Recording withLetters(uint32_t number, const std::string& letters) {
    Recording recording = sampleRecording(number);
    for (auto& coding : recording.codes) coding = {};
    recording.codes[0][0] = {.letters = letters, .frames = std::vector<uint32_t>(letters.size(), 1)};
    return recording;
}

class Catalogue : public ::testing::TestWithParam<kvxtest::Engine> {
  protected:
    std::string location() const { return place_->location(); }

  private:
    std::unique_ptr<kvxtest::Place> place_ = GetParam().newPlace();
};

INSTANTIATE_TEST_SUITE_P(In, Catalogue, ::testing::ValuesIn(kvxtest::engines()), kvxtest::nameOfEngine);

} // namespace

TEST_P(Catalogue, IsNotReadWhereThereIsNone) {
    try {
        CatalogueReader reader(location());
        ADD_FAILURE() << "read";
    } catch (const CatalogueError& error) {
        EXPECT_THAT(error.what(), HasSubstr("there is no catalogue at " + location()));
    }
    CatalogueWriter writer(location());
    EXPECT_EQ(CatalogueReader(location()).recordingCount(), 0U);
    writer.put(sampleRecording(1));
    writer.commit();
    EXPECT_EQ(CatalogueReader(location()).recordingCount(), 1U);
}

TEST_P(Catalogue, ShowsWhatWasCommittedAndDropsTheRest) {
    {
        CatalogueWriter writer(location());
        EXPECT_EQ(writer.put(sampleRecording(1)), Outcome::kAdded);
        CatalogueReader reader(location());
        EXPECT_EQ(reader.recordingCount(), 0U);
        writer.commit();
        EXPECT_EQ(reader.recordingCount(), 0U); // the reader has not looked again
        EXPECT_EQ(CatalogueReader(location()).recordingCount(), 1U);
        writer.put(sampleRecording(2));
        writer.rememberFile("/music/2.flac", 5, 6, "hash2");
    }
    EXPECT_THAT(titlesIn(location()), ElementsAre("Title 1"));
    EXPECT_FALSE(CatalogueWriter(location()).isKnownFile("/music/2.flac", 5, 6));
}

TEST_P(Catalogue, TheSameAudioAgainUpdatesAndKeepsItsId) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 3; ++n) writer.put(sampleRecording(n));
    writer.commit();
    EXPECT_TRUE(writer.contains("hash2"));
    EXPECT_FALSE(writer.contains("hash9"));
    EXPECT_EQ(writer.put(sampleRecording(2, "Better title")), Outcome::kUpdated);
    EXPECT_EQ(writer.put(sampleRecording(2, "Best title")), Outcome::kUpdated);
    writer.commit();
    EXPECT_THAT(titlesIn(location()), ElementsAre("Title 1", "Best title", "Title 3"));
    EXPECT_EQ(CatalogueReader(location()).recording(2)->tags.title, "Best title");
    EXPECT_EQ(CatalogueReader(location()).byTrackId("T-2"), std::vector<uint32_t>{2});
}

TEST_P(Catalogue, TheSameAudioWithOtherLettersGetsAnotherId) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 3; ++n) writer.put(sampleRecording(n));
    writer.commit();
    Recording coded = sampleRecording(2);
    coded.codes = sampleRecording(50).codes;
    EXPECT_EQ(writer.put(coded), Outcome::kUpdated);
    writer.commit();
    EXPECT_THAT(titlesIn(location()), ElementsAre("Title 1", "Title 3", "Title 2"));
    CatalogueReader reader(location());
    EXPECT_EQ(reader.recording(2), std::nullopt);
    EXPECT_EQ(nearest(reader, coded, 1).at(0).id, 4U);
    EXPECT_THAT(nearest(reader, sampleRecording(2), 5), Each(Field(&ScoredRecording::id, Ne(2U))));
}

TEST_P(Catalogue, MovesARecordingToItsNewAlbum) {
    CatalogueWriter writer(location());
    writer.put(sampleRecording(1));
    writer.commit();
    Recording moved = sampleRecording(1);
    moved.albumId = "A-77";
    writer.put(moved);
    writer.commit();
    CatalogueReader reader(location());
    EXPECT_THAT(reader.byAlbumId("A-0"), IsEmpty());
    EXPECT_THAT(reader.byAlbumId("A-77"), ElementsAre(1));
}

TEST_P(Catalogue, RemovesARecordingFromEverySight) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 4; ++n) writer.put(sampleRecording(n));
    writer.commit();
    EXPECT_TRUE(writer.remove(2));
    EXPECT_FALSE(writer.remove(2));
    EXPECT_FALSE(writer.remove(0));
    EXPECT_FALSE(writer.remove(99));
    EXPECT_FALSE(writer.contains("hash2"));
    writer.commit();
    for (const bool compacted : {false, true}) {
        SCOPED_TRACE(compacted);
        if (compacted) writer.compact();
        CatalogueReader reader(location());
        EXPECT_EQ(reader.recording(2), std::nullopt);
        EXPECT_THAT(reader.byTrackId("T-2"), IsEmpty());
        EXPECT_THAT(nearest(reader, sampleRecording(2), 1), IsEmpty());
        EXPECT_THAT(titlesIn(location()), ElementsAre("Title 1", "Title 3", "Title 4"));
    }
    EXPECT_EQ(writer.put(sampleRecording(2)), Outcome::kAdded);
    writer.commit();
    EXPECT_EQ(titlesIn(location()).size(), 4U);
}

TEST_P(Catalogue, GivesTheBestThatAreStillThereHoweverManyWereRemoved) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 30; ++n) {
        Recording copy = sampleRecording(n);
        copy.codes = sampleRecording(1).codes;
        writer.put(copy);
    }
    writer.commit();
    for (uint32_t id = 1; id <= 27; ++id) writer.remove(id);
    writer.commit();
    CatalogueReader reader(location());
    EXPECT_THAT(nearest(reader, sampleRecording(1), 2),
                ElementsAre(Field(&ScoredRecording::id, 28U), Field(&ScoredRecording::id, 29U)));
    EXPECT_EQ(nearest(reader, sampleRecording(1), 5).size(), 3U);
}

TEST_P(Catalogue, ForgetsTheFrequencyOfWhatWasRemovedWhenItIsCompacted) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 9; ++n) writer.put(withLetters(n, "abcdefgh"));
    writer.commit();
    writer.remove(4);
    writer.commit();
    const auto frequency = [&] {
        CatalogueReader reader(location());
        return reader.lookUp(listsOf(withLetters(1, "abcdefgh").codes, reader.gramLetters())).frequency(0);
    };
    EXPECT_EQ(frequency(), 9U);
    writer.compact();
    EXPECT_EQ(frequency(), 8U);
    EXPECT_EQ(titlesIn(location()).size(), 8U);
}

TEST_P(Catalogue, StaysSoundWhenEverythingIsRemovedAndCompacted) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 3; ++n) writer.put(sampleRecording(n));
    writer.commit();
    for (uint32_t id = 1; id <= 3; ++id) EXPECT_TRUE(writer.remove(id));
    writer.compact();
    EXPECT_THAT(titlesIn(location()), IsEmpty());
    writer.put(sampleRecording(8));
    writer.compact();
    EXPECT_THAT(titlesIn(location()), ElementsAre("Title 8"));
}

// As a writer leaves it that died between the recordings and the state, where the engine cannot commit all at once.
TEST_P(Catalogue, FinishesACommitThatWasCutOff) {
    {
        CatalogueWriter writer(location());
        writer.put(sampleRecording(1));
        writer.commit();
    }
    const unsigned letters = CatalogueReader(location()).gramLetters();
    const Recording cutOff = sampleRecording(2);
    Batch batch{.table = tableOf(listNumberBits(letters), 0), .postings = {}, .changes = {}};
    for (const ListNumber list : listsOf(cutOff.codes, letters)) batch.postings.push_back({list, 2});
    batch.changes.push_back({recordingKey(2), packRecording(cutOff)});
    batch.changes.push_back({hashKey(cutOff.contentHash), std::string("\0\0\0\2", 4)});
    openStoreWriter(location(), false)->commit(batch);
    CatalogueWriter writer(location());
    for (const uint32_t n : {3U, 2U}) {
        writer.put(sampleRecording(n));
        writer.commit();
    }
    EXPECT_THAT(titlesIn(location()), ElementsAre("Title 1", "Title 2", "Title 3"));
    CatalogueReader reader(location());
    for (uint32_t n = 1; n <= 3; ++n) EXPECT_EQ(nearest(reader, sampleRecording(n), 1).at(0).id, n);
}

TEST_P(Catalogue, KeepsEverythingThroughManyCommits) {
    CatalogueWriter writer(location());
    std::vector<std::string> expected;
    for (uint32_t n = 1; n <= 30; ++n) {
        writer.put(sampleRecording(n));
        expected.push_back("Title " + std::to_string(n));
        if (n % 3 == 0) writer.commit();
        if (n % 7 == 0) writer.compact();
    }
    writer.commit();
    EXPECT_EQ(titlesIn(location()), expected);
    CatalogueReader reader(location());
    for (uint32_t n = 1; n <= 30; ++n) EXPECT_EQ(nearest(reader, sampleRecording(n), 1).at(0).id, n);
}

TEST_P(Catalogue, GoesToLongerGramsAndBackWithTheSameRecordings) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 12; ++n) writer.put(sampleRecording(n));
    writer.commit();
    EXPECT_EQ(CatalogueReader(location()).gramLetters(), 5U);
    for (const unsigned letters : {6U, 7U, 5U}) {
        SCOPED_TRACE(letters);
        EXPECT_THAT(writer.compact({.gramLetters = letters}), IsEmpty());
        CatalogueReader reader(location());
        EXPECT_EQ(reader.gramLetters(), letters);
        EXPECT_EQ(nearest(reader, sampleRecording(9), 1).at(0).id, 9U);
        EXPECT_EQ(titlesIn(location()).size(), 12U);
        writer.put(sampleRecording(20 + letters));
        writer.commit();
        EXPECT_TRUE(writer.remove(CatalogueReader(location()).byTrackId("T-" + std::to_string(20 + letters)).at(0)));
        writer.commit();
    }
}

TEST_P(Catalogue, IsMadeWithTheGramsThatItIsToHave) {
    CatalogueWriter(location(), 6);
    EXPECT_EQ(CatalogueReader(location()).gramLetters(), 6U);
    CatalogueWriter writer(location(), 7); // it is there already
    EXPECT_EQ(CatalogueReader(location()).gramLetters(), 6U);
}

TEST_P(Catalogue, KnowsAFileWhileItsSizeTimeAndRecordingStay) {
    CatalogueWriter writer(location());
    const std::string path(5000, 'p');
    writer.put(sampleRecording(1));
    writer.rememberFile(path, 10, -20, "hash1");
    for (const bool committed : {false, true}) {
        SCOPED_TRACE(committed);
        if (committed) writer.commit();
        EXPECT_TRUE(writer.isKnownFile(path, 10, -20));
        EXPECT_TRUE(writer.isKnownFile(path, 10, -20, true));
        EXPECT_FALSE(writer.isKnownFile(path, 11, -20));
        EXPECT_FALSE(writer.isKnownFile(path, 10, -21));
        EXPECT_FALSE(writer.isKnownFile(path + "q", 10, -20));
    }
    writer.rememberFile(path, 11, 5, "hash1");
    writer.commit();
    EXPECT_TRUE(writer.isKnownFile(path, 11, 5));
    EXPECT_TRUE(writer.remove(1));
    EXPECT_FALSE(writer.isKnownFile(path, 11, 5));
}

TEST_P(Catalogue, RefusesASecondWriterUntilTheFirstEnds) {
    auto first = std::make_unique<CatalogueWriter>(location());
    try {
        const CatalogueWriter second(location());
        ADD_FAILURE() << "two writers";
    } catch (const CatalogueError& error) {
        EXPECT_THAT(error.what(), HasSubstr("is being written by another process"));
    }
    first.reset();
    EXPECT_NO_THROW(CatalogueWriter{location()});
}

TEST_P(Catalogue, FindsByTrackAndByAlbum) {
    CatalogueWriter writer(location());
    for (uint32_t n = 8; n <= 12; ++n) writer.put(sampleRecording(n));
    writer.commit();
    CatalogueReader reader(location());
    EXPECT_THAT(reader.byTrackId("T-10"), ElementsAre(3));
    EXPECT_THAT(reader.byAlbumId("A-0"), ElementsAre(1, 2));
    EXPECT_THAT(reader.byAlbumId("A-1"), ElementsAre(3, 4, 5));
    EXPECT_THAT(reader.byTrackId("A-1"), IsEmpty());
    EXPECT_THAT(reader.byTrackId(""), IsEmpty());
    EXPECT_THAT(reader.byTrackId(std::string(4000, 'x')), IsEmpty());
}

TEST_P(Catalogue, ScoresAddTheWeightsOfTheGramsThatARecordingHolds) {
    CatalogueWriter writer(location());
    writer.put(withLetters(1, "abcdefg")); // abcde, bcdef, cdefg
    writer.put(withLetters(2, "abcdefx")); // abcde, bcdef
    writer.put(withLetters(3, "cdefg"));
    writer.commit();
    writer.put(withLetters(4, "bcdef"));
    writer.commit();
    CatalogueReader reader(location());
    const std::vector<ListNumber> lists = listsOf(withLetters(1, "abcdefgh").codes, 5); // and defgh, which nobody holds
    Lookup lookup = reader.lookUp(lists);
    ASSERT_EQ(lookup.size(), 4U);
    EXPECT_EQ(lookup.frequency(0), 2U);
    EXPECT_EQ(lookup.frequency(1), 3U);
    EXPECT_EQ(lookup.frequency(2), 2U);
    EXPECT_EQ(lookup.frequency(3), 0U);
    EXPECT_THAT(reader.best(5), IsEmpty());
    const WeightedGram some[] = {{0, 10}, {3, 7}};
    lookup.add(some);
    EXPECT_THAT(reader.best(5), ElementsAre(Field(&ScoredRecording::id, 1U), Field(&ScoredRecording::id, 2U)));
    const WeightedGram others[] = {{1, 200}, {2, 3000}}; // on top of the first
    lookup.add(others);
    const auto best = reader.best(3);
    ASSERT_EQ(best.size(), 3U);
    EXPECT_EQ(best[0].id, 1U);
    EXPECT_EQ(best[0].score, 3210U);
    EXPECT_EQ(best[1].id, 3U);
    EXPECT_EQ(best[1].score, 3000U);
    EXPECT_EQ(best[2].id, 2U);
    EXPECT_EQ(best[2].score, 210U);
    EXPECT_THAT(reader.best(0), IsEmpty());
    EXPECT_THAT(reader.lookUp({}).size(), 0U); // a new look-up begins at nothing
    EXPECT_THAT(reader.best(3), IsEmpty());
}

TEST_P(Catalogue, CountsAListThatIsLongerThanItsBeginning) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 150; ++n) writer.put(withLetters(n, "abcdefgh"));
    writer.commit();
    CatalogueReader reader(location());
    const Lookup lookup = reader.lookUp(listsOf(withLetters(1, "abcdefgh").codes, reader.gramLetters()));
    EXPECT_EQ(lookup.frequency(0), 150U);
}

TEST_P(Catalogue, MakesItsListsAnewFromTheRecordings) {
    CatalogueWriter writer(location());
    for (uint32_t n = 1; n <= 9; ++n) writer.put(sampleRecording(n));
    writer.commit();
    writer.remove(3);
    EXPECT_THAT(writer.compact({.anew = true}), IsEmpty());
    EXPECT_EQ(titlesIn(location()).size(), 8U);
    CatalogueReader reader(location());
    EXPECT_TRUE(reader.complete());
    EXPECT_EQ(nearest(reader, sampleRecording(9), 1).at(0).id, 9U);
    EXPECT_THAT(reader.byAlbumId("A-0"), ElementsAre(1, 2, 4, 5, 6, 7, 8, 9));
}
