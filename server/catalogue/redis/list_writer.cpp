// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/list_writer.h"

#include <algorithm>
#include <bit>
#include <thread>

namespace tarn::server::redis {

namespace {

using namespace std::chrono_literals;

constexpr Milliseconds kReadersLook = 1500ms; // at what is committed
constexpr size_t kBlocksInAWave = 1000;
// A block is folded when it grows past a power of two, from this one on: that is seldom enough that folding does not
// cost more than appending does, and leaves half of a block folded at least.
constexpr uint64_t kFoldedFrom = 128;
// Only where the block is as long as when it was read: after a writer was cut off another one may have appended to it.
constexpr std::string_view kFoldScript = "if redis.call('strlen', KEYS[1]) ~= tonumber(ARGV[1]) then return 0 end "
                                         "redis.call('set', KEYS[1], ARGV[2]) return 1";

} // namespace

void ListWriter::append(const Batch& batch) {
    struct Mixed {
        uint64_t number = 0;
        uint32_t id = 0;
    };
    std::vector<Mixed> postings;
    postings.reserve(batch.postings.size());
    for (const Posting& posting : batch.postings) postings.push_back({mixed(batch.table, posting.list), posting.id});
    std::ranges::stable_sort(postings, {}, &Mixed::number);
    std::vector<BlockNumber> blocks;
    std::vector<std::string> entries;
    std::vector<uint32_t> ids;
    for (auto at = postings.begin(); at != postings.end();) {
        if (blocks.empty() || blocks.back() != blockOf(at->number)) {
            if (blocks.size() == kMaxCommands) {
                appendWave(batch.table, blocks, entries);
                blocks.clear();
                entries.clear();
            }
            blocks.push_back(blockOf(at->number));
            entries.emplace_back();
        }
        ids.clear();
        const uint64_t number = at->number;
        for (; at != postings.end() && at->number == number; ++at) ids.push_back(at->id);
        appendEntry(entries.back(), placeOf(number), ids);
    }
    if (!blocks.empty()) appendWave(batch.table, blocks, entries);
}

void ListWriter::appendWave(ListTable table, std::span<const BlockNumber> blocks,
                            std::span<const std::string> entries) {
    Commands commands;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const std::string key = keys_.block(table, blocks[i]);
        commands.add(key, {"APPEND", key, entries[i]});
    }
    const std::vector<Reply> replies = sender_.answersTo(commands);
    std::vector<BlockNumber> grown;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const auto size = static_cast<uint64_t>(replies[i]->integer);
        const uint64_t before = size - std::min<uint64_t>(size, entries[i].size());
        if (size >= kFoldedFrom && std::bit_width(size) != std::bit_width(before)) grown.push_back(blocks[i]);
    }
    if (!grown.empty()) fold(table, grown);
}

// One that is damaged stays as it is: reading it says so. What makes a list longer that lies elsewhere comes before the
// block that no longer holds it: in between it is in both, and counts once.
void ListWriter::fold(ListTable table, std::span<const BlockNumber> blocks) {
    Commands longLists;
    Commands folded;
    const std::vector<StoredValue> values = reader_.blocks(table, blocks);
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (values[i].state == StoredValue::State::kLost) throw cluster_.unavailable();
        const auto block = foldedBlock(values[i].bytes);
        if (!block) continue;
        for (const auto& [place, ids] : block->longer) {
            const std::string key = keys_.longList(table, numberAt(table, blocks[i], place));
            longLists.add(key, {"APPEND", key, ids});
        }
        const std::string key = keys_.block(table, blocks[i]);
        folded.add(key, {"EVAL", kFoldScript, "1", key, std::to_string(values[i].bytes.size()), block->bytes});
    }
    sender_.send(longLists);
    sender_.send(folded);
    reader_.rest();
}

void ListWriter::rewrite(ListTable table, const Rewrite& rewrite) {
    const std::vector<BlockNumber> all = reader_.blocksOf(table);
    for (size_t first = 0; first < all.size(); first += kBlocksInAWave) {
        const auto numbers = std::span(all).subspan(first, std::min(kBlocksInAWave, all.size() - first));
        lock_.renew();
        rewriteWave(table, numbers, rewrite);
        reader_.rest();
    }
}

void ListWriter::rewriteWave(ListTable table, std::span<const BlockNumber> numbers, const Rewrite& rewrite) {
    const std::vector<WholeBlock> blocks = reader_.wholeBlocks(table, numbers);
    Commands before;
    Commands wave;
    Commands after;
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (blocks[i].value.state == StoredValue::State::kLost) throw cluster_.unavailable();
        if (blocks[i].damaged) throw DamagedLists("a block of lists is damaged");
        std::string bytes;
        for (const WholeBlock::List& list : blocks[i].lists) {
            const ListNumber number = numberAt(table, numbers[i], list.place);
            if (list.lost) throw DamagedLists("a list is missing");
            const std::string anew = rewrite(number, list.pieces);
            const std::string key = keys_.longList(table, number);
            if (anew.empty()) {
                if (list.isLong) after.add(key, {"UNLINK", key});
            } else if (list.isLong || anew.size() > kLongList) {
                before.add(key, {"SET", key, anew});
                appendLongList(bytes, list.place, countOf(anew, anew.size()), anew.size());
            } else {
                appendList(bytes, list.place, anew);
            }
        }
        const std::string key = keys_.block(table, numbers[i]);
        if (bytes.empty()) wave.add(key, {"UNLINK", key});
        if (!bytes.empty()) wave.add(key, {"SET", key, bytes});
    }
    for (Commands* const commands : {&before, &wave, &after}) {
        sender_.send(*commands);
    }
}

// Again where a master failed: its replica may still have had them.
void ListWriter::erase(ListTable table) {
    // Readers learn once a second which table is in use.
    if (!reader_.keysOf(table).empty()) std::this_thread::sleep_for(kReadersLook);
    for (uint64_t before = cluster_.upheavals() + 1; before != cluster_.upheavals();) {
        before = cluster_.upheavals();
        Commands commands;
        for (const ListKey& each : reader_.keysOf(table)) {
            if (commands.size() == 0) lock_.renew();
            const std::string key = each.isBlock ? keys_.block(table, each.number) : keys_.longList(table, each.number);
            commands.add(key, {"UNLINK", key});
            sender_.sendIfLarge(commands);
        }
        sender_.send(commands);
    }
}

} // namespace tarn::server::redis
