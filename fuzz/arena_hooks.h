// SPDX-License-Identifier: Apache-2.0
// The library's memory hooks for programs that run millions of times. Blocks are cut from one piece of memory and never
// reused within a run, and the memory around them is poisoned for the address sanitizer. This costs a tenth of the
// sanitizer's own allocator.
#pragma once

#include "core/handle.h"
#include "fuzz_target.h"
#include "kvx.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

namespace fuzz {

// While one exists, KVXMalloc and KVXFree use it; one at a time. Its destructor releases all blocks.
class ArenaHooks {
  public:
    ArenaHooks() {
        KVXMalloc = &allocate;
        KVXFree = &release;
    }
    ~ArenaHooks() {
        KVXMalloc = &std::malloc;
        KVXFree = &std::free;
        Arena& arena = theArena();
        for (size_t slot = 0; slot < arena.usedSlots; ++slot) arena.sizes[slot] = kNoBlock;
        ASAN_POISON_MEMORY_REGION(arena.bytes, arena.usedSlots * kSlotBytes);
        arena.usedSlots = arena.live = arena.strayFrees = 0;
    }
    ArenaHooks(const ArenaHooks&) = delete;
    ArenaHooks& operator=(const ArenaHooks&) = delete;

    // Blocks taken and not yet returned.
    size_t live() const { return theArena().live; }
    // Returned blocks that were not taken, or returned before: always a fault.
    size_t strayFrees() const { return theArena().strayFrees; }

  private:
    static constexpr size_t kSlotBytes = 16;
    static constexpr size_t kSlots = size_t{1} << 22; // 64 MiB
    static constexpr uint32_t kNoBlock = 0;

    struct Arena {
        Arena() {
            void* base = mmap(nullptr, kSlots * kSlotBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            REQUIRE(base != MAP_FAILED);
            bytes = static_cast<uint8_t*>(base);
            ASAN_POISON_MEMORY_REGION(bytes, kSlots * kSlotBytes);
        }
        uint8_t* bytes;
        // For the slot at which a block begins: its size plus 1; kNoBlock for any other.
        std::unique_ptr<uint32_t[]> sizes = std::make_unique<uint32_t[]>(kSlots);
        size_t usedSlots = 0;
        size_t live = 0;
        size_t strayFrees = 0;
    };
    static Arena& theArena() {
        static Arena& arena = *new Arena; // never destroyed
        return arena;
    }

    static void* allocate(size_t size) {
        Arena& arena = theArena();
        // At least one slot lies between two blocks.
        const size_t slots = size / kSlotBytes + 2;
        REQUIRE(slots < kSlots - arena.usedSlots); // no input needs that much
        uint8_t* block = arena.bytes + arena.usedSlots * kSlotBytes;
        arena.sizes[arena.usedSlots] = static_cast<uint32_t>(size) + 1;
        arena.usedSlots += slots;
        ++arena.live;
        ASAN_UNPOISON_MEMORY_REGION(block, size);
        return block;
    }
    static void release(void* block) {
        if (block == nullptr) return;
        Arena& arena = theArena();
        const auto offset = static_cast<size_t>(static_cast<uint8_t*>(block) - arena.bytes);
        const size_t slot = offset / kSlotBytes;
        if (offset % kSlotBytes != 0 || slot >= arena.usedSlots || arena.sizes[slot] == kNoBlock) {
            ++arena.strayFrees;
            return;
        }
        ASAN_POISON_MEMORY_REGION(block, arena.sizes[slot] - 1);
        arena.sizes[slot] = kNoBlock;
        --arena.live;
    }
};

// A handle with the simplest methods of signing and a device identity. Its host name comes from the system's allocator
// and goes back there, not through the hooks.
struct HandleShutdown {
    void operator()(KVXHandle* handle) const { KVXShutdown(&handle); }
};
using Handle = std::unique_ptr<KVXHandle, HandleShutdown>;
inline Handle makeHandle(int32_t responseFraming = 'B') {
    static constexpr const char* kCode = "0403020101000200"
                                         "0000000000000000000000000000000000000000000000000000000000000000";
    static constexpr const char* kDevice = "00:11:22:33:44:5";
    KVXHandle* handle = nullptr;
    REQUIRE(KVXInit(&handle, kCode, reinterpret_cast<const uint8_t*>(kDevice), 16, nullptr, 0, 'B', responseFraming,
                    'S', nullptr, 0) == 0);
    KVXFree(handle->hostName);
    handle->hostName = strdup("host");
    return Handle(handle);
}

} // namespace fuzz
