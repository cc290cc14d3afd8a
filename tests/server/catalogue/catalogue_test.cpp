// SPDX-License-Identifier: Apache-2.0
// What a catalogue does, whichever engine stores it.
#include "catalogue/catalogue.h"
#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/recording_packing.h"
#include "catalogue/store.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/catalogue_suite.h"
#include "server/catalogue/engines.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using kvxtest::Catalogue;
using kvxtest::errorOf;
using kvxtest::nearest;
using kvxtest::titlesIn;

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

TEST_P(Catalogue, OfAnotherVersionOfTheFormatIsRefusedAndLeftAsItIs) {
    for (const char* version : {"3", "5"}) {
        SCOPED_TRACE(version);
        const std::vector<std::string> keys = {kFormatKey, kStateKey};
        openStoreWriter(location(), true)->commit({24, {}, {{kFormatKey, version}, {kStateKey, "of its own"}}});
        const auto refusal = [](const std::function<void()>& open) {
            EXPECT_THAT(errorOf(open),
                        HasSubstr("of another version of the format; make it anew: run tarn-server add"));
        };
        refusal([&] { CatalogueReader reader(location()); });
        refusal([&] { CatalogueWriter writer(location()); });
        const auto store = openStoreReader(location());
        store->refresh();
        const std::vector<StoredValue> values = store->values(keys);
        EXPECT_EQ(values[0].bytes, version);
        EXPECT_EQ(values[1].bytes, "of its own");
    }
}

TEST_P(Catalogue, ShowsAStretchOfItsRecordingsInTheOrderOfTheirIds) {
    {
        CatalogueWriter writer(location());
        for (uint32_t number = 1; number <= 5; ++number) writer.put(sampleRecording(number));
        writer.commit();
        writer.remove(2);
        writer.remove(5);
        writer.commit();
    }
    constexpr uint32_t kAll = 4'000'000'000;
    const struct {
        const char* name;
        uint32_t after;
        uint32_t mostIds;
        size_t enough; // recordings, after which the visitor says so
        std::vector<uint32_t> ids;
        std::optional<uint32_t> goOnAfter;
    } cases[] = {
        {"all", 0, kAll, 9, {1, 3, 4}, std::nullopt},
        {"enough at the first", 0, kAll, 1, {1}, 1},
        {"a bound of ids", 0, 2, 9, {1}, 2},
        {"from there on", 2, 2, 9, {3, 4}, 4},
        {"only what was removed", 4, 2, 9, {}, std::nullopt},
        {"no id", 1, 0, 9, {}, 1},
        {"after the last", 5, kAll, 9, {}, std::nullopt},
        {"far after the last", kAll, kAll, 9, {}, std::nullopt},
    };
    CatalogueReader reader(location());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint32_t> ids;
        const auto goOnAfter = reader.forSome(c.after, c.mostIds, [&](const Recording& recording) {
            ids.push_back(recording.id);
            return ids.size() < c.enough;
        });
        EXPECT_EQ(ids, c.ids);
        EXPECT_EQ(goOnAfter, c.goOnAfter);
    }
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
