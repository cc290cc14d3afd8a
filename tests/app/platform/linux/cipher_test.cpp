// SPDX-License-Identifier: Apache-2.0
// The cipher service, against published vectors for AES-256 in CBC mode.
#include "platform/linux/nettle_cipher.h"
#include "support/access_keys.h"
#include "support/hex.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using tarn::CipherOperation;

struct Outcome {
    int32_t status;
    Bytes output;
};

Outcome crypt(CipherOperation operation, const Bytes& key, const Bytes& input, size_t capacity) {
    Bytes output(capacity, 0xee);
    size_t length = 99;
    const int32_t status = tarn::NettleCipher().crypt(operation, key, input.data(), input.size(), output, length);
    output.resize(length);
    return {status, output};
}

// Key and blocks of the CBC-AES256 example in NIST SP 800-38A, F.2.5.
const Bytes kNistKey = fromHex("603deb1015ca71be2b73aef0857d7781 1f352c073b6108d72d9810a30914dff4");
const Bytes kNistVector = fromHex("000102030405060708090a0b0c0d0e0f");
const Bytes kNistPlain = fromHex("6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
                                 "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");
const Bytes kNistCipher = fromHex("f58c4c04d6e5f1ba779eabfb5f7bfbd6 9cfc4e967edb808d679f777bc6702c7d"
                                  "39f23369a9d9bacfa530e26304231461 b2eb05e2c39be9fcda6c19078c6a9d1b");

// The service starts from a zero vector: the vector's part is taken into the first plain block.
Bytes vectorFolded(Bytes plain) {
    for (size_t i = 0; i < kNistVector.size(); ++i) plain[i] ^= kNistVector[i];
    return plain;
}

TEST(Cipher, EncryptsThePublishedBlocksAndOneOfPadding) {
    const Outcome outcome = crypt(CipherOperation::Encrypt, kNistKey, vectorFolded(kNistPlain), 96);
    ASSERT_EQ(outcome.status, tarn::kCipherSuccess);
    ASSERT_EQ(outcome.output.size(), 80U);
    EXPECT_EQ(hexDump({outcome.output.data(), 64}), hexDump(kNistCipher));
    EXPECT_EQ(hexDump(crypt(CipherOperation::Decrypt, kNistKey, outcome.output, 106).output),
              hexDump(vectorFolded(kNistPlain)));
}

// FIPS-197, C.3: one block under AES-256; with a zero vector the first block of CBC is the plain cipher.
TEST(Cipher, EncryptsThePublishedSingleBlock) {
    const Bytes key = fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    const Outcome outcome = crypt(CipherOperation::Encrypt, key, fromHex("00112233445566778899aabbccddeeff"), 96);
    ASSERT_EQ(outcome.output.size(), 32U);
    EXPECT_EQ(hexDump({outcome.output.data(), 16}), hexDump(fromHex("8ea2b7ca516745bfeafc49904b496089")));
}

TEST(Cipher, PadsEveryLengthUpToWholeBlocks) {
    for (size_t length = 0; length < 96; ++length) {
        SCOPED_TRACE(length);
        const Bytes plain(length, 'x');
        const Outcome outcome = crypt(CipherOperation::Encrypt, kNistKey, plain, 96);
        // An empty vector's data is null, which is no text at all.
        if (length == 0 && plain.data() == nullptr) continue;
        ASSERT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output.size(), (length / 16 + 1) * 16);
        EXPECT_EQ(hexDump(outcome.output),
                  hexDump(aesEncrypt(kNistKey, padded(std::string(plain.begin(), plain.end())))));
        EXPECT_EQ(hexDump(crypt(CipherOperation::Decrypt, kNistKey, outcome.output, 106).output), hexDump(plain));
    }
}

TEST(Cipher, AnEmptyTextIsOneBlockOfPadding) {
    const uint8_t nothing = 0;
    Bytes output(96);
    size_t length = 0;
    EXPECT_EQ(tarn::NettleCipher().crypt(CipherOperation::Encrypt, kNistKey, &nothing, 0, output, length), 0);
    EXPECT_EQ(length, 16U);
}

TEST(Cipher, RefusesABadCallWithItsNumberAndNoOutput) {
    const Bytes block(16, 1);
    struct Case {
        const char* name;
        CipherOperation operation;
        Bytes key;
        Bytes input;
        size_t capacity;
        int32_t status;
    };
    const Case cases[] = {
        {"short key", CipherOperation::Encrypt, Bytes(31), block, 96, -4300},
        {"long key", CipherOperation::Decrypt, Bytes(33), block, 96, -4300},
        {"96 bytes do not fit 96 with their padding", CipherOperation::Encrypt, kNistKey, Bytes(96, 'a'), 96, -4301},
        {"output one byte too small to decrypt into", CipherOperation::Decrypt, kNistKey, block, 15, -4301},
        {"15 bytes", CipherOperation::Decrypt, kNistKey, Bytes(15, 1), 106, -4303},
        {"17 bytes", CipherOperation::Decrypt, kNistKey, Bytes(17, 1), 106, -4303},
        {"106 bytes", CipherOperation::Decrypt, kNistKey, Bytes(106, 1), 106, -4303},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Outcome outcome = crypt(c.operation, c.key, c.input, c.capacity);
        EXPECT_EQ(outcome.status, c.status);
        EXPECT_TRUE(outcome.output.empty());
    }
}

TEST(Cipher, ANullInputIsABadParameter) {
    Bytes output(96);
    size_t length = 7;
    for (const auto operation : {CipherOperation::Encrypt, CipherOperation::Decrypt}) {
        EXPECT_EQ(tarn::NettleCipher().crypt(operation, kNistKey, nullptr, 0, output, length), -4300);
        EXPECT_EQ(length, 0U);
    }
}

TEST(Cipher, ChecksEveryByteOfThePadding) {
    Bytes last(16, 4);
    std::fill(last.begin(), last.begin() + 12, 'a');
    EXPECT_EQ(crypt(CipherOperation::Decrypt, kNistKey, aesEncrypt(kNistKey, last), 106).status, 0);
    for (const size_t spoiled : {12U, 13U, 14U}) {
        SCOPED_TRACE(spoiled);
        Bytes block = last;
        block[spoiled] = 5;
        EXPECT_EQ(crypt(CipherOperation::Decrypt, kNistKey, aesEncrypt(kNistKey, block), 106).status, -4304);
    }
    for (const int count : {0, 17, 255}) {
        SCOPED_TRACE(count);
        const Bytes block(16, static_cast<uint8_t>(count));
        EXPECT_EQ(crypt(CipherOperation::Decrypt, kNistKey, aesEncrypt(kNistKey, block), 106).status, -4304);
    }
}

TEST(Cipher, NoBlockAtAllHasNoPadding) {
    const uint8_t nothing = 0;
    Bytes output(106);
    size_t length = 7;
    EXPECT_EQ(tarn::NettleCipher().crypt(CipherOperation::Decrypt, kNistKey, &nothing, 0, output, length), -4304);
    EXPECT_EQ(length, 0U);
}

TEST(Cipher, LeavesNoPlainTextWhenThePaddingIsBad) {
    const Bytes block(16, 0x20);
    Bytes output(106, 0xee);
    size_t length = 0;
    const Bytes input = aesEncrypt(kNistKey, block);
    EXPECT_EQ(tarn::NettleCipher().crypt(CipherOperation::Decrypt, kNistKey, input.data(), 16, output, length), -4304);
    EXPECT_EQ(hexDump({output.data(), 16}), hexDump(Bytes(16)));
}

} // namespace
} // namespace kvxtest
