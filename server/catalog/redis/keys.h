// SPDX-License-Identifier: Apache-2.0
// The keys of a catalogue, and the slots of a cluster in which they lie.
//
//   NAME ':' key           a value
//   NAME 0x80+table n...   a list: its number, highest byte first, without leading zeros. Six bytes at most for a
//   number
//                          below 2^32 under a name of one letter: what the servers' allocator rounds to 8 with its
//                          frame
//   NAME "!lock"           the writer's token, while there is one
//   NAME "!n{tag}"         the markers: kMarkers keys whose slots are spread evenly over all (catalog/redis/markers.h)
#pragma once

#include "catalog/store.h"

#include <optional>
#include <string>
#include <string_view>

namespace tarn::server::redis {

inline constexpr size_t kSlots = 16384;
inline constexpr size_t kMarkers = 64;

// CRC-16 (XMODEM) of the key, or of what stands in its first {}, if that is not empty.
uint16_t slotOf(std::string_view key);

struct ListKey {
    ListTable table = 0;
    ListNumber number = 0;
    bool operator==(const ListKey&) const = default;
};

class Keys {
  public:
    explicit Keys(std::string name) : name_(std::move(name)) {}

    std::string value(std::string_view key) const { return name_ + ":" + std::string(key); }
    // Throws CatalogError for a table above 127.
    std::string list(ListTable table, ListNumber number) const;
    // Nothing: it is the key of no list of this catalogue.
    std::optional<ListKey> listIn(std::string_view key) const;
    // What every key begins with, as SCAN takes it.
    std::string pattern() const { return name_ + "*"; }
    std::string lock() const { return name_ + "!lock"; }
    // The one in the range of slots of that number, each of which holds kSlots / kMarkers.
    std::string marker(size_t range) const;

  private:
    std::string name_;
};

} // namespace tarn::server::redis
