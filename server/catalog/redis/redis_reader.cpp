// SPDX-License-Identifier: Apache-2.0
#include "catalog/redis/redis_reader.h"

#include "catalog/keys.h"
#include "catalog/posting_list.h"
#include "catalog/redis/markers.h"

#include <algorithm>
#include <charconv>
#include <map>

namespace tarn::server::redis {

namespace {

using namespace std::chrono_literals;

constexpr auto kRefreshEvery = 1s;
constexpr size_t kListsInAWave = 1000;
constexpr std::string_view kKeysOfAScan = "1000";
constexpr size_t kMostDamagedLists = 20; // that check() names

StoredList listOf(const Reply& reply, std::string_view& piece) {
    if (!reply) return {{}, 0, false, true};
    piece = textOf(*reply);
    return {{&piece, piece.empty() ? size_t{0} : size_t{1}}, piece.size(), true, false};
}

} // namespace

RedisReader::RedisReader(Location location, Milliseconds timeout, Milliseconds patience)
    : cluster_(std::move(location), timeout), keys_(cluster_.location().name), patience_(patience) {}

bool RedisReader::refresh() {
    rest();
    const auto now = Clock::now();
    if (now - refreshed_ < kRefreshEvery) return false;
    refreshed_ = now;
    return true;
}

void RedisReader::rest() {
    kept_.clear();
    pieces_.clear();
}

std::vector<Reply>& RedisReader::keep(std::vector<Reply> replies) { return kept_.emplace_back(std::move(replies)); }

std::vector<StoredValue> RedisReader::values(std::span<const std::string> keys) {
    Commands commands;
    for (const std::string& each : keys) {
        const std::string key = keys_.value(each);
        commands.add(key, {"GET", key});
    }
    std::vector<StoredValue> values;
    for (const Reply& reply : keep(ask(commands))) {
        if (!reply) {
            values.push_back({StoredValue::State::kLost, {}});
        } else if (reply->type == REDIS_REPLY_NIL) {
            values.push_back({StoredValue::State::kAbsent, {}});
        } else {
            values.push_back({StoredValue::State::kThere, textOf(*reply)});
        }
    }
    return values;
}

// The length is asked for before the bytes, so that a list that grows in between is not taken for a shorter one.
std::vector<StoredList> RedisReader::lists(ListTable table, std::span<const ListNumber> numbers, size_t enough) {
    const bool whole = enough == SIZE_MAX;
    const std::string last = std::to_string(std::max<size_t>(enough, 1) - 1);
    Commands commands;
    for (const ListNumber number : numbers) {
        const std::string key = keys_.list(table, number);
        if (!whole) commands.add(key, {"STRLEN", key});
        if (whole) commands.add(key, {"GET", key});
        if (!whole) commands.add(key, {"GETRANGE", key, "0", last});
    }
    const std::vector<Reply>& replies = keep(ask(commands));
    std::vector<std::string_view>& pieces = pieces_.emplace_back(numbers.size());
    std::vector<StoredList> lists;
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (whole) {
            lists.push_back(listOf(replies[i], pieces[i]));
            continue;
        }
        lists.push_back(listOf(replies[2 * i + 1], pieces[i]));
        const Reply& size = replies[2 * i];
        if (!size) {
            lists.back() = {{}, 0, false, true};
        } else if (!lists.back().lost) {
            lists.back().size = std::max<uint64_t>(pieces[i].size(), static_cast<uint64_t>(size->integer));
            lists.back().whole = lists.back().size == pieces[i].size();
        }
    }
    return lists;
}

// A key is visited more than once where a server's table grows or shrinks, or its slot moves.
void RedisReader::forEachKey(const std::function<void(const ListKey&)>& visit) {
    for (const size_t node : cluster_.masters()) {
        std::string cursor = "0";
        do {
            Commands commands;
            commands.addFor(node, {"SCAN", cursor, "MATCH", keys_.pattern(), "COUNT", kKeysOfAScan});
            const Reply reply = std::move(ask(commands).front());
            if (!reply) throw cluster_.unavailable();
            if (reply->type != REDIS_REPLY_ARRAY || reply->elements != 2) {
                throw CatalogError(cluster_.nameOf(node) + " does not answer SCAN as a Redis server does");
            }
            cursor = textOf(*reply->element[0]);
            const redisReply& found = *reply->element[1];
            for (size_t i = 0; i < found.elements; ++i) {
                if (const auto key = keys_.listIn(textOf(*found.element[i]))) visit(*key);
            }
        } while (cursor != "0");
    }
}

std::vector<ListNumber> RedisReader::numbersOf(ListTable table) {
    std::vector<ListNumber> numbers;
    // A list whose slot moved meanwhile may have been where the scan was not: then it looks again.
    for (uint64_t version = 0; version != cluster_.mapVersion();) {
        version = cluster_.mapVersion();
        forEachKey([&](const ListKey& key) {
            if (key.table == table) numbers.push_back(key.number);
        });
        std::ranges::sort(numbers);
        numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    }
    return numbers;
}

void RedisReader::forEachList(ListTable table, const std::function<void(ListNumber, const StoredList&)>& visit) {
    const std::vector<ListNumber> numbers = numbersOf(table);
    for (size_t first = 0; first < numbers.size(); first += kListsInAWave) {
        const auto wave = std::span(numbers).subspan(first, std::min(kListsInAWave, numbers.size() - first));
        Commands commands;
        for (const ListNumber number : wave) {
            const std::string key = keys_.list(table, number);
            commands.add(key, {"GET", key});
        }
        const std::vector<Reply> replies = ask(commands);
        for (size_t i = 0; i < wave.size(); ++i) {
            std::string_view piece;
            const StoredList list = listOf(replies[i], piece);
            if (list.lost || list.size > 0) visit(wave[i], list);
        }
    }
}

bool RedisReader::isThere() {
    const std::string key = keys_.value(kFormatKey);
    Commands commands;
    commands.add(key, {"EXISTS", key});
    const Reply reply = std::move(ask(commands).front());
    if (!reply) throw cluster_.unavailable();
    if (reply->integer != 0) return true;
    const Markers markers = readMarkers(cluster_, keys_, patience_);
    if (markers.written > 0) {
        throw CatalogError("The catalogue " + cluster_.location().shown +
                           " lost a part of itself: " + cluster_.nameOf(cluster_.nodeOf(slotOf(key))) +
                           " does not have the key that says how it is written; restore it from a copy");
    }
    if (!markers.allAnswered()) throw cluster_.unavailable();
    return false;
}

bool RedisReader::lostCommits() { return readMarkers(cluster_, keys_, patience_).anyBehind(); }

void RedisReader::checkMarkers(std::vector<std::string>& faults) {
    const Markers markers = readMarkers(cluster_, keys_, patience_);
    std::map<size_t, uint64_t> first; // lost commit of a node
    for (size_t range = 0; range < kMarkers; ++range) {
        if (!markers.isBehind(range)) continue;
        uint64_t& lost = first.try_emplace(cluster_.nodeOf(slotOf(keys_.marker(range))), UINT64_MAX).first->second;
        lost = std::min(lost, markers.each[range].written + 1);
    }
    for (const auto& [node, lost] : first) {
        faults.push_back(cluster_.nameOf(node) + " lost what it got in the commits from " + std::to_string(lost) +
                         " to " + std::to_string(markers.confirmed) +
                         " (a replica took over that did not have it yet, or the server started without its data): add "
                         "the same folders again with tarn-server add, then run tarn-server compact");
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
        faults.push_back(std::to_string(slots) + " of the cluster's slots belong to no node: start what is missing");
    }
    for (const size_t node : cluster_.masters()) {
        try {
            const std::string policy = infoOf(node, "maxmemory_policy");
            if (policy == "noeviction" || policy.empty()) continue;
            faults.push_back(cluster_.nameOf(node) + " throws keys away when its memory is full (maxmemory-policy " +
                             policy + "): set maxmemory-policy noeviction");
        } catch (const CatalogUnavailable&) {
            faults.push_back(cluster_.trouble() + "; start it, or let its replica take over");
        }
    }
}

void RedisReader::checkLists(std::vector<std::string>& faults) {
    std::vector<bool> tables(UINT8_MAX + 1);
    forEachKey([&](const ListKey& key) { tables[key.table] = true; });
    size_t damaged = 0;
    for (size_t table = 0; table < tables.size(); ++table) {
        if (!tables[table]) continue;
        forEachList(static_cast<ListTable>(table), [&](ListNumber number, const StoredList& list) {
            if (!list.lost && forEachId(list.pieces, [](uint32_t) {})) return;
            if (++damaged > kMostDamagedLists) return;
            faults.push_back("list " + std::to_string(number) + " of table " + std::to_string(table) +
                             (list.lost ? " was not answered: " + cluster_.trouble()
                                        : " is damaged: run tarn-server compact, which makes it anew"));
        });
    }
    if (damaged > kMostDamagedLists)
        faults.push_back("so are " + std::to_string(damaged - kMostDamagedLists) + " more lists");
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
    throw CatalogError(
        "The servers of " + cluster_.location().shown +
        " keep their own copies (BGSAVE): copy those, or run tarn-server export, which writes a catalogue "
        "that every store can import");
}

} // namespace tarn::server::redis
