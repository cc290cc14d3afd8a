// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/blocks.h"

#include "base/bytes.h"

namespace tarn::server::redis {

namespace {

constexpr uint8_t kIsLong = 0x40;
constexpr uint8_t kHighestFirst = 0x7f;
constexpr uint8_t kPartOfMany = 0xff; // the numbers of ids and bytes follow

// The entry's first byte and its part are there.
std::optional<Entry> takeLongList(std::string_view& block) {
    Entry entry{.place = static_cast<uint8_t>(block.front()) & (kPlaces - 1), .isLong = true, .part = {}, .bytes = 0};
    std::string_view rest = block.substr(1);
    if (static_cast<uint8_t>(rest.front()) != kPartOfMany) return std::nullopt;
    rest.remove_prefix(1);
    const auto ids = takeVarint(rest);
    const auto bytes = takeVarint(rest);
    if (!ids || !bytes || *ids == 0 || *bytes < *ids) return std::nullopt;
    entry.bytes = *bytes;
    entry.part = block.substr(1, block.size() - rest.size() - 1);
    block = rest;
    return entry;
}

} // namespace

void appendEntry(std::string& block, size_t place, std::span<const uint32_t> ids) {
    block.push_back(static_cast<char>(place));
    if (ids.size() == 1) {
        appendId(block, ids.front());
    } else {
        appendPacked(block, ids);
    }
}

void appendList(std::string& block, size_t place, std::string_view list) {
    const auto* at = reinterpret_cast<const uint8_t*>(list.data());
    const uint8_t* const end = at + list.size();
    while (at != end) {
        const auto* const begin = at;
        if (detail::takePart(at, end).count == 0) throw DamagedLists("a list is damaged");
        block.push_back(static_cast<char>(place));
        block.append(reinterpret_cast<const char*>(begin), static_cast<size_t>(at - begin));
    }
}

void appendLongList(std::string& block, size_t place, uint64_t ids, uint64_t bytes) {
    block.push_back(static_cast<char>(kIsLong | place));
    block.push_back(static_cast<char>(kPartOfMany));
    appendVarint(block, ids);
    appendVarint(block, bytes);
}

std::optional<Entry> takeEntry(std::string_view& block) {
    const auto first = static_cast<uint8_t>(block.front());
    if (first > kHighestFirst || block.size() < 2) return std::nullopt;
    if ((first & kIsLong) != 0) return takeLongList(block);
    const auto* const begin = reinterpret_cast<const uint8_t*>(block.data()) + 1;
    const auto* at = begin;
    if (detail::takePart(at, begin + block.size() - 1).count == 0) return std::nullopt;
    const auto size = static_cast<size_t>(at - begin);
    const Entry entry{.place = first, .isLong = false, .part = block.substr(1, size), .bytes = 0};
    block.remove_prefix(1 + size);
    return entry;
}

std::optional<BlockLists> listsIn(std::string_view block) {
    BlockLists lists;
    const bool sound = forEachEntry(block, [&](const Entry& entry) {
        BlockList& list = lists[entry.place];
        if (entry.isLong) {
            list.longList = entry;
        } else {
            list.parts.push_back(entry.part);
        }
    });
    return sound ? std::optional(std::move(lists)) : std::nullopt;
}

std::optional<FoldedBlock> foldedBlock(std::string_view block) {
    const std::optional<BlockLists> lists = listsIn(block);
    if (!lists) return std::nullopt;
    FoldedBlock folded;
    std::vector<uint32_t> ids;
    std::string packed;
    for (size_t place = 0; place < kPlaces; ++place) {
        const BlockList& list = (*lists)[place];
        ids.clear();
        if (!forEachId(list.parts, [&](uint32_t id) { ids.push_back(id); })) return std::nullopt;
        packed.clear();
        appendPacked(packed, ids);
        if (list.longList || packed.size() > kLongList) {
            const Entry before = list.longList.value_or(Entry{});
            const uint64_t known = countOf(before.part, before.part.size() + before.bytes);
            appendLongList(folded.bytes, place, known + ids.size(), before.bytes + packed.size());
            if (!packed.empty()) folded.longer.emplace_back(place, packed);
        } else if (!ids.empty()) {
            appendEntry(folded.bytes, place, ids);
        }
    }
    return folded;
}

} // namespace tarn::server::redis
