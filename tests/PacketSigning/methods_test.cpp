// SPDX-License-Identifier: Apache-2.0
// Which method numbers do what.
#include "PacketSigning/PacketSigning.h"
#include "support/counting_hooks.h"
#include "support/handles.h"
#include "support/hex.h"

#include <gtest/gtest.h>

using kvxtest::Bytes;
using kvxtest::hexDump;

TEST(SignatureLength, FollowsFromBothMethods) {
    struct Case {
        int checksum;
        int encryption;
        int32_t status;
        uint32_t length;
    };
    const Case kCases[] = {
        {2, 1, 0, 4},  {2, 2, 0, 4},  {2, 3, 0, 8},  // 4 + 4 mod 8
        {3, 1, 0, 16}, {3, 2, 0, 16}, {3, 3, 0, 16}, // 16 + 16 mod 8
        {1, 1, -1, 0}, {1, 2, -1, 0}, {1, 3, -1, 0}, // no checksum: always a failure
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(testing::Message() << "checksum " << test.checksum << " encryption " << test.encryption);
        const auto handle = kvxtest::makeHandle({.encryptionMethod = test.encryption, .checksumMethod = test.checksum});
        uint32_t length = 99;
        EXPECT_EQ(KVXGetEncryptionLength(handle.get(), &length), test.status);
        EXPECT_EQ(length, test.length);
    }
}

TEST(SignatureLength, AddsTheRemainderByEightForBlowfishInsteadOfRoundingUp) {
    struct Case {
        uint32_t checksum;
        uint32_t length;
    };
    for (const Case& test : {Case{4, 8}, Case{16, 16}, Case{5, 10}, Case{1, 2}, Case{15, 22}, Case{0, 0}}) {
        EXPECT_EQ(PacketSigning::blowfishLength(test.checksum), test.length) << test.checksum;
    }
}

TEST(SignatureLength, FailsForAnUnknownEncryptionMethodAndANullHandle) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 1});
    handle->encryptionMethod = 4;
    uint32_t length = 99;
    EXPECT_EQ(KVXGetEncryptionLength(handle.get(), &length), -1);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(KVXGetEncryptionLength(nullptr, &length), -1);
}

TEST(ChecksumLength, IsLeftAloneWithoutAChecksum) {
    struct Case {
        int32_t method;
        int32_t status;
        uint32_t length;
    };
    for (const Case& test : {Case{1, -1, 77}, Case{2, 0, 4}, Case{3, 0, 16}, Case{4, -1, 77}, Case{0, -1, 77}}) {
        SCOPED_TRACE(test.method);
        const auto handle = kvxtest::makeHandle();
        const int32_t made = handle->checksumMethod;
        handle->checksumMethod = test.method;
        uint32_t length = 77;
        EXPECT_EQ(KVXGetChecksumLength(handle.get(), &length), test.status);
        EXPECT_EQ(length, test.length);
        handle->checksumMethod = made;
    }
    uint32_t length = 77;
    EXPECT_EQ(KVXGetChecksumLength(nullptr, &length), -1);
}

TEST(Methods, EveryCallRefusesANullHandle) {
    uint8_t data[16] = {};
    EXPECT_EQ(KVXInitChecksum(nullptr), -1);
    EXPECT_EQ(KVXUnInitChecksum(nullptr), -1);
    EXPECT_EQ(KVXGetChecksum(nullptr, data, 1, data), -1);
    EXPECT_EQ(KVXGetChecksum_MD4(nullptr, data, 1, data), -1);
    EXPECT_EQ(KVXInitEncryption(nullptr), -1);
    EXPECT_EQ(KVXUnInitEncryption(nullptr), -1);
    EXPECT_EQ(KVXEncryptData(nullptr, data, 8), -1);
}

TEST(Methods, UnknownNumbersAreRefused) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 1, .checksumMethod = 2});
    for (const int32_t method : {0, 4, -1, 70000}) {
        SCOPED_TRACE(method);
        uint8_t data[8] = {1};
        handle->checksumMethod = method;
        handle->encryptionMethod = method;
        EXPECT_EQ(KVXInitChecksum(handle.get()), -1);
        EXPECT_EQ(KVXUnInitChecksum(handle.get()), -1);
        EXPECT_EQ(KVXInitEncryption(handle.get()), -1);
        EXPECT_EQ(KVXUnInitEncryption(handle.get()), -1);
        EXPECT_EQ(KVXEncryptData(handle.get(), data, 8), -1);
        EXPECT_EQ(data[0], 1);
    }
}

TEST(Methods, OneAndTwoKeepNoState) {
    kvxtest::CountingHooks hooks;
    {
        const auto handle = kvxtest::makeHandle({.encryptionMethod = 2, .checksumMethod = 1});
        EXPECT_EQ(hooks.live(), 2U); // the handle and its host
        EXPECT_EQ(handle->cipher, nullptr);
        EXPECT_EQ(handle->digest, nullptr);
        hooks.forget(handle->hostName);
    }
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(Methods, ThreeKeepsTheCipherAndTheDigestContext) {
    kvxtest::CountingHooks hooks;
    const auto handle = kvxtest::makeHandle();
    EXPECT_EQ(hooks.live(), 4U);
    hooks.forget(handle->hostName);
}

TEST(Checksum, WritesNothingForOtherMethodsAndGivesZero) {
    const auto handle = kvxtest::makeHandle({.checksumMethod = 1});
    const Bytes data = kvxtest::bytesOf("abc");
    Bytes output(16, 0xaa);
    EXPECT_EQ(KVXGetChecksum(handle.get(), data.data(), 3, output.data()), 0);
    EXPECT_EQ(hexDump(output), hexDump(Bytes(16, 0xaa)));
}

TEST(Encryption, MethodOneLeavesTheDataAndMethodTwoRotates) {
    const Bytes plain = kvxtest::bytesOf("signature");
    Bytes data = plain;
    const auto none = kvxtest::makeHandle({.encryptionMethod = 1});
    EXPECT_EQ(KVXEncryptData(none.get(), data.data(), static_cast<int32_t>(data.size())), 0);
    EXPECT_EQ(hexDump(data), hexDump(plain));

    const auto rotation = kvxtest::makeHandle({.encryptionMethod = 2});
    EXPECT_EQ(KVXEncryptData(rotation.get(), data.data(), static_cast<int32_t>(data.size())), 0);
    for (size_t i = 0; i < data.size(); ++i) EXPECT_EQ(data[i], (plain[i] + 13) % 256);
}
