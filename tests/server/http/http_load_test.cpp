// SPDX-License-Identifier: Apache-2.0
// Many clients at once, slow ones and silent ones.
#include "server/http/test_service.h"

#include <gtest/gtest.h>
#include <latch>
#include <sys/resource.h>

using namespace kvxtest;
using namespace tarn::server;

namespace {

void allowManyDescriptors() {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_GE(limit.rlim_cur, 2200U) << "1,000 connections have two ends each";
}

// Where clients have little time, one may lose it to the machine's other work before it has sent a byte: it asks again.
// A server that never answers is a test that runs into its time-out.
HttpAnswer askUntilAnswered(const TestService& service, const std::string& request) {
    for (;;) {
        HttpAnswer answer = service.ask(request);
        if (answer.status != 0) return answer;
    }
}

} // namespace

TEST(HttpLoad, AnswersAThousandConnectionsAtOnce) {
    allowManyDescriptors();
    constexpr size_t kClients = 1000;
    TestService service(
        {.connectionsPerAddress = 0, .requestTime = std::chrono::minutes(2), .waitingTime = std::chrono::minutes(2)});
    service.catalogue.matches = {match("a", 93)};
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    std::vector<RawClient> clients;
    clients.reserve(kClients);
    for (size_t i = 0; i < kClients; ++i) {
        clients.emplace_back(service.port());
        ASSERT_TRUE(clients.back().connected());
        ASSERT_TRUE(clients.back().send(request.substr(0, request.size() / 2)));
    }
    // All are open at the same moment, and a further one is served beside them.
    service.waitForMetric("tarn_connections", std::to_string(kClients + 1));
    for (RawClient& client : clients) ASSERT_TRUE(client.send(request.substr(request.size() / 2)));
    for (RawClient& client : clients) EXPECT_EQ(client.read().value_or(HttpAnswer{}).status, 200);
    EXPECT_EQ(service.catalogue.asked, kClients);
}

TEST(HttpLoad, TakesSoManyConnectionsFromOneAddressAndNoMore) {
    TestService service({.connectionsPerAddress = 5});
    std::vector<RawClient> clients;
    for (int i = 0; i < 5; ++i) {
        clients.emplace_back(service.port());
        ASSERT_TRUE(clients.back().send(getOf("/metrics")));
        ASSERT_TRUE(clients.back().read().has_value());
    }
    RawClient oneTooMany(service.port());
    oneTooMany.send(getOf("/metrics"));
    EXPECT_FALSE(oneTooMany.read().has_value());
    ASSERT_TRUE(clients[0].send(getOf("/metrics")));
    EXPECT_TRUE(clients[0].read().has_value());
}

TEST(HttpLoad, EndsClientsThatAreTooSlow) {
    TestService service({.requestTime = std::chrono::milliseconds(300)});
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    const size_t bodyStart = request.find("\r\n\r\n") + 4;
    const struct {
        const char* name;
        size_t atOnce;
    } cases[] = {{"byte by byte from the start", 0}, {"byte by byte from the body on", bodyStart}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        RawClient client(service.port());
        client.send(request.substr(0, c.atOnce));
        // The bytes come for ever, far more slowly than they may: the connection must end before they do.
        size_t at = c.atOnce;
        while (at < request.size() && !client.ended() && client.send(request.substr(at, 1))) {
            ++at;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        EXPECT_LT(at, request.size());
    }
    EXPECT_EQ(askUntilAnswered(service, request).status, 200);
}

TEST(HttpLoad, EndsClientsThatSayNothing) {
    TestService service({.requestTime = std::chrono::milliseconds(200)});
    RawClient silent(service.port());
    EXPECT_EQ(silent.readToEnd(), "");
    // Half a request, and nothing more.
    RawClient half(service.port());
    half.send("POST /sdkrequest HTTP/1.1\r\nHo");
    EXPECT_EQ(half.readToEnd(), "");
    // Answered, then idle.
    for (bool answered = false; !answered;) {
        RawClient idle(service.port());
        idle.send(getOf("/nothing"));
        answered = idle.read().has_value();
        EXPECT_EQ(idle.readToEnd(), "");
    }
}

// Connections that say nothing give way to those that do, long before their time is over.
TEST(HttpLoad, EndsTheLongestSilentConnectionsWhenPlacesAreShort) {
    TestService service({.connections = 40, .connectionsPerAddress = 0, .requestTime = std::chrono::minutes(10)});
    service.catalogue.matches = {match("a", 93)};
    const auto handle = kvxtest::makeHandle();
    std::vector<RawClient> silent;
    for (int i = 0; i < 100; ++i) { // more than there are places, so that some wait in the system's queue
        silent.emplace_back(service.port());
        ASSERT_TRUE(silent.back().connected());
        if (i % 2 == 0) silent.back().send("POST /sdkrequest HTTP/1.1\r\n");
    }
    EXPECT_EQ(askUntilAnswered(service, postOf(fingerprintPacket(handle.get()))).status, 200);
}

// One whose request is with a worker is not silent.
TEST(HttpLoad, KeepsClientsThatWaitForAnAnswerWhenPlacesAreShort) {
    TestService service({.connections = 8, .connectionsPerAddress = 0, .requestTime = std::chrono::minutes(10)});
    std::latch asked(1);
    std::latch mayAnswer(1);
    service.catalogue.beforeAnswer = [&] {
        asked.count_down();
        mayAnswer.wait();
    };
    const auto handle = kvxtest::makeHandle();
    RawClient waiting(service.port());
    ASSERT_TRUE(waiting.send(postOf(fingerprintPacket(handle.get()))));
    asked.wait();
    std::vector<RawClient> silent;
    for (int i = 0; i < 20; ++i) silent.emplace_back(service.port());
    EXPECT_EQ(askUntilAnswered(service, getOf("/health")).status, 200);
    mayAnswer.count_down();
    EXPECT_EQ(waiting.read().value_or(HttpAnswer{}).status, 200);
}

// A catalogue that does not answer, as one on a disk that hangs, keeps nobody from looking after the clients.
TEST(HttpLoad, EndsClientsThatAreTooSlowWhileTheCatalogueHangs) {
    std::latch hangs(1);
    std::latch mayEnd(1);
    std::atomic<int> looks = 0;
    TestService service({.requestTime = std::chrono::milliseconds(200)}, [&](FakeCatalogue& catalogue) {
        catalogue.beforeCount = [&] {
            if (++looks != 2) return;
            hangs.count_down();
            mayEnd.wait();
        };
    });
    hangs.wait();
    RawClient silent(service.port());
    EXPECT_EQ(silent.readToEnd(), "");
    mayEnd.count_down();
}

TEST(HttpLoad, NoticesAClientThatGoesInTheMiddle) {
    TestService service({.requestTime = std::chrono::minutes(10)});
    const auto handle = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(handle.get()));
    RawClient client(service.port());
    ASSERT_TRUE(client.send(request.substr(0, request.size() - 10)));
    client.hangUp();
    service.waitForMetric("tarn_requests_dropped_total", "1");
}

// A client that ends its sending side after its request still waits for the answer.
TEST(HttpLoad, AnswersAClientThatHasEndedItsSendingSide) {
    TestService service;
    service.catalogue.beforeAnswer = [] { std::this_thread::sleep_for(std::chrono::milliseconds(400)); };
    const auto handle = kvxtest::makeHandle();
    RawClient client(service.port());
    ASSERT_TRUE(client.send(postOf(fingerprintPacket(handle.get()))));
    client.endSending();
    EXPECT_EQ(client.read().value_or(HttpAnswer{}).status, 200);
}

// A client's time counts while it is the client's turn: not while a worker thinks.
TEST(HttpLoad, DoesNotEndAClientThatWaitsForTheCatalogue) {
    TestService service({.requestTime = std::chrono::milliseconds(200)});
    service.catalogue.beforeAnswer = [] { std::this_thread::sleep_for(std::chrono::milliseconds(800)); };
    const auto handle = kvxtest::makeHandle();
    EXPECT_EQ(askUntilAnswered(service, postOf(fingerprintPacket(handle.get()))).status, 200);
}

TEST(HttpLoad, AnswersEveryGoodPacketBesideAFloodOfBadOnes) {
    // One place in the queue: a bad packet that took it would cost a good one its answer.
    TestService service({.workers = 1, .waiting = 1});
    service.catalogue.matches = {match("a", 93)};
    const auto handle = kvxtest::makeHandle();
    const Bytes good = fingerprintPacket(handle.get());
    Bytes forged = good;
    forged.back() = static_cast<uint8_t>(forged.back() ^ 1);
    const struct {
        std::string request;
        int status; // 0: no answer, the connection is ended
    } floods[] = {{postOf(forged), 403}, {postOf(formOf(part("data", "BIN rubbish"))), 400}, {"rubbish\r\n\r\n", 0}};
    std::atomic<size_t> refused = 0;
    {
        std::vector<std::jthread> attackers;
        for (const auto& flood : floods) {
            attackers.emplace_back([&](const std::stop_token& token) {
                while (!token.stop_requested()) {
                    EXPECT_EQ(exchange(service.port(), flood.request).status, flood.status);
                    ++refused;
                }
            });
        }
        while (refused < 50) std::this_thread::yield();
        for (int i = 0; i < 200; ++i) EXPECT_EQ(exchange(service.port(), postOf(good)).status, 200);
        while (refused < 500) std::this_thread::yield();
    }
    EXPECT_EQ(service.catalogue.asked, 200U);
}
