// SPDX-License-Identifier: Apache-2.0
// A catalogue in a cluster that moves slots, freezes and closes connections.
#include "catalogue/posting_list.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/redis_store.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/redis/shared_servers.h"
#include "server/catalogue/store_suite.h"
#include "support/loopback_server.h"
#include "support/server/redis_cluster.h"

#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

using namespace kvxtest::shared_servers;
using namespace tarn::server;

using kvxtest::awaitOrThrow;
using kvxtest::RedisCluster;
using kvxtest::RedisServer;
using kvxtest::StoreEngine;
using kvxtest::StorePlace;
using kvxtest::StoreSuite;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

class RedisPlace : public StorePlace {
  public:
    explicit RedisPlace(const std::string& servers) : location_(servers + freshName() + kPatient) {}
    std::unique_ptr<StoreWriter> writer(bool make) override { return openRedisWriter(location_, make); }
    std::unique_ptr<StoreReader> reader() override { return openRedisReader(location_); }

  private:
    std::string location_;
};

INSTANTIATE_TEST_SUITE_P(RedisServer, StoreSuite, testing::Values(StoreEngine{[] {
                             return std::make_unique<RedisPlace>("redis://" + sharedServer().address());
                         }}));

INSTANTIATE_TEST_SUITE_P(RedisCluster, StoreSuite, testing::Values(StoreEngine{[] {
                             return std::make_unique<RedisPlace>(sharedCluster().location());
                         }}));

std::chrono::milliseconds timeOf(const std::function<void()>& function) {
    const auto begin = Clock::now();
    function();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
}

uint64_t errorsOf(const RedisServer& server, const std::string& kind) {
    const std::string count = server.field({"INFO", "errorstats"}, "errorstat_" + kind);
    return count.empty() ? 0 : std::strtoull(count.c_str() + std::string("count=").size(), nullptr, 10);
}

} // namespace

// The servers' own opinion.
TEST(RedisCluster, LaysKeysWhereTheServersDo) {
    std::mt19937 dice(3);
    for (int round = 0; round < 200; ++round) {
        std::string key;
        for (size_t size = dice() % 12; key.size() < size;) key.push_back("ab{}\0\x80\xff:"[dice() % 8]);
        const auto slot = sharedCluster().master(0).ask({"CLUSTER", "KEYSLOT", key})->integer;
        EXPECT_EQ(static_cast<size_t>(slot), redis::slotOf(key)) << testing::PrintToString(key);
    }
}

TEST(RedisCluster, IsFoundByAnyOfItsNodes) {
    const std::string name = freshName() + kPatient;
    openRedisWriter(sharedCluster().location() + name, true)->commit(format());
    {
        const auto writer = openRedisWriter("redis://" + sharedCluster().master(1).address() + name, false);
        writer->commit(spread(1));
    }
    EXPECT_EQ(look(*openRedisReader("redis://127.0.0.1:1," + sharedCluster().master(2).address() + name), 1), kAll);
}

TEST(RedisCluster, IsFollowedWhileSlotsMove) {
    RedisCluster& cluster = sharedCluster();
    const std::string name = freshName();
    const std::string location = cluster.location() + name + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    writer->commit(spread(1));
    const auto reader = openRedisReader(location);
    ASSERT_EQ(look(*reader, 1), kAll);
    // A slot of a list, and one of a value.
    const redis::Keys keys(name.substr(1));
    uint32_t last = 1;
    for (const std::string& key : {blockKey(keys, 7), keys.value("r7")}) {
        const size_t slot = redis::slotOf(key);
        const size_t from = cluster.ownerOf(slot);
        const size_t to = (from + 1) % cluster.masters();
        const uint64_t asks = errorsOf(cluster.master(from), "ASK");
        const uint64_t moves = errorsOf(cluster.master(from), "MOVED");
        cluster.beginToMove(slot, from, to);
        EXPECT_EQ(look(*reader, last), kAll);
        cluster.moveKeys(slot, from, to, 1000);
        EXPECT_EQ(look(*reader, last), kAll);
        EXPECT_GT(errorsOf(cluster.master(from), "ASK"), asks);
        writer->commit(spread(++last));
        EXPECT_EQ(look(*reader, last), kAll);
        cluster.moveKeys(slot, from, to, 1000);
        cluster.finishMove(slot, to);
        EXPECT_EQ(look(*reader, last), kAll);
        writer->commit(spread(++last));
        EXPECT_EQ(look(*reader, last), kAll);
        EXPECT_GT(errorsOf(cluster.master(from), "MOVED"), moves);
    }
    EXPECT_EQ(look(*openRedisReader(location), last), kAll);
    EXPECT_THAT(reader->check(true), IsEmpty());
}

TEST(RedisCluster, IsAskedAgainAtOnceWhereAnIdleConnectionWasClosed) {
    RedisCluster& cluster = sharedCluster();
    const std::string location = cluster.location() + freshName() + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    const auto reader = openRedisReader(location);
    writer->commit(spread(1));
    ASSERT_EQ(look(*reader, 1), kAll);
    for (uint32_t id = 2; id < 4; ++id) {
        for (size_t i = 0; i < cluster.masters(); ++i) cluster.master(i).ask({"CLIENT", "KILL", "TYPE", "normal"});
        EXPECT_EQ(look(*reader, id - 1), kAll);
        writer->commit(spread(id));
    }
    EXPECT_EQ(look(*reader, 3), kAll);
    EXPECT_THAT(reader->check(true), IsEmpty());
}

TEST(RedisCluster, AnswersWithoutANodeThatIsFrozenAndWaitsForItOnce) {
    RedisCluster& cluster = sharedCluster();
    const std::string location = cluster.location() + freshName() + kHasty;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    writer->commit(spread(1));
    const auto reader = openRedisReader(location);
    awaitOrThrow("a look-up that is whole", [&] { return look(*reader, 1) == kAll; });
    cluster.master(1).freeze();
    const auto noticed = timeOf([&] {
        const Seen seen = look(*reader, 1);
        EXPECT_GT(seen.lost, kSpread / 3);
        EXPECT_LT(seen.lost, kSpread);
        EXPECT_EQ(seen.lists + seen.values + seen.lost, 2 * kSpread);
    });
    EXPECT_GE(noticed, 90ms);
    EXPECT_LT(noticed, 2s); // 0.1 on an idle machine
    const auto later = timeOf([&] {
        for (int i = 0; i < 50; ++i) EXPECT_GT(look(*reader, 1).lost, 0U);
    });
    EXPECT_LT(later, 50 * 100ms);
    EXPECT_THAT(reader->check(false), Not(IsEmpty()));
    cluster.master(1).thaw();
    awaitOrThrow("a look-up that is whole again", [&] { return look(*reader, 1) == kAll; });
    cluster.awaitWhole();
    EXPECT_FALSE(openRedisReader(location + "&timeout=20000")->lostCommits());
}

// A reader keeps what it has seen from one commit to the next, by any process.
TEST(RedisCluster, SeesTheCommitsOfOthersWithinASecondThoughItKeepsLists) {
    const std::string location = sharedCluster().location() + freshName() + "?timeout=20000";
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    const auto reader = openRedisReader(location);
    const auto gets = [&] {
        std::string calls;
        for (size_t i = 0; i < 3; ++i)
            calls += sharedCluster().master(i).field({"INFO", "commandstats"}, "cmdstat_mget");
        return calls;
    };
    for (uint32_t id = 1; id < 4; ++id) {
        writer->commit(spread(id));
        awaitOrThrow("the commit", [&] { return look(*reader, id) == kAll; });
        const std::string before = gets();
        EXPECT_EQ(look(*reader, id), kAll);
        EXPECT_EQ(gets(), before); // it asked for no list again
    }
}

// Where the tests of a catalogue keep it.
namespace kvxtest {

namespace {

class ClusterPlace final : public Place {
  public:
    std::string location() const override { return location_; }
    void forgetDeadWriter() const override {
        const std::string lock = redis::Keys(name_.substr(1)).lock();
        sharedCluster().master(sharedCluster().ownerOf(redis::slotOf(lock))).ask({"DEL", lock});
    }

  private:
    std::string name_ = freshName();
    std::string location_ = sharedCluster().location() + name_ + kPatient;
};

} // namespace

std::vector<Engine> engines() {
    return {{"ACluster", [] { return std::make_unique<ClusterPlace>(); }}};
}

} // namespace kvxtest
