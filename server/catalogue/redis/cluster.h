// SPDX-License-Identifier: Apache-2.0
// The servers of a catalogue: which of them has a slot, and waves of commands to all of them at once. Follows a cluster
// whose slots move and whose masters fail; a server without cluster mode has all slots.
//
// A node that does not answer in time, or refuses connections, is left out from then on: what it has is lost to a wave
// at once, until it answers a PING that no wave waits for, or another node has its slots.
#pragma once

#include "catalogue/errors.h"
#include "catalogue/redis/commands.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/link.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::redis {

using Milliseconds = std::chrono::milliseconds;

// Which node has which slots is in cluster_map.cpp, the waves are in cluster.cpp.
class Cluster {
  public:
    // timeout: how long to wait for a node that sends nothing. Throws CatalogueUnavailable where no node answers.
    Cluster(Location location, Milliseconds timeout);

    // Sends to all nodes, then collects from all. In the order of the commands; null: what has to answer does not, and
    // did not for as long as `patience` either (trouble() says why). Throws CatalogueError for what a server refuses.
    std::vector<Reply> ask(const Commands& commands, Milliseconds patience);

    // From now on, what a master does not answer its replica is asked for: for those who only read.
    void readFromReplicas() { readsReplicas_ = true; }
    const Location& location() const { return location_; }
    std::vector<size_t> masters() const;
    // Throws CatalogueUnavailable where no node has it.
    size_t nodeOf(size_t slot);
    std::string nameOf(size_t node) const { return toText(nodes_[node].address); }
    bool isReplicated(size_t node) const { return !nodes_[node].replicas.empty(); }
    // Reads anew which node has which slots; goes up when one has moved.
    uint64_t mapVersion();
    // How many slots no node has.
    size_t uncovered() const;
    // Goes up when a master broke off or is none any more: what it had acknowledged may be lost since.
    uint64_t upheavals() const { return upheavals_; }
    // Goes up with the upheavals, and when a slot has moved.
    uint64_t changes() const { return upheavals_ + mapVersion_; }
    const std::string& trouble() const { return trouble_; }
    CatalogueUnavailable unavailable() const;

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr size_t kUnknown = SIZE_MAX;
    struct Sent {
        size_t command = 0; // kLogin, kProof, kAsking
        size_t node = 0;    // kUnknown: the one that has the slot
        bool asking = false;
    };
    struct Node {
        Address address;
        std::unique_ptr<Link> link;
        std::deque<Sent> expected; // what the link still has to answer
        bool master = false;
        std::vector<size_t> replicas;
        bool answered = false; // the link did, at least once
        bool failed = false;   // it is left out until it has answered a PING
        Clock::time_point heard;
        Clock::time_point tryAt;
    };
    struct Round;

    size_t numberOf(const Address& address);
    void readMap();
    bool takeMap(size_t from, const redisReply& reply);
    void revive(Node& node, Round& round);
    void connect(Node& node, Round& round);
    void dispatch(const Sent& sent, Round& round);
    void exchange(Round& round);
    void listen(Node& node, Round& round);
    void judge(Node& node, const Sent& sent, Reply reply, Round& round);
    // kUnknown: there is none that answers.
    size_t replicaOf(const Node& node) const;
    void fail(Node& node, const std::string& why, bool late, Round& round);

    Location location_;
    Milliseconds timeout_;
    std::string login_; // the command; empty: none is needed
    std::deque<Node> nodes_;
    std::array<size_t, kSlots> owners_;
    bool readsReplicas_ = false;
    bool mapIsStale_ = true;
    Clock::time_point mapRead_;
    size_t mapFrom_ = 0;
    uint64_t mapVersion_ = 1;
    uint64_t upheavals_ = 0;
    std::string trouble_;
};

} // namespace tarn::server::redis
