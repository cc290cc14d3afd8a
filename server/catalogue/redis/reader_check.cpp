// SPDX-License-Identifier: Apache-2.0
// What a reader says of the servers themselves: whether there is a catalogue, what it takes, and what is wrong with it.
#include "catalogue/keys.h"
#include "catalogue/redis/markers.h"
#include "catalogue/redis/redis_reader.h"
#include "catalogue/remedies.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

namespace tarn::server::redis {

namespace {

constexpr size_t kMaxDamagedLists = 20; // that check() names

} // namespace

bool RedisReader::isThere() {
    const std::string key = keys_.value(kFormatKey);
    Commands commands;
    commands.add(key, {"EXISTS", key});
    const Reply reply = std::move(ask(commands).front());
    if (!reply) throw cluster_.unavailable();
    const Markers markers = readMarkers(cluster_, keys_, patience_);
    if (markers.isForeign()) {
        throw CatalogueError(
            "The catalogue " + cluster_.location().shown +
            " was written by a version that lays its lists elsewhere: export it with that version, and "
            "import it with this one under another name, redis://HOST:PORT/NAME");
    }
    if (reply->integer != 0) return true;
    if (markers.written > 0) {
        throw CatalogueError("The catalogue " + cluster_.location().shown +
                             " lost a part of itself: " + cluster_.nameOf(cluster_.nodeOf(slotOf(key))) +
                             " does not have the key that says how it is written; restore it from a copy");
    }
    if (!markers.allAnswered()) throw cluster_.unavailable();
    return false;
}

bool RedisReader::lostCommits() { return readMarkers(cluster_, keys_, patience_).anyHasLost(); }

Markers RedisReader::takeMarkers() {
    changes_ = cluster_.changes();
    Markers markers = readMarkers(cluster_, keys_, Milliseconds(0));
    hasGaps_ = markers.anyHasLost();
    return markers;
}

// What answered since the markers were read may be a replica that took over, or a server that came back empty.
bool RedisReader::hasGaps() {
    if (changes_ != cluster_.changes()) takeMarkers();
    return hasGaps_;
}

void RedisReader::checkMarkers(std::vector<std::string>& faults) {
    const Markers markers = readMarkers(cluster_, keys_, patience_);
    std::map<size_t, uint64_t> first; // lost commit of a node
    for (size_t range = 0; range < kGroups; ++range) {
        if (!markers.hasLost(range)) continue;
        uint64_t& lost = first.try_emplace(cluster_.nodeOf(slotOf(keys_.marker(range))), UINT64_MAX).first->second;
        lost = std::min(lost, markers.each[range].written + 1);
    }
    for (const auto& [node, lost] : first) {
        faults.push_back(
            cluster_.nameOf(node) + " lost what it got in the commits from " + std::to_string(lost) + " to " +
            std::to_string(markers.confirmed) +
            " (a replica took over that did not have it yet, or the server started without its data): " + kAddAgain);
    }
}

std::string RedisReader::infoOf(size_t node, const std::string& field) {
    Commands commands;
    commands.addFor(node, {"INFO", "memory"});
    const Reply reply = std::move(ask(commands).front());
    if (!reply) throw cluster_.unavailable();
    const std::string_view info = textOf(*reply);
    const size_t at = info.find("\n" + field + ":");
    if (at == std::string_view::npos) return {};
    const size_t begin = at + field.size() + 2;
    return std::string(info.substr(begin, info.find('\r', begin) - begin));
}

void RedisReader::checkNodes(std::vector<std::string>& faults) {
    if (const size_t slots = cluster_.uncovered(); slots > 0) {
        faults.push_back("the cluster has slots without a node: " + std::to_string(slots) +
                         "; start what is missing, or run redis-cli --cluster fix");
    }
    for (const size_t node : cluster_.masters()) {
        try {
            const std::string policy = infoOf(node, "maxmemory_policy");
            if (policy == "noeviction" || policy.empty()) continue;
            faults.push_back(cluster_.nameOf(node) + " throws keys away when its memory is full (maxmemory-policy " +
                             policy + "): set maxmemory-policy noeviction");
        } catch (const CatalogueUnavailable&) {
            faults.push_back(cluster_.trouble() + "; start it, or let its replica take over");
        }
    }
}

void RedisReader::checkLists(std::vector<std::string>& faults) {
    std::set<ListTable> tables;
    forEachKey([&](const ListKey& key) { tables.insert(key.table); });
    size_t damaged = 0;
    for (const ListTable table : tables) {
        forEachList(table, [&](ListNumber number, const StoredList& list) {
            if (!list.lost && forEachId(list.pieces, [](uint32_t) {})) return;
            if (++damaged > kMaxDamagedLists) return;
            faults.push_back("list " + std::to_string(number) + " of table " + std::to_string(table) +
                             ", or all of its block, was not answered or is damaged: run tarn-server check again, and "
                             "if this stays, tarn-server compact, which makes it anew");
        });
    }
    if (damaged > kMaxDamagedLists)
        faults.push_back("so are " + std::to_string(damaged - kMaxDamagedLists) + " more lists");
}

std::vector<std::string> RedisReader::check(bool deep) {
    std::vector<std::string> faults;
    checkNodes(faults);
    checkMarkers(faults);
    if (deep && faults.empty()) checkLists(faults);
    return faults;
}

std::optional<uint64_t> RedisReader::bytesTaken() {
    uint64_t bytes = 0;
    for (const size_t node : cluster_.masters()) {
        const std::string used = infoOf(node, "used_memory");
        uint64_t count = 0;
        if (std::from_chars(used.data(), used.data() + used.size(), count).ec != std::errc{}) return std::nullopt;
        bytes += count;
    }
    return bytes;
}

void RedisReader::backUp(const std::string& /*destination*/) {
    throw CatalogueError(
        "The servers of " + cluster_.location().shown +
        " keep their own copies (BGSAVE): copy those, or run tarn-server export, which writes a catalogue "
        "that every store can import");
}

} // namespace tarn::server::redis
