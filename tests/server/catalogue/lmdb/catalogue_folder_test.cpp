// SPDX-License-Identifier: Apache-2.0
// What only a catalogue's folder does.
#include "catalogue/catalogue.h"
#include "catalogue/lmdb/page_check.h"
#include "catalogue/lmdb/page_layout.h"
#include "support/files.h"
#include "support/rounds.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <lmdb.h>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::sampleRecording;
using kvxtest::TemporaryDirectory;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

std::string problemOf(const std::string& location) {
    try {
        CatalogueReader reader(location);
        const auto damage = reader.check(true);
        return damage.empty() ? "" : damage.front();
    } catch (const CatalogueError& error) {
        return error.what();
    }
}

// Added in several commits, with removals, so that there are free pages and runs of many ages.
void makeCatalogue(const std::string& location) {
    CatalogueWriter writer(location);
    for (uint32_t n = 1; n <= 30; ++n) {
        writer.put(sampleRecording(n));
        if (n % 4 == 0) writer.remove(n / 2);
        if (n % 3 == 0) writer.commit();
    }
    writer.commit();
}

} // namespace

TEST(CatalogueFolder, ThatIsSoundIsFoundSound) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c");
    EXPECT_EQ(problemOf(folder / "c"), "");
    EXPECT_EQ(lmdb::headProblem(folder / "c/catalogue.mdb"), "");
}

// Both heads of an empty file are of transaction 0, and LMDB reads the first.
TEST(CatalogueFolder, AnEmptyFileThatNamesAPageBeyondItsEndIsFoundDamaged) {
    const TemporaryDirectory folder;
    const std::string file = folder / "catalogue.mdb";
    MDB_env* environment = nullptr;
    ASSERT_EQ(mdb_env_create(&environment), 0);
    ASSERT_EQ(mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR | MDB_NOLOCK, 0600), 0);
    mdb_env_close(environment);
    const std::string sound = contents(file);
    EXPECT_EQ(lmdb::headProblem(file) + lmdb::structureProblem(file, 0), "");
    constexpr size_t kLastPage = sizeof(lmdb::PageHead) + offsetof(lmdb::Head, lastPage);
    for (const size_t head : {size_t{0}, sound.size() / 2}) {
        SCOPED_TRACE(head);
        std::string bytes = sound;
        bytes[head + kLastPage + 7] = '\x01'; // 2^56 pages
        std::ofstream(file, std::ios::binary) << bytes;
        EXPECT_THAT(lmdb::headProblem(file), HasSubstr("is damaged: it is cut short"));
        EXPECT_THAT(lmdb::structureProblem(file, 0), HasSubstr("is damaged: it is cut short"));
    }
}

TEST(CatalogueFolder, OfAnEarlierFormatIsRefusedInWords) {
    for (const char* name : {"current", "generation-3"}) {
        const TemporaryDirectory folder;
        fs::create_directory(folder / "c");
        std::ofstream(folder / "c" / name) << "3\n";
        for (const bool write : {false, true}) {
            try {
                if (write) {
                    CatalogueWriter writer(folder / "c");
                } else {
                    CatalogueReader reader(folder / "c");
                }
                ADD_FAILURE() << "opened";
            } catch (const CatalogueError& error) {
                EXPECT_THAT(error.what(), HasSubstr("of another version of the format; make it anew"));
            }
        }
    }
}

TEST(CatalogueFolder, ThatHasLostItsFileIsNotMadeAnew) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c");
    fs::remove(folder / "c/catalogue.mdb");
    EXPECT_THROW(CatalogueWriter{folder / "c"}, CatalogueError);
    EXPECT_FALSE(fs::exists(folder / "c/catalogue.mdb"));
}

TEST(CatalogueFolder, NoticesThatAnotherFileLiesInItsPlace) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c");
    CatalogueReader reader(folder / "c");
    fs::rename(folder / "c", folder / "moved");
    EXPECT_THROW(reader.refresh(), CatalogueError);
    CatalogueWriter(folder / "c").put(sampleRecording(1));
    EXPECT_THROW(reader.refresh(), CatalogueError);
    EXPECT_EQ(CatalogueReader(folder / "c").recordingCount(), 0U);
    EXPECT_GT(CatalogueReader(folder / "moved").recordingCount(), 0U);
}

TEST(CatalogueFolder, IsCopiedWholeWhileItIsWritten) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c");
    CatalogueWriter writer(folder / "c");
    CatalogueReader reader(folder / "c");
    writer.put(sampleRecording(99));
    reader.backUp(folder / "copy");
    writer.commit();
    CatalogueReader copy(folder / "copy");
    EXPECT_EQ(copy.recordingCount(), reader.recordingCount());
    EXPECT_THAT(copy.check(true), IsEmpty());
    EXPECT_THROW(reader.backUp(folder / "copy"), CatalogueError);
}

TEST(CatalogueFolder, SurvivesAReaderThatRestsWhileItGrows) {
    const TemporaryDirectory folder;
    CatalogueWriter writer(folder / "c");
    CatalogueReader reader(folder / "c");
    uint64_t before = 0;
    for (uint32_t n = 1; n <= 60; ++n) {
        reader.rest();
        writer.put(sampleRecording(n % 5)); // the same few again and again
        writer.commit();
        reader.refresh();
        EXPECT_EQ(reader.recordingCount(), std::min(n, 5U));
        if (n == 20) before = reader.bytesTaken().value();
    }
    EXPECT_LE(reader.bytesTaken().value(), before * 2); // room is used again
}

// Every byte of every page that LMDB follows: a wrong one is noticed, or does no harm.
TEST(CatalogueFolder, IsReadWithoutHarmWhateverByteIsWrong) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c");
    const std::string good = contents(folder / "c/catalogue.mdb");
    std::mt19937 dice(8);
    size_t noticed = 0;
    const uint32_t rounds = kvxtest::rounds(60);
    for (uint32_t round = 0; round < rounds; ++round) {
        std::string bytes = good;
        // Half of them where there is most to harm: the heads of pages.
        const size_t page = dice() % (bytes.size() / 4096);
        const size_t place = page * 4096 + (round % 2 == 0 ? dice() % 4096 : dice() % 160);
        bytes[place] = static_cast<char>(bytes[place] ^ (1 << dice() % 8));
        const fs::path copy = folder / ("copy" + std::to_string(round));
        fs::create_directory(copy);
        std::ofstream(copy / "catalogue.mdb", std::ios::binary) << bytes;
        if (!problemOf(copy).empty()) ++noticed;
        try {
            CatalogueWriter writer(copy);
            writer.put(sampleRecording(200));
            writer.commit();
            writer.compact({.anew = round % 3 != 0});
        } catch (const CatalogueError&) {
            // refused, and not harmed further
        }
        fs::remove_all(copy);
    }
    EXPECT_GT(noticed, 4U);
}
