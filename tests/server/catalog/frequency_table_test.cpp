// SPDX-License-Identifier: Apache-2.0
#include "catalog/frequency_table.h"

#include "catalog/terms.h"
#include "sample_recording.h"

#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::TemporaryDirectory;

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
        document.add_boolean_term("O");
        database.add_document(document);
    }
    database.commit();
}

} // namespace

TEST(FrequencyTable, SaysOfEachGramWhatItsDatabaseSays) {
    const TemporaryDirectory folder;
    makeDatabase(folder / "db", kKnown);
    const Xapian::Database database(folder / "db");
    {
        Xapian::WritableDatabase carrier(folder / "carrier", Xapian::DB_CREATE);
        FrequencyTable::store(carrier, database);
        carrier.commit();
    }
    for (const char* place : {"db", "carrier"}) {
        SCOPED_TRACE(place);
        const auto table = FrequencyTable::of(folder / place, Xapian::Database(folder / place));
        for (const Known& k : kKnown) EXPECT_EQ(table->frequency(termOf(k.gram)), k.documents) << k.gram;
        for (const uint32_t gram : {2U, 253U, 256U, 69999U, kGramCount, 2 * kGramCount - 2}) {
            EXPECT_EQ(table->frequency(termOf(gram)), 0U) << gram;
        }
        for (const std::string& other : {std::string(), std::string("O"), trackTerm("T-1"), std::string("a\0b", 3)}) {
            EXPECT_EQ(table->frequency(other), 0U) << other;
        }
    }
}

TEST(FrequencyTable, OfManyGramsIsCarriedInPieces) {
    const TemporaryDirectory folder;
    Xapian::WritableDatabase database(folder / "db", Xapian::DB_CREATE);
    Xapian::Document document;
    constexpr uint32_t kMany = 200'000;
    for (uint32_t i = 0; i < kMany; ++i) document.add_boolean_term(termOf(7 * i));
    database.add_document(document);
    database.commit();
    Xapian::WritableDatabase carrier(folder / "carrier", Xapian::DB_CREATE);
    FrequencyTable::store(carrier, database);
    carrier.commit();
    EXPECT_NE(carrier.get_metadata("frequencies3"), "");
    const auto table = FrequencyTable::of(folder / "carrier", carrier);
    for (uint32_t i = 0; i < kMany; i += 999) EXPECT_EQ(table->frequency(termOf(7 * i)), 1U);
}

TEST(FrequencyTable, NoticesThatADatabaseIsAnother) {
    const TemporaryDirectory folder;
    makeDatabase(folder / "db", kKnown);
    Xapian::WritableDatabase database(folder / "db", Xapian::DB_OPEN);
    EXPECT_TRUE(FrequencyTable::isTrue(database)); // it carries none
    FrequencyTable::store(database, database);
    EXPECT_TRUE(FrequencyTable::isTrue(database));
    for (const std::vector<Known>& known : {std::vector<Known>{{254, 1}}, std::vector<Known>{}}) {
        makeDatabase(folder / "other", known);
        FrequencyTable::store(database, Xapian::Database(folder / "other"));
        EXPECT_FALSE(FrequencyTable::isTrue(database));
    }
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

TEST(FrequencyTable, IsRefusedWhenItIsDamaged) {
    const TemporaryDirectory folder;
    makeDatabase(folder / "db", kKnown);
    std::string whole;
    {
        Xapian::WritableDatabase carrier(folder / "carrier", Xapian::DB_CREATE);
        FrequencyTable::store(carrier, Xapian::Database(folder / "db"));
        carrier.commit();
        for (size_t piece = 0; piece < 2; ++piece) {
            whole += carrier.get_metadata("frequencies" + std::to_string(piece));
        }
    }
    constexpr size_t kPiece = 256 * 1024;
    ASSERT_GT(whole.size(), kPiece - 4096);
    std::string otherFormat = whole;
    otherFormat[7] = '3';
    std::string wildIndex = whole;
    wildIndex[8 + 4 * 100] = '\x7f'; // more entries before than there are behind
    for (const std::string& bytes :
         {whole.substr(0, 100), whole.substr(0, whole.size() - 1), whole + "x", otherFormat, wildIndex}) {
        SCOPED_TRACE(bytes.size());
        Xapian::WritableDatabase damaged(folder / "damaged", Xapian::DB_CREATE_OR_OVERWRITE);
        damaged.set_metadata("frequencies0", bytes.substr(0, kPiece));
        if (bytes.size() > kPiece) damaged.set_metadata("frequencies1", bytes.substr(kPiece));
        damaged.commit();
        EXPECT_THROW(FrequencyTable::of(folder / "damaged", damaged), Xapian::DatabaseCorruptError);
    }
}
