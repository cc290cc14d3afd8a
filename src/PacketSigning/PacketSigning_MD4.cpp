// SPDX-License-Identifier: Apache-2.0
// The MD4 message digest (RFC 1320) over the handle's context.
#include "PacketSigning/PacketSigning.h"
#include "core/handle.h"
#include "util/owned.h"

#include <algorithm>
#include <bit>
#include <iterator>

const uint8_t PacketSigning_MD4_MD4_PADDING[64] = {0x80};

namespace {

constexpr uint32_t kBlockBytes = 64;
constexpr uint32_t kLengthOffset = 56; // of the bit count in the last block
constexpr uint32_t kDigestBytes = 16;

void reset(kvx::Md4Context& context) {
    constexpr uint32_t kStart[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::copy(std::begin(kStart), std::end(kStart), context.state);
    context.bitCount[0] = 0;
    context.bitCount[1] = 0;
}

uint32_t choose(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (~x & z); }
uint32_t majority(uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (x & z) | (y & z); }
uint32_t parity(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }

struct Round {
    uint32_t (*mix)(uint32_t, uint32_t, uint32_t);
    uint32_t constant;
    uint8_t word[16]; // which message word each step takes
    uint8_t shift[4]; // left rotation of every step in four
};

constexpr Round kRounds[] = {
    {&choose, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, {3, 7, 11, 19}},
    {&majority, 0x5a827999, {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15}, {3, 5, 9, 13}},
    {&parity, 0x6ed9eba1, {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15}, {3, 9, 11, 15}},
};

} // namespace

int32_t PacketSigning_MD4_Init(KVXHandle* handle) {
    if (handle == nullptr) return -1;
    PacketSigning_MD4_UnInit(handle);
    handle->digest = kvx::makeZeroed<kvx::Md4Context>().release();
    if (handle->digest == nullptr) return -1;
    reset(*handle->digest);
    return 0;
}

int32_t PacketSigning_MD4_UnInit(KVXHandle* handle) {
    if (handle == nullptr) return -1;
    if (handle->digest != nullptr) KVXFree(handle->digest);
    handle->digest = nullptr;
    return 0;
}

void PacketSigning_MD4_Encode(uint8_t* output, const uint32_t* input, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) output[i] = static_cast<uint8_t>(input[i / 4] >> (8 * (i % 4)));
}

void PacketSigning_MD4_Decode(uint32_t* output, const uint8_t* input, uint32_t count) {
    for (uint32_t i = 0; i < count; i += 4) {
        output[i / 4] = static_cast<uint32_t>(input[i]) | static_cast<uint32_t>(input[i + 1]) << 8 |
                        static_cast<uint32_t>(input[i + 2]) << 16 | static_cast<uint32_t>(input[i + 3]) << 24;
    }
}

void PacketSigning_MD4_Transform(uint32_t state[4], const uint8_t block[64]) {
    uint32_t words[16];
    PacketSigning_MD4_Decode(words, block, kBlockBytes);
    uint32_t a = state[0];
    uint32_t b = state[1];
    uint32_t c = state[2];
    uint32_t d = state[3];
    for (const Round& round : kRounds) {
        for (size_t step = 0; step < 16; ++step) {
            const uint32_t sum = a + round.mix(b, c, d) + words[round.word[step]] + round.constant;
            a = d;
            d = c;
            c = b;
            b = std::rotl(sum, round.shift[step % 4]);
        }
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

void PacketSigning_MD4_Update(kvx::Md4Context* context, const uint8_t* input, uint32_t count) {
    uint32_t filled = (context->bitCount[0] >> 3) % kBlockBytes;
    const uint64_t bits = (static_cast<uint64_t>(context->bitCount[1]) << 32 | context->bitCount[0]) +
                          (static_cast<uint64_t>(count) << 3);
    context->bitCount[0] = static_cast<uint32_t>(bits);
    context->bitCount[1] = static_cast<uint32_t>(bits >> 32);
    while (count > 0) {
        const uint32_t taken = std::min(count, kBlockBytes - filled);
        KVXMemCopy(context->buffer + filled, input, taken);
        filled += taken;
        input += taken;
        count -= taken;
        if (filled == kBlockBytes) {
            PacketSigning_MD4_Transform(context->state, context->buffer);
            filled = 0;
        }
    }
}

void PacketSigning_MD4_Final(uint8_t* digest, kvx::Md4Context* context) {
    uint8_t lengthBits[8];
    PacketSigning_MD4_Encode(lengthBits, context->bitCount, sizeof lengthBits);
    const uint32_t filled = (context->bitCount[0] >> 3) % kBlockBytes;
    const uint32_t padding = filled < kLengthOffset ? kLengthOffset - filled : kBlockBytes + kLengthOffset - filled;
    PacketSigning_MD4_Update(context, PacketSigning_MD4_MD4_PADDING, padding);
    PacketSigning_MD4_Update(context, lengthBits, sizeof lengthBits);
    PacketSigning_MD4_Encode(digest, context->state, kDigestBytes);
    KVXMemSet(context, 0, sizeof *context);
}

extern "C" int32_t KVXGetChecksum_MD4(KVXHandle* handle, const uint8_t* data, uint32_t count,
                                      uint8_t* output) noexcept {
    if (handle == nullptr || handle->digest == nullptr) return -1;
    reset(*handle->digest);
    PacketSigning_MD4_Update(handle->digest, data, count);
    PacketSigning_MD4_Final(output, handle->digest);
    return 0;
}
