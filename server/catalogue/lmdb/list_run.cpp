// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/list_run.h"

#include "catalogue/remedies.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace tarn::server::lmdb {

static_assert(std::endian::native == std::endian::little, "numbers of a run lie lowest byte first");

namespace {

constexpr unsigned kNarrowBits = 16;
// An odd factor, which turns numbers round without losing any, and the factor that turns them back.
constexpr uint64_t kMix = 0x9e3779b97f4a7c15;
constexpr uint64_t inverse(uint64_t odd) {
    uint64_t result = odd; // right in the lowest 3 bits; each step doubles that
    for (int step = 0; step < 5; ++step) result *= 2 - odd * result;
    return result;
}
static_assert(kMix * inverse(kMix) == 1);

uint64_t maskOf(unsigned bits) { return (uint64_t{1} << bits) - 1; }

size_t lowBytes(ListTable table) {
    return bitsOf(table) - kSegmentBits <= kNarrowBits ? sizeof(uint16_t) : sizeof(uint32_t);
}

template <class Number>
void append(std::string& out, Number number) {
    out.append(reinterpret_cast<const char*>(&number), sizeof number);
}

} // namespace

Slot slotOf(ListTable table, ListNumber number) {
    const uint64_t mixed = number * kMix & maskOf(bitsOf(table));
    const unsigned lowBits = bitsOf(table) - kSegmentBits;
    return {static_cast<uint32_t>(mixed >> lowBits), static_cast<uint32_t>(mixed & maskOf(lowBits))};
}

ListNumber numberAt(ListTable table, Slot slot) {
    const uint64_t mixed = uint64_t{slot.segment} << (bitsOf(table) - kSegmentBits) | slot.low;
    return mixed * inverse(kMix) & maskOf(bitsOf(table));
}

ListRun::ListRun(ListTable table, std::string_view bytes) {
    uint32_t count = 0;
    if (bytes.size() >= sizeof count) std::memcpy(&count, bytes.data(), sizeof count);
    const size_t head = sizeof count + count * (lowBytes(table) + sizeof(uint32_t));
    if (count == 0 || head > bytes.size()) throw DamagedLists("a run of lists is damaged; " + std::string(kMakeLists));
    bytes_ = bytes;
    size_ = count;
    wide_ = lowBytes(table) == sizeof(uint32_t);
    lowBits_ = bitsOf(table) - kSegmentBits;
    lows_ = bytes.data() + sizeof count;
    ends_ = lows_ + count * lowBytes(table);
    lists_ = bytes.substr(head);
}

std::string_view ListRun::find(uint32_t wanted) const {
    // Low numbers lie evenly: where this one would be if they did exactly is nearly where it is.
    const size_t guess = static_cast<size_t>(uint64_t{wanted} * size_ >> lowBits_);
    size_t begin = guess;
    size_t end = guess;
    for (size_t step = 8; begin > 0 && low(begin) >= wanted; step *= 2) begin -= std::min(begin, step);
    for (size_t step = 8; end < size_ && low(end) < wanted; step *= 2) end = std::min(end + step, size_);
    while (begin < end) {
        const size_t middle = begin + (end - begin) / 2;
        if (low(middle) < wanted) {
            begin = middle + 1;
        } else {
            end = middle;
        }
    }
    return begin < size_ && low(begin) == wanted ? list(begin) : std::string_view();
}

void RunMaker::add(uint32_t low, std::string_view list) {
    if (list.empty()) return;
    lists_ += list;
    if (lists_.size() > std::numeric_limits<uint32_t>::max()) throw CatalogueError("a run of lists is too large");
    lows_.push_back(low);
    ends_.push_back(static_cast<uint32_t>(lists_.size()));
}

std::string RunMaker::finish(ListTable table) const {
    std::string out;
    out.reserve(sizeof(uint32_t) + lows_.size() * (lowBytes(table) + sizeof(uint32_t)) + lists_.size());
    append(out, static_cast<uint32_t>(lows_.size()));
    for (const uint32_t low : lows_) {
        if (lowBytes(table) == sizeof(uint16_t)) {
            append(out, static_cast<uint16_t>(low));
        } else {
            append(out, low);
        }
    }
    for (const uint32_t end : ends_) append(out, end);
    return out += lists_;
}

std::string merged(ListTable table, uint32_t segment, std::span<const ListRun> runs, const Rewrite& rewrite,
                   bool rewriteAll) {
    if (runs.empty()) return {};
    constexpr uint64_t kEnd = uint64_t{1} << 32;
    RunMaker maker;
    std::vector<size_t> at(runs.size(), 0);
    std::vector<uint64_t> next(runs.size());
    const auto look = [&](size_t r) { next[r] = at[r] < runs[r].size() ? runs[r].low(at[r]) : kEnd; };
    for (size_t r = 0; r < runs.size(); ++r) look(r);
    std::vector<std::string_view> pieces;
    for (;;) {
        const uint64_t low = *std::min_element(next.begin(), next.end());
        if (low == kEnd) return maker.empty() ? std::string() : maker.finish(table);
        pieces.clear();
        for (size_t r = 0; r < runs.size(); ++r) {
            if (next[r] != low) continue;
            pieces.push_back(runs[r].list(at[r]++));
            look(r);
        }
        const auto number = static_cast<uint32_t>(low);
        if (pieces.size() == 1 && !rewriteAll) {
            maker.add(number, pieces.front());
        } else {
            maker.add(number, rewrite(numberAt(table, {segment, number}), pieces));
        }
    }
}

} // namespace tarn::server::lmdb
