// SPDX-License-Identifier: Apache-2.0
// Of a catalogue in Redis: what needs no server of Redis.
#include "catalogue/errors.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/location.h"
#include "catalogue/redis/markers.h"
#include "catalogue/redis/replies.h"
#include "support/loopback_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::server;
using namespace tarn::server::redis;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

// A reply as a server sends it.
Reply replyFrom(const std::string& bytes) {
    redisReader* const reader = redisReaderCreate();
    void* reply = nullptr;
    redisReaderFeed(reader, bytes.data(), bytes.size());
    redisReaderGetReply(reader, &reply);
    redisReaderFree(reader);
    return Reply(static_cast<redisReply*>(reply));
}

// As a server answers for all markers, of which one is of another commit.
std::string markersSent(const std::string& all, const std::string& one) {
    std::string sent;
    for (size_t range = 0; range < kGroups; ++range) {
        const std::string& text = range == 7 ? one : all;
        sent += "$" + std::to_string(text.size()) + "\r\n" + text + "\r\n";
    }
    return sent;
}

} // namespace

TEST(RedisKeys, LieInTheSlotsOfTheirCrc) {
    const struct {
        std::string key;
        size_t slot;
    } cases[] = {{"123456789", 0x31c3}, {"", 0}, {"foo", 12182}, {"{foo}bar", 12182}, {"a{foo}{bar}", 12182}};
    for (const auto& each : cases) EXPECT_EQ(slotOf(each.key), each.slot) << each.key;
    EXPECT_NE(slotOf("foo{}{bar}"), slotOf("bar")); // an empty tag is none
    EXPECT_EQ(slotOf("foo{{bar}}zap"), slotOf("{bar"));
    EXPECT_NE(slotOf("foo{bar"), slotOf("bar"));
}

TEST(RedisKeys, HaveAMarkerInEveryRangeOfSlots) {
    const Keys keys("t");
    for (size_t range = 0; range < kGroups; ++range) EXPECT_EQ(slotOf(keys.marker(range)) / (kSlots / kGroups), range);
}

TEST(RedisKeys, HoldTheNumberOfALongListInAsFewBytesAsItNeeds) {
    const Keys keys("t");
    const struct {
        ListNumber number;
        size_t bytes;
    } cases[] = {{0, 2}, {1, 3}, {255, 3}, {256, 4}, {UINT32_MAX, 6}, {uint64_t{UINT32_MAX} + 1, 7}, {UINT64_MAX, 10}};
    for (const auto& each : cases) {
        const std::string key = keys.longList(5, each.number);
        EXPECT_EQ(key.size(), each.bytes);
        EXPECT_EQ(keys.listIn(key), (ListKey{5, false, each.number}));
    }
    for (const char* other : {"", "t", "t:r1", "t!lock", "tt\x85", "u\x85", "t\x85\x01\x02\x03\x04\x05\x06\x07\x08\x09",
                              "t;", "t;{", "t;{}\x05", "t;{1", "t;{99999}\x05\x01", "t;1\x05"}) {
        EXPECT_FALSE(keys.listIn(other)) << other;
    }
    EXPECT_FALSE(keys.listIn(std::string("t\x85\0", 3))); // no number begins with a zero
    EXPECT_THROW(keys.longList(128, 1), CatalogueError);
    EXPECT_THROW(keys.block(128, 1), CatalogueError);
}

TEST(RedisKeys, LayTheBlocksOfAGroupInOneSlotOfItsRange) {
    const Keys keys("t");
    for (const BlockNumber block : {BlockNumber{0}, BlockNumber{63}, BlockNumber{64}, (BlockNumber{1} << 28) - 1}) {
        const std::string key = keys.block(24, block);
        EXPECT_EQ(slotOf(key), slotOf(keys.marker(groupOf(block))));
        EXPECT_EQ(keys.listIn(key), (ListKey{24, true, block}));
        EXPECT_EQ(keys.listIn(Keys("other").block(24, block)), std::nullopt);
    }
}

TEST(RedisReplies, SayWhereElseToAsk) {
    const struct {
        std::string error;
        bool is, once;
        size_t slot;
        std::string address;
    } cases[] = {
        {"MOVED 3999 127.0.0.1:6381", true, false, 3999, "127.0.0.1:6381"},
        {"ASK 16383 db-3.example:7000", true, true, 16383, "db-3.example:7000"},
        {"MOVED 1 ::1:7000", true, false, 1, "[::1]:7000"},
        {"MOVED 1 :7000", true, false, 1, "sender:7000"},
        {"MOVED 1 ?:7000", false, false, 0, ""},
        {"MOVED 16384 a:7000", false, false, 0, ""},
        {"MOVED -1 a:7000", false, false, 0, ""},
        {"MOVED 1 a:70000", false, false, 0, ""},
        {"MOVED 1x a:7000", false, false, 0, ""},
        {"MOVED 1", false, false, 0, ""},
        {"MOVED", false, false, 0, ""},
        {"MOVEDX 1 a:7000", false, false, 0, ""},
        {"", false, false, 0, ""},
        {"ERR unknown", false, false, 0, ""},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.error);
        const auto redirection = redirectionIn(each.error, "sender");
        ASSERT_EQ(redirection.has_value(), each.is);
        if (!redirection) continue;
        EXPECT_EQ(redirection->once, each.once);
        EXPECT_EQ(redirection->slot, each.slot);
        EXPECT_EQ(toText(redirection->address), each.address);
    }
}

TEST(RedisReplies, TellWhoHasWhichSlots) {
    const Reply reply = replyFrom("*3\r\n"
                                  "*4\r\n:0\r\n:99\r\n*3\r\n$1\r\na\r\n:7000\r\n$2\r\nid\r\n*2\r\n$1\r\nb\r\n:7001\r\n"
                                  "*3\r\n:100\r\n:16383\r\n*2\r\n$0\r\n\r\n:7002\r\n"
                                  "*3\r\n:5\r\n:5\r\n*2\r\n$1\r\n?\r\n:7003\r\n");
    const auto ranges = slotRangesIn(*reply, "sender");
    ASSERT_TRUE(ranges);
    ASSERT_EQ(ranges->size(), 2U); // of one that does not know its name there is none
    EXPECT_EQ((*ranges)[0].last, 99U);
    EXPECT_EQ((*ranges)[0].master, (Address{"a", 7000}));
    EXPECT_THAT((*ranges)[0].replicas, ElementsAre(Address{"b", 7001}));
    EXPECT_EQ((*ranges)[1].first, 100U);
    EXPECT_EQ((*ranges)[1].master, (Address{"sender", 7002}));
    for (const char* bad :
         {":1\r\n", "*1\r\n:1\r\n", "*1\r\n*2\r\n:0\r\n:1\r\n", "*1\r\n*3\r\n:0\r\n:16384\r\n*2\r\n$1\r\na\r\n:1\r\n",
          "*1\r\n*3\r\n:5\r\n:4\r\n*2\r\n$1\r\na\r\n:1\r\n", "*1\r\n*3\r\n:-1\r\n:4\r\n*2\r\n$1\r\na\r\n:1\r\n"}) {
        EXPECT_FALSE(slotRangesIn(*replyFrom(bad), "sender")) << bad;
    }
}

TEST(RedisReplies, SayWhatToDoAboutAnError) {
    const struct {
        std::string error, remedy;
    } cases[] = {
        {"NOAUTH Authentication required.", "TARN_REDIS_PASSWORD"},
        {"WRONGPASS invalid username-password pair or user is disabled.", "check the user"},
        {"NOPERM this user has no permissions to run the 'get' command", "ACL SETUSER"},
        {"OOM command not allowed when used memory > 'maxmemory'.", "raise maxmemory"},
        {"MISCONF Redis is configured to save RDB snapshots, but it's currently unable to persist to disk.",
         "make room"},
        {"READONLY You can't write against a read only replica.", "name its master"},
        {"WRONGTYPE Operation against a key holding the wrong kind of value", "a name of its own"},
        {"ERR something new", "server's log"},
    };
    for (const auto& each : cases) {
        EXPECT_THAT(remedyForError(each.error), HasSubstr(each.remedy)) << each.error;
        EXPECT_FALSE(willPass(each.error)) << each.error;
    }
    for (const char* error :
         {"LOADING Redis is loading the dataset in memory", "CLUSTERDOWN Hash slot not served",
          "TRYAGAIN Multiple keys request during rehashing of slot", "MASTERDOWN Link with MASTER is down"}) {
        EXPECT_TRUE(willPass(error)) << error;
    }
}

TEST(RedisMarkers, AreReadAsTheyWereWritten) {
    const Marker made = makeMarker(12, 11, "token");
    EXPECT_EQ(made.text, "blocks 12 11 token");
    const auto read = markerIn(made.text);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->written, 12U);
    EXPECT_EQ(read->confirmed, 11U);
    EXPECT_EQ(read->writer, "token");
    for (const char* bad : {"", "1", "1 2 t", "blocks", "blocks 1", "blocks 1 ", "blocks 1 2", "blocks x 2 t",
                            "blocks 1 -2 t", "blocks 99999999999999999999 1 t"})
        EXPECT_FALSE(markerIn(bad)) << bad;
}

// A commit sets them while they are read: one was read before it, the others after.
TEST(RedisMarkers, HaveLostNothingThatIsThereWhenTheyAreReadAgain) {
    const std::string before = "blocks 4 4 t";
    const std::string after = "blocks 5 5 t";
    const struct {
        const char* name;
        std::string one;      // the marker that is older at first
        std::string allAgain; // the others
        bool lost;
    } cases[] = {
        {"is as new as the others", after, after, false},
        {"is of a commit that has not reached the others", "blocks 6 5 t", after, false},
        {"is of the commit before", after, "blocks 6 6 t", false},
        {"is as old as before", before, after, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const kvxtest::LoopbackServer server(
            {{kvxtest::receiveText("SLOTS", 1), kvxtest::send("-ERR This instance has cluster support disabled\r\n"),
              kvxtest::receiveText("GET", kGroups), kvxtest::send(markersSent(after, before)),
              kvxtest::receiveText("GET", 2 * kGroups), kvxtest::send(markersSent(c.allAgain, c.one)),
              kvxtest::awaitClose()}});
        Cluster cluster(locationIn("redis://" + server.host()), Milliseconds(20'000));
        const Markers markers = readMarkers(cluster, Keys("t"), Milliseconds(0));
        EXPECT_TRUE(markers.allAnswered());
        EXPECT_EQ(markers.anyHasLost(), c.lost);
        EXPECT_EQ(markers.hasLost(7), c.lost);
    }
}
