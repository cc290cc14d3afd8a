// SPDX-License-Identifier: Apache-2.0
#include "platform/wipe.h"

#include <cstring>

namespace tarn {
namespace {

// More than a cipher, the dynamic linker and its saved registers take together.
constexpr size_t kStackTracesBytes = size_t{16} << 10;

void wipeVectorRegisters() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f") != 0) { // registers 16 to 31, which nothing compiled for less uses
        asm volatile("vpxorq %zmm16, %zmm16, %zmm16\n vpxorq %zmm17, %zmm17, %zmm17\n"
                     "vpxorq %zmm18, %zmm18, %zmm18\n vpxorq %zmm19, %zmm19, %zmm19\n"
                     "vpxorq %zmm20, %zmm20, %zmm20\n vpxorq %zmm21, %zmm21, %zmm21\n"
                     "vpxorq %zmm22, %zmm22, %zmm22\n vpxorq %zmm23, %zmm23, %zmm23\n"
                     "vpxorq %zmm24, %zmm24, %zmm24\n vpxorq %zmm25, %zmm25, %zmm25\n"
                     "vpxorq %zmm26, %zmm26, %zmm26\n vpxorq %zmm27, %zmm27, %zmm27\n"
                     "vpxorq %zmm28, %zmm28, %zmm28\n vpxorq %zmm29, %zmm29, %zmm29\n"
                     "vpxorq %zmm30, %zmm30, %zmm30\n vpxorq %zmm31, %zmm31, %zmm31\n");
    }
    if (__builtin_cpu_supports("avx") != 0) {
        asm volatile("vzeroall" ::
                         : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10",
                           "xmm11", "xmm12", "xmm13", "xmm14", "xmm15");
    } else {
        asm volatile(
            "pxor %%xmm0, %%xmm0\n pxor %%xmm1, %%xmm1\n pxor %%xmm2, %%xmm2\n pxor %%xmm3, %%xmm3\n"
            "pxor %%xmm4, %%xmm4\n pxor %%xmm5, %%xmm5\n pxor %%xmm6, %%xmm6\n pxor %%xmm7, %%xmm7\n"
            "pxor %%xmm8, %%xmm8\n pxor %%xmm9, %%xmm9\n pxor %%xmm10, %%xmm10\n pxor %%xmm11, %%xmm11\n"
            "pxor %%xmm12, %%xmm12\n pxor %%xmm13, %%xmm13\n pxor %%xmm14, %%xmm14\n pxor %%xmm15, %%xmm15\n" ::
                : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11",
                  "xmm12", "xmm13", "xmm14", "xmm15");
    }
#endif
}

} // namespace

void wipe(void* memory, size_t length) { explicit_bzero(memory, length); }

[[gnu::noinline]] void wipeTraces() {
    wipeVectorRegisters();                        // first: the call below may save them once more
    std::array<uint8_t, kStackTracesBytes> below; // overlaps the stack frames of the functions called before
    wipe(below.data(), below.size());
}

} // namespace tarn
