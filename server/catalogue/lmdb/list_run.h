// SPDX-License-Identifier: Apache-2.0
// Runs: the lists of one segment of a table as one value, so that a list is found in memory by two or three looks
// instead of a descent through a tree, and thousands are written at once.
//
// A table's numbers are mixed, so that they lie evenly, and cut: the highest bits are the segment, the others the low
// number. A run has, all of them lowest byte first:
//
//   4 bytes       number of lists
//   2 or 4 each   their low numbers, rising (2 bytes where they have 16 bits at most)
//   4 bytes each  where each list ends, counted from the first list's first byte
//   the lists     as the catalogue gave them
#pragma once

#include "catalogue/store.h"

#include <cstring>
#include <utility>

namespace tarn::server::lmdb {

inline constexpr unsigned kSegmentBits = 10;
inline constexpr size_t kSegments = size_t{1} << kSegmentBits;

struct Slot {
    uint32_t segment = 0;
    uint32_t low = 0;
};

// number: of no more bits than the table's.
Slot slotOf(ListTable table, ListNumber number);
ListNumber numberAt(ListTable table, Slot slot);

class ListRun {
  public:
    ListRun() = default;
    // Throws CatalogueError when that is no run.
    ListRun(ListTable table, std::string_view bytes);

    size_t size() const { return size_; }
    // All that it takes in memory.
    std::string_view bytes() const { return bytes_; }
    uint32_t low(size_t index) const { return wide_ ? at<uint32_t>(lows_, index) : at<uint16_t>(lows_, index); }
    // Empty: the run is damaged.
    std::string_view list(size_t index) const {
        const size_t begin = index == 0 ? 0 : at<uint32_t>(ends_, index - 1);
        const size_t end = at<uint32_t>(ends_, index);
        return begin <= end && end <= lists_.size() ? lists_.substr(begin, end - begin) : std::string_view();
    }
    // Empty: there is no such list.
    std::string_view find(uint32_t low) const;

  private:
    template <class Number>
    static Number at(const char* numbers, size_t index) {
        Number value;
        std::memcpy(&value, numbers + index * sizeof(Number), sizeof(Number));
        return value;
    }

    std::string_view bytes_;
    size_t size_ = 0;
    bool wide_ = false;
    unsigned lowBits_ = 0;
    const char* lows_ = nullptr;
    const char* ends_ = nullptr;
    std::string_view lists_;
};

// Puts a run together, list by list.
class RunMaker {
  public:
    // low: higher than that of the list before.
    void add(uint32_t low, std::string_view list);
    bool empty() const { return lows_.empty(); }
    std::string finish(ListTable table) const;

  private:
    std::vector<uint32_t> lows_;
    std::vector<uint32_t> ends_;
    std::string lists_;
};

// One run of several: the lists of the same number become one, by `rewrite`. Of a number that only one of them has the
// list is taken as it is, unless all are to be rewritten.
std::string merged(ListTable table, uint32_t segment, std::span<const ListRun> runs, const Rewrite& rewrite,
                   bool rewriteAll);

} // namespace tarn::server::lmdb
