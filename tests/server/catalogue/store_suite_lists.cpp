// SPDX-License-Identifier: Apache-2.0
// Lists of a store.
#include "catalogue/posting_list.h"
#include "server/catalogue/store_suite.h"
#include "server/catalogue/stored_things.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>

using namespace tarn::server;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace kvxtest {

using namespace stored_things;

namespace {

constexpr ListTable kOtherTable = 24;

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

} // namespace

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

} // namespace kvxtest
