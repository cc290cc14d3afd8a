// SPDX-License-Identifier: Apache-2.0
#include "core/packet_layout.h"
#include "support/guarded_bytes.h"
#include "support/handles.h"
#include "support/hex.h"

#include <gtest/gtest.h>

using kvxtest::Bytes;
using kvxtest::hexDump;

namespace {

constexpr const char* kPrefixOf300 = // a packet of 300 bytes, to a host of 16 characters
    "POST http://recog.tarn.local/sdkrequest HTTP/1.1\r\n"
    "Host: recog.tarn.local\r\n"
    "Content-Type: multipart/form-data; boundary=---------------------------265001916915724\r\n"
    "Content-Length: 483\r\n\r\n"
    "-----------------------------265001916915724\r\n"
    "Content-Disposition: form-data; name=\"data\"\r\n"
    "Content-Type: application/octet-stream\r\n\r\n";
constexpr const char* kSuffix = "\r\n-----------------------------265001916915724--\r\n";

void setAll(KVXHandle* handle, uint8_t flag) {
    const Bytes flags(41, flag);
    KVXSetTrackMask(handle, flags.data());
    KVXSetAlbumMask(handle, flags.data());
    KVXSetDVDMask(handle, flags.data());
    KVXSetPerformerMask(handle, flags.data());
}

Bytes permissionsOf(KVXHandle* handle) {
    Bytes block(21, 0xaa);
    uint32_t position = 0;
    EXPECT_EQ(KVXMapBINPermissions(handle, block.data(), &position), 0);
    EXPECT_EQ(position, 21U);
    return block;
}

} // namespace

TEST(BinHeader, StandsWhereThePositionPoints) {
    const auto handle = kvxtest::makeHandle(
        {.encryptionMethod = 3, .checksumMethod = 2, .deviceId = "device", .userId = "user", .responseFraming = 'H'});
    Bytes buffer(60, 0xaa);
    uint32_t position = 4;
    EXPECT_EQ(KVXGetBINHeader(handle.get(), buffer.data(), &position, 0x12346e65, 0x0a0b), 0);
    EXPECT_EQ(position, 56U);
    EXPECT_EQ(hexDump(buffer), hexDump(kvxtest::fromHex("aaaaaaaa"                          // before
                                                        "42494e20 03 07 01020304"           // "BIN ", version, account
                                                        "646576696365 00000000000000000000" // device id, padded
                                                        "75736572 000000000000000000000000" // user id, padded
                                                        "0300 0200 48"                      // methods, 'H'
                                                        "656e 0b0a 53"                      // language, option, 'S'
                                                        "aaaaaaaa")));                      // after
}

TEST(BinHeader, WritesTheLanguageCodeEnAsTheBytes6E65) {
    const auto handle = kvxtest::makeHandle();
    Bytes header(52);
    uint32_t position = 0;
    ASSERT_EQ(KVXGetBINHeader(handle.get(), header.data(), &position, 25966, 10), 0);
    EXPECT_EQ(header[47], 0x6e);
    EXPECT_EQ(header[48], 0x65);
    EXPECT_EQ(header[49], 10);
    EXPECT_EQ(header[50], 0);
}

TEST(BinHeader, IsMeasuredWithoutABuffer) {
    const auto handle = kvxtest::makeHandle();
    uint32_t position = 7;
    EXPECT_EQ(KVXGetBINHeader(handle.get(), nullptr, &position, 0, 0), 0);
    EXPECT_EQ(position, 52U);
}

TEST(HttpText, MeasuresAndWritesThePrefixOfA300BytePacket) {
    const auto handle = kvxtest::makeHandle({.requestFraming = 'H'});
    uint32_t length = 0;
    EXPECT_EQ(KVXMapPacketHeader(handle.get(), nullptr, &length, 300), 0);
    EXPECT_EQ(length, 283U + 2 * 16 + 3);

    Bytes buffer(length + 5, 0xaa);
    uint32_t position = 5;
    EXPECT_EQ(KVXMapPacketHeader(handle.get(), buffer.data(), &position, 300), 0);
    EXPECT_EQ(position, length + 5);
    EXPECT_EQ(std::string(buffer.begin() + 5, buffer.end()), kPrefixOf300);
}

TEST(HttpText, CountsTheDigitsOfTheContentLength) {
    const auto handle = kvxtest::makeHandle({.requestFraming = 'H'});
    struct Case {
        uint32_t binLength;
        uint32_t digits;
    };
    for (const Case& test : {Case{190, 3}, Case{816, 3}, Case{817, 4}, Case{9816, 4}, Case{9817, 5}}) {
        SCOPED_TRACE(test.binLength);
        uint32_t length = 0;
        ASSERT_EQ(KVXMapPacketHeader(handle.get(), nullptr, &length, test.binLength), 0);
        EXPECT_EQ(length, 283U + 32 + test.digits);
    }
}

TEST(HttpText, SuffixIsTheClosingBoundary) {
    const auto handle = kvxtest::makeHandle({.requestFraming = 'H'});
    uint32_t length = 0;
    EXPECT_EQ(KVXMapPacketFooter(handle.get(), nullptr, &length), 0);
    EXPECT_EQ(length, 50U);
    Bytes buffer(53, 0xaa);
    uint32_t position = 3;
    EXPECT_EQ(KVXMapPacketFooter(handle.get(), buffer.data(), &position), 0);
    EXPECT_EQ(position, 53U);
    EXPECT_EQ(std::string(buffer.begin() + 3, buffer.end()), kSuffix);
}

TEST(HttpText, IsEmptyInBareFraming) {
    const auto handle = kvxtest::makeHandle({.requestFraming = 'B'});
    uint32_t position = 9;
    EXPECT_EQ(KVXMapPacketHeader(handle.get(), nullptr, &position, 300), 0);
    EXPECT_EQ(position, 0U);
    position = 9;
    EXPECT_EQ(KVXMapPacketFooter(handle.get(), nullptr, &position), 0);
    EXPECT_EQ(position, 0U);

    Bytes buffer(16, 0xaa);
    position = 9;
    EXPECT_EQ(KVXMapPacketHeader(handle.get(), buffer.data(), &position, 300), 0);
    EXPECT_EQ(KVXMapPacketFooter(handle.get(), buffer.data(), &position), 0);
    EXPECT_EQ(position, 9U);
    EXPECT_EQ(hexDump(buffer), hexDump(Bytes(16, 0xaa)));
}

TEST(HttpText, FailsForAnUnknownFramingAndANullHandle) {
    const auto handle = kvxtest::makeHandle({.requestFraming = 'X'});
    uint32_t position = 9;
    uint8_t byte = 0;
    for (KVXHandle* which : {handle.get(), static_cast<KVXHandle*>(nullptr)}) {
        EXPECT_EQ(KVXMapPacketHeader(which, nullptr, &position, 300), -1);
        EXPECT_EQ(KVXMapPacketHeader(which, &byte, &position, 300), -1);
        EXPECT_EQ(KVXMapPacketFooter(which, nullptr, &position), -1);
        EXPECT_EQ(KVXMapPacketFooter(which, &byte, &position), -1);
    }
    EXPECT_EQ(KVXGetBINHeader(nullptr, &byte, &position, 0, 0), -1);
    EXPECT_EQ(position, 9U);
}

TEST(Digits, AreCountedForEveryMagnitude) {
    struct Case {
        uint32_t value;
        uint8_t digits;
    };
    for (const Case& test : {Case{0, 1}, Case{9, 1}, Case{10, 2}, Case{99, 2}, Case{100, 3}, Case{999999999, 9},
                             Case{1000000000, 10}, Case{4294967295, 10}}) {
        EXPECT_EQ(KVXGetNumDigits(test.value), test.digits) << test.value;
    }
}

TEST(Permissions, AreAllBitsWhenEveryMaskEntryIsSet) {
    const auto handle = kvxtest::makeHandle();
    EXPECT_EQ(hexDump(permissionsOf(handle.get())),
              hexDump(kvxtest::fromHex("04 04 FFFFFF1F 03 FFFF01 03 FFFF3F 06 FFFFFFFFFF01")));
}

TEST(Permissions, AreMeasuredWithoutABuffer) {
    uint32_t position = 3;
    EXPECT_EQ(KVXMapBINPermissions(kvxtest::makeHandle().get(), nullptr, &position), 0);
    EXPECT_EQ(position, 21U);
}

TEST(Permissions, StandAtThePositionAndOverwriteWhatWasThere) {
    const auto handle = kvxtest::makeHandle();
    setAll(handle.get(), 0);
    Bytes buffer(25, 0xaa);
    uint32_t position = 2;
    EXPECT_EQ(KVXMapBINPermissions(handle.get(), buffer.data(), &position), 0);
    EXPECT_EQ(position, 23U);
    EXPECT_EQ(hexDump(buffer),
              hexDump(kvxtest::fromHex("aaaa 04 04 00000000 03 000000 03 000000 06 000000000000 aaaa")));
}

TEST(Permissions, FailForANullHandle) {
    uint8_t bytes[21] = {};
    uint32_t position = 0;
    EXPECT_EQ(KVXMapBINPermissions(nullptr, bytes, &position), -1);
    EXPECT_EQ(KVXMapAlbumPermissions(nullptr, bytes), -1);
    EXPECT_EQ(KVXMapTrackPermissions(nullptr, bytes), -1);
    EXPECT_EQ(KVXMapPerformerPermissions(nullptr, bytes), -1);
    EXPECT_EQ(KVXMapDVDPermissions(nullptr, bytes), -1);
}

// Every entry of every mask alone sets one bit; for the track entries 3 and 4 it is the other's.
TEST(Permissions, MapEntryKToBitKButTrackEntriesThreeAndFourTradePlaces) {
    struct Group {
        const char* name;
        size_t entries;
        int32_t (*set)(KVXHandle*, const uint8_t*);
        size_t offset; // of the group's bits in the block
    };
    const Group kGroups[] = {{"album", 29, &KVXSetAlbumMask, 2},
                             {"track", 17, &KVXSetTrackMask, 7},
                             {"performer", 22, &KVXSetPerformerMask, 11},
                             {"DVD", 41, &KVXSetDVDMask, 15}};
    const auto handle = kvxtest::makeHandle();
    for (const Group& group : kGroups) {
        for (size_t entry = 0; entry < group.entries; ++entry) {
            SCOPED_TRACE(testing::Message() << group.name << " " << entry);
            setAll(handle.get(), 0);
            Bytes mask(group.entries);
            mask[entry] = 0x80; // any value but 0 is on
            group.set(handle.get(), mask.data());

            size_t bit = entry;
            if (group.offset == 7 && entry == 3) bit = 4;
            if (group.offset == 7 && entry == 4) bit = 3;
            Bytes expected = kvxtest::fromHex("04 04 00000000 03 000000 03 000000 06 000000000000");
            expected[group.offset + bit / 8] = static_cast<uint8_t>(1U << (bit % 8));
            EXPECT_EQ(hexDump(permissionsOf(handle.get())), hexDump(expected));
        }
    }
}

TEST(HttpData, BeginsAfterTheFirstEmptyLine) {
    struct Case {
        const char* name;
        std::string text;
        uint32_t start;
        uint32_t result;
    };
    const std::string status = "HTTP/1.1 200 OK\r\n\r\n";
    const Case kCases[] = {
        {"status line alone", status, 0, 19},
        {"body after it", status + "body", 0, 19},
        {"the first of two", "a\r\n\r\nb\r\n\r\nc", 0, 5},
        {"from the start that is given", "a\r\n\r\nb\r\n\r\nc", 2, 10},
        {"at the start itself", "\r\n\r\n", 0, 4},
        {"none", "HTTP/1.1 200 OK\r\n\r", 0, 19},
        {"line feeds alone are none", "a\n\n\n\nb", 0, 7},
        {"start three before the end", "abcde\r\n", 4, 8},
        {"start after the end", "abc", 9, 13},
        {"no data", "", 0, 4},
        {"three bytes", "\r\n\r", 0, 4},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        const kvxtest::GuardedBytes data(kvxtest::bytesOf(test.text));
        EXPECT_EQ(KVXFindHTTPData(data.data(), test.start, static_cast<uint32_t>(data.size())), test.result);
    }
}
