// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/list_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

using namespace tarn::server;
using namespace tarn::server::lmdb;

namespace {

using std::string_literals::operator""s;

std::string joined(ListNumber /*number*/, std::span<const std::string_view> pieces) {
    std::string all;
    for (const std::string_view piece : pieces) all += piece;
    return all;
}

std::string runOf(ListTable table, const std::map<uint32_t, std::string>& lists) {
    RunMaker maker;
    for (const auto& [low, list] : lists) maker.add(low, list);
    return maker.finish(table);
}

} // namespace

TEST(Slot, TurnsEveryNumberIntoAnotherPlaceAndBack) {
    std::mt19937_64 dice(1);
    for (const ListTable table :
         {ListTable{10}, ListTable{24}, ListTable{29}, ListTable{34}, ListTable{42}, tableOf(24, 1)}) {
        std::set<std::pair<uint32_t, uint32_t>> places;
        for (int i = 0; i < 1000; ++i) {
            const ListNumber number =
                i < 500 ? static_cast<ListNumber>(i) : dice() & ((uint64_t{1} << bitsOf(table)) - 1);
            const Slot slot = slotOf(table, number);
            ASSERT_LT(slot.segment, kSegments);
            ASSERT_EQ(numberAt(table, slot), number);
            if (i < 500) places.insert({slot.segment, slot.low});
        }
        EXPECT_EQ(places.size(), 500U);
    }
}

TEST(ListRun, LiesAsItsFormatSays) {
    EXPECT_EQ(runOf(24, {{5, "abc"}, {258, "d"}}), "\x02\0\0\0"
                                                   "\x05\0\x02\x01"
                                                   "\x03\0\0\0\x04\0\0\0"
                                                   "abcd"s);
    EXPECT_EQ(runOf(29, {{5, "abc"}}), "\x01\0\0\0"
                                       "\x05\0\0\0"
                                       "\x03\0\0\0"
                                       "abc"s);
}

TEST(ListRun, FindsWhatIsInItAndNothingElse) {
    std::mt19937 dice(7);
    for (const ListTable table : {ListTable{24}, ListTable{29}}) {
        const uint32_t lows = uint32_t{1} << (bitsOf(table) - kSegmentBits);
        for (const uint32_t count : {1U, 2U, 9U, 700U}) {
            for (const uint32_t within : {lows, lows / 50}) { // evenly, and all near the beginning
                std::map<uint32_t, std::string> lists;
                while (lists.size() < std::min(count, within / 2)) {
                    const auto low = static_cast<uint32_t>(dice() % within);
                    lists[low] = "list " + std::to_string(low);
                }
                const std::string bytes = runOf(table, lists);
                const ListRun run(table, bytes);
                ASSERT_EQ(run.size(), lists.size());
                for (uint32_t low = 0; low < std::min(lows, 4000U); ++low) {
                    ASSERT_EQ(run.find(low), lists.contains(low) ? lists[low] : "");
                }
                for (const auto& [low, list] : lists) ASSERT_EQ(run.find(low), list);
                ASSERT_EQ(run.find(lows - 1), lists.contains(lows - 1) ? lists[lows - 1] : "");
            }
        }
    }
}

TEST(ListRun, MergesListsInTheOrderOfTheRuns) {
    const std::string first = runOf(24, {{1, "a"}, {3, "b"}});
    const std::string second = runOf(24, {{3, "c"}, {9, "d"}});
    const std::string third = runOf(24, {{1, "e"}, {3, "f"}});
    const std::vector<ListRun> runs = {{24, first}, {24, second}, {24, third}};
    EXPECT_EQ(merged(24, 0, runs, joined, false), runOf(24, {{1, "ae"}, {3, "bcf"}, {9, "d"}}));
    const Rewrite nothing = [](ListNumber, std::span<const std::string_view>) { return std::string(); };
    EXPECT_EQ(merged(24, 0, runs, nothing, false), runOf(24, {{9, "d"}})); // taken as it is
    EXPECT_EQ(merged(24, 0, runs, nothing, true), "");
}

TEST(ListRun, IsRefusedOrReadWithinItsBoundsWhateverItHolds) {
    const std::string good = runOf(24, {{5, "abc"}, {258, "d"}});
    for (size_t length = 0; length < good.size(); ++length) {
        const std::vector<char> exact(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length));
        if (length < 16) {
            EXPECT_THROW(ListRun(24, {exact.data(), exact.size()}), CatalogueError);
        } else {
            const ListRun run(24, {exact.data(), exact.size()});
            EXPECT_EQ(run.find(258), "");
        }
    }
    std::mt19937 dice(5);
    for (int round = 0; round < 3000; ++round) {
        std::vector<char> bytes(good.begin(), good.end());
        bytes[dice() % bytes.size()] = static_cast<char>(dice());
        try {
            const ListRun run(24, {bytes.data(), bytes.size()});
            for (uint32_t low = 0; low < 300; ++low) run.find(low);
            merged(24, 0, {&run, 1}, joined, true);
        } catch (const CatalogueError&) {
            // refused
        }
    }
}
