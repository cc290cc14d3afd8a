// SPDX-License-Identifier: Apache-2.0
// Clients that send rubbish, reset their connections, or stall.
#include "server/http/test_service.h"

#include <gtest/gtest.h>
#include <latch>
#include <random>

using namespace kvxtest;
using namespace tarn::server;

TEST(HttpLoad, OutlivesRubbish) {
    TestService service;
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    std::mt19937 random(4711);
    for (int i = 0; i < 400; ++i) {
        std::string bytes = request;
        const size_t changes = 1 + random() % 8;
        for (size_t k = 0; k < changes; ++k) bytes[random() % bytes.size()] = static_cast<char>(random());
        if (i % 3 == 0) bytes.resize(random() % bytes.size());
        RawClient client(service.port());
        client.send(bytes);
        if (i % 2 == 0) client.endSending();
    }
    EXPECT_EQ(service.ask(request).status, 200);
}

// A client's connection is reset after every byte of its request, all of it included. The request is dropped, or
// refused, and the next client is served.
TEST(HttpLoad, OutlivesAResetAfterEveryByte) {
    TestService service({.connectionsPerAddress = 0}); // it may be slower to notice than the client is to come again
    service.catalogue.matches = {match("a", 93)};
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    for (size_t position = 0; position <= request.size(); ++position) {
        RawClient client(service.port());
        ASSERT_TRUE(client.connected()) << "after byte " << position;
        ASSERT_TRUE(client.send(request.substr(0, position)));
        client.reset();
        if (position % 64 == 0) {
            EXPECT_EQ(service.ask(request).status, 200) << "after byte " << position;
        }
    }
    EXPECT_EQ(service.ask(request).status, 200);
    service.waitForMetric("tarn_connections", "1"); // the one that asks: none of the others is kept
}

// A whole request, and its client gone at any moment of the answer.
TEST(HttpLoad, OutlivesAResetInsideItsAnswer) {
    TestService service({.connectionsPerAddress = 0}); // it may be slower to notice than the client is to come again
    service.catalogue.matches = {match("a", 93)};
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    const HttpAnswer whole = service.ask(request);
    ASSERT_EQ(whole.status, 200);
    const size_t length = whole.header.size() + 2 + whole.body.size();
    for (size_t position = 0; position <= length; ++position) {
        RawClient client(service.port());
        ASSERT_TRUE(client.send(request));
        ASSERT_TRUE(client.readBytes(position)) << "byte " << position;
        client.reset();
    }
    EXPECT_EQ(service.ask(request).body, whole.body);
    service.waitForMetric("tarn_connections", "1");
}

TEST(HttpLoad, AnswersARequestThatStallsAndGoesOn) {
    TestService service;
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    const size_t head = request.find("\r\n\r\n") + 4;
    for (const size_t position :
         {size_t{1}, head - 1, head, head + 1, (head + request.size()) / 2, request.size() - 1}) {
        RawClient client(service.port());
        ASSERT_TRUE(client.send(request.substr(0, position)));
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        ASSERT_TRUE(client.send(request.substr(position)));
        EXPECT_EQ(client.read().value_or(HttpAnswer{}).status, 200) << "after byte " << position;
    }
}

TEST(HttpLoad, AnswersARequestThatComesTwiceTwice) {
    TestService service;
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    RawClient client(service.port());
    ASSERT_TRUE(client.send(request + request));
    EXPECT_EQ(client.read().value_or(HttpAnswer{}).status, 200);
    EXPECT_EQ(client.read().value_or(HttpAnswer{}).status, 200);
    EXPECT_EQ(service.catalogue.asked, 2U);
}
