// SPDX-License-Identifier: Apache-2.0
#include "http/trusted_proxies.h"

#include "server/http/test_service.h"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace kvxtest;
using namespace tarn::server;

TEST(TrustedProxies, NameTheClientOfARequest) {
    const struct {
        const char* name;
        const char* peer;
        const char* forwardedFor;
        const char* client;
    } cases[] = {
        {"a trusted proxy", "10.0.0.1", "192.0.2.7", "192.0.2.7"},
        {"any other peer", "10.0.0.2", "192.0.2.7", "10.0.0.2"},
        {"the last of several hops", "10.0.0.1", "203.0.113.9, 192.0.2.7", "192.0.2.7"},
        {"a tab, and a blank at the end", "10.0.0.1", "203.0.113.9,\t192.0.2.7 ", "192.0.2.7"},
        {"a hop with its port", "10.0.0.1", "192.0.2.7:4711", "192.0.2.7"},
        {"an IPv6 hop", "10.0.0.1", "2001:DB8:0::1", "2001:db8::1"},
        {"an IPv6 hop with its port", "10.0.0.1", "[2001:db8::1]:4711", "2001:db8::1"},
        {"a proxy that IPv6 wraps", "::ffff:10.0.0.1", "192.0.2.7", "192.0.2.7"},
        {"an IPv6 proxy in another spelling", "fd00::1", "192.0.2.7", "192.0.2.7"},
        {"no header", "10.0.0.1", "", "10.0.0.1"},
        {"blanks alone", "10.0.0.1", "  ", "10.0.0.1"},
        {"an end without hop", "10.0.0.1", "192.0.2.7,", "10.0.0.1"},
        {"no address", "10.0.0.1", "unknown", "10.0.0.1"},
        {"more than an address", "10.0.0.1", "192.0.2.7 status=200", "10.0.0.1"},
        {"a bracket that does not close", "10.0.0.1", "[2001:db8::1", "2001:db8::1"},
        {"a bracket alone", "10.0.0.1", "[", "10.0.0.1"},
    };
    const TrustedProxies proxies({"10.0.0.1", "fd00:0::1"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(proxies.clientOf(c.peer, c.forwardedFor), c.client);
    }
}

TEST(TrustedProxies, AreAddresses) {
    for (const char* text : {"", "localhost", "10.0.0", "10.0.0.1:80", "10.0.0.0/8", "[::1]"}) {
        SCOPED_TRACE(text);
        EXPECT_THROW(TrustedProxies({text}), std::invalid_argument);
    }
}

TEST(TrustedProxies, ChangeTheAddressInTheLogOfTheServiceThatTrustsThem) {
    const std::string noPacket = "X-Forwarded-For: 203.0.113.9\r\nX-Forwarded-For: 198.51.100.4, 192.0.2.7\r\n";
    for (const bool trusted : {true, false}) {
        SCOPED_TRACE(trusted);
        TestService service({}, [](FakeCatalogue&) {}, {trusted ? "127.0.0.1" : "10.0.0.1"});
        EXPECT_EQ(service.ask(postOf(formOf(part("data", "x")), noPacket)).status, 400);
        service.stop();
        const std::string log = service.log.str();
        EXPECT_NE(log.find(trusted ? "peer=192.0.2.7 " : "peer=127.0.0.1 "), std::string::npos) << log;
    }
}
