// SPDX-License-Identifier: Apache-2.0
// The process-wide memory hooks and the copies that use them.
#include "kvx.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {

void* (*KVXMalloc)(size_t) = &std::malloc;
void (*KVXFree)(void*) = &std::free;
void* (*KVXMemCopy)(void*, const void*, size_t) = &std::memcpy;
void* (*KVXMemCopy2)(void*, const void*, size_t) = &MemCpy2;
void* (*KVXMemCopy3)(void*, const void*, size_t, size_t) = &MemCpy3;
void* (*KVXMemSet)(void*, int, size_t) = &std::memset;
int (*KVXMemCmp)(const void*, const void*, size_t) = &std::memcmp;

// Not noexcept, so that both are a jump: every integer of the wire passes through them.
void* MemCpy2(void* destination, const void* source, size_t count) { return KVXMemCopy(destination, source, count); }

void* MemCpy3(void* destination, const void* source, size_t count, size_t /*elementSize*/) {
    return KVXMemCopy(destination, source, count);
}

void* fakeMemCpy(void* destination, const void* source, size_t count) noexcept {
    static constexpr char kDigits[] = "0123456789abcdef";
    const auto* bytes = static_cast<const unsigned char*>(source);
    std::printf("fakeMemCpy");
    for (size_t i = 0; i < count; ++i) std::printf("%c%c", kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]);
    std::printf("\n");
    for (size_t i = 0; i < count; ++i) std::printf("%c", bytes[i]);
    std::printf("\n");
    return count == 0 ? destination : std::memcpy(destination, source, count);
}

} // extern "C"
