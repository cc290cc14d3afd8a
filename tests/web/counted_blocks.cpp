// SPDX-License-Identifier: Apache-2.0
// In front of malloc and free in counted.wasm: counts the blocks that are taken, and fails where a test asks.
#include <cstddef>
#include <cstdint>

extern "C" {

void* __real_malloc(size_t size); // NOLINT(bugprone-reserved-identifier): the linker gives the names
void __real_free(void* block);    // NOLINT(bugprone-reserved-identifier)

static int32_t live = 0;
static int32_t untilFailure = -1; // allocations before the one that fails; -1: none fails

int32_t liveBlocks() { return live; }
void failAllocation(int32_t number) { untilFailure = number; }

void* __wrap_malloc(size_t size) { // NOLINT(bugprone-reserved-identifier)
    if (untilFailure >= 0 && untilFailure-- == 0) return nullptr;
    void* block = __real_malloc(size);
    if (block != nullptr) ++live;
    return block;
}

void __wrap_free(void* block) { // NOLINT(bugprone-reserved-identifier)
    if (block != nullptr) --live;
    __real_free(block);
}

} // extern "C"
