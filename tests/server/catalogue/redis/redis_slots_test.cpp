// SPDX-License-Identifier: Apache-2.0
// A catalogue in a cluster whose slots move while it is written, or belong to no node.
#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/redis_store.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/catalogue_suite.h"
#include "server/catalogue/redis/shared_servers.h"
#include "support/server/redis_cluster.h"
#include "support/server/sample_recording.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace kvxtest::shared_servers;
using namespace tarn::server;
using kvxtest::errorOf;
using kvxtest::nearest;
using kvxtest::RedisCluster;
using kvxtest::sampleRecording;
using kvxtest::titlesIn;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

namespace {

constexpr size_t kKeysOfASlot = 10'000; // more than there are

void move(size_t slot) {
    RedisCluster& cluster = sharedCluster();
    const size_t from = cluster.ownerOf(slot);
    const size_t to = (from + 1) % cluster.masters();
    cluster.beginToMove(slot, from, to);
    cluster.moveKeys(slot, from, to, 3);
    cluster.moveKeys(slot, from, to, kKeysOfASlot);
    cluster.finishMove(slot, to);
}

// Of lists, of recordings, and of what the catalogue says of itself.
std::vector<size_t> slotsOf(const redis::Keys& keys) {
    std::vector<size_t> slots = {redis::slotOf(keys.value(kStateKey))};
    for (uint32_t id = 1; id < 12; ++id) slots.push_back(redis::slotOf(keys.value(recordingKey(id))));
    for (size_t range = 0; range < redis::kGroups; range += 3) slots.push_back(redis::slotOf(keys.marker(range)));
    return slots;
}

} // namespace

TEST(RedisCluster, LosesNothingWhoseSlotMovesWhileItIsRemovedAndCompacted) {
    const std::string name = freshName();
    const std::string location = sharedCluster().location() + name + kPatient;
    std::set<uint32_t> there;
    {
        CatalogueWriter writer(location);
        for (uint32_t number = 1; number <= 12; ++number) {
            writer.put(sampleRecording(number));
            there.insert(number);
        }
        writer.commit();
    }
    const std::vector<size_t> slots = slotsOf(redis::Keys(name.substr(1)));
    auto next = slots.begin();
    CatalogueReader reader(location);
    CatalogueWriter writer(location);
    const auto remove = [&](uint32_t id) {
        EXPECT_TRUE(writer.remove(id));
        writer.commit();
        there.erase(id);
    };
    const struct {
        const char* name;
        std::function<void()> act;
    } steps[] = {
        {"remove", [&] { remove(3); }},
        {"remove another", [&] { remove(11); }},
        {"compact", [&] { writer.compact({}); }},
        {"remove after that", [&] { remove(7); }},
        {"make the lists anew", [&] { writer.compact({.anew = true}); }},
        {"compact again", [&] { writer.compact({}); }},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        {
            const std::jthread mover([&] {
                for (int moves = 0; moves < 5 && next != slots.end(); ++moves) move(*next++);
            });
            step.act();
        }
        std::vector<std::string> titles;
        for (const uint32_t number : there) titles.push_back("Title " + std::to_string(number));
        EXPECT_THAT(titlesIn(location), UnorderedElementsAreArray(titles)); // with a check of every list
        // The reader that was there all the time.
        kvxtest::awaitOrThrow("the commit", [&] {
            reader.refresh();
            return reader.recordingCount() == there.size();
        });
        for (const uint32_t number : {1U, 5U, 12U}) {
            const auto found = nearest(reader, sampleRecording(number), 1);
            ASSERT_EQ(found.size(), 1U);
            EXPECT_EQ(found[0].id, number);
        }
        EXPECT_TRUE(reader.complete());
    }
    EXPECT_EQ(next, slots.begin() + 30);
}

// It waits for the end of the move, since keys are in neither place for a moment.
TEST(RedisCluster, CompactsOnceASlotHasMoved) {
    RedisCluster& cluster = sharedCluster();
    const std::string name = freshName();
    const std::string location = cluster.location() + name + kPatient;
    CatalogueWriter writer(location);
    for (uint32_t number = 1; number <= 3; ++number) writer.put(sampleRecording(number));
    writer.commit();
    writer.remove(2);
    writer.commit();
    const size_t slot = redis::slotOf(redis::Keys(name.substr(1)).marker(9));
    const size_t from = cluster.ownerOf(slot);
    const size_t to = (from + 1) % cluster.masters();
    const auto looks = [&] { return cluster.master(from).field({"INFO", "commandstats"}, "cmdstat_cluster|nodes"); };
    cluster.beginToMove(slot, from, to);
    cluster.moveKeys(slot, from, to, 2);
    const std::string before = looks();
    std::atomic<bool> done = false;
    std::jthread compact([&] {
        writer.compact({});
        done = true;
    });
    kvxtest::awaitOrThrow("a look whether slots move", [&] { return looks() != before; });
    EXPECT_FALSE(done);
    cluster.moveKeys(slot, from, to, kKeysOfASlot);
    cluster.finishMove(slot, to);
    compact.join();
    EXPECT_TRUE(done);
    EXPECT_THAT(titlesIn(location), ElementsAre("Title 1", "Title 3"));
}

TEST(RedisCluster, SaysThatASlotHasNoMaster) {
    RedisCluster& cluster = sharedCluster();
    const std::string name = freshName();
    const std::string location = cluster.location() + name + kPatient;
    const std::string hasty = cluster.location() + name + kHasty;
    {
        const auto writer = openRedisWriter(location, true);
        writer->commit(format());
        writer->commit(spread(1));
    }
    const size_t slot = redis::slotOf(redis::Keys(name.substr(1)).value("r7"));
    const size_t owner = cluster.ownerOf(slot);
    const auto onAll = [&](const std::vector<std::string>& words) {
        for (size_t i = 0; i < cluster.masters(); ++i) cluster.master((owner + i) % cluster.masters()).ask(words);
    };
    const auto reader = openRedisReader(hasty);
    ASSERT_EQ(look(*reader, 1), kAll);
    const auto isRefused = [&] { return errorOf([&] { openRedisReader(hasty); }) != "no error"; };
    // No node answers, unlike with what docs/manual/redis.md sets.
    onAll({"CONFIG", "SET", "cluster-require-full-coverage", "yes"});
    onAll({"CLUSTER", "DELSLOTS", std::to_string(slot)});
    kvxtest::awaitOrThrow("no node answers", isRefused);
    EXPECT_EQ(look(*reader, 1), (Seen{0, 0, 2 * kSpread}));
    EXPECT_THAT(errorOf([&] { openRedisReader(hasty); }), HasSubstr("set cluster-require-full-coverage no"));
    // All but those of the slot answer.
    onAll({"CONFIG", "SET", "cluster-require-full-coverage", "no"});
    kvxtest::awaitOrThrow("other slots are answered",
                          [&] { return !isRefused() && look(*reader, 1).lists == kSpread; });
    EXPECT_EQ(look(*reader, 1), (Seen{kSpread, kSpread - 1, 1}));
    EXPECT_THAT(openRedisReader(hasty)->check(false),
                ElementsAre(AllOf(HasSubstr("slots without a node: 1"), HasSubstr("redis-cli --cluster fix"))));
    cluster.finishMove(slot, owner);
    cluster.awaitWhole();
    kvxtest::awaitOrThrow("a look-up that is whole", [&] { return look(*reader, 1) == kAll; });
    EXPECT_THAT(openRedisReader(location)->check(true), IsEmpty());
}
