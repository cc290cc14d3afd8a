// SPDX-License-Identifier: Apache-2.0
// Reads a catalogue in Redis.
#pragma once

#include "catalog/redis/cluster.h"
#include "catalog/redis/keys.h"
#include "catalog/store.h"

#include <chrono>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace tarn::server::redis {

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
    std::optional<uint64_t> bytesTaken() override;
    void backUp(const std::string& destination) override;

    // Whether there is a catalogue. Throws CatalogError where that cannot be known.
    bool isThere();
    // The numbers of the lists that there are, rising. Throws CatalogUnavailable where a node does not answer.
    std::vector<ListNumber> numbersOf(ListTable table);
    // Makes the next refresh() true.
    void hasChanged() { refreshed_ = {}; }
    Cluster& cluster() { return cluster_; }
    const Keys& keys() const { return keys_; }

  private:
    using Clock = std::chrono::steady_clock;
    std::vector<Reply>& keep(std::vector<Reply> replies);
    std::vector<Reply> ask(const Commands& commands) { return cluster_.ask(commands, patience_); }
    void forEachKey(const std::function<void(const ListKey&)>& visit);
    std::string infoOf(size_t node, const std::string& field);
    void checkMarkers(std::vector<std::string>& faults);
    void checkNodes(std::vector<std::string>& faults);
    void checkLists(std::vector<std::string>& faults);

    Cluster cluster_;
    Keys keys_;
    Milliseconds patience_;
    Clock::time_point refreshed_{};
    std::deque<std::vector<Reply>> kept_; // what the readings point to
    std::deque<std::vector<std::string_view>> pieces_;
};

} // namespace tarn::server::redis
