// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lookup.h"

#include "catalogue/posting_list.h"
#include "server/catalogue/memory_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::MemoryStore;
using ::testing::ElementsAre;

namespace {

constexpr ListTable kTable = 24;
constexpr uint32_t kIdBound = 100;

class GramLookup : public ::testing::Test {
  protected:
    // List 1: recordings 1 to 10, longer than its beginning. List 2: 5 and 7. List 3: none.
    GramLookup() {
        for (uint32_t id = 1; id <= 10; ++id) appendId(store_.storedLists[1], id);
        for (const uint32_t id : {5U, 7U}) appendId(store_.storedLists[2], id);
    }

    Lookup lookup() { return {store_, kTable, {1, 2, 3}, scores_, kIdBound}; }
    std::vector<std::pair<uint32_t, uint64_t>> best(size_t count) {
        std::vector<std::pair<uint32_t, uint64_t>> all;
        for (const auto& each : scores_.best(count)) all.emplace_back(each.id, each.score);
        return all;
    }

    MemoryStore store_;
    RecordingScores scores_;
};

} // namespace

TEST_F(GramLookup, CountsWhoHoldsEachGramInOneReading) {
    const Lookup all = lookup();
    EXPECT_EQ(all.size(), 3U);
    EXPECT_EQ(all.frequency(0), 10U);
    EXPECT_EQ(all.frequency(1), 2U);
    EXPECT_EQ(all.frequency(2), 0U);
    EXPECT_TRUE(all.complete());
    EXPECT_EQ(store_.readings, 1U);
}

TEST_F(GramLookup, AddsTheWeightsAndReadsOnlyTheRestOfLongLists) {
    Lookup all = lookup();
    all.add(std::vector<WeightedGram>{{1, 7}, {2, 9}});
    EXPECT_EQ(store_.readings, 1U);
    all.add(std::vector<WeightedGram>{{0, 5}});
    EXPECT_EQ(store_.readings, 2U);
    EXPECT_TRUE(all.complete());
    EXPECT_THAT(best(3), ElementsAre(std::pair(5U, 12U), std::pair(7U, 12U), std::pair(1U, 5U)));
}

TEST_F(GramLookup, IsNotCompleteWhereAListDoesNotAnswer) {
    store_.lostLists = {2};
    Lookup all = lookup();
    EXPECT_FALSE(all.complete());
    all.add(std::vector<WeightedGram>{{0, 5}, {1, 7}});
    EXPECT_FALSE(all.complete());
    EXPECT_THAT(best(1), ElementsAre(std::pair(1U, 5U))); // of what did answer
}

TEST_F(GramLookup, IsNotCompleteWhereTheRestOfAListDoesNotAnswer) {
    Lookup all = lookup();
    EXPECT_TRUE(all.complete());
    store_.lostLists = {1};
    all.add(std::vector<WeightedGram>{{0, 5}});
    EXPECT_FALSE(all.complete());
}

TEST_F(GramLookup, IsNotCompleteWhereAListIsDamaged) {
    store_.storedLists[2] += "cut";
    Lookup all = lookup();
    all.add(std::vector<WeightedGram>{{1, 7}});
    EXPECT_FALSE(all.complete());
}
