// SPDX-License-Identifier: Apache-2.0
// Values, readers and writers of a store.
#include "server/catalogue/store_suite.h"

#include "catalogue/posting_list.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/stored_things.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <thread>

using namespace tarn::server;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace kvxtest {

using namespace stored_things;

std::unique_ptr<StoreWriter> StoreSuite::newStore() {
    auto writer = place_->writer(true);
    writer->commit(changesOf({{"mformat", "1"}}));
    return writer;
}

TEST_P(StoreSuite, KeepsReplacesAndErasesValues) {
    const auto writer = newStore();
    writer->commit(changesOf({{"r1", "one"}, {"r2", "two"}, {"r3", "three"}}));
    EXPECT_THAT(textsIn(writer->reader(), {"r3", "r1", "r9", "r2"}), ElementsAre("three", "one", "-", "two"));
    writer->commit(changesOf({{"r1", std::nullopt}, {"r2", "anew"}, {"r9", std::nullopt}}));
    EXPECT_THAT(textsIn(writer->reader(), {"r1", "r2", "r3"}), ElementsAre("-", "anew", "three"));
    EXPECT_THAT(textsIn(*place().reader(), {"r1", "r2", "r3"}), ElementsAre("-", "anew", "three"));
}

TEST_P(StoreSuite, MakesTheChangesOfABatchInTheirOrder) {
    const auto writer = newStore();
    writer->commit(changesOf({{"r1", "first"},
                              {"r1", "second"},
                              {"r2", "there"},
                              {"h1", "a"},
                              {"r2", std::nullopt},
                              {"h2", std::nullopt},
                              {"h2", "back"}}));
    EXPECT_THAT(textsIn(writer->reader(), {"r1", "r2", "h1", "h2"}), ElementsAre("second", "-", "a", "back"));
}

TEST_P(StoreSuite, AsksForNothingAndCommitsNothing) {
    const auto writer = newStore();
    writer->commit({});
    writer->reader().refresh();
    EXPECT_THAT(writer->reader().values({}), IsEmpty());
    EXPECT_THAT(writer->reader().lists(kTable, {}, 256), IsEmpty());
}

TEST_P(StoreSuite, KeepsKeysAndValuesOfAnyBytes) {
    const auto writer = newStore();
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
    const std::vector<std::string> keys = {
        std::string("r\0\0a", 4), std::string("r\0", 2), "r", "r{a}b", "r{}b", "r}{", "r\r\n$3", "r*?[a]", "f" + all};
    std::vector<Change> changes;
    changes.reserve(keys.size());
    for (const std::string& key : keys) changes.push_back({key, key + all});
    writer->commit(changesOf(changes));
    const std::vector<std::string> texts = textsIn(*place().reader(), keys);
    for (size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(texts[i], keys[i] + all) << i;
}

TEST_P(StoreSuite, KeepsLargeValues) {
    const auto writer = newStore();
    std::mt19937 dice(1);
    std::string large(size_t{1} << 20, ' ');
    for (char& byte : large) byte = static_cast<char>(dice());
    writer->commit(changesOf({{"r1", large}, {"r2", large + "x"}}));
    EXPECT_EQ(textsIn(writer->reader(), {"r1", "r2"}), (std::vector<std::string>{large, large + "x"}));
}

TEST_P(StoreSuite, KeepsWhatItGaveUntilItRests) {
    const auto writer = newStore();
    writer->commit(postingsOf({{1, 1}, {2, 2}}));
    writer->commit(changesOf({{"r1", "one"}}));
    const auto reader = place().reader();
    reader->refresh();
    const std::vector<ListNumber> first = {1};
    const std::vector<ListNumber> second = {2};
    const std::vector<std::string> key = {"r1"};
    const std::vector<StoredList> one = reader->lists(kTable, first, SIZE_MAX);
    const std::vector<StoredValue> value = reader->values(key);
    for (int i = 0; i < 100; ++i) reader->lists(kTable, second, 256);
    EXPECT_EQ(idsOf(one.front()), Ids{1});
    EXPECT_EQ(value.front().bytes, "one");
    reader->rest();
    reader->refresh();
    EXPECT_EQ(idsOf(reader->lists(kTable, first, SIZE_MAX).front()), Ids{1});
}

TEST_P(StoreSuite, ShowsCommitsToReadersThatRefresh) {
    const auto writer = newStore();
    const auto reader = place().reader();
    reader->refresh();
    writer->commit({kTable, {{1, 1}}, {{"r1", "one"}}});
    for (int tries = 0; !reader->refresh(); ++tries) { // soon, not at once
        ASSERT_LT(tries, 1000);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const std::vector<std::string> key = {"r1"};
    const std::vector<ListNumber> number = {1};
    EXPECT_EQ(reader->values(key).front().bytes, "one");
    EXPECT_EQ(idsOf(reader->lists(kTable, number, SIZE_MAX).front()), Ids{1});
    writer->reader().refresh();
    writer->commit(changesOf({{"r1", "two"}}));
    EXPECT_TRUE(writer->reader().refresh());
    EXPECT_EQ(writer->reader().values(key).front().bytes, "two");
}

TEST_P(StoreSuite, RefusesASecondWriterUntilTheFirstIsGone) {
    auto writer = newStore();
    EXPECT_THAT(errorOf([&] { place().writer(true); }), HasSubstr("is being written by another process"));
    writer->commit(changesOf({{"r1", "one"}}));
    writer.reset();
    writer = place().writer(false);
    writer->commit(changesOf({{"r2", "two"}}));
    EXPECT_THAT(textsIn(writer->reader(), {"r1", "r2"}), ElementsAre("one", "two"));
}

TEST_P(StoreSuite, SaysWhereThereIsNoCatalogue) {
    EXPECT_THAT(errorOf([&] { place().reader(); }), HasSubstr("tarn-server add makes one"));
    EXPECT_THAT(errorOf([&] { place().writer(false); }), HasSubstr("tarn-server add makes one"));
    newStore();
    EXPECT_EQ(errorOf([&] { place().reader(); }), "no error");
    EXPECT_EQ(errorOf([&] { place().writer(false); }), "no error");
}

TEST_P(StoreSuite, FindsASoundStoreSound) {
    const auto writer = newStore();
    writer->commit({kTable, {{1, 1}, {2, 1}}, {{"r1", "one"}}});
    writer->compact();
    const auto reader = place().reader();
    reader->refresh();
    EXPECT_THAT(reader->check(false), IsEmpty());
    EXPECT_THAT(reader->check(true), IsEmpty());
    EXPECT_FALSE(reader->lostCommits());
    EXPECT_GT(reader->bytesTaken().value_or(1), 0U);
}

} // namespace kvxtest
