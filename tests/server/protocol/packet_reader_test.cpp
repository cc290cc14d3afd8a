// SPDX-License-Identifier: Apache-2.0
#include "protocol/packet_reader.h"

#include "protocol/signature.h"
#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"
#include "support/protocol_client.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using tarn::server::BadPacket;
using tarn::server::isSignedWith;
using tarn::server::Packet;
using tarn::server::readPacket;

namespace {

std::string codeOf(const HandleOptions& options) {
    return kvxtest::accessCode(options.encryptionMethod, options.checksumMethod, options.secret);
}

std::string reasonOf(const Bytes& bytes) {
    const kvxtest::GuardedBytes guarded(bytes);
    try {
        readPacket({guarded.data(), guarded.size()});
        return "read";
    } catch (const BadPacket& bad) {
        return bad.what();
    }
}

} // namespace

TEST(PacketReader, ReadsTheHeaderThatTheClientWrites) {
    const HandleOptions options{.encryptionMethod = 2, .checksumMethod = 3, .responseFraming = 'H'};
    const auto handle = kvxtest::makeHandle(options);
    const Bytes bytes = itemsPacket(handle.get(), {"T-1"}, 'A', 17);
    const Packet packet = readPacket(bytes);
    EXPECT_EQ(packet.accountId, kAccountId);
    EXPECT_EQ(packet.encryptionMethod, 2);
    EXPECT_EQ(packet.checksumMethod, 3);
    EXPECT_EQ(packet.responseFraming, 'H');
    EXPECT_EQ(packet.languageCode, kEnglish);
    EXPECT_EQ(packet.requestOption, 17);
    EXPECT_EQ(packet.clientKind, 'S');
    EXPECT_EQ(packet.payload.size(), 1U + 21 + 1 + 4 + 3);
    EXPECT_EQ(packet.payload[0], 'M');
    EXPECT_EQ(packet.signature.size(), 16U);
    EXPECT_EQ(packet.signedBytes.size() + 16, bytes.size());
}

TEST(PacketReader, SkipsTheAppendix) {
    const auto handle = kvxtest::makeHandle();
    const Bytes appendix = kvxtest::bytesOf("whatever an application adds");
    handle->appendix = appendix.data();
    handle->appendixLength = static_cast<uint32_t>(appendix.size());
    const Bytes bytes = identityPacket(handle.get());
    const Packet packet = readPacket(bytes);
    EXPECT_EQ(packet.payload.size(), 6U);
    EXPECT_EQ(packet.signature.size(), 16U);
    EXPECT_TRUE(isSignedWith(packet, codeOf({})));
}

TEST(PacketReader, NamesWhatIsWrong) {
    const auto handle = kvxtest::makeHandle();
    const Bytes good = identityPacket(handle.get());
    const auto with = [&](size_t offset, uint8_t byte) {
        Bytes bytes = good;
        bytes[offset] = byte;
        return bytes;
    };
    const struct {
        const char* name;
        Bytes bytes;
        const char* reason;
    } cases[] = {
        {"nothing", {}, "it ends within the header"},
        {"51 bytes", Bytes(good.begin(), good.begin() + 51), "it ends within the header"},
        {"a header alone", Bytes(good.begin(), good.begin() + 52), "it ends within the payload"},
        {"another magic", with(3, '.'), "it does not begin as a request packet does"},
        {"another version", with(4, 4), "its major version is not 3"},
        {"a payload beyond the end", with(52, 255), "it ends within the payload"},
        {"a payload of 4 GB", with(55, 255), "it ends within the payload"},
        {"an appendix beyond the end", with(62, 255), "it ends within the appendix"},
        {"an appendix of 4 GB", with(65, 255), "it ends within the appendix"},
        {"a signature of 15 bytes", Bytes(good.begin(), good.end() - 1),
         "its signature does not have 4, 8 or 16 bytes"},
        {"no signature", Bytes(good.begin(), good.end() - 16), "its signature does not have 4, 8 or 16 bytes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(reasonOf(c.bytes), c.reason);
    }
    Bytes empty = good;
    empty[52] = 0; // the payload's 6 bytes would now be the appendix length and more
    EXPECT_EQ(reasonOf(empty), "its payload is empty");
}

TEST(Signature, IsGoodForEveryMethodThatCanSign) {
    for (const Methods& methods : kSigningMethods) {
        SCOPED_TRACE(methods.name);
        const HandleOptions options{
            .encryptionMethod = methods.encryption, .checksumMethod = methods.checksum, .secret = {3, 1, 4}};
        const auto handle = kvxtest::makeHandle(options);
        const Bytes bytes = fingerprintPacket(handle.get());
        EXPECT_TRUE(isSignedWith(readPacket(bytes), codeOf(options)));
    }
}

TEST(Signature, IsBadUnderAnotherKey) {
    const HandleOptions options{.secret = {3, 1, 4}};
    HandleOptions other = options;
    other.secret[31] = 1;
    const Bytes bytes = identityPacket(kvxtest::makeHandle(options).get());
    EXPECT_TRUE(isSignedWith(readPacket(bytes), codeOf(options)));
    EXPECT_FALSE(isSignedWith(readPacket(bytes), codeOf(other)));
}

// The packet says how it is signed, but the account decides: a packet that names a weaker way is not believed.
TEST(Signature, IsBadWhenTheHeaderNamesOtherMethods) {
    for (const Methods& packetMethods : kSigningMethods) {
        for (const Methods& accountMethods : kSigningMethods) {
            SCOPED_TRACE(std::string(packetMethods.name) + " for " + accountMethods.name);
            const HandleOptions options{.encryptionMethod = packetMethods.encryption,
                                        .checksumMethod = packetMethods.checksum};
            const Bytes bytes = identityPacket(kvxtest::makeHandle(options).get());
            const std::string code = kvxtest::accessCode(accountMethods.encryption, accountMethods.checksum);
            EXPECT_EQ(isSignedWith(readPacket(bytes), code), &packetMethods == &accountMethods);
        }
    }
    // Signed in the account's way, but saying otherwise.
    for (const auto& [encryption, checksum] : {std::pair{2, 3}, {1, 2}, {1, 3}}) {
        kvxtest::PacketAssembler packet;
        packet.header({.encryptionMethod = encryption, .checksumMethod = checksum}, kEnglish, 0);
        packet.u32(6).raw("G").u8(0).u32(0).u32(0).signature({.encryptionMethod = 1, .checksumMethod = 3});
        EXPECT_EQ(isSignedWith(readPacket(packet.bytes), kvxtest::accessCode(1, 3)), encryption == 1 && checksum == 3);
    }
}

TEST(Signature, IsBadForACodeThatIsNone) {
    const Bytes bytes = identityPacket(kvxtest::makeHandle().get());
    for (const std::string& code : {std::string(), std::string(79, '0'), std::string(80, '0'),
                                    kvxtest::accessCode(4, 3), kvxtest::accessCode(3, 1)}) {
        SCOPED_TRACE(code);
        EXPECT_FALSE(isSignedWith(readPacket(bytes), code));
    }
}
