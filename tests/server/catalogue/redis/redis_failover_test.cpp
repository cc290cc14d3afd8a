// SPDX-License-Identifier: Apache-2.0
// A catalogue in a cluster whose nodes die, and come back without what they had.
#include "catalogue/posting_list.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/redis_store.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/redis/shared_servers.h"
#include "server/catalogue/store_suite.h"
#include "support/server/redis_cluster.h"

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using namespace kvxtest::shared_servers;
using namespace tarn::server;
using kvxtest::awaitOrThrow;
using kvxtest::errorOf;
using kvxtest::RedisCluster;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using namespace std::chrono_literals;

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
    std::string error;
    std::jthread commit([&] {
        error = errorOf([&] { writer->commit(batch); });
        done = true;
    });
    awaitOrThrow("a part of the commit", [&] { return cluster.master(0).ask({"DBSIZE"})->integer > 5000; });
    ASSERT_FALSE(done);
    cluster.master(0).kill();
    cluster.replica(0).thaw();
    commit.join();
    EXPECT_EQ(error, "no error");
    const auto reader = openRedisReader(location);
    size_t lists = 0;
    reader->forEachList(kTable, [&](ListNumber, const StoredList& list) { lists += list.lost ? 0 : 1; });
    EXPECT_EQ(lists, batch.postings.size());
    EXPECT_FALSE(reader->lostCommits());
}
