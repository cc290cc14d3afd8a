// SPDX-License-Identifier: Apache-2.0
// A catalogue in servers of which one has no memory left.
#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "catalogue/redis/keys.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/catalogue_suite.h"
#include "server/catalogue/redis/shared_servers.h"
#include "support/server/redis_cluster.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kvxtest::shared_servers;
using namespace tarn::server;
using kvxtest::errorOf;
using kvxtest::nearest;
using kvxtest::RedisCluster;
using kvxtest::RedisServer;
using kvxtest::sampleRecording;
using kvxtest::TemporaryDirectory;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr uint32_t kRecordings = 6;

struct Case {
    const char* name;
    std::function<void(CatalogueWriter&)> act;
    uint32_t removed = 0; // 0: none
};
const Case kCases[] = {
    {"add",
     [](CatalogueWriter& writer) {
         writer.put(sampleRecording(50));
         writer.commit();
     }},
    {"remove",
     [](CatalogueWriter& writer) {
         writer.remove(2);
         writer.commit();
     },
     2},
    {"compact", [](CatalogueWriter& writer) { writer.compact({}); }},
    {"compact --purge", [](CatalogueWriter& writer) { writer.compact({.anew = true}); }},
};

// Does it while the server has no memory left, and again when it has.
void expectNothingLost(const Case& each, const std::string& location, const RedisServer& full) {
    SCOPED_TRACE(each.name);
    {
        CatalogueWriter writer(location);
        for (uint32_t number = 1; number <= kRecordings; ++number) writer.put(sampleRecording(number));
        writer.commit();
        full.ask({"CONFIG", "SET", "maxmemory", "1"});
        EXPECT_THAT(errorOf([&] { each.act(writer); }), AllOf(HasSubstr(full.address()), HasSubstr("raise maxmemory")));
    }
    // What was there is found meanwhile.
    for (const uint32_t number : {1U, kRecordings}) {
        CatalogueReader reader(location);
        EXPECT_EQ(nearest(reader, sampleRecording(number), 1).at(0).id, number);
    }
    full.ask({"CONFIG", "SET", "maxmemory", "0"});
    {
        CatalogueWriter writer(location);
        each.act(writer);
        writer.compact({});
    }
    CatalogueReader reader(location);
    EXPECT_THAT(reader.check(true), IsEmpty());
    for (uint32_t number = 1; number <= kRecordings; ++number)
        EXPECT_EQ(reader.recording(number).has_value(), number != each.removed) << number;
}

} // namespace

TEST(RedisServerWithoutMemory, RefusesWhatIsWrittenAndLosesNothing) {
    const TemporaryDirectory folder;
    const RedisServer server(folder.path().string(), false);
    for (const Case& each : kCases)
        expectNothingLost(each, "redis://" + server.address() + freshName() + kPatient, server);
}

// It has what is written last, so that all else of a commit was written.
TEST(RedisClusterWithoutMemoryOnOneNode, RefusesWhatIsWrittenAndLosesNothing) {
    RedisCluster& cluster = sharedCluster();
    for (const Case& each : kCases) {
        std::string name;
        size_t ofState = 0;
        size_t ofLock = 0;
        while (ofState == ofLock) {
            name = freshName();
            const redis::Keys keys(name.substr(1));
            ofState = cluster.ownerOf(redis::slotOf(keys.value(kStateKey)));
            ofLock = cluster.ownerOf(redis::slotOf(keys.lock()));
        }
        expectNothingLost(each, cluster.location() + name + kPatient, cluster.master(ofState));
    }
}
