// SPDX-License-Identifier: Apache-2.0
#include "PacketSigning/PacketSigning.h"
#include "support/counting_hooks.h"
#include "support/handles.h"
#include "support/hex.h"

#include <cstring>
#include <gtest/gtest.h>
#include <nettle/md4.h>
#include <random>
#include <string_view>

using kvxtest::Bytes;
using kvxtest::hexDump;

namespace {

struct Vector {
    std::string_view text;
    std::string_view digest;
};

// RFC 1320, appendix A.5
constexpr Vector kRfcVectors[] = {
    {"", "31d6cfe0d16ae931b73c59d7e0c089c0"},
    {"a", "bde52cb31de33e46245e05fbdbd6fb24"},
    {"abc", "a448017aaf21d8525fc10ae87aa6729d"},
    {"message digest", "d9130a8164549fe818874806e1c7014b"},
    {"abcdefghijklmnopqrstuvwxyz", "d79e1c308aa5bbcdeea8ed63df412da9"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "043f8582f241db351ce627e153e7f0e4"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "e33b4ddc9c38f2199c3e7b164fcc0536"},
};

Bytes digestOf(KVXHandle* handle, const Bytes& data) {
    Bytes digest(16);
    EXPECT_EQ(KVXGetChecksum_MD4(handle, data.data(), static_cast<uint32_t>(data.size()), digest.data()), 0);
    return digest;
}

Bytes nettleDigestOf(const Bytes& data) {
    md4_ctx context;
    md4_init(&context);
    md4_update(&context, data.size(), data.data());
    Bytes digest(16);
    md4_digest(&context, digest.size(), digest.data());
    return digest;
}

} // namespace

TEST(Md4, GivesThePublishedDigests) {
    const auto handle = kvxtest::makeHandle();
    for (const Vector& vector : kRfcVectors) {
        SCOPED_TRACE(vector.text);
        EXPECT_EQ(hexDump(digestOf(handle.get(), kvxtest::bytesOf(vector.text))),
                  hexDump(kvxtest::fromHex(vector.digest)));
    }
}

TEST(Md4, GivesThePublishedDigestsByteByByteAndUnaligned) {
    const auto handle = kvxtest::makeHandle();
    for (const Vector& vector : kRfcVectors) {
        SCOPED_TRACE(vector.text);
        ASSERT_EQ(PacketSigning_MD4_Init(handle.get()), 0);
        const std::string shifted = "x" + std::string(vector.text);
        for (size_t i = 1; i < shifted.size(); ++i) {
            PacketSigning_MD4_Update(handle->digest, reinterpret_cast<const uint8_t*>(&shifted[i]), 1);
        }
        Bytes digest(16);
        PacketSigning_MD4_Final(digest.data(), handle->digest);
        EXPECT_EQ(hexDump(digest), hexDump(kvxtest::fromHex(vector.digest)));
    }
}

TEST(Md4, AgreesWithAnotherImplementationAtEveryLengthAroundABlock) {
    const auto handle = kvxtest::makeHandle();
    std::mt19937 random(1);
    for (size_t length = 0; length <= 260; ++length) {
        SCOPED_TRACE(length);
        Bytes data(length);
        for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
        EXPECT_EQ(hexDump(digestOf(handle.get(), data)), hexDump(nettleDigestOf(data)));
    }
}

TEST(Md4, WipesTheContextWhenItIsDone) {
    const auto handle = kvxtest::makeHandle();
    digestOf(handle.get(), kvxtest::bytesOf("secret"));
    const Bytes zeros(sizeof(kvx::Md4Context));
    Bytes context(sizeof(kvx::Md4Context));
    std::memcpy(context.data(), handle->digest, context.size());
    EXPECT_EQ(hexDump(context), hexDump(zeros));
}

TEST(Md4, StartsAfreshAtEveryChecksum) {
    const auto handle = kvxtest::makeHandle();
    const Bytes data = kvxtest::bytesOf("abc");
    EXPECT_EQ(hexDump(digestOf(handle.get(), data)), hexDump(digestOf(handle.get(), data)));
}

TEST(Md4, InitReplacesAContextThatIsThere) {
    kvxtest::CountingHooks hooks;
    {
        const auto handle = kvxtest::makeHandle();
        const size_t before = hooks.live();
        EXPECT_EQ(PacketSigning_MD4_Init(handle.get()), 0);
        EXPECT_EQ(hooks.live(), before);
        hooks.failAfter(0);
        EXPECT_EQ(PacketSigning_MD4_Init(handle.get()), -1);
        EXPECT_EQ(handle->digest, nullptr);
        hooks.forget(handle->hostName);
    }
    EXPECT_EQ(hooks.live(), 0U);
}
