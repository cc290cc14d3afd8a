// SPDX-License-Identifier: Apache-2.0
#include "PacketSigning/PacketSigning.h"
#include "support/counting_hooks.h"
#include "support/handles.h"
#include "support/hex.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nettle/blowfish.h>
#include <random>

using kvxtest::Bytes;
using kvxtest::hexDump;

namespace {

// The published vectors have keys of 8 bytes. The key schedule takes key bytes cyclically, so 32 bytes that repeat
// such a key four times are the same key.
kvxtest::SecretKey repeated(const char* hex) {
    const Bytes key = kvxtest::fromHex(hex);
    kvxtest::SecretKey secret;
    for (size_t i = 0; i < secret.size(); ++i) secret[i] = key[i % key.size()];
    return secret;
}

// The published vectors read a block as two big-endian words, the packets as two little-endian ones.
Bytes wordSwapped(Bytes bytes) {
    for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        std::reverse(bytes.begin() + static_cast<ptrdiff_t>(i), bytes.begin() + static_cast<ptrdiff_t>(i) + 4);
    }
    return bytes;
}

struct Vector {
    const char* key;
    const char* plain;
    const char* cipher;
};

// From the cipher's published test set
constexpr Vector kVectors[] = {
    {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
    {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
    {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
    {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
    {"0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
    {"1111111111111111", "0123456789ABCDEF", "7D0CC630AFDA1EC7"},
    {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
    {"7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"},
    {"0131D9619DC1376E", "5CD54CA83DEF57DA", "B1B8CC0B250F09A0"},
    {"0170F175468FB5E6", "0756D8E0774761D2", "432193B78951FC98"},
};

} // namespace

TEST(Blowfish, GivesThePublishedCipherTextsInLittleEndianWords) {
    for (const Vector& vector : kVectors) {
        SCOPED_TRACE(vector.key);
        const auto handle = kvxtest::makeHandle({.secret = repeated(vector.key)});
        Bytes block = wordSwapped(kvxtest::fromHex(vector.plain));
        EXPECT_EQ(KVXEncryptBlowfish(handle.get(), block.data(), 8), 0);
        EXPECT_EQ(hexDump(wordSwapped(block)), hexDump(kvxtest::fromHex(vector.cipher)));
    }
}

TEST(Blowfish, AgreesWithAnotherImplementationUnderAWholeKeyBlockByBlock) {
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        kvxtest::SecretKey secret;
        for (uint8_t& byte : secret) byte = static_cast<uint8_t>(random());
        Bytes data(64);
        for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());

        blowfish_ctx context;
        ASSERT_EQ(blowfish_set_key(&context, secret.size(), secret.data()), 1);
        Bytes expected(data.size());
        blowfish_encrypt(&context, data.size(), expected.data(), wordSwapped(data).data());

        const auto handle = kvxtest::makeHandle({.secret = secret});
        EXPECT_EQ(KVXEncryptBlowfish(handle.get(), data.data(), static_cast<int32_t>(data.size())), 0);
        EXPECT_EQ(hexDump(data), hexDump(wordSwapped(expected)));
    }
}

TEST(Blowfish, EnciphersEqualBlocksAlike) { // no chaining
    const auto handle = kvxtest::makeHandle();
    Bytes data(16, 0x5a);
    ASSERT_EQ(KVXEncryptBlowfish(handle.get(), data.data(), 16), 0);
    EXPECT_TRUE(std::equal(data.begin(), data.begin() + 8, data.begin() + 8));
    EXPECT_NE(hexDump(data), hexDump(Bytes(16, 0x5a)));
}

TEST(Blowfish, TakesWholeBlocksOnly) {
    const auto handle = kvxtest::makeHandle();
    const Bytes before = kvxtest::bytesOf("0123456789abcdef");
    for (const int32_t count : {12, 1, 7, 15, -4, -1, -7, -12}) {
        SCOPED_TRACE(count);
        Bytes data = before;
        EXPECT_EQ(KVXEncryptBlowfish(handle.get(), data.data(), count), -1);
        EXPECT_EQ(hexDump(data), hexDump(before));
    }
    Bytes data = before;
    EXPECT_EQ(KVXEncryptBlowfish(nullptr, data.data(), 8), -1);
}

TEST(Blowfish, HasNothingToDoForCountsWithoutABlock) {
    const auto handle = kvxtest::makeHandle();
    const Bytes before = kvxtest::bytesOf("0123456789abcdef");
    for (const int32_t count : {0, -8, -16, INT32_MIN}) {
        SCOPED_TRACE(count);
        Bytes data = before;
        EXPECT_EQ(KVXEncryptBlowfish(handle.get(), data.data(), count), 0);
        EXPECT_EQ(hexDump(data), hexDump(before));
    }
}

TEST(Blowfish, RefusesAHandleWhoseCipherIsNotKeyed) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 1});
    Bytes data(8);
    EXPECT_EQ(KVXEncryptBlowfish(handle.get(), data.data(), 8), -1);
    EXPECT_EQ(hexDump(data), hexDump(Bytes(8)));
}

TEST(Blowfish, RefusesANullHandleInEveryCall) {
    uint32_t left = 1;
    uint32_t right = 2;
    EXPECT_EQ(PacketSigning_Blowfish_Init(nullptr), -1);
    EXPECT_EQ(PacketSigning_Blowfish_UnInit(nullptr), -1);
    EXPECT_EQ(PacketSigning_Blowfish_Encrypt(nullptr, &left, &right), -1);
    EXPECT_EQ(left, 1U);
    EXPECT_EQ(right, 2U);
}

TEST(BlowfishDeathTest, RoundFunctionAssertsItsHandleInEveryBuildType) {
    EXPECT_DEATH(PacketSigning::F(nullptr, 1), "PacketSigning_BlowFish.cpp:90.*NULL != hKVXHandle");
}

TEST(Blowfish, RoundFunctionCombinesTheFourBoxes) {
    const auto handle = kvxtest::makeHandle();
    const auto& s = handle->cipher->s;
    EXPECT_EQ(PacketSigning::F(handle.get(), 0x01020304), ((s[0][1] + s[1][2]) ^ s[2][3]) + s[3][4]);
}

TEST(Blowfish, ReleasesItsStateWhenItEndsAndWhenMemoryFails) {
    kvxtest::CountingHooks hooks;
    {
        const auto handle = kvxtest::makeHandle();
        ASSERT_NE(handle->cipher, nullptr);
        EXPECT_EQ(PacketSigning_Blowfish_UnInit(handle.get()), 0);
        EXPECT_EQ(handle->cipher, nullptr);
        hooks.failAfter(0);
        EXPECT_EQ(PacketSigning_Blowfish_Init(handle.get()), -1);
        EXPECT_EQ(handle->cipher, nullptr);
        hooks.forget(handle->hostName);
    }
    EXPECT_EQ(hooks.live(), 0U);
}
