// SPDX-License-Identifier: Apache-2.0
// The keys of a catalogue, and the slots of a cluster in which they lie.
//
//   NAME ':' key           a value
//   NAME ';' {tag} table block
//                          a block of lists (catalogue/redis/blocks.h); table: 1 byte; block: its number divided by
//                          kGroups, highest byte first, without leading zeros. The remainder is its group; the blocks
//                          of a group lie in one slot, so that one command asks for many
//   NAME 0x80+table n...   the ids of a long list: its number, written as a block's
//   NAME "!lock"           the writer's token, while there is one
//   NAME "!n{tag}"         the markers: kGroups keys whose slots are spread evenly over all (catalogue/redis/markers.h)
#pragma once

#include "catalogue/redis/blocks.h"
#include "catalogue/store.h"

#include <optional>
#include <string>
#include <string_view>

namespace tarn::server::redis {

inline constexpr size_t kSlots = 16384;
inline constexpr size_t kGroups = 64;

// CRC-16 (XMODEM) of the key, or of what stands in its first {}, if that is not empty.
uint16_t slotOf(std::string_view key);

constexpr size_t groupOf(BlockNumber block) { return block % kGroups; }

struct ListKey {
    ListTable table = 0;
    bool isBlock = false;
    uint64_t number = 0; // of the block, or of the long list
    auto operator<=>(const ListKey&) const = default;
};

class Keys {
  public:
    explicit Keys(std::string name) : name_(std::move(name)) {}

    std::string value(std::string_view key) const { return name_ + ":" + std::string(key); }
    // Throw CatalogueError for a table above 127.
    std::string block(ListTable table, BlockNumber block) const;
    std::string longList(ListTable table, ListNumber number) const;
    // Nothing: it is the key of no block or long list of this catalogue.
    std::optional<ListKey> listIn(std::string_view key) const;
    // What every key begins with, as SCAN takes it.
    std::string pattern() const { return name_ + "*"; }
    std::string lock() const { return name_ + "!lock"; }
    // The one in the range of slots of that number, each of which holds kSlots / kGroups.
    std::string marker(size_t range) const;

  private:
    std::string name_;
};

} // namespace tarn::server::redis
