// SPDX-License-Identifier: Apache-2.0
// Ownership of hook memory inside the library. Every early return frees what it holds; the line that hands a block
// to the caller says release().
#pragma once

#include "kvx.h"

#include <cstddef>
#include <memory>

namespace kvx {

struct HookFree {
    void operator()(void* block) const noexcept { KVXFree(block); }
};

template <class T>
using Owned = std::unique_ptr<T, HookFree>;

// A zero-filled block of at least one byte from the hooks, or null.
inline void* allocateZeroed(size_t size) noexcept {
    const size_t taken = size == 0 ? 1 : size;
    void* block = KVXMalloc(taken);
    if (block != nullptr) KVXMemSet(block, 0, taken);
    return block;
}

template <class T>
Owned<T> makeZeroed() noexcept {
    return Owned<T>(static_cast<T*>(allocateZeroed(sizeof(T))));
}

} // namespace kvx
