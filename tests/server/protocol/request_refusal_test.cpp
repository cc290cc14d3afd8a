// SPDX-License-Identifier: Apache-2.0
// Requests that are refused, and those that cannot be answered.
#include "protocol/request_handler.h"
#include "server/protocol/handled_requests.h"
#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"
#include "support/protocol_client.h"
#include "support/server/fake_catalogue.h"

#include <gtest/gtest.h>
#include <set>

using namespace kvxtest;
using namespace tarn::server;

namespace {

std::vector<Bytes> onePacketOfEachKind(KVXHandle* client) {
    return {fingerprintPacket(client), identityPacket(client, "0123456789abcdef"), itemsPacket(client, {"T-a", "T-b"})};
}

} // namespace

TEST(RequestHandler, RefusesUnknownAccountAndBadSignatureWithOneText) {
    Service service({.secret = {1, 2, 3}});
    Bytes unknown = identityPacket(service.client.get());
    Bytes unsignedPacket = unknown;
    unsignedPacket.back() = static_cast<uint8_t>(unsignedPacket.back() ^ 1);
    unknown[6] = 99; // account id
    const Bytes otherKey = identityPacket(kvxtest::makeHandle({.secret = {1, 2, 4}}).get());
    const Bytes otherMethods = identityPacket(kvxtest::makeHandle({.checksumMethod = 2, .secret = {1, 2, 3}}).get());
    std::set<std::string> bodies;
    for (const Bytes& packet : {unknown, unsignedPacket, otherKey, otherMethods}) {
        const Reply reply = service.ask(packet);
        EXPECT_EQ(reply.status, 403);
        EXPECT_EQ(reply.report.accountId, std::nullopt);
        bodies.insert(reply.body);
    }
    EXPECT_EQ(bodies, std::set<std::string>{"unknown account or bad signature\n"});
    EXPECT_EQ(service.ask(identityPacket(service.client.get())).status, 200);
}

TEST(RequestHandler, LooksAtThePayloadOnlyWhenTheSignatureIsGood) {
    Service service;
    kvxtest::PacketAssembler packet;
    packet.header(service.options, kEnglish, 1).u32(1).raw("X").u32(0);
    Bytes good = packet.bytes;
    packet.signature(service.options);
    EXPECT_EQ(service.ask(packet.bytes).status, 400);
    good.resize(good.size() + 16); // no signature
    EXPECT_EQ(service.ask(good).status, 403);
}

TEST(RequestHandler, RefusesEveryTruncationAndEveryChangedByte) {
    for (const Methods& methods : kSigningMethods) {
        Service service({.encryptionMethod = methods.encryption, .checksumMethod = methods.checksum, .secret = {5, 5}});
        service.catalogue.matches = {match("a", 90)};
        const RequestHandler handler = service.handler();
        for (const Bytes& packet : onePacketOfEachKind(service.client.get())) {
            ASSERT_EQ(service.ask(packet).status, 200);
            const auto refuses = [&](const Bytes& bytes) {
                const int status = service.ask(bytes).status;
                return status == 400 || status == 403;
            };
            for (size_t length = 0; length < packet.size(); ++length) {
                ASSERT_TRUE(refuses(Bytes(packet.begin(), packet.begin() + static_cast<ptrdiff_t>(length))))
                    << methods.name << ", cut to " << length;
            }
            for (size_t i = 0; i < packet.size(); ++i) {
                for (const unsigned change : {1U, 0x80U, 0xffU}) {
                    Bytes changed = packet;
                    changed[i] = static_cast<uint8_t>(changed[i] ^ change);
                    ASSERT_TRUE(refuses(changed)) << methods.name << ", changed at " << i;
                }
            }
        }
    }
}

TEST(RequestHandler, SaysThatItIsUnavailableAndWhyOnlyInTheLog) {
    Service service;
    service.catalogue.beforeAnswer = [] { throw Unavailable("shard 3 at 10.0.0.3 is gone"); };
    for (const Bytes& packet : {fingerprintPacket(service.client.get()), itemsPacket(service.client.get(), {"T-a"})}) {
        const Reply reply = service.ask(packet);
        EXPECT_EQ(reply.status, 503);
        EXPECT_EQ(reply.body, "the catalogue is not available\n");
        EXPECT_EQ(reply.report.reason, "shard 3 at 10.0.0.3 is gone");
    }
    service.catalogue.beforeAnswer = [] { throw std::bad_alloc(); };
    const Reply withoutMemory = service.ask(fingerprintPacket(service.client.get()));
    EXPECT_EQ(withoutMemory.status, 503);
    EXPECT_EQ(withoutMemory.body, "the service is out of memory\n");
    EXPECT_EQ(withoutMemory.report.outcome, RequestOutcome::kOverload) << "nothing is wrong with the catalogue";
    service.catalogue.beforeAnswer = [] { throw std::runtime_error("a secret path"); };
    const Reply reply = service.ask(fingerprintPacket(service.client.get()));
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.body, "the request failed\n");
}

TEST(RequestHandler, FailsOnADamagedRecordInsteadOfSendingIt) {
    Service service;
    service.catalogue.matches = {match("a", 90)};
    service.catalogue.matches[0].trackBlob.clear();
    EXPECT_EQ(service.ask(fingerprintPacket(service.client.get())).status, 500);
    service.catalogue.matches = {match("a", 90)};
    service.catalogue.matches[0].albumBlob.resize(40);
    EXPECT_EQ(service.ask(fingerprintPacket(service.client.get())).status, 500);
}
