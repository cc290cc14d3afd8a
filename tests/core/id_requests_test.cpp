// SPDX-License-Identifier: Apache-2.0
#include "built_request.h"
#include "support/annotated_dump.h"
#include "support/counting_hooks.h"
#include "support/packet_assembler.h"

#include <gtest/gtest.h>

using kvxtest::BuiltRequest;
using kvxtest::builtRequest;
using kvxtest::Bytes;
using kvxtest::HandleOptions;
using kvxtest::hexDump;
using kvxtest::kEnglish;
using kvxtest::PacketAssembler;

namespace {

BuiltRequest idRequest(KVXHandle* handle, std::string_view id) {
    return builtRequest(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateIDRequest(handle, id.empty() ? nullptr : reinterpret_cast<const uint8_t*>(id.data()),
                                        static_cast<uint32_t>(id.size()), buffer, length);
        },
        KVXFreeIDRequest);
}

BuiltRequest metaIdRequest(KVXHandle* handle, std::vector<std::string> ids, int16_t option = 1) {
    std::vector<KVXValueLength> list;
    list.reserve(ids.size());
    for (std::string& id : ids) list.push_back({id.data(), static_cast<uint32_t>(id.size())});
    return builtRequest(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateMetaIDRequest(handle, 'A', list.data(), static_cast<uint32_t>(list.size()), option,
                                            kEnglish, buffer, length);
        },
        KVXFreeMetaIDRequest);
}

} // namespace

TEST(IdRequest, WithSixteenBytesIsNinetyEightBytesLong) {
    const HandleOptions options{.secret = {4, 5, 6}};
    const auto handle = kvxtest::makeHandle(options);
    PacketAssembler packet;
    packet.header(options, 0, 0).u32(22).raw("G").u8(0).text("identity-of-16-b").u32(0).signature(options);
    ASSERT_EQ(packet.bytes.size(), 98U);
    EXPECT_EQ(hexDump(idRequest(handle.get(), "identity-of-16-b").bytes), hexDump(packet.bytes));
}

TEST(IdRequest, EqualsTheGoldenPacketAndItsDump) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 2, .checksumMethod = 2});
    const Bytes golden = kvxtest::golden("packet_id.bin");
    EXPECT_EQ(hexDump(golden), hexDump(kvxtest::dumpedBytes("packet_id.txt")));
    EXPECT_EQ(hexDump(idRequest(handle.get(), "identity-of-16-b").bytes), hexDump(golden));
}

TEST(IdRequest, NeedsNoIdAndNoDeviceId) {
    const HandleOptions options{.deviceId = ""};
    const auto handle = kvxtest::makeHandle(options);
    PacketAssembler packet;
    packet.header(options, 0, 0).u32(6).raw("G").u8(0).u32(0).u32(0).signature(options);
    EXPECT_EQ(hexDump(idRequest(handle.get(), "").bytes), hexDump(packet.bytes));
}

TEST(IdRequest, CountsTheLengthOfAnIdThatIsNotThere) {
    // In both length fields and in the buffer, which ends in as many zeros; the packet has no bytes for it.
    for (const char framing : {'B', 'H'}) {
        SCOPED_TRACE(framing);
        const HandleOptions options{.requestFraming = framing};
        const auto handle = kvxtest::makeHandle(options);
        PacketAssembler packet;
        packet.header(options, 0, 0).u32(9).raw("G").u8(0).u32(3).u32(0).signature(options);
        uint8_t* buffer = nullptr;
        uint32_t length = 0;
        ASSERT_EQ(KVXGenerateIDRequest(handle.get(), nullptr, 3, &buffer, &length), 0);
        Bytes found(buffer, buffer + length);
        KVXFreeIDRequest(&buffer);
        if (framing == 'H') {
            const std::string text(found.begin(), found.end());
            EXPECT_NE(text.find("Content-Length: " + std::to_string(packet.bytes.size() + 3 + 183)), std::string::npos);
            const std::string suffix("\r\n-----------------------------265001916915724--\r\n\0\0\0", 53);
            EXPECT_TRUE(text.ends_with(suffix));
            found.erase(found.begin(), found.begin() + static_cast<ptrdiff_t>(text.find("BIN ")));
            found.erase(found.end() - static_cast<ptrdiff_t>(suffix.size()), found.end());
        } else {
            packet.raw(Bytes(3));
        }
        EXPECT_EQ(hexDump(found), hexDump(packet.bytes));
    }
}

TEST(IdRequest, ClearsTheUserIdForThisAndEveryLaterRequest) {
    HandleOptions options{.userId = "someone"};
    const auto handle = kvxtest::makeHandle(options);
    ASSERT_NE(handle->userId[0], 0);
    options.userId.clear();
    PacketAssembler first;
    first.header(options, 0, 0).u32(6).raw("G").u8(0).u32(0).u32(0).signature(options);
    EXPECT_EQ(hexDump(idRequest(handle.get(), "").bytes), hexDump(first.bytes));
    EXPECT_EQ(hexDump(handle->userId), hexDump(Bytes(16)));
    PacketAssembler later;
    later.header(options, kEnglish, 1).u32(30).raw("M").allPermissions().raw("A").text("one").u32(0).signature(options);
    EXPECT_EQ(hexDump(metaIdRequest(handle.get(), {"one"}).bytes), hexDump(later.bytes));
}

TEST(IdRequest, RefusesAnUnusableHandle) {
    const auto handle = kvxtest::makeHandle();
    handle->state = 0;
    EXPECT_EQ(idRequest(handle.get(), "").status, -1);
    EXPECT_EQ(idRequest(nullptr, "").status, -1);
}

TEST(IdRequest, RefusesALengthThatNoPacketHolds) {
    const auto handle = kvxtest::makeHandle();
    uint8_t* buffer = nullptr;
    uint32_t length = 77;
    for (const uint32_t idLength : {0xffffffffU, 0x80000000U, 0x7fffffffU}) {
        EXPECT_EQ(KVXGenerateIDRequest(handle.get(), nullptr, idLength, &buffer, &length), -1);
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(length, 77U);
    }
}

TEST(MetaIdRequest, JoinsTheIdsBySingleCommas) {
    struct Case {
        std::vector<std::string> ids;
        std::string list;
    };
    const Case kCases[] = {
        {{"abc", "wxyz"}, "abc,wxyz"}, // 3 + 1 + 4
        {{"one"}, "one"},
        {{""}, ""},
        {{"", ""}, ","},
        {{"a", "", "c"}, "a,,c"},
    };
    const HandleOptions options{.secret = {77}};
    const auto handle = kvxtest::makeHandle(options);
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.list);
        PacketAssembler packet;
        packet.header(options, kEnglish, 1).u32(static_cast<uint32_t>(test.list.size()) + 27);
        packet.raw("M").allPermissions().raw("A").text(test.list).u32(0).signature(options);
        EXPECT_EQ(hexDump(metaIdRequest(handle.get(), test.ids).bytes), hexDump(packet.bytes));
    }
}

TEST(MetaIdRequest, EqualsTheGoldenPacketAndItsDump) {
    const auto handle = kvxtest::makeHandle({.encryptionMethod = 2, .checksumMethod = 2});
    const Bytes golden = kvxtest::golden("packet_meta_id.bin");
    EXPECT_EQ(hexDump(golden), hexDump(kvxtest::dumpedBytes("packet_meta_id.txt")));
    EXPECT_EQ(hexDump(metaIdRequest(handle.get(), {"abc", "wxyz"}).bytes), hexDump(golden));
}

TEST(MetaIdRequest, CarriesItsOptionInTheHeader) {
    const auto handle = kvxtest::makeHandle();
    const Bytes bytes = metaIdRequest(handle.get(), {"one"}, -2).bytes;
    EXPECT_EQ(bytes.at(49), 0xfe);
    EXPECT_EQ(bytes.at(50), 0xff);
}

TEST(MetaIdRequest, RefusesAHandleWithoutADeviceId) {
    const auto handle = kvxtest::makeHandle({.deviceId = ""});
    EXPECT_EQ(metaIdRequest(handle.get(), {"one"}).status, -3);
    handle->state = 0;
    EXPECT_EQ(metaIdRequest(handle.get(), {"one"}).status, -3);
    EXPECT_EQ(metaIdRequest(nullptr, {"one"}).status, -1);
}

TEST(MetaIdRequest, RefusesAnEmptyListAndAllocatesNothing) {
    const auto handle = kvxtest::makeHandle();
    const kvxtest::CountingHooks hooks;
    EXPECT_EQ(metaIdRequest(handle.get(), {}).status, -1);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(SmallRequests, FailBeforeTheyAllocateAnything) {
    const HandleOptions kCases[] = {{.requestFraming = 'X'}, {.checksumMethod = 1}};
    for (const HandleOptions& options : kCases) {
        const auto handle = kvxtest::makeHandle(options);
        const kvxtest::CountingHooks hooks;
        EXPECT_EQ(idRequest(handle.get(), "id").status, -1);
        EXPECT_EQ(metaIdRequest(handle.get(), {"one"}).status, -1);
        EXPECT_EQ(hooks.allocations(), 0);
    }
}

TEST(SmallRequests, FailOnceTheirSigningStateIsTakenAway) {
    struct Case {
        const char* name;
        HandleOptions options;
        int32_t (*takeAway)(KVXHandle*);
        int32_t status;
    };
    const Case kCases[] = {
        {"digest", {.encryptionMethod = 1, .checksumMethod = 3}, &KVXUnInitChecksum, -1},
        {"cipher", {.encryptionMethod = 3, .checksumMethod = 2}, &KVXUnInitEncryption, -1},
        {"methods without a state", {.encryptionMethod = 2, .checksumMethod = 2}, &KVXUnInitChecksum, 0},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        const auto handle = kvxtest::makeHandle(test.options);
        ASSERT_EQ(test.takeAway(handle.get()), 0);
        EXPECT_EQ(idRequest(handle.get(), "id").status, test.status);
        EXPECT_EQ(metaIdRequest(handle.get(), {"one"}).status, test.status);
        // And back again.
        ASSERT_EQ(KVXInitChecksum(handle.get()), 0);
        ASSERT_EQ(KVXInitEncryption(handle.get()), 0);
        EXPECT_EQ(idRequest(handle.get(), "id").status, 0);
    }
}

TEST(SmallRequests, AreWrappedInHttpText) {
    HandleOptions options;
    const Bytes bare = idRequest(kvxtest::makeHandle(options).get(), "identity-of-16-b").bytes;
    options.requestFraming = 'H';
    const Bytes http = idRequest(kvxtest::makeHandle(options).get(), "identity-of-16-b").bytes;
    ASSERT_EQ(http.size(), 283U + 32 + 3 + bare.size() + 50);
    EXPECT_EQ(hexDump(std::span(http).subspan(318, bare.size())), hexDump(bare));
    const std::string text(http.begin(), http.end());
    EXPECT_NE(text.find("Content-Length: 281\r\n"), std::string::npos); // 98 + 183
    EXPECT_TRUE(text.ends_with("\r\n-----------------------------265001916915724--\r\n"));
}
