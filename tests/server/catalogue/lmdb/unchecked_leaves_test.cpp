// SPDX-License-Identifier: Apache-2.0
// A writer that adds checks only the pages that it comes to. The others may hold anything.
#include "catalogue/catalogue.h"
#include "catalogue/lmdb/environment.h"
#include "support/files.h"
#include "support/rounds.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::sampleRecording;
using kvxtest::TemporaryDirectory;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

constexpr size_t kPageBytes = 4096; // of the machines that this is tested on
constexpr char kFile[] = "catalogue.mdb";

fs::path copyOf(const std::string& bytes, const fs::path& folder) {
    fs::create_directory(folder);
    std::ofstream(folder / kFile, std::ios::binary) << bytes;
    return folder;
}

// With a thousand leaves of values, of which files that were read make most. `commits`: of how many, so that runs of
// lists are of different ages.
void makeCatalogue(const fs::path& folder, uint32_t commits) {
    constexpr uint32_t kRecordings = 60;
    constexpr uint32_t kFiles = 50'000;
    CatalogueWriter writer(folder);
    for (uint32_t n = 1; n <= kRecordings; ++n) {
        writer.put(sampleRecording(n));
        if (n % (kRecordings / commits) == 0) writer.commit();
    }
    for (uint32_t n = 1; n <= kFiles; ++n) writer.rememberFile("/music/" + std::to_string(n), n, 0, "hash");
    writer.commit();
}

// One recording that is new; what was unchecked after it.
std::vector<uint64_t> addOne(const fs::path& folder) {
    CatalogueWriter writer(folder);
    writer.put(sampleRecording(1000));
    writer.commit();
    return lmdb::Environment::open(folder, false, lmdb::Check::kAsReached)->uncheckedPages();
}

std::vector<uint64_t> leavesOf(const fs::path& folder) {
    std::vector<uint64_t> leaves;
    const lmdb::PageFile file(folder / kFile);
    const std::array<lmdb::Head, lmdb::kHeads> heads = file.heads();
    const lmdb::ChooseLeaf note = [&](uint64_t number, const lmdb::KeyRange&) {
        leaves.push_back(number);
        return true;
    };
    lmdb::checkTrees(file, heads[0].transaction > heads[1].transaction ? heads[0] : heads[1], note);
    return leaves;
}

std::string problemOf(const fs::path& folder) {
    try {
        CatalogueReader reader(folder);
        const auto damage = reader.check(true);
        return damage.empty() ? "" : damage.front();
    } catch (const CatalogueError& error) {
        return error.what();
    }
}

} // namespace

// LMDB would end the process, or fail, on a page of nothing but ones.
TEST(UncheckedLeaves, AreNeverComeTo) {
    for (const uint32_t commits : {1U, 2U, 5U, 12U, 30U}) {
        SCOPED_TRACE(commits);
        const TemporaryDirectory folder;
        makeCatalogue(folder / "c", commits);
        const std::string good = contents(folder / "c" / kFile);
        const std::vector<uint64_t> unchecked = addOne(copyOf(good, folder / "added"));
        ASSERT_GT(unchecked.size(), 20U);
        std::string spoilt = good;
        for (const uint64_t page : unchecked) spoilt.replace(page * kPageBytes, kPageBytes, kPageBytes, '\xff');
        EXPECT_EQ(addOne(copyOf(spoilt, folder / "spoilt")), unchecked);

        // And with the good pages again, it is the same catalogue.
        std::string mended = contents(folder / "spoilt" / kFile);
        for (const uint64_t page : unchecked)
            mended.replace(page * kPageBytes, kPageBytes, good, page * kPageBytes, kPageBytes);
        EXPECT_TRUE(mended == contents(folder / "added" / kFile));
        EXPECT_EQ(problemOf(copyOf(mended, folder / "mended")), "");
    }
}

TEST(UncheckedLeaves, AreCheckedBeforeTheFileIsReadOrWrittenFurther) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c", 6);
    const std::string good = contents(folder / "c" / kFile);
    const uint64_t page = addOne(copyOf(good, folder / "added")).back();
    std::string spoilt = good;
    spoilt.replace(page * kPageBytes, kPageBytes, kPageBytes, '\xff');
    const std::string said = "page " + std::to_string(page) + " is damaged";
    struct {
        const char* name;
        std::function<void(const fs::path&, CatalogueWriter&)> act;
    } const cases[] = {
        {"a reader", [](const fs::path& at, CatalogueWriter&) { CatalogueReader reader(at); }},
        {"a second commit", [](const fs::path&, CatalogueWriter& writer) { writer.commit(); }},
        {"a removal",
         [](const fs::path&, CatalogueWriter& writer) {
             writer.remove(1);
             writer.commit();
         }},
        {"making lists", [](const fs::path&, CatalogueWriter& writer) { writer.compact({.anew = true}); }},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const fs::path at = copyOf(spoilt, folder / each.name);
        CatalogueWriter writer(at);
        writer.put(sampleRecording(1000));
        writer.commit();
        try {
            each.act(at, writer);
            ADD_FAILURE() << "not noticed";
        } catch (const CatalogueError& error) {
            EXPECT_THAT(error.what(), HasSubstr(said));
        }
    }
}

// What was added beside a wrong byte is there when the byte is right again; nothing was made of it.
TEST(UncheckedLeaves, LeaveAWrongByteWhereItIs) {
    const TemporaryDirectory folder;
    makeCatalogue(folder / "c", 6);
    const std::string good = contents(folder / "c" / kFile);
    const size_t recordings = CatalogueReader(folder / "c").recordingCount();
    std::mt19937 dice(9);
    size_t refused = 0;
    size_t added = 0;
    const std::vector<uint64_t> leaves = leavesOf(folder / "c");
    const uint32_t rounds = kvxtest::rounds(20);
    for (uint32_t round = 0; round < rounds; ++round) {
        // The first one holds runs of lists, so it is always come to.
        const size_t page = leaves[round % 4 == 0 ? 0 : dice() % leaves.size()];
        const size_t place = page * kPageBytes + (round % 2 == 0 ? dice() % kPageBytes : dice() % 160);
        std::string bytes = good;
        bytes[place] = static_cast<char>(bytes[place] ^ (1 << dice() % 8));
        SCOPED_TRACE("byte " + std::to_string(place));
        const fs::path copy = copyOf(bytes, folder / ("copy" + std::to_string(round)));
        try {
            addOne(copy);
            ++added;
        } catch (const CatalogueError&) {
            ++refused;
            fs::remove_all(copy);
            continue;
        }
        std::string after = contents(copy / kFile);
        if (after[place] == bytes[place]) after[place] = good[place];
        const fs::path mended = copyOf(after, folder / ("mended" + std::to_string(round)));
        // A value that shared a page with what was written is noticed by its own checksum.
        const std::string problem = problemOf(mended);
        EXPECT_TRUE(problem.empty() || problem.find("values are damaged") != std::string::npos) << problem;
        EXPECT_EQ(CatalogueReader(mended).recordingCount(), recordings + 1);
        fs::remove_all(copy);
        fs::remove_all(mended);
    }
    EXPECT_GT(added, 0U);
    EXPECT_GT(refused, 0U);
}
