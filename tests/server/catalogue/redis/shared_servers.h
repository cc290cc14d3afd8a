// SPDX-License-Identifier: Apache-2.0
// Redis servers that the tests of one process share, and a store in them that is spread over all nodes.
#pragma once

#include "catalogue/posting_list.h"
#include "catalogue/redis/keys.h"
#include "server/catalogue/engines.h"
#include "server/catalogue/store_suite.h"
#include "support/loopback_server.h"
#include "support/server/redis_cluster.h"

#include <chrono>

namespace kvxtest::shared_servers {

using namespace tarn::server;
using namespace std::chrono_literals;

using State = StoredValue::State;

inline constexpr ListTable kTable = 24;
inline constexpr uint64_t kSpread = 300; // values and lists, on all nodes

// A look-up that is not about time waits for a busy machine; one that is not about what is kept sees what is there now.
inline constexpr char kHasty[] = "?cache=0";
inline constexpr char kPatient[] = "?timeout=20000&cache=0";

// A server, or a cluster, that tests share: each has a name of its own in it.
inline std::string freshName() {
    static int number = 0;
    return "/n" + std::to_string(++number);
}

inline RedisServer& sharedServer() {
    static const TemporaryDirectory folder;
    static RedisServer server(folder.path().string(), false);
    return server;
}

inline RedisCluster& sharedCluster() {
    static RedisCluster cluster(3);
    return cluster;
}

inline Batch format() { return {kTable, {}, {{"mformat", "1"}}}; }

// Recording `id` in every list, and a value of every number that says so.
inline Batch spread(uint32_t id) {
    Batch batch;
    batch.table = kTable;
    for (uint64_t i = 0; i < kSpread; ++i) {
        batch.postings.push_back({i, id});
        batch.changes.push_back({"r" + std::to_string(i), "of " + std::to_string(id)});
    }
    return batch;
}

// Of the block that holds the list.
inline std::string blockKey(const redis::Keys& keys, ListNumber list) {
    return keys.block(kTable, redis::blockOf(mixed(kTable, list)));
}

struct Seen {
    size_t lists = 0;  // that hold 1 to `upTo`
    size_t values = 0; // of `upTo`
    size_t lost = 0;
    bool operator==(const Seen&) const = default;
};

inline constexpr Seen kAll = {kSpread, kSpread, 0};
inline Seen look(StoreReader& reader, uint32_t upTo) {
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

} // namespace kvxtest::shared_servers
