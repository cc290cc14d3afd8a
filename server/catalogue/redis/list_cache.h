// SPDX-License-Identifier: Apache-2.0
// Lists that a reader has seen since the last commit: queries ask for the same common ones again and again, and a
// server takes as long to find a block in its memory as the reader takes to add a list up.
//
// What is found stays where it is until trim() or beginCommit(). Of what was asked for last, half of the bytes are
// always kept.
#pragma once

#include "catalogue/store.h"

#include <deque>

namespace tarn::server::redis {

// What a block has of a list.
struct CachedList {
    std::string_view parts;
    std::string_view longPart; // what begins the packed part of a long list, which comes before all others; else empty
    uint64_t longBytes = 0;
};

class ListCache {
  public:
    // mostBytes: after trim(); 0: it keeps nothing longer.
    explicit ListCache(size_t mostBytes) : mostBytes_(mostBytes) {}

    // Forgets all, unless all is of that commit. commit: its number and who made it.
    void beginCommit(std::string_view commit);
    std::optional<CachedList> find(ListTable table, ListNumber number);
    CachedList keep(ListTable table, ListNumber number, const CachedList& list);
    void trim();

  private:
    // Lists that are thrown away together.
    class Generation {
      public:
        const CachedList* find(uint64_t name) const;
        CachedList keep(uint64_t name, const CachedList& list);
        size_t bytes() const { return bytes_; }

      private:
        struct Slot {
            uint64_t name = 0; // 0: it is free
            CachedList list;
        };
        size_t place(uint64_t name) const; // of its slot, or of the free one where it belongs
        std::string_view copy(std::string_view bytes);

        std::vector<Slot> slots_; // a power of 2 of them, half of them free at least
        size_t count_ = 0;
        size_t bytes_ = 0;
        std::deque<std::string> chunks_; // which never grow past what they reserved
    };

    const size_t mostBytes_;
    std::string commit_;
    Generation young_;
    Generation old_; // what has not been asked for since young_ began
};

} // namespace tarn::server::redis
