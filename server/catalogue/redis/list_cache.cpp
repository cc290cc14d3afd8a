// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/list_cache.h"

#include <algorithm>
#include <utility>

namespace tarn::server::redis {

namespace {

constexpr size_t kChunkBytes = size_t{1} << 18;
constexpr size_t kMinSlots = 1024;

// Never 0: no table has that name.
uint64_t nameOf(ListTable table, ListNumber number) { return uint64_t{table} << 56 | number; }

} // namespace

size_t ListCache::Generation::place(uint64_t name) const {
    constexpr uint64_t kMix = 0x9e3779b97f4a7c15;
    size_t place = name * kMix >> 20 & (slots_.size() - 1);
    while (slots_[place].name != 0 && slots_[place].name != name) place = (place + 1) & (slots_.size() - 1);
    return place;
}

const CachedList* ListCache::Generation::find(uint64_t name) const {
    if (slots_.empty()) return nullptr;
    const Slot& slot = slots_[place(name)];
    return slot.name == 0 ? nullptr : &slot.list;
}

std::string_view ListCache::Generation::copy(std::string_view bytes) {
    if (bytes.empty()) return {};
    if (chunks_.empty() || chunks_.back().capacity() - chunks_.back().size() < bytes.size()) {
        chunks_.emplace_back().reserve(std::max(kChunkBytes, bytes.size()));
        bytes_ += chunks_.back().capacity();
    }
    std::string& chunk = chunks_.back();
    chunk += bytes;
    return std::string_view(chunk).substr(chunk.size() - bytes.size());
}

CachedList ListCache::Generation::keep(uint64_t name, const CachedList& list) {
    if (2 * (count_ + 1) > slots_.size()) {
        std::vector<Slot> before = std::exchange(slots_, std::vector<Slot>(std::max(kMinSlots, 2 * slots_.size())));
        for (const Slot& slot : before) {
            if (slot.name != 0) slots_[place(slot.name)] = slot;
        }
        bytes_ += (slots_.size() - before.size()) * sizeof(Slot);
    }
    Slot& slot = slots_[place(name)];
    if (slot.name == 0) {
        slot = {name, {copy(list.parts), copy(list.longPart), list.longBytes}};
        ++count_;
    }
    return slot.list; // one that was there already stays: it may be in use
}

void ListCache::beginCommit(std::string_view commit) {
    if (commit == commit_) return;
    commit_ = commit;
    young_ = {};
    old_ = {};
}

std::optional<CachedList> ListCache::find(ListTable table, ListNumber number) {
    const uint64_t name = nameOf(table, number);
    if (const CachedList* const found = young_.find(name)) return *found;
    if (const CachedList* const found = old_.find(name)) return young_.keep(name, *found);
    return std::nullopt;
}

CachedList ListCache::keep(ListTable table, ListNumber number, const CachedList& list) {
    return young_.keep(nameOf(table, number), list);
}

void ListCache::trim() {
    if (young_.bytes() <= mostBytes_ / 2) return;
    old_ = mostBytes_ == 0 ? Generation() : std::move(young_);
    young_ = {};
}

} // namespace tarn::server::redis
