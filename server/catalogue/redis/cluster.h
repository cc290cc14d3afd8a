// SPDX-License-Identifier: Apache-2.0
// The servers of a catalogue: which of them has a slot, and waves of commands to all of them at once. Follows a cluster
// whose slots move and whose masters fail; a server without cluster mode has all slots.
//
// A node that does not answer in time, or refuses connections, is left out from then on: what it has is lost to a wave
// at once, until it answers a PING that no wave waits for, or another node has its slots.
#pragma once

#include "catalogue/errors.h"
#include "catalogue/redis/keys.h"
#include "catalogue/redis/link.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::redis {

using Milliseconds = std::chrono::milliseconds;

class Commands {
  public:
    using Words = std::initializer_list<std::string_view>;
    // To the node that has the key.
    void add(std::string_view key, Words words) { add(key, std::span(words.begin(), words.size())); }
    void add(std::string_view key, std::span<const std::string_view> words) { append(words, slotOf(key), 0); }
    void addFor(size_t node, Words words) { append({words.begin(), words.size()}, kSlots, node); }
    size_t size() const { return entries_.size(); }
    size_t bytes() const { return text_.size(); }
    void clear();

  private:
    friend class Cluster;
    struct Entry {
        size_t begin = 0; // in text_, up to the next one's
        size_t slot = 0;  // kSlots: it is for the node
        size_t node = 0;
    };
    void append(std::span<const std::string_view> words, size_t slot, size_t node);
    std::string_view text(size_t command) const;

    std::string text_; // as the servers read it
    std::vector<Entry> entries_;
};

class Cluster {
  public:
    // timeout: how long to wait for a node that sends nothing. Throws CatalogueUnavailable where no node answers.
    Cluster(Location location, Milliseconds timeout);

    // Sends to all nodes, then collects from all. In the order of the commands; null: what has to answer does not, and
    // did not for as long as `patience` either (trouble() says why). Throws CatalogueError for what a server refuses.
    std::vector<Reply> ask(const Commands& commands, Milliseconds patience);

    const Location& location() const { return location_; }
    std::vector<size_t> masters() const;
    // Throws CatalogueUnavailable where no node has it.
    size_t nodeOf(size_t slot);
    std::string nameOf(size_t node) const { return toText(nodes_[node].address); }
    bool isReplicated(size_t node) const { return nodes_[node].replicated; }
    // Reads anew which node has which slots; goes up when one has moved.
    uint64_t mapVersion();
    // How many slots no node has.
    size_t uncovered() const;
    // Goes up when a master broke off or is none any more: what it had acknowledged may be lost since.
    uint64_t upheavals() const { return upheavals_; }
    const std::string& trouble() const { return trouble_; }
    CatalogueUnavailable unavailable() const;

  private:
    using Clock = std::chrono::steady_clock;
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
        bool replicated = false;
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
    void fail(Node& node, const std::string& why, bool late, Round& round);

    Location location_;
    Milliseconds timeout_;
    std::string login_; // the command; empty: none is needed
    std::deque<Node> nodes_;
    std::array<size_t, kSlots> owners_;
    bool mapIsStale_ = true;
    Clock::time_point mapRead_;
    size_t mapFrom_ = 0;
    uint64_t mapVersion_ = 1;
    uint64_t upheavals_ = 0;
    std::string trouble_;
};

} // namespace tarn::server::redis
