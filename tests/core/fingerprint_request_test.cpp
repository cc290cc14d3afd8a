// SPDX-License-Identifier: Apache-2.0
#include "built_request.h"
#include "fingerprint/engine/feature_map.h"
#include "support/annotated_dump.h"
#include "support/counting_hooks.h"
#include "support/packet_assembler.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

using kvxtest::BuiltRequest;
using kvxtest::builtRequest;
using kvxtest::Bytes;
using kvxtest::HandleOptions;
using kvxtest::hexDump;
using kvxtest::kEnglish;
using kvxtest::PacketAssembler;

namespace {

BuiltRequest request(KVXHandle* handle, const KVXFingerprintDescriptor* descriptor = nullptr,
                     const std::vector<NumValuePair>& pairs = {}, uint16_t option = 10) {
    return builtRequest(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateFingerprintRequest3(handle, pairs.empty() ? nullptr : pairs.data(),
                                                  static_cast<int16_t>(pairs.size()), descriptor, option, kEnglish,
                                                  buffer, length);
        },
        KVXFreeFingerprintRequest3);
}

// A finished session whose six code strings are these.
void finishWith(KVXHandle* handle, const std::array<const char*, 6>& codes) {
    ASSERT_EQ(KVXNewFingerprint3(handle, 1, 22050, 61000), 0);
    for (size_t k = 0; k < 3; ++k) {
        std::memcpy(handle->featureMaps[k]->coder1.text, codes[2 * k], std::strlen(codes[2 * k]) + 1);
        std::memcpy(handle->featureMaps[k]->coder2.text, codes[2 * k + 1], std::strlen(codes[2 * k + 1]) + 1);
        handle->mapFull[k] = 1;
    }
}

constexpr std::array<const char*, 6> kNoCodes = {"", "", "", "", "", ""};

} // namespace

TEST(FingerprintRequest, HoldsEveryFieldInItsPlace) {
    const HandleOptions options{.encryptionMethod = 3, .checksumMethod = 3, .secret = {9, 8, 7}, .userId = "someone"};
    const auto handle = kvxtest::makeHandle(options);
    finishWith(handle.get(), {"ab", "cde", "", "x", "aaaa", "q"});
    const KVXFingerprintDescriptor descriptor{"one", "two", "three", "four", "five", "six", "seven", "eight", "nine",
                                              "ten", 44100, 2,       101,    -102,   103,   7,       105,     106};
    PacketAssembler block;
    block.u32(61000).u32(44100).u32(2);
    block.text("one").text("two").text("three").text("four").text("five");
    block.u16(101).u16(0xff9a).u16(103).u16(105).u16(106).u16(1); // the flag last, and 1 for 7
    block.text("eight").text("six").text("seven").text("nine").text("ten");
    block.text("ab").text("cde").text("").text("x").text("aaaa").text("q");
    ASSERT_EQ(block.bytes.size(), 88U + 39 + 11);

    PacketAssembler packet;
    packet.header(options, kEnglish, 10).u32(static_cast<uint32_t>(1 + 21 + block.bytes.size() + 4));
    packet.raw("F").allPermissions().raw(block.bytes).u32(0).u32(0).signature(options);
    EXPECT_EQ(hexDump(request(handle.get(), &descriptor).bytes), hexDump(packet.bytes));
}

TEST(FingerprintRequest, EqualsTheGoldenPacketAndItsDump) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 2, .checksumMethod = 2, .userId = "user"});
    finishWith(handle.get(), {"ab", "cde", "", "x", "aaaa", "q"});
    std::array<std::string, 10> texts;
    for (size_t i = 1; i <= 10; ++i) texts[i - 1] = "t" + std::to_string(i) + std::string(i, 'x');
    const KVXFingerprintDescriptor descriptor{texts[0].c_str(),
                                              texts[1].c_str(),
                                              texts[2].c_str(),
                                              texts[3].c_str(),
                                              texts[4].c_str(),
                                              texts[5].c_str(),
                                              texts[6].c_str(),
                                              texts[7].c_str(),
                                              texts[8].c_str(),
                                              texts[9].c_str(),
                                              44100,
                                              2,
                                              101,
                                              -102,
                                              103,
                                              7,
                                              105,
                                              106};
    char value[] = "ab";
    KVXValueLength text{value, 2};
    const Bytes golden = kvxtest::golden("packet_fingerprint.bin");
    EXPECT_EQ(hexDump(golden), hexDump(kvxtest::dumpedBytes("packet_fingerprint.txt")));
    EXPECT_EQ(hexDump(request(handle.get(), &descriptor, {{1, &text}, {500, nullptr}}).bytes), hexDump(golden));
}

TEST(FingerprintRequest, TreatsANullDescriptorAsAllZero) {
    const HandleOptions options;
    const auto handle = kvxtest::makeHandle(options);
    finishWith(handle.get(), kNoCodes);
    PacketAssembler packet;
    packet.header(options, kEnglish, 10).u32(114).raw("F").allPermissions();
    packet.u32(61000).raw(Bytes(84)).u32(0).u32(0).signature(options);
    const BuiltRequest made = request(handle.get());
    EXPECT_EQ(made.bytes.size(), 190U); // 52 + 114 + 0 + 16 + 8
    EXPECT_EQ(hexDump(made.bytes), hexDump(packet.bytes));
    const KVXFingerprintDescriptor zeros{};
    EXPECT_EQ(hexDump(request(handle.get(), &zeros).bytes), hexDump(packet.bytes));
}

TEST(FingerprintRequest, SendsTheFlagAsZeroOrOne) {
    const auto handle = kvxtest::makeHandle();
    finishWith(handle.get(), kNoCodes);
    const size_t flagOffset = 52 + 4 + 1 + 21 + 12 + 5 * 4 + 5 * 2;
    struct Case {
        int16_t value;
        uint8_t sent;
    };
    for (const Case& test : {Case{0, 0}, Case{1, 1}, Case{7, 1}, Case{-1, 1}, Case{256, 1}}) {
        KVXFingerprintDescriptor descriptor{};
        descriptor.flagShort = test.value;
        const Bytes bytes = request(handle.get(), &descriptor).bytes;
        EXPECT_EQ(bytes.at(flagOffset), test.sent) << test.value;
        EXPECT_EQ(bytes.at(flagOffset + 1), 0) << test.value;
    }
}

TEST(FingerprintRequest, SignsWithEveryPairOfMethods) {
    for (const int checksum : {2, 3}) {
        for (const int encryption : {1, 2, 3}) {
            SCOPED_TRACE(testing::Message() << "checksum " << checksum << " encryption " << encryption);
            const HandleOptions options{.encryptionMethod = encryption, .checksumMethod = checksum, .secret = {1, 2}};
            const auto handle = kvxtest::makeHandle(options);
            finishWith(handle.get(), kNoCodes);
            PacketAssembler packet;
            packet.header(options, kEnglish, 10).u32(114).raw("F").allPermissions();
            packet.u32(61000).raw(Bytes(84)).u32(0).u32(0).signature(options);
            EXPECT_EQ(hexDump(request(handle.get()).bytes), hexDump(packet.bytes));
        }
    }
}

TEST(FingerprintRequest, WrapsThePacketInHttpText) {
    HandleOptions options;
    const auto bare = kvxtest::makeHandle(options);
    finishWith(bare.get(), kNoCodes);
    options.requestFraming = 'H';
    const auto http = kvxtest::makeHandle(options);
    finishWith(http.get(), kNoCodes);
    PacketAssembler expected;
    expected.raw("POST http://recog.tarn.local/sdkrequest HTTP/1.1\r\nHost: recog.tarn.local\r\n"
                 "Content-Type: multipart/form-data; boundary=---------------------------265001916915724\r\n"
                 "Content-Length: 373\r\n\r\n" // 190 + 183
                 "-----------------------------265001916915724\r\n"
                 "Content-Disposition: form-data; name=\"data\"\r\n"
                 "Content-Type: application/octet-stream\r\n\r\n");
    expected.raw(request(bare.get()).bytes);
    expected.raw("\r\n-----------------------------265001916915724--\r\n");
    EXPECT_EQ(hexDump(request(http.get()).bytes), hexDump(expected.bytes));
}

TEST(FingerprintRequest, CarriesTheAppendixUnderTheSignature) {
    const HandleOptions options;
    const auto handle = kvxtest::makeHandle(options);
    finishWith(handle.get(), kNoCodes);
    const Bytes appendix = kvxtest::bytesOf("appended");
    handle->appendix = appendix.data();
    handle->appendixLength = static_cast<uint32_t>(appendix.size());
    PacketAssembler packet;
    packet.header(options, kEnglish, 10).u32(114).raw("F").allPermissions();
    packet.u32(61000).raw(Bytes(84)).u32(0).text("appended").signature(options);
    EXPECT_EQ(hexDump(request(handle.get()).bytes), hexDump(packet.bytes));
}

TEST(FingerprintRequest, IgnoresPairsWithoutACount) {
    const auto handle = kvxtest::makeHandle();
    finishWith(handle.get(), kNoCodes);
    const NumValuePair pair{1, nullptr};
    for (const int16_t count : {int16_t{0}, int16_t{-1}}) {
        uint8_t* buffer = nullptr;
        uint32_t length = 0;
        ASSERT_EQ(KVXGenerateFingerprintRequest3(handle.get(), &pair, count, nullptr, 10, kEnglish, &buffer, &length),
                  0);
        EXPECT_EQ(length, 190U);
        KVXFreeFingerprintRequest3(&buffer);
    }
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    ASSERT_EQ(KVXGenerateFingerprintRequest3(handle.get(), nullptr, 5, nullptr, 10, kEnglish, &buffer, &length), 0);
    EXPECT_EQ(length, 190U);
    KVXFreeFingerprintRequest3(&buffer);
}

TEST(FingerprintRequest, GivesTheSameBytesTwiceAndChangesNothing) {
    const auto handle = kvxtest::makeHandle({.userId = "someone"});
    finishWith(handle.get(), {"ab", "cde", "", "x", "aaaa", "q"});
    const Bytes first = request(handle.get()).bytes;
    EXPECT_EQ(hexDump(request(handle.get()).bytes), hexDump(first));
}

TEST(FingerprintRequest, FailsBeforeItAllocatesAnything) {
    struct Case {
        const char* name;
        HandleOptions options;
        bool finished;
        int32_t status;
    };
    const Case kCases[] = {
        {"no device id", {.deviceId = ""}, true, -3},
        {"no device id and not finished", {.deviceId = ""}, false, -3},
        {"third map not full", {}, false, -1},
        {"no checksum, so no signature", {.checksumMethod = 1}, true, -1},
        {"unknown framing", {.requestFraming = 'X'}, true, -1},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        const auto handle = kvxtest::makeHandle(test.options);
        finishWith(handle.get(), kNoCodes);
        if (!test.finished) handle->mapFull[2] = 0;
        const kvxtest::CountingHooks hooks;
        uint8_t somewhere = 0;
        uint8_t* const untouched = &somewhere;
        uint8_t* buffer = untouched;
        uint32_t length = 77;
        EXPECT_EQ(KVXGenerateFingerprintRequest3(handle.get(), nullptr, 0, nullptr, 10, kEnglish, &buffer, &length),
                  test.status);
        EXPECT_EQ(buffer, untouched);
        EXPECT_EQ(length, 77U);
        EXPECT_EQ(hooks.allocations(), 0);
    }
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(KVXGenerateFingerprintRequest3(nullptr, nullptr, 0, nullptr, 10, kEnglish, &buffer, &length), -1);
}

TEST(FingerprintRequest, ReleasesItsScratchAndThePacketWhenMemoryFails) {
    const auto handle = kvxtest::makeHandle();
    finishWith(handle.get(), kNoCodes);
    kvxtest::CountingHooks hooks;
    uint8_t* buffer = nullptr;
    uint32_t length = 77;
    for (long failing = 0; failing < 2; ++failing) { // the packet, then the scratch block
        SCOPED_TRACE(failing);
        hooks.failAfter(failing);
        EXPECT_EQ(KVXGenerateFingerprintRequest3(handle.get(), nullptr, 0, nullptr, 10, kEnglish, &buffer, &length),
                  -1);
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(length, 77U);
        EXPECT_EQ(hooks.live(), 0U);
    }
    hooks.failAfter(kvxtest::CountingHooks::kNever);
    ASSERT_EQ(KVXGenerateFingerprintRequest3(handle.get(), nullptr, 0, nullptr, 10, kEnglish, &buffer, &length), 0);
    EXPECT_EQ(hooks.live(), 1U); // the packet alone: the scratch block is back
    KVXFreeFingerprintRequest3(&buffer);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeRequest, IgnoresNullPointers) {
    uint8_t* buffer = nullptr;
    for (const auto release : {&KVXFreeFingerprintRequest3, &KVXFreeIDRequest, &KVXFreeMetaIDRequest}) {
        EXPECT_EQ(release(nullptr), 0);
        EXPECT_EQ(release(&buffer), 0);
    }
}
