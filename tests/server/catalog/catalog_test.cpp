// SPDX-License-Identifier: Apache-2.0
#include "catalog/catalog.h"
#include "catalog/frequency_table.h"
#include "catalog/recording_packing.h"
#include "catalog/terms.h"
#include "sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <xapian.h>

using namespace tarn::server;
using kvxtest::sampleRecording;
using kvxtest::TemporaryDirectory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

using Outcome = CatalogWriter::Outcome;

std::vector<std::string> titlesIn(const std::string& location) {
    std::vector<std::string> titles;
    CatalogReader reader(location);
    reader.forEach([&](const Recording& recording) { titles.push_back(recording.tags.title); });
    EXPECT_EQ(reader.recordingCount(), titles.size());
    EXPECT_THAT(reader.check(), IsEmpty());
    return titles;
}

// Terms of the recording's grams, each of weight 1.
std::vector<WeightedTerm> termsOf(const Recording& recording) {
    std::set<std::string> texts;
    for (const auto& phase : recording.codes) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            for (const Gram& gram : gramsOf(phase[c].letters)) texts.insert(gramTerm(c, gram.value));
        }
    }
    std::vector<WeightedTerm> terms;
    for (const std::string& text : texts) terms.push_back({text, 1});
    return terms;
}

} // namespace

TEST(GramTerms, AreThreeBytesWithoutZeroAndAllDifferent) {
    EXPECT_EQ(gramTerm(0, 0), "\x01\x01\x01");
    EXPECT_EQ(gramTerm(0, 1), "\x01\x01\x02");
    EXPECT_EQ(gramTerm(0, 255), "\x01\x02\x01");
    EXPECT_EQ(gramTerm(0, 255 * 255), "\x02\x01\x01");
    std::set<std::string> seen;
    for (const size_t codebook : {size_t{0}, size_t{1}}) {
        for (uint32_t value = 0; value < kGramCount; value += 997) {
            const std::string term = gramTerm(codebook, value);
            ASSERT_EQ(term.size(), 3U);
            ASSERT_EQ(term.find('\0'), std::string::npos);
            ASSERT_EQ(gramNumber(term), gramNumber(codebook, value));
            ASSERT_TRUE(seen.insert(term).second);
        }
    }
}

TEST(Catalog, IsNotReadWhereThereIsNone) {
    const TemporaryDirectory folder;
    fs::create_directory(folder / "empty");
    for (const char* name : {"new", "empty"}) {
        SCOPED_TRACE(name);
        try {
            CatalogReader reader(folder / name);
            ADD_FAILURE() << "read";
        } catch (const CatalogError& error) {
            EXPECT_THAT(error.what(), HasSubstr("there is no catalogue at " + folder.file(name)));
        }
        CatalogWriter writer(folder / name);
        EXPECT_EQ(CatalogReader(folder / name).recordingCount(), 0U);
        writer.put(sampleRecording(1));
        writer.commit();
        EXPECT_EQ(CatalogReader(folder / name).recordingCount(), 1U);
    }
}

TEST(Catalog, ShowsWhatWasCommittedAndDropsTheRest) {
    const TemporaryDirectory folder;
    {
        CatalogWriter writer(folder / "c");
        EXPECT_EQ(writer.put(sampleRecording(1)), Outcome::kAdded);
        CatalogReader reader(folder / "c");
        EXPECT_EQ(reader.recordingCount(), 0U);
        writer.commit();
        EXPECT_EQ(reader.recordingCount(), 0U); // the reader has not looked again
        reader.refresh();
        EXPECT_EQ(reader.recordingCount(), 1U);
        writer.put(sampleRecording(2));
        writer.rememberFile("/music/2.flac", 5, 6, "hash2");
    }
    EXPECT_THAT(titlesIn(folder / "c"), ElementsAre("Title 1"));
    EXPECT_FALSE(CatalogWriter(folder / "c").isKnownFile("/music/2.flac", 5, 6));
}

TEST(Catalog, TheSameAudioAgainUpdates) {
    for (const bool merged : {false, true}) {
        SCOPED_TRACE(merged);
        using Titles = std::vector<std::string>;
        // What is in the main database stays there, unseen, and comes back under another id.
        const Titles expected =
            merged ? Titles{"Title 1", "Title 3", "Best title"} : Titles{"Title 1", "Best title", "Title 3"};
        const TemporaryDirectory folder;
        CatalogWriter writer(folder / "c");
        for (uint32_t n = 1; n <= 3; ++n) writer.put(sampleRecording(n));
        writer.commit();
        if (merged) writer.compact();
        EXPECT_TRUE(writer.contains("hash2"));
        EXPECT_FALSE(writer.contains("hash9"));
        EXPECT_EQ(writer.put(sampleRecording(2, "Better title")), Outcome::kUpdated);
        EXPECT_EQ(writer.put(sampleRecording(2, "Best title")), Outcome::kUpdated);
        writer.commit();
        EXPECT_EQ(titlesIn(folder / "c"), expected);
        for (const bool purge : {false, true}) {
            writer.compact(purge);
            EXPECT_EQ(titlesIn(folder / "c"), expected);
        }
        EXPECT_EQ(CatalogReader(folder / "c").recording(merged ? 4 : 2)->tags.title, "Best title");
        EXPECT_EQ(CatalogReader(folder / "c").recording(merged ? 2 : 4), std::nullopt);
    }
}

TEST(Catalog, RemovesFromBothDatabases) {
    for (const bool merged : {false, true}) {
        SCOPED_TRACE(merged);
        const TemporaryDirectory folder;
        CatalogWriter writer(folder / "c");
        for (uint32_t n = 1; n <= 4; ++n) writer.put(sampleRecording(n));
        writer.commit();
        if (merged) writer.compact();
        EXPECT_TRUE(writer.remove(2));
        EXPECT_FALSE(writer.remove(2));
        EXPECT_FALSE(writer.remove(0));
        EXPECT_FALSE(writer.remove(99));
        EXPECT_FALSE(writer.contains("hash2"));
        writer.commit();
        CatalogReader reader(folder / "c");
        EXPECT_EQ(reader.recording(2), std::nullopt);
        EXPECT_THAT(reader.byTrackId("T-2"), IsEmpty());
        EXPECT_THAT(reader.best(termsOf(sampleRecording(2)), 1), IsEmpty());
        EXPECT_THAT(titlesIn(folder / "c"), ElementsAre("Title 1", "Title 3", "Title 4"));
        writer.compact();
        EXPECT_THAT(titlesIn(folder / "c"), ElementsAre("Title 1", "Title 3", "Title 4"));
        EXPECT_EQ(writer.put(sampleRecording(2)), Outcome::kAdded);
        writer.commit();
        EXPECT_EQ(titlesIn(folder / "c").size(), 4U);
    }
}

TEST(Catalog, KeepsRemovedRecordingsOutOfSightUntilItIsWrittenAnew) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    for (uint32_t n = 1; n <= 40; ++n) writer.put(sampleRecording(n));
    writer.rememberFile("/music/3.flac", 5, 6, "hash3");
    writer.compact();
    const auto stored = [&] {
        std::ifstream current(folder / "c/current");
        std::string generation;
        current >> generation;
        return Xapian::Database(folder / ("c/generation-" + generation + "/main")).get_doccount();
    };
    const auto expectWithout = [&](uint32_t gone, size_t count) {
        EXPECT_EQ(titlesIn(folder / "c").size(), count);
        CatalogReader reader(folder / "c");
        EXPECT_THAT(reader.best(termsOf(sampleRecording(gone)), 1),
                    ::testing::Each(::testing::Field(&ScoredRecording::id, ::testing::Ne(gone))));
        EXPECT_FALSE(writer.contains("hash" + std::to_string(gone)));
        EXPECT_TRUE(writer.isKnownFile("/music/3.flac", 5, 6));
    };
    EXPECT_TRUE(writer.remove(7));
    writer.compact();
    EXPECT_EQ(stored(), 40U);
    expectWithout(7, 39);
    EXPECT_TRUE(writer.remove(8)); // remembered beside what the main database says of 7
    EXPECT_FALSE(writer.remove(7));
    writer.commit();
    expectWithout(7, 38);
    expectWithout(8, 38);
    writer.compact();
    EXPECT_EQ(stored(), 40U);
    expectWithout(7, 38);
    expectWithout(8, 38);
    writer.compact(true);
    EXPECT_EQ(stored(), 38U);
    expectWithout(8, 38);
    for (uint32_t id = 10; id < 20; ++id) EXPECT_TRUE(writer.remove(id)); // more than a quarter
    writer.compact();
    EXPECT_EQ(stored(), 28U);
    expectWithout(10, 28);
}

TEST(Catalog, StoresNoTermListsInTheMainDatabase) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    for (uint32_t generation = 2; generation <= 4; ++generation) {
        SCOPED_TRACE(generation);
        writer.put(sampleRecording(generation));
        writer.compact(generation == 4);
        const std::string main = folder / ("c/generation-" + std::to_string(generation) + "/main");
        EXPECT_TRUE(fs::exists(fs::path(main) / "postlist.glass"));
        EXPECT_FALSE(fs::exists(fs::path(main) / "termlist.glass"));
    }
}

TEST(Catalog, StoresNoMorePostingsOfAGramThanMakeItCommon) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    const auto put = [&](uint32_t number) {
        Recording recording = sampleRecording(number);
        for (auto& phase : recording.codes) phase = {};
        recording.codes[0][0] = {.letters = "abcde", .frames = {1, 2, 3, 4, 5}};
        recording.codes[0][1] = {.letters = number % 2 == 0 ? "fghij" : "klmno", .frames = {1, 2, 3, 4, 5}};
        writer.put(recording);
    };
    const auto common = gramsOf("abcde").at(0).value;
    const auto held = gramsOf("fghij").at(0).value;
    for (uint32_t n = 1; n <= kCommonGram - 10; ++n) put(n);
    for (int time = 0; time < 30; ++time) put(2); // again: nothing more is stored
    writer.compact();
    for (uint32_t n = kCommonGram - 9; n <= kCommonGram + 20; ++n) put(n);
    for (const bool purge : {false, true}) {
        SCOPED_TRACE(purge);
        EXPECT_EQ(purge && writer.remove(1), purge);
        writer.compact(purge);
        CatalogReader reader(folder / "c");
        EXPECT_EQ(reader.recordingCount(), kCommonGram + (purge ? 19 : 20));
        EXPECT_EQ(reader.frequency(gramTerm(0, common)), kCommonGram);
        EXPECT_EQ(reader.frequency(gramTerm(1, held)), kCommonGram / 2 + 10);
        EXPECT_THAT(reader.check(), IsEmpty());
    }
}

TEST(Catalog, SaysThatARecordingHasLostItsData) {
    const TemporaryDirectory folder;
    {
        CatalogWriter writer(folder / "c");
        for (uint32_t n = 1; n <= 3; ++n) writer.put(sampleRecording(n));
        writer.commit();
    }
    {
        Xapian::WritableDatabase database(folder / "c/generation-1/recent", Xapian::DB_OPEN);
        database.set_metadata(recordingKey(2), "");
        database.commit();
    }
    EXPECT_THAT(CatalogReader(folder / "c").check(), ElementsAre(HasSubstr("recording 2 is damaged")));
}

TEST(Catalog, StaysSoundWhenEverythingIsRemovedAndMerged) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    for (uint32_t n = 1; n <= 3; ++n) writer.put(sampleRecording(n));
    writer.compact();
    for (uint32_t id = 1; id <= 3; ++id) EXPECT_TRUE(writer.remove(id));
    writer.compact();
    EXPECT_THAT(titlesIn(folder / "c"), IsEmpty());
    writer.put(sampleRecording(8));
    writer.compact();
    EXPECT_THAT(titlesIn(folder / "c"), ElementsAre("Title 8"));
}

TEST(Catalog, MergesManyTimesWithoutLosingOrDoublingAnything) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    std::vector<std::string> expected;
    for (uint32_t n = 1; n <= 30; ++n) {
        writer.put(sampleRecording(n));
        expected.push_back("Title " + std::to_string(n));
        if (n % 3 == 0) writer.commit();
        if (n % 7 == 0) writer.compact();
    }
    writer.commit();
    EXPECT_EQ(titlesIn(folder / "c"), expected);
}

TEST(Catalog, KnowsAFileWhileItsSizeTimeAndRecordingStay) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    const std::string path(5000, 'p');
    writer.put(sampleRecording(1));
    writer.rememberFile(path, 10, -20, "hash1");
    for (const bool merged : {false, true}) {
        SCOPED_TRACE(merged);
        if (merged) writer.compact();
        EXPECT_TRUE(writer.isKnownFile(path, 10, -20));
        EXPECT_FALSE(writer.isKnownFile(path, 11, -20));
        EXPECT_FALSE(writer.isKnownFile(path, 10, -21));
        EXPECT_FALSE(writer.isKnownFile(path + "q", 10, -20));
    }
    writer.rememberFile(path, 11, 5, "hash1"); // the later entry wins, before the merge and after it
    EXPECT_TRUE(writer.isKnownFile(path, 11, 5));
    writer.put(sampleRecording(2));
    writer.compact();
    EXPECT_TRUE(writer.isKnownFile(path, 11, 5));
    EXPECT_TRUE(writer.remove(1));
    EXPECT_FALSE(writer.isKnownFile(path, 11, 5));
}

TEST(Catalog, RefusesASecondWriterUntilTheFirstEnds) {
    const TemporaryDirectory folder;
    auto first = std::make_unique<CatalogWriter>(folder / "c");
    try {
        const CatalogWriter second(folder / "c");
        ADD_FAILURE() << "two writers";
    } catch (const CatalogError& error) {
        EXPECT_THAT(error.what(), HasSubstr("is being written by another process"));
    }
    first.reset();
    EXPECT_NO_THROW(CatalogWriter(folder / "c"));
}

TEST(Catalog, ReaderLivesThroughCommitsAndMerges) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    writer.put(sampleRecording(1));
    writer.commit();
    CatalogReader reader(folder / "c");
    for (uint32_t n = 2; n <= 20; ++n) {
        writer.put(sampleRecording(n));
        writer.commit();
        if (n % 5 == 0) writer.compact();
        // Without a refresh: what the reader holds may be gone, and then it looks anew.
        EXPECT_EQ(reader.recording(1)->tags.title, "Title 1");
        EXPECT_EQ(reader.best(termsOf(sampleRecording(1)), 1).at(0).id, 1U);
        if (n % 3 == 0) reader.refresh();
    }
    reader.refresh();
    EXPECT_EQ(reader.recordingCount(), 20U);
}

TEST(Catalog, FindsByTrackAndByAlbum) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    for (uint32_t n = 8; n <= 12; ++n) writer.put(sampleRecording(n));
    writer.commit();
    CatalogReader reader(folder / "c");
    EXPECT_THAT(reader.byTrackId("T-10"), ElementsAre(3));
    EXPECT_THAT(reader.byAlbumId("A-0"), ElementsAre(1, 2));
    EXPECT_THAT(reader.byAlbumId("A-1"), ElementsAre(3, 4, 5));
    EXPECT_THAT(reader.byTrackId("A-1"), IsEmpty());
    EXPECT_THAT(reader.byTrackId(""), IsEmpty());
    EXPECT_THAT(reader.byTrackId(std::string(4000, 'x')), IsEmpty());
}

TEST(Catalog, ScoresAddTheWeightsOfTheTermsThatARecordingHolds) {
    const TemporaryDirectory folder;
    CatalogWriter writer(folder / "c");
    for (uint32_t n = 1; n <= 6; ++n) writer.put(sampleRecording(n));
    writer.compact();
    for (uint32_t n = 7; n <= 9; ++n) writer.put(sampleRecording(n));
    writer.commit();
    CatalogReader reader(folder / "c");
    std::vector<WeightedTerm> terms = termsOf(sampleRecording(4));
    const auto all = static_cast<uint32_t>(terms.size());
    const std::string ofEight = termsOf(sampleRecording(8)).front().term;
    terms.push_back({ofEight, 7});
    terms.push_back({gramTerm(0, 12345), 1000}); // nobody holds it
    const std::vector<ScoredRecording> best = reader.best(terms, 2);
    ASSERT_EQ(best.size(), 2U);
    EXPECT_EQ(best[0].id, 4U);
    EXPECT_GE(best[0].score, all);
    EXPECT_EQ(best[1].id, 8U);
    EXPECT_GE(best[1].score, 7U);
    EXPECT_EQ(reader.frequency(ofEight), 1U);
    EXPECT_EQ(reader.frequency(gramTerm(0, 12345)), 0U);
    EXPECT_THAT(reader.best(terms, 0), IsEmpty());
    EXPECT_THAT(reader.best({}, 5), IsEmpty());
}

TEST(Catalog, SaysWhatIsDamaged) {
    const TemporaryDirectory folder;
    {
        CatalogWriter writer(folder / "c");
        for (uint32_t n = 1; n <= 40; ++n) writer.put(sampleRecording(n));
        writer.compact();
    }
    const fs::path main = fs::path(folder / "c") / "generation-2" / "main" / "postlist.glass";
    ASSERT_TRUE(fs::exists(main));
    {
        std::fstream file(main, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(8192 + 100);
        file << std::string(6000, '\xee');
    }
    bool noticed = false;
    try {
        CatalogReader reader(folder / "c");
        noticed = !reader.check().empty();
    } catch (const CatalogError&) {
        noticed = true;
    }
    EXPECT_TRUE(noticed);
}

TEST(Catalog, RefusesACurrentFileThatNamesNothing) {
    const TemporaryDirectory folder;
    { const CatalogWriter writer(folder / "c"); }
    for (const char* text : {"", "main\n", "-1\n", "1 2\n"}) {
        SCOPED_TRACE(text);
        std::ofstream(fs::path(folder / "c") / "current") << text;
        EXPECT_THROW(CatalogReader(folder / "c"), CatalogError);
        EXPECT_THROW(CatalogWriter(folder / "c"), CatalogError);
    }
    std::ofstream(fs::path(folder / "c") / "current") << "17\n"; // a generation that is not there
    EXPECT_THROW(CatalogReader(folder / "c"), CatalogError);
    EXPECT_THROW(CatalogWriter(folder / "c"), CatalogError);
}

TEST(Catalog, SaysThatItsFrequenciesAreNotItsOwn) {
    const TemporaryDirectory folder;
    for (const uint32_t first : {1U, 2U}) {
        CatalogWriter writer(folder / std::to_string(first));
        for (uint32_t n = first; n <= 5; ++n) writer.put(sampleRecording(n));
        writer.compact();
    }
    EXPECT_THAT(CatalogReader(folder / "1").check(), IsEmpty());
    {
        const Xapian::Database other(folder / "2/generation-2/main");
        Xapian::WritableDatabase main(folder / "1/generation-2/main", Xapian::DB_OPEN | Xapian::DB_NO_TERMLIST);
        FrequencyTable::store(main, other);
        main.commit();
    }
    EXPECT_THAT(CatalogReader(folder / "1").check(), ElementsAre(HasSubstr("its frequencies do not agree with it")));
}

TEST(Catalog, OfAnotherFormatIsRefusedInWords) {
    for (const bool merged : {false, true}) {
        SCOPED_TRACE(merged);
        const TemporaryDirectory folder;
        {
            CatalogWriter writer(folder / "c");
            writer.put(sampleRecording(1));
            writer.commit();
            if (merged) writer.compact(true);
        }
        for (const char* format : {"", "2", "4"}) {
            {
                const int flags = int{Xapian::DB_OPEN} | (merged ? int{Xapian::DB_NO_TERMLIST} : 0);
                Xapian::WritableDatabase database(folder / (merged ? "c/generation-2/main" : "c/generation-1/recent"),
                                                  flags);
                ASSERT_EQ(database.get_doccount(), 1U);
                database.set_metadata("format", format);
                database.commit();
            }
            const auto expectRefused = [](const auto& open) {
                try {
                    open();
                    ADD_FAILURE() << "accepted";
                } catch (const CatalogError& error) {
                    EXPECT_THAT(error.what(), HasSubstr("of another version of the format"));
                }
            };
            expectRefused([&] { CatalogReader(folder / "c"); });
            expectRefused([&] { CatalogWriter(folder / "c"); });
        }
    }
}

TEST(Catalog, RefusesARecordingOfAnotherFormatInWords) {
    const TemporaryDirectory folder;
    {
        CatalogWriter writer(folder / "c");
        writer.put(sampleRecording(1));
        writer.commit();
    }
    {
        Xapian::WritableDatabase database(folder / "c/generation-1/recent", Xapian::DB_OPEN);
        std::string data = database.get_metadata(recordingKey(1));
        ++data[0];
        database.set_metadata(recordingKey(1), data);
        database.commit();
    }
    CatalogReader reader(folder / "c");
    try {
        reader.recording(1);
        ADD_FAILURE() << "accepted";
    } catch (const CatalogError& error) {
        EXPECT_THAT(error.what(), HasSubstr("recording 1 is damaged or of another version of the format"));
    }
}
