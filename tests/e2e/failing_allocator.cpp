// SPDX-License-Identifier: Apache-2.0
// The global operator new and the library's hooks, for a tool whose allocations are counted and fail by number:
//
//   TARN_FAILING_NEW=n    the n-th operator new of the process, from 0, gives nothing
//   TARN_FAILING_HOOK=n   the n-th KVXMalloc gives nothing
//   TARN_FAILING_REST=1   and so does every later one of that kind
//
// and which says at its end how many of both there were, and how many bytes they held together at most:
//
//   TARN_FAILING_TALLY=p  "NEW N HOOK M PEAK B" is written to the file p
//
// The system library's own use of malloc stays as it is; failing_malloc.cpp is for that.
#include "kvx.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <new>
#include <unistd.h>

namespace {

constexpr long kUnread = -2;
constexpr long kNever = -1;

struct Kind {
    const char* variable;
    long failing = kUnread;
    long allocations = 0;
};
// Usable before any constructor has run.
constinit Kind operatorNew{"TARN_FAILING_NEW"};
constinit Kind hook{"TARN_FAILING_HOOK"};

constinit size_t heldBytes = 0;
constinit size_t peakBytes = 0;

void* counted(void* block) {
    heldBytes += malloc_usable_size(block);
    peakBytes = std::max(peakBytes, heldBytes);
    return block;
}

void release(void* block) {
    heldBytes -= std::min(heldBytes, malloc_usable_size(block)); // a block from elsewhere may go back here
    std::free(block);
}

bool mayAllocate(Kind& kind) {
    if (kind.failing == kUnread) {
        const char* number = std::getenv(kind.variable);
        kind.failing = number == nullptr ? kNever : std::strtol(number, nullptr, 10);
    }
    const long number = kind.allocations++;
    if (kind.failing == kNever || number < kind.failing) return true;
    return number != kind.failing && std::getenv("TARN_FAILING_REST") == nullptr;
}

void* allocate(std::size_t size) noexcept {
    return mayAllocate(operatorNew) ? counted(std::malloc(size == 0 ? 1 : size)) : nullptr;
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept {
    const auto boundary = static_cast<std::size_t>(alignment);
    if (!mayAllocate(operatorNew)) return nullptr;
    return counted(std::aligned_alloc(boundary, (size + boundary - 1) / boundary * boundary));
}

void* orThrow(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* allocateForLibrary(std::size_t size) { return mayAllocate(hook) ? counted(std::malloc(size)) : nullptr; }

struct Installed {
    Installed() {
        KVXMalloc = &allocateForLibrary;
        KVXFree = &release;
    }
    ~Installed() {
        const char* path = std::getenv("TARN_FAILING_TALLY");
        if (path == nullptr) return;
        const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        dprintf(file, "NEW %ld HOOK %ld PEAK %zu\n", operatorNew.allocations, hook.allocations, peakBytes);
        close(file);
    }
    Installed(const Installed&) = delete;
    Installed& operator=(const Installed&) = delete;
};
const Installed installed;

} // namespace

void* operator new(std::size_t size) { return orThrow(allocate(size)); }
void* operator new[](std::size_t size) { return orThrow(allocate(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return orThrow(allocate(size, alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return orThrow(allocate(size, alignment)); }

void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete(void* block, std::align_val_t) noexcept { release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { release(block); }
