// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/redis_reader.h"

#include <algorithm>
#include <array>

namespace tarn::server::redis {

namespace {

using namespace std::chrono_literals;

constexpr auto kRefreshEvery = 1s;
constexpr size_t kBlocksInAWave = 1000;
constexpr Milliseconds kMovesEnd = 30s; // of slots
constexpr std::string_view kKeysOfAScan = "1000";

StoredValue valueOf(const redisReply& reply) {
    if (reply.type == REDIS_REPLY_NIL) return {StoredValue::State::kAbsent, {}};
    return {StoredValue::State::kThere, textOf(reply)};
}

} // namespace

RedisReader::RedisReader(Location location, Milliseconds timeout, Milliseconds patience)
    : cluster_(std::move(location), timeout), keys_(cluster_.location().name), patience_(patience),
      cache_(cluster_.location().cacheBytes) {
    if (patience_ == Milliseconds(0)) cluster_.readFromReplicas();
}

bool RedisReader::refresh() {
    rest();
    const auto now = Clock::now();
    if (now - refreshed_ < kRefreshEvery) return false;
    refreshed_ = now;
    // A marker is written after all else of a commit: what is read from now on has all of that one.
    const Markers markers = takeMarkers();
    const auto last = std::ranges::find(markers.each, markers.written, &Marker::written);
    if (markers.written > 0) cache_.beginCommit(std::to_string(last->written) + " " + last->writer);
    return true;
}

void RedisReader::rest() {
    kept_.clear();
    pieces_.clear();
    cache_.trim();
}

std::vector<Reply>& RedisReader::keep(std::vector<Reply> replies) { return kept_.emplace_back(std::move(replies)); }

std::vector<StoredValue> RedisReader::values(std::span<const std::string> keys) {
    std::vector<std::string> stored;
    stored.reserve(keys.size());
    for (const std::string& key : keys) stored.push_back(keys_.value(key));
    return valuesOf(stored);
}

std::vector<StoredValue> RedisReader::valuesOf(std::span<const std::string> keys) {
    Commands commands;
    for (const std::string& key : keys) commands.add(key, {"GET", key});
    std::vector<StoredValue> values;
    values.reserve(keys.size());
    for (const Reply& reply : keep(ask(commands))) {
        values.push_back(reply ? valueOf(*reply) : StoredValue{StoredValue::State::kLost, {}});
    }
    return values;
}

// A command for each group, and then one for each block of those groups that were not answered: while a slot moves,
// servers refuse to answer for several keys at once.
std::vector<StoredValue> RedisReader::blocks(ListTable table, std::span<const BlockNumber> numbers) {
    std::array<std::vector<size_t>, kGroups> groups;
    for (size_t i = 0; i < numbers.size(); ++i) groups[groupOf(numbers[i])].push_back(i);
    std::vector<std::string> keys;
    keys.reserve(numbers.size());
    for (const BlockNumber number : numbers) keys.push_back(keys_.block(table, number));
    Commands commands;
    std::vector<size_t> asked; // groups
    std::vector<std::string_view> words;
    for (size_t group = 0; group < kGroups; ++group) {
        if (groups[group].empty()) continue;
        words.assign(1, "MGET");
        for (const size_t i : groups[group]) words.emplace_back(keys[i]);
        commands.add(words[1], words);
        asked.push_back(group);
    }
    const std::vector<Reply>& replies = keep(cluster_.ask(commands, Milliseconds(0)));
    std::vector<StoredValue> values(numbers.size());
    std::vector<size_t> open;
    for (size_t i = 0; i < asked.size(); ++i) {
        const std::vector<size_t>& places = groups[asked[i]];
        if (!replies[i]) open.insert(open.end(), places.begin(), places.end());
        if (!replies[i]) continue;
        const auto items = itemsOf(*replies[i]);
        if (items.size() != places.size()) {
            throw CatalogueError(cluster_.location().shown + ": a server does not answer MGET as Redis does");
        }
        for (size_t k = 0; k < items.size(); ++k) values[places[k]] = valueOf(*items[k]);
    }
    if (open.empty()) return values;
    std::vector<std::string> single;
    single.reserve(open.size());
    for (const size_t i : open) single.push_back(std::move(keys[i]));
    const std::vector<StoredValue> found = valuesOf(single);
    for (size_t k = 0; k < open.size(); ++k) values[open[k]] = found[k];
    return values;
}

std::vector<StoredValue> RedisReader::bodies(ListTable table, std::span<const ListNumber> longLists) {
    if (longLists.empty()) return {};
    std::vector<std::string> keys;
    keys.reserve(longLists.size());
    for (const ListNumber number : longLists) keys.push_back(keys_.longList(table, number));
    return valuesOf(keys);
}

std::vector<std::optional<CachedList>> RedisReader::partsOf(ListTable table, std::span<const ListNumber> numbers) {
    std::vector<std::optional<CachedList>> parts(numbers.size());
    std::vector<BlockNumber> missing;
    std::vector<size_t> places;
    for (size_t i = 0; i < numbers.size(); ++i) {
        parts[i] = cache_.find(table, numbers[i]);
        if (parts[i]) continue;
        missing.push_back(blockOf(mixed(table, numbers[i])));
        places.push_back(i);
    }
    if (missing.empty()) return parts;
    const std::vector<StoredValue> found = blocks(table, missing);
    for (size_t k = 0; k < found.size(); ++k) {
        if (found[k].state == StoredValue::State::kLost) continue;
        const ListNumber number = numbers[places[k]];
        const size_t place = placeOf(mixed(table, number));
        std::string bytes;
        CachedList list;
        const bool sound = forEachEntry(found[k].bytes, [&](const Entry& entry) {
            if (entry.place != place) return;
            if (entry.isLong) {
                list.longPart = entry.part;
                list.longBytes = entry.bytes;
            } else {
                bytes += entry.part;
            }
        });
        list.parts = bytes;
        if (sound) parts[places[k]] = cache_.keep(table, number, list);
    }
    return parts;
}

// A long list that is only counted has what its block says of it as its last piece.
std::vector<StoredList> RedisReader::lists(ListTable table, std::span<const ListNumber> numbers, size_t enough) {
    const std::vector<std::optional<CachedList>> parts = partsOf(table, numbers);
    std::vector<ListNumber> longLists;
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (enough != kToCount && parts[i] && parts[i]->longBytes > 0) longLists.push_back(numbers[i]);
    }
    const std::vector<StoredValue> found = bodies(table, longLists);
    auto body = found.begin();
    std::vector<std::string_view>& pieces = pieces_.emplace_back();
    pieces.reserve(2 * numbers.size()); // so that they stay where they are
    std::vector<StoredList> lists(numbers.size());
    for (size_t i = 0; i < numbers.size(); ++i) {
        StoredList& list = lists[i];
        list.lost = !parts[i];
        if (list.lost) continue;
        const size_t begin = pieces.size();
        const bool isLong = parts[i]->longBytes > 0;
        list.whole = !isLong || enough != kToCount;
        list.size = parts[i]->parts.size();
        if (isLong && list.whole) {
            list.size += body->bytes.size();
            list.lost = body->bytes.empty();
            pieces.push_back((body++)->bytes);
        }
        if (!parts[i]->parts.empty()) pieces.emplace_back(parts[i]->parts);
        if (!list.whole) {
            list.size += parts[i]->longPart.size() + parts[i]->longBytes;
            pieces.emplace_back(parts[i]->longPart);
        }
        if (!list.lost) list.pieces = std::span(pieces).subspan(begin);
    }
    return lists;
}

std::vector<WholeBlock> RedisReader::wholeBlocks(ListTable table, std::span<const BlockNumber> numbers) {
    std::vector<WholeBlock> found(numbers.size());
    const std::vector<StoredValue> values = blocks(table, numbers);
    std::vector<ListNumber> longLists;
    std::vector<std::pair<size_t, size_t>> bodyOf; // which block, which of its lists
    for (size_t i = 0; i < numbers.size(); ++i) {
        found[i].value = values[i];
        std::optional<BlockLists> lists = listsIn(values[i].bytes);
        found[i].damaged = !lists;
        if (!lists) continue;
        for (size_t place = 0; place < kPlaces; ++place) {
            BlockList& part = (*lists)[place];
            if (part.empty()) continue;
            if (part.longList) {
                bodyOf.emplace_back(i, found[i].lists.size());
                longLists.push_back(numberAt(table, numbers[i], place));
                part.parts.insert(part.parts.begin(), std::string_view());
            }
            found[i].lists.push_back({place, part.longList.has_value(), false, std::move(part.parts)});
        }
    }
    const std::vector<StoredValue> body = bodies(table, longLists);
    for (size_t k = 0; k < body.size(); ++k) {
        WholeBlock::List& list = found[bodyOf[k].first].lists[bodyOf[k].second];
        list.pieces.front() = body[k].bytes;
        list.lost = body[k].bytes.empty();
    }
    return found;
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
                throw CatalogueError(cluster_.nameOf(node) + " does not answer SCAN as a Redis server does");
            }
            cursor = textOf(*reply->element[0]);
            const redisReply& found = *reply->element[1];
            for (size_t i = 0; i < found.elements; ++i) {
                if (const auto key = keys_.listIn(textOf(*found.element[i]))) visit(*key);
            }
        } while (cursor != "0");
    }
}

bool RedisReader::areSlotsMoving() {
    for (const size_t node : cluster_.masters()) {
        Commands commands;
        commands.addFor(node, {"CLUSTER", "NODES"});
        const Reply reply = std::move(ask(commands).front());
        if (!reply) throw cluster_.unavailable();
        const std::string_view text =
            textOf(*reply); // a node writes of its own slots alone: [SLOT->-TO], [SLOT-<-FROM]
        if (text.find("->-") != std::string_view::npos || text.find("-<-") != std::string_view::npos) return true;
    }
    return false;
}

// What lies in a slot that moves may be missed where it comes from and where it goes to: then it looks again.
std::vector<ListKey> RedisReader::keysOf(ListTable table) {
    const auto until = Clock::now() + std::max<Milliseconds>(patience_, kMovesEnd);
    std::vector<ListKey> keys;
    for (;;) {
        const uint64_t version = cluster_.mapVersion();
        forEachKey([&](const ListKey& key) {
            if (key.table == table) keys.push_back(key);
        });
        std::ranges::sort(keys, {}, [](const ListKey& key) { return std::pair(key.isBlock, key.number); });
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
        if (!areSlotsMoving() && version == cluster_.mapVersion()) return keys;
        if (Clock::now() >= until) {
            throw CatalogueUnavailable(cluster_.location().shown +
                                       ": slots of the cluster are being moved; run this again when that is done");
        }
    }
}

std::vector<BlockNumber> RedisReader::blocksOf(ListTable table) {
    std::vector<BlockNumber> blocks;
    for (const ListKey& key : keysOf(table)) {
        if (key.isBlock) blocks.push_back(key.number);
    }
    return blocks;
}

void RedisReader::forEachList(ListTable table, const std::function<void(ListNumber, const StoredList&)>& visit) {
    const std::vector<BlockNumber> blocks = blocksOf(table);
    for (size_t first = 0; first < blocks.size(); first += kBlocksInAWave) {
        const auto wave = std::span(blocks).subspan(first, std::min(kBlocksInAWave, blocks.size() - first));
        const size_t kept = kept_.size();
        const std::vector<WholeBlock> found = wholeBlocks(table, wave);
        for (size_t i = 0; i < wave.size(); ++i) {
            const bool lost = found[i].damaged || found[i].value.state == StoredValue::State::kLost;
            if (lost) visit(numberAt(table, wave[i], 0), {{}, 0, false, true});
            for (const WholeBlock::List& list : found[i].lists) {
                StoredList whole{list.pieces, 0, !list.lost, list.lost};
                for (const std::string_view piece : list.pieces) whole.size += piece.size();
                visit(numberAt(table, wave[i], list.place), whole);
            }
        }
        kept_.resize(kept);
    }
}

} // namespace tarn::server::redis
