// SPDX-License-Identifier: Apache-2.0
// Blocks: the lists of 64 numbers as one value, because a key takes some 90 bytes of a server's memory and many lists
// hold fewer. The numbers are mixed first (catalogue/number_mixing.h); the lowest 6 bits are a list's place in its
// block.
//
// A block is one entry after another. It grows at its end, and is folded from time to time: then it has one entry for
// each list.
//
//   1 byte   the list's place, and 64 more when it is a long one
//   a part   of the list (catalogue/posting_list.h). The entry of a long list has only what begins a packed part: its
//            ids are a value of their own, and whatever else the block has of the list comes after them
#pragma once

#include "catalogue/number_mixing.h"
#include "catalogue/posting_list.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarn::server::redis {

inline constexpr unsigned kPlaceBits = 6;
inline constexpr size_t kPlaces = size_t{1} << kPlaceBits;
// A list that is longer than this when its block is folded is a long one. Lists that are too common for a look-up to
// read them are, so that it is spared their bytes.
inline constexpr size_t kLongList = 2048;

using BlockNumber = uint64_t;
constexpr BlockNumber blockOf(uint64_t mixed) { return mixed >> kPlaceBits; }
constexpr size_t placeOf(uint64_t mixed) { return mixed & (kPlaces - 1); }
constexpr ListNumber numberAt(ListTable table, BlockNumber block, size_t place) {
    return unmixed(table, block << kPlaceBits | place);
}

// An entry; ids: at least one, rising.
void appendEntry(std::string& block, size_t place, std::span<const uint32_t> ids);
// An entry that holds what is a list by itself.
void appendList(std::string& block, size_t place, std::string_view list);
// An entry of a long list with so many ids, which take so many bytes.
void appendLongList(std::string& block, size_t place, uint64_t ids, uint64_t bytes);

struct Entry {
    size_t place = 0;
    bool isLong = false;
    std::string_view part;
    uint64_t bytes = 0; // of a long list: those that lie elsewhere
};
// Moves past the first entry of a block that is not empty; nothing: the block is damaged.
std::optional<Entry> takeEntry(std::string_view& block);

// False: the block is damaged. A look-up goes through some hundred blocks: it is quick for what most entries are.
template <class Visit>
bool forEachEntry(std::string_view block, Visit visit) {
    constexpr size_t kOneId = 5;
    while (!block.empty()) {
        const auto byte = [&](size_t i) { return static_cast<uint8_t>(block[i]); };
        size_t size = 0;
        if (block.size() >= kOneId && byte(0) < kPlaces) {
            if (byte(1) < 0x80) {
                size = kOneId;
            } else if (byte(1) != 0xff && byte(2) < 0x80 && byte(2) >= (byte(1) & 0x7f) && byte(1) != 0x80) {
                size = 3 + size_t{byte(2)};
            }
        }
        if (size == 0 || size > block.size()) {
            const std::optional<Entry> entry = takeEntry(block);
            if (!entry) return false;
            visit(*entry);
            continue;
        }
        visit(Entry{.place = byte(0), .isLong = false, .part = block.substr(1, size - 1), .bytes = 0});
        block.remove_prefix(size);
    }
    return true;
}

// What a block has of one list.
struct BlockList {
    std::vector<std::string_view> parts; // in their order
    std::optional<Entry> longList;
    bool empty() const { return parts.empty() && !longList; }
};
using BlockLists = std::array<BlockList, kPlaces>;
// By place; nothing: the block is damaged.
std::optional<BlockLists> listsIn(std::string_view block);

struct FoldedBlock {
    std::string bytes;
    // Of long lists: their places, and what is to be appended to them first.
    std::vector<std::pair<size_t, std::string>> longer;
};
// Nothing: the block is damaged.
std::optional<FoldedBlock> foldedBlock(std::string_view block);

} // namespace tarn::server::redis
