// SPDX-License-Identifier: Apache-2.0
// Reads a catalogue in Redis.
#pragma once

#include "catalogue/redis/cluster.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/list_cache.h"
#include "catalogue/redis/markers.h"
#include "catalogue/store.h"

#include <chrono>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace tarn::server::redis {

// A block with all that belongs to its lists.
struct WholeBlock {
    struct List {
        size_t place = 0;
        bool isLong = false;
        bool lost = false;
        std::vector<std::string_view> pieces;
    };
    StoredValue value;
    bool damaged = false;
    std::vector<List> lists;
};

class RedisReader final : public StoreReader {
  public:
    // patience: how long it goes on asking for what does not answer; a look-up has none.
    RedisReader(Location location, Milliseconds timeout, Milliseconds patience);

    bool refresh() override;
    void rest() override;
    std::vector<StoredValue> values(std::span<const std::string> keys) override;
    std::vector<StoredList> lists(ListTable table, std::span<const ListNumber> numbers, size_t enough) override;
    void forEachList(ListTable table, const std::function<void(ListNumber, const StoredList&)>& visit) override;
    std::vector<std::string> check(bool deep) override;
    bool lostCommits() override;
    bool hasGaps() override;
    std::optional<uint64_t> bytesTaken() override;
    void backUp(const std::string& destination) override;

    // Whether there is a catalogue. Throws CatalogueError where that cannot be known.
    bool isThere();
    // The blocks and long lists of a table. Throws CatalogueUnavailable where a node does not answer.
    std::vector<ListKey> keysOf(ListTable table);
    std::vector<BlockNumber> blocksOf(ListTable table);
    // In the order of the numbers, in one wave.
    std::vector<StoredValue> blocks(ListTable table, std::span<const BlockNumber> numbers);
    std::vector<WholeBlock> wholeBlocks(ListTable table, std::span<const BlockNumber> numbers);
    // Makes the next refresh() true.
    void hasChanged() { refreshed_ = {}; }
    Cluster& cluster() { return cluster_; }
    const Keys& keys() const { return keys_; }

  private:
    using Clock = std::chrono::steady_clock;
    std::vector<Reply>& keep(std::vector<Reply> replies);
    std::vector<Reply> ask(const Commands& commands) { return cluster_.ask(commands, patience_); }
    void forEachKey(const std::function<void(const ListKey&)>& visit);
    bool areSlotsMoving();
    // In the order of the numbers; bytes that are empty: it is not there.
    std::vector<StoredValue> bodies(ListTable table, std::span<const ListNumber> longLists);
    std::vector<StoredValue> valuesOf(std::span<const std::string> keys);
    // What their blocks have of them; nothing: lost or damaged.
    std::vector<std::optional<CachedList>> partsOf(ListTable table, std::span<const ListNumber> numbers);
    std::string infoOf(size_t node, const std::string& field);
    Markers takeMarkers();
    void checkMarkers(std::vector<std::string>& faults);
    void checkNodes(std::vector<std::string>& faults);
    void checkLists(std::vector<std::string>& faults);

    Cluster cluster_;
    Keys keys_;
    Milliseconds patience_;
    Clock::time_point refreshed_{};
    uint64_t changes_ = 0;                // of the cluster, when the markers were last read
    bool hasGaps_ = false;                // they showed lost commits
    std::deque<std::vector<Reply>> kept_; // what the readings point to
    std::deque<std::vector<std::string_view>> pieces_;
    ListCache cache_; // a long list that was counted is read whole next
};

} // namespace tarn::server::redis
