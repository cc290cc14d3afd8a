// SPDX-License-Identifier: Apache-2.0
// Which integers go through the copies for integers, and which bytes do not: what a port to another byte order relies
// on.
#include "PacketSigning/PacketSigning.h"
#include "fingerprint/engine/feature_map.h"
#include "support/answers.h"
#include "support/handles.h"
#include "support/hex.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace kvxtest {
namespace {

constexpr uint8_t kMarkOf2 = 0xff;
constexpr uint8_t kMarkOf3 = 0x55;

// Every byte of an integer that is copied through a hook is marked by it, while one of these lives.
struct MarkingHooks {
    MarkingHooks() {
        KVXMemCopy2 = [](void* destination, const void* source, size_t count) {
            return marked(destination, source, count, kMarkOf2);
        };
        KVXMemCopy3 = [](void* destination, const void* source, size_t count, size_t elementSize) {
            EXPECT_EQ(count, 2U); // two bytes of a value of four
            EXPECT_EQ(elementSize, 4U);
            return marked(destination, source, count, kMarkOf3);
        };
    }
    ~MarkingHooks() {
        KVXMemCopy2 = &MemCpy2;
        KVXMemCopy3 = &MemCpy3;
    }
    MarkingHooks(const MarkingHooks&) = delete;
    MarkingHooks& operator=(const MarkingHooks&) = delete;

  private:
    static void* marked(void* destination, const void* source, size_t count, uint8_t mark) {
        const auto* from = static_cast<const uint8_t*>(source);
        auto* to = static_cast<uint8_t*>(destination);
        for (size_t i = 0; i < count; ++i) to[i] = static_cast<uint8_t>(from[i] ^ mark);
        return destination;
    }
};

// A packet as the marking hooks make it.
struct MarkedPacket {
    Bytes bytes;

    MarkedPacket& integer(uint32_t value, size_t width, uint8_t mark = kMarkOf2) {
        for (size_t i = 0; i < width; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)) ^ mark);
        return *this;
    }
    MarkedPacket& raw(const Bytes& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    MarkedPacket& raw(std::string_view text) { return raw(bytesOf(text)); }
    MarkedPacket& text(std::string_view text) { return integer(static_cast<uint32_t>(text.size()), 4).raw(text); }
    MarkedPacket& permissions() { return raw(fromHex("04 04 FFFFFF1F 03 FFFF01 03 FFFF3F 06 FFFFFFFFFF01")); }
    MarkedPacket& header(uint32_t language, uint32_t option) {
        raw("BIN \x03\x07").integer(0x04030201, 4).raw("00:11:22:33:44:5").raw(Bytes(16));
        integer(3, 2, kMarkOf3).integer(3, 2, kMarkOf3).raw("B");
        return integer(language, 2, kMarkOf3).integer(option, 2).raw("S");
    }
};

// Without the signature, which stands over marked bytes and is marked itself.
template <class Build, class Release>
Bytes unsignedPacket(Build build, Release release) {
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    {
        const MarkingHooks hooks;
        EXPECT_EQ(build(&buffer, &length), 0);
    }
    const Bytes bytes(buffer, buffer + length - 16);
    release(&buffer);
    return bytes;
}

TEST(IntegerHooks, TakeTheIntegersOfAnIdRequest) {
    const auto handle = makeHandle();
    const Bytes id = bytesOf("abc");
    MarkedPacket expected;
    expected.header(0, 0).integer(9, 4).raw(Bytes{'G', 0}).text("abc").integer(0, 4);
    EXPECT_EQ(hexDump(unsignedPacket(
                  [&](uint8_t** buffer, uint32_t* length) {
                      return KVXGenerateIDRequest(handle.get(), id.data(), 3, buffer, length);
                  },
                  KVXFreeIDRequest)),
              hexDump(expected.bytes));
}

TEST(IntegerHooks, TakeTheIntegersOfAMetaIdRequest) {
    const auto handle = makeHandle();
    std::string id = "track";
    const KVXValueLength list = {id.data(), static_cast<uint32_t>(id.size())};
    MarkedPacket expected;
    expected.header(0x656e, 7).integer(32, 4).raw("M").permissions().raw("A").text("track").integer(0, 4);
    EXPECT_EQ(hexDump(unsignedPacket(
                  [&](uint8_t** buffer, uint32_t* length) {
                      return KVXGenerateMetaIDRequest(handle.get(), 'A', &list, 1, 7, 0x656e, buffer, length);
                  },
                  KVXFreeMetaIDRequest)),
              hexDump(expected.bytes));
}

TEST(IntegerHooks, TakeTheIntegersOfAFingerprintRequest) {
    const auto handle = makeHandle();
    ASSERT_EQ(KVXNewFingerprint3(handle.get(), 1, 22050, 61000), 0);
    for (size_t k = 0; k < 3; ++k) {
        std::strcpy(handle->featureMaps[k]->coder1.text, "ab");
        std::strcpy(handle->featureMaps[k]->coder2.text, "c");
        handle->mapFull[k] = 1;
    }
    const KVXFingerprintDescriptor descriptor{"1",  "2",  "3",   "4", "5", "6", "7", "8", "9",
                                              "10", 4410, 0x102, 1,   2,   3,   7,   5,   6};
    MarkedPacket block;
    block.integer(61000, 4).integer(4410, 4).integer(0x102, 4);
    for (const char* text : {"1", "2", "3", "4", "5"}) block.text(text);
    for (const uint32_t number : {1U, 2U, 3U, 5U, 6U, 1U}) block.integer(number, 2);
    for (const char* text : {"8", "6", "7", "9", "10"}) block.text(text);
    for (const char* codes : {"ab", "c", "ab", "c", "ab", "c"}) block.text(codes);
    MarkedPacket expected;
    expected.header(0x656e, 10).integer(static_cast<uint32_t>(1 + 21 + block.bytes.size() + 4), 4).raw("F");
    expected.permissions().raw(block.bytes).integer(0, 4).integer(0, 4);
    EXPECT_EQ(hexDump(unsignedPacket(
                  [&](uint8_t** buffer, uint32_t* length) {
                      return KVXGenerateFingerprintRequest3(handle.get(), nullptr, 0, &descriptor, 10, 0x656e, buffer,
                                                            length);
                  },
                  KVXFreeFingerprintRequest3)),
              hexDump(expected.bytes));
}

TEST(IntegerHooks, TakeTheIntegersOfAnAccessCode) {
    // Account and methods as the hook finds them; the secret key after them is bytes.
    const std::string code = "FEFDFCFB" // 0x04030201, marked
                             "FCFF"     // 3
                             "FCFF" +
                             std::string(64, '7');
    KVXHandle* handle = nullptr;
    {
        const MarkingHooks hooks;
        ASSERT_EQ(KVXInit(&handle, code.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', nullptr, 0), 0);
    }
    EXPECT_EQ(handle->accountId, 0x04030201U);
    EXPECT_EQ(handle->encryptionMethod, 3);
    EXPECT_EQ(handle->checksumMethod, 3);
    EXPECT_EQ(hexDump({handle->secretKey, 32}), hexDump(Bytes(32, 0x77)));
    KVXShutdown(&handle);
}

TEST(IntegerHooks, TakeTheLengthsOfAnAnswersRecords) {
    const auto handle = makeHandle();
    Bytes body = joined({record('N', {1}), record('T', {1, 2, 3})});
    for (const size_t lengthAt : {1U, 7U}) {
        for (size_t i = lengthAt; i < lengthAt + 4; ++i) body[i] ^= kMarkOf2;
    }
    const MarkingHooks hooks;
    int32_t count = 0;
    ASSERT_EQ(KVXParseServerResponse(handle.get(), body.data(), static_cast<int32_t>(body.size()), &count), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(KVXGetResponseType(handle.get(), 2), 'T');
}

// With a hook that turns words round, blocks are words of the other byte order: that of the published vectors.
TEST(IntegerHooks, TakeTheWordsOfTheCipher) {
    const Bytes key = fromHex("FEDCBA9876543210"); // of 8 bytes, which the schedule takes cyclically
    SecretKey secret;
    for (size_t i = 0; i < secret.size(); ++i) secret[i] = key[i % key.size()];
    const auto handle = makeHandle({.secret = secret});
    Bytes block = fromHex("0123456789ABCDEF");
    KVXMemCopy2 = [](void* destination, const void* source, size_t count) -> void* {
        const auto* from = static_cast<const uint8_t*>(source);
        std::reverse_copy(from, from + count, static_cast<uint8_t*>(destination));
        return destination;
    };
    EXPECT_EQ(KVXEncryptBlowfish(handle.get(), block.data(), 8), 0);
    KVXMemCopy2 = &MemCpy2;
    EXPECT_EQ(hexDump(block), hexDump(fromHex("0ACEAB0FC6A0A28D")));
}

TEST(ByteSum, IsWrittenThroughThePlainCopyNotThatForIntegers) {
    const auto handle = makeHandle({.checksumMethod = 2});
    const uint8_t data[] = {1, 2};
    uint8_t sum[4] = {};
    {
        const MarkingHooks hooks;
        EXPECT_EQ(KVXGetChecksum(handle.get(), data, 2, sum), 0);
    }
    EXPECT_EQ(hexDump({sum, 4}), hexDump(fromHex("03 00 00 00")));

    static int plainCopies;
    plainCopies = 0;
    const auto before = KVXMemCopy;
    KVXMemCopy = [](void* destination, const void* source, size_t count) -> void* {
        ++plainCopies;
        return std::memcpy(destination, source, count);
    };
    KVXGetChecksum(handle.get(), data, 2, sum);
    KVXMemCopy = before;
    EXPECT_EQ(plainCopies, 1);
}

} // namespace
} // namespace kvxtest
