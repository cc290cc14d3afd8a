// SPDX-License-Identifier: Apache-2.0
#include "core/response_body.h"
#include "support/annotated_dump.h"
#include "support/counting_hooks.h"
#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"

#include <gtest/gtest.h>
#include <optional>

using namespace kvxtest::response_body;
using kvxtest::Bytes;
using kvxtest::GuardedBytes;
using kvxtest::hexDump;
using kvxtest::PacketAssembler;

namespace {

const std::optional<int32_t> kRefused;

} // namespace

TEST(Response, IsAnExactSequenceOfRecords) {
    struct Case {
        const char* name;
        Bytes body;
        std::optional<int32_t> count;
    };
    const Case kCases[] = {
        {"empty", {}, kRefused},
        {"4 bytes", kvxtest::fromHex("4e 000000"), kRefused},
        {"a record of length 0", kvxtest::fromHex("4e 00000000"), kRefused},
        {"one record", kvxtest::fromHex("4e 01000000 00"), 1},
        {"two records", kvxtest::fromHex("54 03000000 010203 41 02000000 0405"), 2},
        {"a record of length 0 after a good one", kvxtest::fromHex("4e 01000000 00 4e 00000000"), kRefused},
        {"cut inside the data", kvxtest::fromHex("54 03000000 0102"), kRefused},
        {"cut inside the second frame", kvxtest::fromHex("4e 01000000 00 4e 010000"), kRefused},
        {"a byte after the last record", kvxtest::fromHex("4e 01000000 00 00"), kRefused},
        {"a length beyond all bounds", kvxtest::fromHex("4e ffffffff 00"), kRefused},
        {"a length that would wrap", kvxtest::fromHex("4e fbffffff 00"), kRefused},
        {"types are not looked at", kvxtest::fromHex("00 01000000 00"), 1},
    };
    const auto handle = kvxtest::makeHandle();
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(parse(handle.get(), GuardedBytes(test.body)), test.count);
    }
}

TEST(Response, RefusesMissingDataUnusableHandlesAndNegativeLengths) {
    const auto handle = kvxtest::makeHandle();
    const Bytes body = kvxtest::fromHex("4e 01000000 00");
    int32_t count = 0;
    EXPECT_EQ(KVXParseServerResponse(nullptr, body.data(), 6, &count), -1);
    EXPECT_EQ(KVXParseServerResponse(handle.get(), nullptr, 6, &count), -1);
    EXPECT_EQ(KVXParseServerResponse(handle.get(), body.data(), -6, &count), -1);
    handle->state = 0;
    EXPECT_EQ(KVXParseServerResponse(handle.get(), body.data(), 6, &count), -1);
}

TEST(Response, BeginsAfterTheHttpHeaderInHttpFraming) {
    struct Case {
        const char* name;
        std::string text;
        std::optional<int32_t> count;
    };
    const std::string body("N\x01\0\0\0\0", 6);
    const Case kCases[] = {
        {"header and body", "HTTP/1.1 200 OK\r\n\r\n" + body, 1},
        {"a short header", "HTTP 200\r\n\r\n" + body, 1},
        {"16 bytes", "HTTP 2\r\n\r\n" + body, kRefused},
        {"17 bytes", "HTTP 20\r\n\r\n" + body, 1},
        {"a header that never ends", "HTTP/1.1 200 OK\r\n\r" + body, kRefused},
        {"a header alone", "HTTP/1.1 200 OK\r\n\r\n", kRefused},
        {"a body too short", "HTTP/1.1 200 OK\r\n\r\nN\x01", kRefused},
        {"an empty header", "\r\n\r\nP\x08" + std::string(3, '\0') + "12345678", 1},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        const auto handle = kvxtest::makeHandle({.responseFraming = 'H'});
        EXPECT_EQ(parse(handle.get(), GuardedBytes(kvxtest::bytesOf(test.text))), test.count);
    }
}

TEST(Response, IsTakenAsBareForAnyOtherFraming) {
    const auto handle = kvxtest::makeHandle({.responseFraming = 'X'});
    EXPECT_EQ(parse(handle.get(), GuardedBytes(kvxtest::fromHex("4e 01000000 00"))), 1);
}

TEST(Response, CountsInSixteenBitsAndReportsThemSigned) {
    struct Case {
        size_t records;
        int32_t reported;
    };
    const Bytes one = kvxtest::fromHex("4e 01000000 00");
    for (const Case& test :
         {Case{32767, 32767}, Case{32768, -32768}, Case{65535, -1}, Case{65536, 0}, Case{65537, 1}}) {
        SCOPED_TRACE(test.records);
        const auto handle = kvxtest::makeHandle();
        Bytes body;
        for (size_t i = 0; i < test.records; ++i) body.insert(body.end(), one.begin(), one.end());
        EXPECT_EQ(parse(handle.get(), GuardedBytes(body)), test.reported);
        EXPECT_EQ(handle->responseCount, test.records % 65536);
    }
}

TEST(ResponseType, IsOneOfTheNineKnownLetters) {
    const auto handle = kvxtest::makeHandle();
    for (int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        const GuardedBytes body(record(static_cast<char>(type), {0}));
        ASSERT_EQ(parse(handle.get(), body), 1);
        const bool known = type != 0 && std::strchr("TAKDGNPOE", type) != nullptr;
        EXPECT_EQ(KVXGetResponseType(handle.get(), 1), known ? type : -1);
    }
}

TEST(ResponseType, IsFoundForwardsAndBackwardsAndANumberBelowOneReadsTheFirst) {
    const auto handle = kvxtest::makeHandle();
    const GuardedBytes body(joined({record('T', {1, 2, 3}), record('A', {4, 5}), record('N', {6})}));
    ASSERT_EQ(parse(handle.get(), body), 3);
    struct Case {
        int32_t number;
        int32_t type;
    };
    for (const Case& test : {Case{1, 'T'}, Case{2, 'A'}, Case{3, 'N'}, Case{2, 'A'}, Case{0, 'T'}, Case{3, 'N'},
                             Case{-1, 'T'}, Case{INT32_MIN, 'T'}, Case{4, -1}, Case{INT32_MAX, -1}}) {
        EXPECT_EQ(KVXGetResponseType(handle.get(), test.number), test.type) << test.number;
    }
}

TEST(ResponseType, IsRefusedWithoutAUsableHandleOrAParsedResponse) {
    const auto handle = kvxtest::makeHandle();
    EXPECT_EQ(KVXGetResponseType(nullptr, 1), -1);
    EXPECT_EQ(KVXGetResponseType(handle.get(), 0), -1);
    const GuardedBytes body(record('T', {1}));
    ASSERT_EQ(parse(handle.get(), body), 1);
    ASSERT_EQ(parse(handle.get(), GuardedBytes(Bytes(4))), kRefused);
    EXPECT_EQ(KVXGetResponseType(handle.get(), 1), -1); // a failed parse leaves nothing to read
    EXPECT_EQ(KVXGetResponseType(handle.get(), 0), -1);
    ASSERT_EQ(parse(handle.get(), body), 1);
    handle->state = 0;
    EXPECT_EQ(KVXGetResponseType(handle.get(), 1), -1);
}

TEST(ServerIdentity, IsTakenFromTheFirstRecord) {
    const auto handle = kvxtest::makeHandle({.deviceId = ""});
    const Bytes golden = kvxtest::golden("response_identity.bin");
    EXPECT_EQ(hexDump(golden), hexDump(kvxtest::dumpedBytes("response_identity.txt")));
    const GuardedBytes body(golden);
    ASSERT_EQ(parse(handle.get(), body), 2);
    uint8_t id[16] = {};
    EXPECT_EQ(KVXGetID(handle.get(), id), -1);
    kvxtest::CountingHooks hooks;
    EXPECT_EQ(KVXSetID(handle.get()), 0);
    EXPECT_GT(hooks.allocations(), 0);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(handle->state, 2);
    EXPECT_EQ(hexDump(handle->serverId), hexDump(kvxtest::bytesOf("0123456789abcdef")));
    EXPECT_EQ(KVXGetID(handle.get(), id), 0);
    EXPECT_EQ(hexDump(id), hexDump(kvxtest::bytesOf("0123456789abcdef")));
}

TEST(ServerIdentity, IsRefusedUnlessItIsOneFieldOfSixteenBytesInAGRecord) {
    struct Case {
        const char* name;
        Bytes body;
    };
    const std::string id = "0123456789abcdef";
    const Case kCases[] = {
        {"15 bytes", record('G', blob({id.substr(1)}))},
        {"17 bytes", record('G', blob({id + "x"}))},
        {"an empty field", record('G', blob({""}))},
        {"two fields", record('G', blob({id, ""}))},
        {"no fields", record('G', {0})},
        {"another type", record('T', blob({id}))},
        {"G comes second", joined({record('N', {0}), record('G', blob({id}))})},
        {"cut inside the field's bytes", record('G', kvxtest::fromHex("01 09000000 19000000 3031"))},
        {"cut inside the table", record('G', kvxtest::fromHex("01 0900"))},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        const auto handle = kvxtest::makeHandle({.deviceId = ""});
        const GuardedBytes body(test.body);
        ASSERT_TRUE(parse(handle.get(), body).has_value());
        const kvxtest::CountingHooks hooks;
        EXPECT_EQ(KVXSetID(handle.get()), -1);
        EXPECT_EQ(handle->state, 1);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

// The cursor spans what is left of the body, so that a field may reach beyond its record.
TEST(ServerIdentity, IsReadFromTheWholeBodyNotFromItsRecordAlone) {
    const auto handle = kvxtest::makeHandle({.deviceId = ""});
    const GuardedBytes body(
        joined({record('G', kvxtest::fromHex("01 09000000 19000000")), record('N', Bytes(11, 'x'))}));
    ASSERT_EQ(parse(handle.get(), body), 2);
    EXPECT_EQ(KVXSetID(handle.get()), 0);
    EXPECT_EQ(hexDump(handle->deviceId), hexDump(kvxtest::fromHex("4e 0b000000 7878787878787878787878")));
}

TEST(ServerIdentity, NeedsAUsableHandleAndARecord) {
    const auto handle = kvxtest::makeHandle();
    EXPECT_EQ(KVXSetID(nullptr), -1);
    EXPECT_EQ(KVXSetID(handle.get()), -1);
    const GuardedBytes body(kvxtest::golden("response_identity.bin"));
    ASSERT_TRUE(parse(handle.get(), body).has_value());
    handle->state = 0;
    EXPECT_EQ(KVXSetID(handle.get()), -1);
    uint8_t id[16];
    EXPECT_EQ(KVXGetID(handle.get(), id), -1);
    EXPECT_EQ(KVXGetID(nullptr, id), -1);
}

TEST(ServerError, IsAlwaysMinusOne) { EXPECT_EQ(KVXGetServerError(), -1); }
