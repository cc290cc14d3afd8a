// SPDX-License-Identifier: Apache-2.0
// A catalogue in Redis servers that move slots, fail, freeze, forget and refuse.
#include "catalogue/posting_list.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/redis_store.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/store_suite.h"
#include "support/loopback_server.h"
#include "support/server/redis_cluster.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

using namespace tarn::server;
using kvxtest::awaitOrThrow;
using kvxtest::RedisCluster;
using kvxtest::RedisServer;
using kvxtest::StoreEngine;
using kvxtest::StorePlace;
using kvxtest::StoreSuite;
using kvxtest::TemporaryDirectory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using State = StoredValue::State;

constexpr ListTable kTable = 24;
constexpr uint64_t kSpread = 300; // values and lists, on all nodes

// A look-up that is not about time waits for a busy machine; one that is not about what is kept sees what is there now.
constexpr char kHasty[] = "?cache=0";
constexpr char kPatient[] = "?timeout=20000&cache=0";

// A server, or a cluster, that tests share: each has a name of its own in it.
std::string freshName() {
    static int number = 0;
    return "/n" + std::to_string(++number);
}
RedisServer& sharedServer() {
    static const TemporaryDirectory folder;
    static RedisServer server(folder.path().string(), false);
    return server;
}
RedisCluster& sharedCluster() {
    static RedisCluster cluster(3);
    return cluster;
}

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

Batch format() { return {kTable, {}, {{"mformat", "1"}}}; }

// Recording `id` in every list, and a value of every number that says so.
Batch spread(uint32_t id) {
    Batch batch;
    batch.table = kTable;
    for (uint64_t i = 0; i < kSpread; ++i) {
        batch.postings.push_back({i, id});
        batch.changes.push_back({"r" + std::to_string(i), "of " + std::to_string(id)});
    }
    return batch;
}

// Of the block that holds the list.
std::string blockKey(const redis::Keys& keys, ListNumber list) {
    return keys.block(kTable, redis::blockOf(mixed(kTable, list)));
}

struct Seen {
    size_t lists = 0;  // that hold 1 to `upTo`
    size_t values = 0; // of `upTo`
    size_t lost = 0;
    bool operator==(const Seen&) const = default;
};
constexpr Seen kAll = {kSpread, kSpread, 0};

Seen look(StoreReader& reader, uint32_t upTo) {
    reader.refresh();
    std::vector<ListNumber> numbers;
    std::vector<std::string> keys;
    for (uint64_t i = 0; i < kSpread; ++i) {
        numbers.push_back(i);
        keys.push_back("r" + std::to_string(i));
    }
    Seen seen;
    for (const StoredList& list : reader.lists(kTable, numbers, 4096)) {
        uint32_t next = 1;
        if (forEachId(list.pieces, [&](uint32_t id) { next += id == next ? 1 : 0; }) && next == upTo + 1) ++seen.lists;
        seen.lost += list.lost ? 1 : 0;
    }
    for (const StoredValue& value : reader.values(keys)) {
        if (value.state == State::kThere && value.bytes == "of " + std::to_string(upTo)) ++seen.values;
        seen.lost += value.state == State::kLost ? 1 : 0;
    }
    return seen;
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

TEST(RedisCluster, IsWholeAgainWhenTheReplicaOfADeadMasterTookOver) {
    RedisCluster cluster(3, 3);
    const auto writer = openRedisWriter(cluster.location() + kPatient, true);
    writer->commit(format());
    writer->commit(spread(1));
    const auto reader = openRedisReader(cluster.location() + kHasty);
    awaitOrThrow("a look-up that is whole", [&] { return look(*reader, 1) == kAll; });
    cluster.master(0).kill();
    EXPECT_EQ(look(*reader, 1), kAll); // of the replica
    // The writer waits until there is a master again.
    writer->commit(spread(2));
    awaitOrThrow("a look-up that is whole again", [&] { return look(*reader, 2) == kAll; });
    EXPECT_FALSE(reader->lostCommits());
    EXPECT_NE(cluster.master(2).field({"INFO", "commandstats"}, "cmdstat_wait"), ""); // for its replica
    EXPECT_THAT(openRedisReader(cluster.location() + kPatient)->check(true), IsEmpty());
    // Frozen this time. What it had acknowledged its replica has.
    cluster.master(1).freeze();
    EXPECT_EQ(look(*reader, 2), kAll);
    writer->commit(spread(3));
    cluster.master(1).thaw();
    writer->commit(spread(4));
    awaitOrThrow("a look-up that is whole again", [&] { return look(*reader, 4) == kAll; });
    EXPECT_FALSE(reader->lostCommits());
}

TEST(RedisCluster, TellsOfCommitsThatAReplicaDidNotHave) {
    RedisCluster cluster(3, 3);
    const auto reader = [&] {
        const auto writer = openRedisWriter(cluster.location() + kPatient, true);
        writer->commit(format());
        writer->commit(spread(1));
        cluster.replica(0).freeze();
        cluster.master(0).ask({"CLIENT", "KILL", "TYPE", "replica"}); // what is under way would be read after the thaw
        writer->commit(spread(2));                                    // commit 3
        return openRedisReader(cluster.location() + kPatient);
    }();
    EXPECT_FALSE(reader->lostCommits());
    cluster.master(0).kill();
    cluster.replica(0).thaw();
    awaitOrThrow("the replica takes over", [&] { return cluster.replica(0).field({"INFO"}, "role") == "master"; });
    awaitOrThrow("the reader knows", [&] {
        look(*reader, 1);
        return reader->check(false).size() == 1;
    });
    EXPECT_TRUE(reader->lostCommits());
    EXPECT_THAT(reader->check(false),
                ElementsAre(HasSubstr(cluster.replica(0).address() + " lost what it got in the commits from 3 to 3")));
    // Further commits do not hide it.
    const auto writer = openRedisWriter(cluster.location() + kPatient, false);
    writer->commit(spread(3));
    EXPECT_THAT(reader->check(false), ElementsAre(HasSubstr("in the commits from 3 to 4")));
    EXPECT_TRUE(writer->reader().lostCommits());
    writer->isWholeAgain();
    EXPECT_THAT(reader->check(false), IsEmpty());
    writer->commit(spread(4));
    EXPECT_THAT(reader->check(false), IsEmpty());
}

TEST(RedisCluster, TellsOfANodeThatCameBackEmpty) {
    RedisCluster cluster(3);
    const std::string location = cluster.location() + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    writer->commit(spread(1));
    const auto reader = openRedisReader(location);
    const size_t other = (cluster.ownerOf(redis::slotOf("t:mformat")) + 1) % 3;
    cluster.master(other).kill();
    cluster.master(other).start();
    cluster.awaitWhole();
    awaitOrThrow("all nodes answer", [&] { return look(*reader, 1).lost == 0; });
    EXPECT_LT(look(*reader, 1).lists, kSpread);
    EXPECT_THAT(reader->check(false), ElementsAre(HasSubstr(cluster.master(other).address() +
                                                            " lost what it got in the commits from 1 to 2")));
    writer->commit(spread(2)); // by a writer that did not end meanwhile
    EXPECT_THAT(reader->check(false), ElementsAre(HasSubstr("from 1 to 3")));
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

// The postings first, then one kind of value after another: what was cut off is never found by half.
TEST(RedisCluster, WritesNothingBeforeWhatComesBeforeIt) {
    RedisCluster& cluster = sharedCluster();
    const std::string name = freshName();
    const auto writer = openRedisWriter(cluster.location() + name + kPatient, true);
    writer->commit(format());
    const auto nodeOf = [&](const std::string& key) { return cluster.ownerOf(redis::slotOf(key)); };
    const redis::Keys keys(name.substr(1));
    const size_t frozen = (nodeOf(keys.lock()) + 1) % 3;
    // A list elsewhere, a value on the node that is frozen, and a value of the next kind elsewhere.
    Batch batch = {kTable, {{0, 1}}, {{"r", "1"}, {"h", "1"}}};
    while (nodeOf(blockKey(keys, batch.postings[0].list)) == frozen) ++batch.postings[0].list;
    while (nodeOf(keys.value(batch.changes[0].key)) != frozen) batch.changes[0].key += "x";
    while (nodeOf(keys.value(batch.changes[1].key)) == frozen) batch.changes[1].key += "x";
    const auto has = [&](const std::string& key) {
        return cluster.master(nodeOf(key)).ask({"EXISTS", key})->integer != 0;
    };
    cluster.master(frozen).freeze();
    std::thread commit([&] { writer->commit(batch); });
    awaitOrThrow("the posting", [&] { return has(blockKey(keys, batch.postings[0].list)); });
    std::this_thread::sleep_for(200ms); // for what must not come
    EXPECT_FALSE(has(keys.value(batch.changes[1].key)));
    cluster.master(frozen).thaw();
    commit.join();
    cluster.awaitWhole();
    EXPECT_TRUE(has(keys.value(batch.changes[0].key)));
    EXPECT_TRUE(has(keys.value(batch.changes[1].key)));
}

TEST(RedisCluster, CommitsAgainWhatAMasterTookWithIt) {
    RedisCluster cluster(3, 1);
    const std::string location = cluster.location() + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    Batch batch = {kTable, {}, {}};
    for (uint64_t list = 0; list < 200'000; ++list) batch.postings.push_back({list, 1});
    cluster.replica(0).freeze();
    cluster.master(0).ask({"CLIENT", "KILL", "TYPE", "replica"});
    std::atomic<bool> done = false;
    std::thread commit([&] {
        writer->commit(batch);
        done = true;
    });
    awaitOrThrow("a part of the commit", [&] { return cluster.master(0).ask({"DBSIZE"})->integer > 5000; });
    ASSERT_FALSE(done);
    cluster.master(0).kill();
    cluster.replica(0).thaw();
    commit.join();
    const auto reader = openRedisReader(location);
    size_t lists = 0;
    reader->forEachList(kTable, [&](ListNumber, const StoredList& list) { lists += list.lost ? 0 : 1; });
    EXPECT_EQ(lists, batch.postings.size());
    EXPECT_FALSE(reader->lostCommits());
}

// As when a replica took over while the writer's connection to it was idle.
TEST(RedisServer, DoesNotHideFromALivingWriterThatAMarkerIsOlder) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    const std::string marker = redis::Keys(name.substr(1)).marker(5);
    const std::string older = sharedServer().text({"GET", marker});
    writer->commit(spread(1));
    EXPECT_FALSE(writer->reader().lostCommits());
    sharedServer().ask({"SET", marker, older});
    writer->commit(spread(2));
    EXPECT_THAT(writer->reader().check(false), ElementsAre(HasSubstr("in the commits from 2 to 3")));
    EXPECT_EQ(sharedServer().text({"GET", marker}), older);
}

TEST(RedisServer, IsNotTakenForAnEmptyOneWhenItLostWhatSaysItsFormat) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    openRedisWriter(location, true)->commit(format());
    sharedServer().ask({"DEL", name.substr(1) + ":mformat"});
    EXPECT_THAT(errorOf([&] { openRedisReader(location); }), HasSubstr("lost a part of itself"));
    EXPECT_THAT(errorOf([&] { openRedisWriter(location, true); }), HasSubstr("lost a part of itself"));
}

TEST(RedisServer, RefusesAWriterWhoseLockAnotherTook) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    sharedServer().ask({"SET", name.substr(1) + "!lock", "somebody else"});
    EXPECT_THAT(errorOf([&] { writer->commit(spread(1)); }), HasSubstr("is being written by another process"));
    EXPECT_EQ(look(*openRedisReader(location), 1).lists, 0U);
    sharedServer().ask({"DEL", name.substr(1) + "!lock"});
    // Nobody wrote meanwhile: it may go on.
    writer->commit(spread(1));
    EXPECT_EQ(look(*openRedisReader(location), 1), kAll);
}

TEST(RedisServer, RefusesAWriterAfterAnotherOneWrote) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    const auto first = openRedisWriter(location, true);
    first->commit(format());
    sharedServer().ask({"DEL", name.substr(1) + "!lock"}); // as if it had been away for long
    {
        std::unique_ptr<StoreWriter> second; // its thread may take it first
        awaitOrThrow("the second writer", [&] {
            try {
                second = openRedisWriter(location, false);
            } catch (const CatalogueError&) {
                sharedServer().ask({"DEL", name.substr(1) + "!lock"});
            }
            return second != nullptr;
        });
        second->commit(spread(1));
    }
    EXPECT_THAT(errorOf([&] { first->commit(spread(7)); }), HasSubstr("was written by another process"));
    EXPECT_EQ(look(*openRedisReader(location), 1), kAll);
}

TEST(RedisServer, TakesOverFromAWriterThatDied) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    sharedServer().ask({"SET", name.substr(1) + "!lock", "a dead one", "PX", "1500"});
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
}

TEST(RedisServer, KeepsTheLockOfAWriterThatTakesItsTime) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    const auto writer = openRedisWriter(location, true);
    const auto left = [&] { return sharedServer().ask({"PTTL", name.substr(1) + "!lock"})->integer; };
    const std::string token = sharedServer().text({"GET", name.substr(1) + "!lock"});
    for (int renewals = 0; renewals < 2; ++renewals) {
        long long before = left();
        awaitOrThrow("the lock is renewed", [&] {
            const long long now = left();
            return now > std::exchange(before, now);
        });
    }
    EXPECT_EQ(sharedServer().text({"GET", name.substr(1) + "!lock"}), token);
}

TEST(RedisServer, SaysWhatIsWrongWithALogin) {
    const TemporaryDirectory folder;
    const RedisServer server(folder.path().string(), false, {"--requirepass", "right"});
    const auto errorAt = [&](const std::string& login) {
        return errorOf(
            [&] { openRedisWriter("redis://" + login + server.address() + kPatient, true)->commit(format()); });
    };
    EXPECT_THAT(errorAt(""), HasSubstr("TARN_REDIS_PASSWORD"));
    EXPECT_THAT(errorAt(":wrong@"),
                testing::AllOf(HasSubstr("WRONGPASS"), HasSubstr("check the user"), Not(HasSubstr("wrong@"))));
    EXPECT_EQ(errorAt(":right@"), "no error");
    EXPECT_EQ(errorAt("default:right@"), "no error");
    setenv("TARN_REDIS_PASSWORD", "right", 1);
    EXPECT_EQ(errorAt(""), "no error");
    unsetenv("TARN_REDIS_PASSWORD");
    EXPECT_THAT(errorOf([&] { openRedisReader("redis://" + server.address() + kPatient); }), HasSubstr("NOAUTH"));
    EXPECT_THAT(
        errorOf([&] { openRedisReader("redis://:needless@" + sharedServer().address() + freshName() + kPatient); }),
        HasSubstr("leave it away"));
}

TEST(RedisServer, SaysThatItIsFullAndLosesNothingThatItAcknowledged) {
    const TemporaryDirectory folder;
    const RedisServer server(folder.path().string(), false);
    const std::string location = "redis://" + server.address() + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    writer->commit(spread(1));
    server.ask({"CONFIG", "SET", "maxmemory", server.field({"INFO", "memory"}, "used_memory")});
    EXPECT_THAT(errorOf([&] {
                    for (uint32_t id = 2; id < 100; ++id) writer->commit(spread(id));
                }),
                testing::AllOf(HasSubstr(server.address()), HasSubstr("raise maxmemory")));
    const auto reader = openRedisReader(location);
    const Seen seen = look(*reader, 1);
    EXPECT_EQ(seen.values, kSpread); // or of a commit after it, had there been room
    EXPECT_EQ(seen.lost, 0U);
    EXPECT_THAT(reader->check(true), IsEmpty());
    server.ask({"CONFIG", "SET", "maxmemory", "0"});
    writer->commit(spread(2));
    EXPECT_EQ(look(*reader, 2), kAll);
    EXPECT_FALSE(reader->lostCommits());
    server.ask({"CONFIG", "SET", "maxmemory-policy", "allkeys-lru"});
    EXPECT_THAT(reader->check(false), ElementsAre(HasSubstr("set maxmemory-policy noeviction")));
}

TEST(RedisServer, IsNotWrittenWhereItIsAReplica) {
    const TemporaryDirectory folder;
    const RedisServer master(folder.path().string(), false);
    const RedisServer replica(folder.path().string(), false);
    openRedisWriter("redis://" + master.address() + kPatient, true)->commit(format());
    replica.ask({"REPLICAOF", "127.0.0.1", std::to_string(master.port())});
    awaitOrThrow("the replica follows", [&] { return replica.field({"INFO"}, "master_link_status") == "up"; });
    EXPECT_THAT(errorOf([&] { openRedisWriter("redis://" + replica.address() + kPatient, false); }),
                HasSubstr("name its master"));
}

TEST(RedisServer, FindsADamagedList) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    const auto writer = openRedisWriter(location, true);
    writer->commit(format());
    writer->commit(spread(1));
    sharedServer().ask({"APPEND", blockKey(redis::Keys(name.substr(1)), 7), "x"});
    EXPECT_THAT(openRedisReader(location)->check(true), ElementsAre(HasSubstr("of table 24, or all of its block")));
    EXPECT_THAT(openRedisReader(location)->check(false), IsEmpty());
}

TEST(RedisServer, IsOneWhereOneIsNamed) {
    EXPECT_THAT(errorOf([&] {
                    openRedisReader("redis://" + sharedServer().address() + "," + sharedServer().address() + kPatient);
                }),
                HasSubstr("has no cluster mode"));
}

TEST(RedisServer, MustAnswer) {
    const kvxtest::LoopbackServer other({{kvxtest::send("HTTP/1.1 200 OK\r\n\r\n"), kvxtest::awaitClose()}});
    EXPECT_THAT(errorOf([&] { openRedisReader("redis://" + other.host()); }),
                HasSubstr("does not speak the Redis protocol"));
    EXPECT_THROW(openRedisReader("redis://127.0.0.1:1"), CatalogueUnavailable);
    EXPECT_THAT(errorOf([] { openRedisWriter("redis://127.0.0.1:1", true); }),
                HasSubstr("127.0.0.1:1: Connection refused"));
    EXPECT_THAT(errorOf([&] {
                    openRedisWriter("redis://" + sharedServer().address() + freshName(), true)->reader().backUp("/x");
                }),
                HasSubstr("tarn-server export"));
}

namespace kvxtest {

namespace {

class ClusterPlace final : public Place {
  public:
    std::string location() const override { return location_; }

  private:
    std::string location_ = sharedCluster().location() + freshName() + kPatient;
};

} // namespace

std::vector<Engine> engines() {
    return {{"ACluster", [] { return std::make_unique<ClusterPlace>(); }}};
}

} // namespace kvxtest
