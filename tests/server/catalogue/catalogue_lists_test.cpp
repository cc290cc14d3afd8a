// SPDX-License-Identifier: Apache-2.0
// What the lists of a catalogue do, whichever engine stores them.
#include "catalogue/catalogue.h"
#include "catalogue/gram_lists.h"
#include "server/catalogue/catalogue_suite.h"
#include "server/catalogue/engines.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using kvxtest::Catalogue;
using kvxtest::nearest;
using kvxtest::titlesIn;

using namespace tarn::server;

using kvxtest::sampleRecording;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;

namespace {

Recording withLetters(uint32_t number, const std::string& letters) {
    Recording recording = sampleRecording(number);
    for (auto& coding : recording.codes) coding = {};
    recording.codes[0][0] = {.letters = letters, .frames = std::vector<uint32_t>(letters.size(), 1)};
    return recording;
}

} // namespace

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
