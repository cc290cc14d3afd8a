// SPDX-License-Identifier: Apache-2.0
// A counting allocator for the library's memory hooks, for one test at a time.
#pragma once

#include "kvx.h"

#include <cstddef>
#include <cstdlib>
#include <unordered_map>

namespace kvxtest {

// While one lives, KVXMalloc and KVXFree go through it. Whatever is left when it ends is given back to the system, so
// that a test asserts live() itself and a deliberate leak of the library does not trip the leak sanitizer.
class CountingHooks {
  public:
    static constexpr long kNever = -1;

    CountingHooks() {
        active_ = this;
        KVXMalloc = &allocate;
        KVXFree = &release;
    }
    ~CountingHooks() {
        KVXMalloc = &std::malloc;
        KVXFree = &std::free;
        active_ = nullptr;
        for (const auto& [block, size] : live_) std::free(block);
    }
    CountingHooks(const CountingHooks&) = delete;
    CountingHooks& operator=(const CountingHooks&) = delete;

    // Blocks taken and not yet returned through the hooks.
    size_t live() const { return live_.size(); }
    // Calls of KVXMalloc so far, failed ones included.
    long allocations() const { return allocations_; }
    // Calls of KVXFree with a block that is not live: always a fault.
    long strayFrees() const { return strayFrees_; }
    // Calls of KVXFree with null: a hook need not be able to take it.
    long nullFrees() const { return nullFrees_; }
    size_t largest() const { return largest_; }

    // The n-th allocation from now on (0: the next) gives null; kNever: none.
    void failAfter(long n) { failAt_ = n == kNever ? kNever : allocations_ + n; }

    // Whether the one that was to fail has come.
    bool hasFailed() const { return failAt_ != kNever && allocations_ > failAt_; }

    // A block that the library returned to the system by free() itself is no longer this counter's to give back.
    void forget(void* block) { live_.erase(block); }
    // The same for every block of a size, where the block itself is out of sight; returns how many.
    size_t forgetBlocksOf(size_t size) {
        return std::erase_if(live_, [size](const auto& entry) { return entry.second == size; });
    }

  private:
    static void* allocate(size_t size) {
        const long number = active_->allocations_++;
        if (number == active_->failAt_) return nullptr;
        void* block = std::malloc(size);
        active_->live_[block] = size;
        if (size > active_->largest_) active_->largest_ = size;
        return block;
    }
    static void release(void* block) {
        if (block == nullptr) {
            ++active_->nullFrees_;
            return;
        }
        if (active_->live_.erase(block) == 0) {
            ++active_->strayFrees_;
            return;
        }
        std::free(block);
    }

    static inline CountingHooks* active_ = nullptr;
    std::unordered_map<void*, size_t> live_;
    long allocations_ = 0;
    long strayFrees_ = 0;
    long nullFrees_ = 0;
    long failAt_ = kNever;
    size_t largest_ = 0;
};

} // namespace kvxtest
