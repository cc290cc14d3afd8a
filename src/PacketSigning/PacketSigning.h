// SPDX-License-Identifier: Apache-2.0
// Checksums and ciphers of the packet signature: one part of the library, in the folder whose path its names and its
// assertion text give; sdk/ calls it, and it knows the handle and sdk/util/. The handle holds the methods, which come
// from the access key, and the state below.
#pragma once

#include "kvx.h"

#include <cstdint>

namespace kvx {

struct BlowfishState {
    uint32_t p[18];
    uint32_t s[4][256];
};
static_assert(sizeof(BlowfishState) == 4168);

struct Md4Context {
    uint32_t state[4];
    uint32_t bitCount[2]; // low word first
    uint8_t buffer[64];
};
static_assert(sizeof(Md4Context) == 88);

} // namespace kvx

namespace PacketSigning {

enum Method : int32_t {
    kNone = 1,
    kByteSumOrRotation = 2,
    kMd4OrBlowfish = 3,
};

// Whether the handle holds what its methods work with.
bool hasItsState(const KVXHandle& handle);

// Bytes of a signature that is enciphered by method 3. Adds the remainder by 8 instead of rounding up, on purpose; the
// two agree for the lengths that there are, 4 and 16.
constexpr uint32_t blowfishLength(uint32_t checksumLength) { return checksumLength + checksumLength % 8; }

// The round function: F(x) = ((S0[a] + S1[b]) ^ S2[c]) + S3[d], a the most significant byte of x. The handle must
// not be null and its cipher must be keyed; a null handle ends the program.
uint32_t F(const KVXHandle* hKVXHandle, uint32_t x);

} // namespace PacketSigning

extern const uint32_t PacketSigning_Blowfish_ORIG_P[18];
extern const uint32_t PacketSigning_Blowfish_ORIG_S[4][256];
extern const uint8_t PacketSigning_MD4_MD4_PADDING[64];

// Blowfish with the handle's 32-byte secret key. Init: -1 for failed memory.
int32_t PacketSigning_Blowfish_Init(KVXHandle* handle);
int32_t PacketSigning_Blowfish_UnInit(KVXHandle* handle);
int32_t PacketSigning_Blowfish_Encrypt(const KVXHandle* handle, uint32_t* left, uint32_t* right);

// MD4 over the handle's context. Init: -1 for failed memory.
int32_t PacketSigning_MD4_Init(KVXHandle* handle);
int32_t PacketSigning_MD4_UnInit(KVXHandle* handle);
void PacketSigning_MD4_Update(kvx::Md4Context* context, const uint8_t* input, uint32_t count);
// Writes the 16-byte digest and wipes the context.
void PacketSigning_MD4_Final(uint8_t* digest, kvx::Md4Context* context);
void PacketSigning_MD4_Transform(uint32_t state[4], const uint8_t block[64]);
// Words to bytes and back, least significant byte first; count is of bytes, a multiple of 4.
void PacketSigning_MD4_Encode(uint8_t* output, const uint32_t* input, uint32_t count);
void PacketSigning_MD4_Decode(uint32_t* output, const uint8_t* input, uint32_t count);
