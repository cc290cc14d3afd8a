// SPDX-License-Identifier: Apache-2.0
#include "server/catalogue/store_suite.h"

#include "catalogue/posting_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <random>
#include <set>
#include <thread>

using namespace tarn::server;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace kvxtest {

namespace {

using Ids = std::vector<uint32_t>;
using State = StoredValue::State;

constexpr ListTable kTable = 32;
constexpr ListTable kOtherTable = 24;

Batch changesOf(std::vector<Change> changes) { return {kTable, {}, std::move(changes)}; }
Batch postingsOf(std::vector<Posting> postings, ListTable table = kTable) {
    std::ranges::stable_sort(postings, {}, &Posting::id);
    return {table, std::move(postings), {}};
}

std::string bytesOf(const StoredList& list) {
    std::string bytes;
    for (const std::string_view piece : list.pieces) bytes += piece;
    return bytes;
}

Ids idsOf(const StoredList& list) {
    EXPECT_FALSE(list.lost);
    EXPECT_TRUE(list.whole);
    EXPECT_EQ(bytesOf(list).size(), list.size);
    Ids ids;
    EXPECT_TRUE(forEachId(list.pieces, [&](uint32_t id) { ids.push_back(id); }));
    return ids;
}

std::vector<Ids> idsIn(StoreReader& reader, const std::vector<ListNumber>& numbers, ListTable table = kTable) {
    reader.refresh();
    std::vector<Ids> all;
    for (const StoredList& list : reader.lists(table, numbers, SIZE_MAX)) all.push_back(idsOf(list));
    return all;
}

std::map<ListNumber, Ids> allIdsIn(StoreReader& reader, ListTable table) {
    reader.refresh();
    std::map<ListNumber, Ids> all;
    reader.forEachList(table, [&](ListNumber number, const StoredList& list) {
        EXPECT_TRUE(all.emplace(number, idsOf(list)).second) << number << " was visited twice";
    });
    return all;
}

// "-": there is none.
std::vector<std::string> textsIn(StoreReader& reader, const std::vector<std::string>& keys) {
    reader.refresh();
    std::vector<std::string> texts;
    for (const StoredValue& value : reader.values(keys)) {
        EXPECT_NE(value.state, State::kLost);
        texts.push_back(value.state == State::kThere ? std::string(value.bytes) : "-");
    }
    return texts;
}

template <class Function>
std::string errorOf(Function function) {
    try {
        function();
    } catch (const CatalogueError& error) {
        return error.what();
    }
    return "no error";
}

} // namespace

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

TEST_P(StoreSuite, AppendsToListsOverSeveralCommits) {
    const auto writer = newStore();
    writer->commit(postingsOf({{7, 1}, {7, 2}, {9, 2}}));
    writer->commit(postingsOf({{8, 3}, {7, 3}}));
    writer->commit(postingsOf({{9, kMaxId}}));
    const std::vector<ListNumber> numbers = {9, 7, 5, 8};
    EXPECT_THAT(idsIn(writer->reader(), numbers), ElementsAre(Ids{2, kMaxId}, Ids{1, 2, 3}, Ids{}, Ids{3}));
    EXPECT_THAT(idsIn(*place().reader(), numbers), ElementsAre(Ids{2, kMaxId}, Ids{1, 2, 3}, Ids{}, Ids{3}));
}

TEST_P(StoreSuite, TellsTablesAndNumbersApart) {
    const auto writer = newStore();
    const std::vector<ListNumber> numbers = {0,   1,   0x7b,     0x7d,       0x7b007d, 0x7b2a7d,
                                             255, 256, 0xff00ff, 0x7b412a7d, 65536,    UINT32_MAX};
    std::map<ListNumber, Ids> expected;
    std::vector<Posting> postings;
    uint32_t id = 0;
    for (const ListNumber number : numbers) {
        expected[number] = {++id};
        postings.push_back({number, id});
    }
    writer->commit(postingsOf(postings));
    writer->commit(postingsOf({{1, 500}}, kOtherTable));
    EXPECT_EQ(allIdsIn(*place().reader(), kTable), expected);
    EXPECT_EQ(allIdsIn(*place().reader(), kOtherTable), (std::map<ListNumber, Ids>{{1, {500}}}));
    for (const auto& [number, ids] : expected)
        EXPECT_THAT(idsIn(writer->reader(), {number}), ElementsAre(ids)) << number;
}

TEST_P(StoreSuite, GivesTheHeadOfAListAndItsSize) {
    const auto writer = newStore();
    for (uint32_t commit = 0; commit < 4; ++commit) {
        std::vector<Posting> postings;
        for (uint32_t id = commit * 250 + 1; id <= commit * 250 + 250; ++id) postings.push_back({5, id});
        postings.push_back({6, commit + 1});
        writer->commit(postingsOf(postings));
    }
    StoreReader& reader = writer->reader();
    reader.refresh();
    const std::vector<ListNumber> numbers = {5, 6, 7};
    const std::string whole = bytesOf(reader.lists(kTable, numbers, SIZE_MAX).front());
    for (const size_t enough : {size_t{1}, size_t{18}, size_t{256}, size_t{100'000}}) {
        SCOPED_TRACE(enough);
        const std::vector<StoredList> lists = reader.lists(kTable, numbers, enough);
        ASSERT_EQ(lists.size(), 3U);
        EXPECT_EQ(lists[0].size, whole.size());
        const std::string head = bytesOf(lists[0]);
        EXPECT_GE(head.size(), std::min(enough, whole.size()));
        EXPECT_EQ(head, whole.substr(0, head.size()));
        EXPECT_EQ(lists[0].whole, head.size() == whole.size());
        EXPECT_EQ(countOf(head, lists[0].size), 1000U);
        EXPECT_EQ(countOf(bytesOf(lists[1]), lists[1].size), 4U);
        EXPECT_EQ(lists[2].size, 0U);
        EXPECT_FALSE(lists[2].lost);
    }
}

TEST_P(StoreSuite, CountsAndKeepsListsOfThousands) {
    constexpr uint32_t kCommits = 12;
    constexpr uint32_t kEach = 700;
    const auto writer = newStore();
    Ids all;
    for (uint32_t commit = 0; commit < kCommits; ++commit) {
        std::vector<Posting> postings;
        for (uint32_t i = 1; i <= kEach; ++i) {
            all.push_back((commit * kEach + i) * 3);
            postings.push_back({5, all.back()});
        }
        postings.push_back({6, all.back()});
        writer->commit(postingsOf(postings));
        StoreReader& reader = writer->reader();
        reader.refresh();
        const std::vector<ListNumber> numbers = {5, 6, 7};
        const std::vector<StoredList> lists = reader.lists(kTable, numbers, kToCount);
        uint64_t count = 0;
        uint64_t left = lists[0].size;
        for (const std::string_view& piece : lists[0].pieces) {
            count += countOf(piece, &piece == &lists[0].pieces.back() ? left : piece.size());
            left -= std::min<uint64_t>(left, piece.size());
        }
        EXPECT_EQ(count, all.size());
        EXPECT_THAT(idsIn(reader, {5}), ElementsAre(all));
    }
    EXPECT_EQ(allIdsIn(*place().reader(), kTable)[5], all);
    // Every other one goes; then nearly all; then the list.
    for (const size_t step : {2U, 1000U, 0U}) {
        Ids kept;
        for (size_t i = 0; step > 0 && i < all.size(); i += step) kept.push_back(all[i]);
        writer->rewriteLists(kTable, [&](ListNumber number, std::span<const std::string_view> pieces) {
            Ids ids;
            EXPECT_TRUE(forEachId(pieces, [&](uint32_t id) { ids.push_back(id); }));
            std::string list;
            EXPECT_TRUE(number != 5 || ids == all);
            appendPacked(list, number == 5 ? kept : ids);
            return list;
        });
        EXPECT_THAT(idsIn(*place().reader(), {5}), ElementsAre(kept));
        all = kept;
    }
    writer->commit(postingsOf({{5, 50'000}}));
    EXPECT_THAT(idsIn(*place().reader(), {5}), ElementsAre(Ids{50'000}));
    EXPECT_THAT(place().reader()->check(true), IsEmpty());
    writer->eraseLists(kTable);
    EXPECT_THAT(allIdsIn(*place().reader(), kTable), IsEmpty());
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

TEST_P(StoreSuite, TakesManyPostings) {
    const auto writer = newStore();
    std::map<ListNumber, Ids> expected;
    std::mt19937 dice(2);
    for (uint32_t commit = 0; commit < 5; ++commit) {
        std::vector<Posting> postings;
        for (uint32_t id = commit * 10 + 1; id <= commit * 10 + 10; ++id) {
            std::set<ListNumber> lists;
            for (int i = 0; i < 2000; ++i) lists.insert(dice() % 30'000);
            for (const ListNumber list : lists) {
                postings.push_back({list, id});
                expected[list].push_back(id);
            }
        }
        writer->commit({kTable, std::move(postings), {}});
    }
    EXPECT_EQ(allIdsIn(*place().reader(), kTable), expected);
}

TEST_P(StoreSuite, RewritesLists) {
    const auto writer = newStore();
    for (uint32_t id = 1; id <= 6; ++id) writer->commit(postingsOf({{1, id}, {2, id}, {300, id}}));
    writer->commit(postingsOf({{1, 7}}, kOtherTable));
    std::map<ListNumber, Ids> seen;
    writer->rewriteLists(kTable, [&](ListNumber number, std::span<const std::string_view> pieces) {
        Ids ids;
        EXPECT_TRUE(forEachId(pieces, [&](uint32_t id) { ids.push_back(id); }));
        seen[number] = ids;
        std::string list;
        if (number != 2) appendPacked(list, Ids{2, 4, 6});
        return list;
    });
    const Ids all = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(seen, (std::map<ListNumber, Ids>{{1, all}, {2, all}, {300, all}}));
    EXPECT_EQ(allIdsIn(writer->reader(), kTable), (std::map<ListNumber, Ids>{{1, {2, 4, 6}}, {300, {2, 4, 6}}}));
    EXPECT_EQ(allIdsIn(writer->reader(), kOtherTable), (std::map<ListNumber, Ids>{{1, {7}}}));
    writer->commit(postingsOf({{1, 8}, {2, 8}}));
    EXPECT_THAT(idsIn(*place().reader(), {1, 2}), ElementsAre(Ids{2, 4, 6, 8}, Ids{8}));
}

TEST_P(StoreSuite, ErasesATableAlone) {
    const auto writer = newStore();
    writer->commit(postingsOf({{1, 1}, {2, 1}}));
    writer->commit({kOtherTable, {{1, 1}}, {{"r1", "one"}}});
    writer->eraseLists(kTable);
    EXPECT_THAT(allIdsIn(writer->reader(), kTable), IsEmpty());
    EXPECT_EQ(allIdsIn(*place().reader(), kOtherTable), (std::map<ListNumber, Ids>{{1, {1}}}));
    EXPECT_THAT(textsIn(*place().reader(), {"r1"}), ElementsAre("one"));
    writer->commit(postingsOf({{2, 9}}));
    EXPECT_EQ(allIdsIn(writer->reader(), kTable), (std::map<ListNumber, Ids>{{2, {9}}}));
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
