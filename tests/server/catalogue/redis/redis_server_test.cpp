// SPDX-License-Identifier: Apache-2.0
// A catalogue in one Redis server: its lock, its refusals, and what is lost or damaged in it.
#include "catalogue/posting_list.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/redis_store.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/redis/shared_servers.h"
#include "server/catalogue/store_suite.h"
#include "support/loopback_server.h"
#include "support/server/redis_cluster.h"

#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kvxtest::shared_servers;
using namespace tarn::server;
using kvxtest::awaitOrThrow;
using kvxtest::errorOf;
using kvxtest::RedisServer;
using kvxtest::TemporaryDirectory;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using namespace std::chrono_literals;

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

// Its markers had no word for the layout.
TEST(RedisServer, RefusesTheLayoutBeforeThisOneAndLeavesItAsItIs) {
    const std::string name = freshName();
    const std::string location = "redis://" + sharedServer().address() + name + kPatient;
    const redis::Keys keys(name.substr(1));
    openRedisWriter(location, true)->commit(format());
    for (size_t range = 0; range < redis::kGroups; ++range)
        sharedServer().ask({"SET", keys.marker(range), "1 1 token"});
    const auto refusal =
        AllOf(HasSubstr("export it with that version"), HasSubstr("under another name, redis://HOST:PORT/NAME"));
    EXPECT_THAT(errorOf([&] { openRedisReader(location); }), refusal);
    EXPECT_THAT(errorOf([&] { openRedisWriter(location, true); }), refusal);
    EXPECT_EQ(sharedServer().text({"GET", keys.marker(0)}), "1 1 token");
    // One alone is damage: its server has lost it.
    openRedisWriter("redis://" + sharedServer().address() + name + "x" + kPatient, true)->commit(format());
    sharedServer().ask({"SET", redis::Keys(name.substr(1) + "x").marker(0), "1 1 token"});
    EXPECT_THAT(openRedisReader("redis://" + sharedServer().address() + name + "x" + kPatient)->check(false),
                ElementsAre(HasSubstr("lost what it got in the commits from 1 to 1")));
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
