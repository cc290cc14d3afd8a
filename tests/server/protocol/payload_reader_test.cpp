// SPDX-License-Identifier: Apache-2.0
#include "protocol/payload_reader.h"

#include "protocol/packet_reader.h"
#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"
#include "support/protocol_client.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::server;
using kvxtest::PacketAssembler;

namespace {

Bytes payloadOf(const Bytes& packet) {
    const auto payload = readPacket(packet).payload;
    return {payload.begin(), payload.end()};
}

template <class Request>
Request readAs(const Bytes& payload) {
    return std::get<Request>(readPayload(payload));
}

std::string reasonOf(const Bytes& payload) {
    const kvxtest::GuardedBytes guarded(payload);
    try {
        readPayload({guarded.data(), guarded.size()});
        return "read";
    } catch (const BadPacket& bad) {
        return bad.what();
    }
}

PacketAssembler fingerprint(const Codes& codes) {
    PacketAssembler payload;
    payload.raw("F").allPermissions().raw(Bytes(12 + 5 * 4 + 12 + 5 * 4));
    for (const std::string& code : codes) payload.text(code);
    return payload.u32(0);
}

PacketAssembler items(const std::string& list) {
    PacketAssembler payload;
    return payload.raw("M").allPermissions().raw("A").text(list);
}

} // namespace

TEST(PayloadReader, FindsTheCodeStringsAfterEverythingElse) {
    const auto handle = kvxtest::makeHandle();
    const auto request = readAs<FingerprintRequest>(payloadOf(fingerprintPacket(handle.get())));
    EXPECT_EQ(request.query.codes, kCodes);
    EXPECT_EQ(request.query.durationMs, 61000U);
}

TEST(PayloadReader, ReadsAPresentedIdentity) {
    const auto handle = kvxtest::makeHandle();
    EXPECT_EQ(readAs<IdentityRequest>(payloadOf(identityPacket(handle.get()))).presented, "");
    EXPECT_EQ(readAs<IdentityRequest>(payloadOf(identityPacket(handle.get(), "0123456789abcdef"))).presented,
              "0123456789abcdef");
}

TEST(PayloadReader, SplitsTheListOfIdsAtCommas) {
    const auto handle = kvxtest::makeHandle();
    const auto request = readAs<ItemsRequest>(payloadOf(itemsPacket(handle.get(), {"T-1", "", "A-22"}, 'T')));
    EXPECT_EQ(request.ids, (std::vector<std::string>{"T-1", "", "A-22"}));
    EXPECT_EQ(request.kind, 'T');
}

TEST(PayloadReader, TakesAHundredIdsAndNoMore) {
    std::string list = "T";
    for (size_t i = 1; i < kMaxIds; ++i) list += ",T";
    EXPECT_EQ(readAs<ItemsRequest>(items(list).bytes).ids.size(), kMaxIds);
    EXPECT_EQ(reasonOf(items(list + ",T").bytes), "it asks for more than 100 ids");
}

TEST(PayloadReader, TakesLettersFromAToXOnly) {
    EXPECT_EQ(reasonOf(fingerprint({"ax", "", "", "", "", ""}).bytes), "read");
    for (const char* codes : {"y", "`", "A", " ", "ab\n"}) {
        SCOPED_TRACE(codes);
        EXPECT_EQ(reasonOf(fingerprint({"", "", "", "", "", codes}).bytes),
                  "a code string has a letter other than a to x");
    }
}

TEST(PayloadReader, RefusesWhatIsMalformed) {
    const Bytes good = fingerprint(kCodes).bytes;
    Bytes longer = good;
    longer.push_back(0);
    const struct {
        const char* name;
        Bytes payload;
        const char* reason;
    } cases[] = {
        {"nothing", {}, "it ends within the payload"},
        {"another request", kvxtest::bytesOf("X"), "its request is of an unknown kind"},
        {"three permission groups", PacketAssembler().raw("F").u8(3).bytes, "it does not have 4 groups of permissions"},
        {"a byte after the payload", longer, "bytes follow the request in its payload"},
        {"an identity request that does not begin with 0", PacketAssembler().raw("G").u8(1).u32(0).bytes,
         "its identity request does not begin with 0"},
        {"an identity beyond the end", PacketAssembler().raw("G").u8(0).u32(0xffffffff).bytes,
         "it ends within the identity"},
        {"a list beyond the end", PacketAssembler().raw("M").allPermissions().raw("A").u32(9).raw("T").bytes,
         "it ends within the list of ids"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(reasonOf(c.payload), c.reason);
    }
}

TEST(PayloadReader, RefusesEveryTruncation) {
    const auto handle = kvxtest::makeHandle();
    for (const Bytes& packet : {fingerprintPacket(handle.get()), identityPacket(handle.get(), "0123456789abcdef"),
                                itemsPacket(handle.get(), {"T-1", "T-2"})}) {
        const Bytes payload = payloadOf(packet);
        ASSERT_EQ(reasonOf(payload), "read");
        for (size_t length = 0; length < payload.size(); ++length) {
            SCOPED_TRACE(length);
            EXPECT_NE(reasonOf(Bytes(payload.begin(), payload.begin() + static_cast<ptrdiff_t>(length))), "read");
        }
    }
}

TEST(PayloadReader, ReadsOrRefusesEveryChangedByte) {
    const auto handle = kvxtest::makeHandle();
    size_t refused = 0;
    for (const Bytes& packet : {fingerprintPacket(handle.get()), identityPacket(handle.get(), "0123456789abcdef"),
                                itemsPacket(handle.get(), {"T-1", "T-2"})}) {
        const Bytes payload = payloadOf(packet);
        for (size_t i = 0; i < payload.size(); ++i) {
            for (const unsigned change : {1U, 0x80U, 0xffU}) {
                Bytes changed = payload;
                changed[i] = static_cast<uint8_t>(changed[i] ^ change);
                if (reasonOf(changed) != "read") ++refused; // the guard page after the bytes is the assertion here
            }
        }
    }
    EXPECT_GT(refused, 100U);
}

TEST(Permissions, CarryEveryEntryOfTheClientsMasks) {
    const auto handle = kvxtest::makeHandle();
    for (size_t entry = 0; entry < KVX_TRACK_MASK_ENTRIES; ++entry) {
        SCOPED_TRACE(entry);
        std::array<uint8_t, KVX_TRACK_MASK_ENTRIES> mask{};
        mask[entry] = 1;
        KVXSetTrackMask(handle.get(), mask.data());
        const auto request = readAs<ItemsRequest>(payloadOf(itemsPacket(handle.get(), {"T"})));
        for (size_t field = 0; field < 17; ++field) EXPECT_EQ(request.permissions.track(field), field == entry);
        EXPECT_FALSE(request.permissions.everyTrackField());
        for (size_t field = 0; field < 29; ++field) EXPECT_TRUE(request.permissions.album(field)) << field;
    }
    for (size_t entry = 0; entry < KVX_ALBUM_MASK_ENTRIES; ++entry) {
        SCOPED_TRACE(entry);
        std::array<uint8_t, KVX_ALBUM_MASK_ENTRIES> mask{};
        mask[entry] = 1;
        KVXSetAlbumMask(handle.get(), mask.data());
        const auto request = readAs<ItemsRequest>(payloadOf(itemsPacket(handle.get(), {"T"})));
        for (size_t field = 0; field < 29; ++field) EXPECT_EQ(request.permissions.album(field), field == entry);
    }
}

// On the wire alone: with only entry 3 set the track group is 10 00 00, with only entry 4 it is 08 00 00.
TEST(Permissions, ReadTrackEntries3And4InSwappedPlaces) {
    const struct {
        const char* bits;
        size_t field;
    } cases[] = {{"10 00 00", 3}, {"08 00 00", 4}, {"04 00 00", 2}, {"00 00 01", 16}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bits);
        const Bytes block = kvxtest::fromHex(std::string("04 04 FFFFFF1F 03") + c.bits + "03 FFFF3F 06 FFFFFFFFFF01");
        WireReader reader(block);
        const Permissions permissions = Permissions::read(reader);
        EXPECT_EQ(reader.left(), 0U);
        for (size_t field = 0; field < 17; ++field) EXPECT_EQ(permissions.track(field), field == c.field);
    }
}

TEST(Permissions, DoNotReachTheFieldsAfterTheLastEntry) {
    const Bytes block = kvxtest::fromHex("04 04 00000000 03 000000 03 000000 06 000000000000");
    WireReader reader(block);
    const Permissions permissions = Permissions::read(reader);
    EXPECT_FALSE(permissions.track(16));
    EXPECT_TRUE(permissions.track(17));
    EXPECT_FALSE(permissions.album(28));
    EXPECT_TRUE(permissions.album(29)); // the confidence
}

TEST(Permissions, TakeGroupsOfOtherSizes) {
    const Bytes block = kvxtest::fromHex("04 01 FF 05 FFFFFFFFFF 00 00");
    WireReader reader(block);
    const Permissions permissions = Permissions::read(reader);
    EXPECT_EQ(reader.left(), 0U);
    EXPECT_TRUE(permissions.album(7));
    EXPECT_FALSE(permissions.album(8)); // not said, so not allowed
    EXPECT_TRUE(permissions.everyTrackField());
}
