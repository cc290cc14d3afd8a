// SPDX-License-Identifier: Apache-2.0
// Which node has which slots, as the nodes say.
#include "catalogue/redis/cluster.h"

#include <algorithm>

namespace tarn::server::redis {

using namespace std::chrono_literals;

size_t Cluster::numberOf(const Address& address) {
    const auto found = std::ranges::find(nodes_, address, &Node::address);
    if (found == nodes_.end()) {
        nodes_.emplace_back().address = address;
        return nodes_.size() - 1;
    }
    return static_cast<size_t>(found - nodes_.begin());
}

std::vector<size_t> Cluster::masters() const {
    std::vector<size_t> masters;
    for (size_t i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i].master) masters.push_back(i);
    }
    return masters;
}

size_t Cluster::nodeOf(size_t slot) {
    if (owners_[slot] == kUnknown) {
        trouble_ = "no node has the slot " + std::to_string(slot);
        throw unavailable();
    }
    return owners_[slot];
}

uint64_t Cluster::mapVersion() {
    readMap();
    return mapVersion_;
}

size_t Cluster::uncovered() const { return static_cast<size_t>(std::ranges::count(owners_, kUnknown)); }

// Asks one node after another, beginning with the one that answered last.
void Cluster::readMap() {
    mapRead_ = Clock::now();
    mapIsStale_ = true;
    const size_t count = nodes_.size();
    for (size_t i = 0; i < count; ++i) {
        const size_t node = (mapFrom_ + i) % count;
        Commands command;
        command.addFor(node, {"CLUSTER", "SLOTS"});
        const Reply reply = std::move(ask(command, 0ms).front());
        if (!reply || !takeMap(node, *reply)) continue;
        mapFrom_ = node;
        mapIsStale_ = false;
        return;
    }
}

bool Cluster::takeMap(size_t from, const redisReply& reply) {
    const bool single = reply.type == REDIS_REPLY_ERROR;
    if (single && location_.nodes.size() > 1) {
        throw CatalogueError(nameOf(from) + " has no cluster mode: name this one server alone");
    }
    std::optional<std::vector<SlotRange>> ranges;
    if (single) {
        ranges = {{0, kSlots - 1, nodes_[from].address, {}}};
    } else {
        ranges = slotRangesIn(reply, nodes_[from].address.host);
    }
    if (!ranges || ranges->empty()) {
        trouble_ = nameOf(from) + " knows of no node that has slots";
        return false;
    }
    std::vector<bool> before;
    for (Node& node : nodes_) {
        before.push_back(node.master);
        node.master = false;
        node.replicas.clear();
    }
    const auto ownersBefore = owners_;
    owners_.fill(kUnknown);
    for (const SlotRange& range : *ranges) {
        const size_t owner = numberOf(range.master);
        nodes_[owner].master = true;
        std::fill(owners_.begin() + static_cast<ptrdiff_t>(range.first),
                  owners_.begin() + static_cast<ptrdiff_t>(range.last) + 1, owner);
        for (const Address& address : range.replicas) {
            const size_t replica = numberOf(address);
            std::vector<size_t>& known = nodes_[owner].replicas;
            if (std::ranges::find(known, replica) == known.end()) known.push_back(replica);
        }
    }
    if (owners_ != ownersBefore) ++mapVersion_;
    for (size_t i = 0; i < before.size(); ++i) {
        if (before[i] && !nodes_[i].master) ++upheavals_;
    }
    return true;
}

} // namespace tarn::server::redis
