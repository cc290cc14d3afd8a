#include "catalog/frequency_table.h"

#include "catalog/terms.h"
#include "sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

using namespace tarn::server;
using kvxtest::TemporaryDirectory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

struct Known {
    uint32_t gram;
    unsigned documents;
};

// The first and the last gram there are, neighbours in one pair of digits, and some between.
const std::vector<Known> kKnown = {{0, 3}, {1, 1}, {254, 2}, {255, 5}, {70000, 4}, {2 * kGramCount - 1, 6}};

std::string termOf(uint32_t gram) { return gramTerm(gram / kGramCount, gram % kGramCount); }

// Each gram in so many documents; other terms beside them.
void makeDatabase(const std::string& path, const std::vector<Known>& known) {
    Xapian::WritableDatabase database(path, Xapian::DB_CREATE_OR_OVERWRITE);
    for (unsigned number = 0; number < 10; ++number) {
        Xapian::Document document;
        for (const Known& k : known) {
            if (number < k.documents) document.add_boolean_term(termOf(k.gram));
        }
        document.add_boolean_term(trackTerm("T-" + std::to_string(number)));
        document.add_boolean_term(kOverrides);
        database.add_document(document);
    }
    database.commit();
}

} // namespace

TEST(FrequencyTable, SaysOfEachGramWhatItsDatabaseSays) {
    const TemporaryDirectory folder;
    makeDatabase(folder / "db", kKnown);
    const Xapian::Database database(folder / "db");
    FrequencyTable::write(folder / "table", database);
    const FrequencyTable written(folder.file("table"));
    const auto read = FrequencyTable::of("somewhere", database);
    for (const FrequencyTable* table : {&written, read.get()}) {
        for (const Known& k : kKnown) EXPECT_EQ(table->frequency(termOf(k.gram)), k.documents) << k.gram;
        for (const uint32_t gram : {2U, 253U, 256U, 69999U, kGramCount, 2 * kGramCount - 2}) {
            EXPECT_EQ(table->frequency(termOf(gram)), 0U) << gram;
        }
        for (const std::string& other : {std::string(), std::string("O"), trackTerm("T-1"), std::string("a\0b", 3)}) {
            EXPECT_EQ(table->frequency(other), 0U) << other;
        }
        EXPECT_TRUE(table->agreesWith(database));
    }
}

TEST(FrequencyTable, NoticesThatADatabaseIsAnother) {
    const TemporaryDirectory folder;
    makeDatabase(folder / "db", kKnown);
    FrequencyTable::write(folder / "table", Xapian::Database(folder / "db"));
    std::vector<Known> other = kKnown;
    other[2].documents = 7;
    makeDatabase(folder / "other", other);
    EXPECT_FALSE(FrequencyTable(folder.file("table")).agreesWith(Xapian::Database(folder / "other")));
    makeDatabase(folder / "empty", {});
    EXPECT_FALSE(FrequencyTable(folder.file("table")).agreesWith(Xapian::Database(folder / "empty")));
}

TEST(FrequencyTable, OfADatabaseThatChangedIsReadAgain) {
    const TemporaryDirectory folder;
    makeDatabase(folder / "db", kKnown);
    Xapian::WritableDatabase database(folder / "db", Xapian::DB_OPEN);
    EXPECT_EQ(FrequencyTable::of("place", database)->frequency(termOf(1)), 1U);
    EXPECT_EQ(FrequencyTable::of("place", database), FrequencyTable::of("place", database));
    Xapian::Document document;
    document.add_boolean_term(termOf(1));
    database.add_document(document);
    database.commit();
    EXPECT_EQ(FrequencyTable::of("place", database)->frequency(termOf(1)), 2U);
}

TEST(FrequencyTable, IsRefusedWhenItIsMissingOrDamaged) {
    const TemporaryDirectory folder;
    EXPECT_THROW(FrequencyTable(folder.file("none")), Xapian::DatabaseOpeningError);
    makeDatabase(folder / "db", kKnown);
    FrequencyTable::write(folder / "table", Xapian::Database(folder / "db"));
    std::string whole;
    {
        std::ifstream in(folder / "table", std::ios::binary);
        whole.assign(std::istreambuf_iterator<char>(in), {});
    }
    std::string otherFormat = whole;
    otherFormat[7] = '2';
    std::string wildIndex = whole;
    wildIndex[8 + 4 * 100] = '\x7f'; // more entries before than there are behind
    for (const std::string& bytes : {std::string(), whole.substr(0, 100), whole.substr(0, whole.size() - 1),
                                     whole + "x", otherFormat, wildIndex}) {
        SCOPED_TRACE(bytes.size());
        std::ofstream(folder / "damaged", std::ios::binary | std::ios::trunc) << bytes;
        EXPECT_THROW(FrequencyTable(folder.file("damaged")), Xapian::DatabaseCorruptError);
    }
}
