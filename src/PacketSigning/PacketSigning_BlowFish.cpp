// SPDX-License-Identifier: Apache-2.0
#include "PacketSigning/PacketSigning.h"
#include "core/handle.h"
#include "util/bytes.h"
#include "util/owned.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

constexpr size_t kRounds = 16;
constexpr int32_t kBlockBytes = 8;
constexpr size_t kKeyBytes = sizeof(KVXHandle::secretKey);

// In force in every build type, and with a line number that stays, on purpose.
[[noreturn]] void assertionFailed(const char* text, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: Assertion `%s' failed.\n", file, line, text);
    std::abort();
}

// The key bytes cyclically, four a word, the most significant first.
void mixKeyIntoP(kvx::BlowfishState& cipher, const uint8_t (&key)[kKeyBytes]) {
    size_t next = 0;
    for (size_t i = 0; i < std::size(cipher.p); ++i) {
        uint32_t word = 0;
        for (int byte = 0; byte < 4; ++byte) {
            word = (word << 8) | key[next];
            next = (next + 1) % kKeyBytes;
        }
        cipher.p[i] = PacketSigning_Blowfish_ORIG_P[i] ^ word;
    }
}

// Enciphers one block over and over; each result replaces the next pair of words.
void replaceByCipherText(const KVXHandle* handle, uint32_t* words, size_t count, uint32_t& left, uint32_t& right) {
    for (size_t i = 0; i < count; i += 2) {
        PacketSigning_Blowfish_Encrypt(handle, &left, &right);
        words[i] = left;
        words[i + 1] = right;
    }
}

} // namespace

uint32_t PacketSigning::F(const KVXHandle* hKVXHandle, uint32_t x) {
    if (hKVXHandle == nullptr) assertionFailed("NULL != hKVXHandle", "PacketSigning_BlowFish.cpp", 90);
    const auto& s = hKVXHandle->cipher->s;
    return ((s[0][x >> 24] + s[1][(x >> 16) & 0xff]) ^ s[2][(x >> 8) & 0xff]) + s[3][x & 0xff];
}

int32_t PacketSigning_Blowfish_Init(KVXHandle* handle) {
    if (handle == nullptr) return -1;
    PacketSigning_Blowfish_UnInit(handle);
    handle->cipher = kvx::makeZeroed<kvx::BlowfishState>().release();
    if (handle->cipher == nullptr) return -1;
    kvx::BlowfishState& cipher = *handle->cipher;
    KVXMemCopy(cipher.s, PacketSigning_Blowfish_ORIG_S, sizeof cipher.s);
    mixKeyIntoP(cipher, handle->secretKey);
    uint32_t left = 0;
    uint32_t right = 0;
    replaceByCipherText(handle, cipher.p, std::size(cipher.p), left, right);
    for (auto& box : cipher.s) replaceByCipherText(handle, box, std::size(box), left, right);
    return 0;
}

int32_t PacketSigning_Blowfish_UnInit(KVXHandle* handle) {
    if (handle == nullptr) return -1;
    if (handle->cipher != nullptr) {
        KVXMemSet(handle->cipher, 0, sizeof *handle->cipher);
        KVXFree(handle->cipher);
    }
    handle->cipher = nullptr;
    return 0;
}

int32_t PacketSigning_Blowfish_Encrypt(const KVXHandle* handle, uint32_t* left, uint32_t* right) {
    if (handle == nullptr) return -1;
    const auto& p = handle->cipher->p;
    uint32_t l = *left;
    uint32_t r = *right;
    for (size_t round = 0; round < kRounds; ++round) {
        l ^= p[round];
        r ^= PacketSigning::F(handle, l);
        std::swap(l, r);
    }
    *left = r ^ p[kRounds + 1];
    *right = l ^ p[kRounds];
    return 0;
}

extern "C" int32_t KVXEncryptBlowfish(KVXHandle* handle, uint8_t* data, int32_t count) noexcept {
    if (handle == nullptr || count % kBlockBytes != 0) return -1;
    if (count <= 0) return 0; // no block
    if (handle->cipher == nullptr) return -1;
    for (int32_t offset = 0; offset < count; offset += kBlockBytes) {
        // Through the hook for integers, so the halves are little-endian words on the wire, on purpose.
        kvx::ByteSource plain({data + offset, kBlockBytes});
        uint32_t left = plain.u32();
        uint32_t right = plain.u32();
        PacketSigning_Blowfish_Encrypt(handle, &left, &right);
        kvx::ByteSink enciphered(data + offset, 0);
        enciphered.u32(left);
        enciphered.u32(right);
    }
    return 0;
}
