// SPDX-License-Identifier: Apache-2.0
// What becomes of clients when the service stops.
#include "http/http_server.h"

#include "server/http/test_service.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <latch>

using namespace kvxtest;

// Whoever could connect is answered, also those that the service has not come to yet.
TEST(HttpServerThatStops, AnswersWhoWaitsInTheSystemsQueue) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    std::latch busy(1);
    std::latch mayGoOn(1);
    std::atomic<bool> first = true;
    service.beforeAccount = [&] { // on the thread that takes connections
        if (!first.exchange(false)) return;
        busy.count_down();
        mayGoOn.wait();
    };
    const auto client = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(client.get()));
    std::vector<RawClient> clients;
    clients.emplace_back(service.port());
    ASSERT_TRUE(clients.back().send(request));
    busy.wait();
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back(service.port());
        ASSERT_TRUE(clients.back().connected());
        ASSERT_TRUE(clients.back().send(request));
    }
    clients.emplace_back(service.port()); // this one has not sent a byte yet
    std::future<void> stopped = std::async(std::launch::async, [&] { service.stop(); });
    while (RawClient(service.port()).connected()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    mayGoOn.count_down();
    ASSERT_TRUE(clients.back().send(request));
    for (RawClient& each : clients) {
        const HttpAnswer answer = each.read().value_or(HttpAnswer{});
        EXPECT_EQ(answer.status, 200);
        EXPECT_TRUE(answer.has("Connection: close"));
    }
    stopped.get();
}

TEST(HttpServerThatStops, FinishesWhatIsInFlight) {
    TestService service({.workers = 1});
    service.catalogue.matches = {match("a", 93)};
    std::latch asked(1);
    std::latch mayAnswer(1);
    std::atomic<bool> first = true;
    service.catalogue.beforeAnswer = [&] {
        if (first.exchange(false)) asked.count_down();
        mayAnswer.wait();
    };
    const auto client = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(client.get()));
    RawClient working(service.port());
    ASSERT_TRUE(working.send(request));
    asked.wait();
    RawClient waiting(service.port());
    ASSERT_TRUE(waiting.send(request));
    service.waitForMetric("tarn_requests_waiting", "1");
    RawClient idle(service.port());
    ASSERT_TRUE(idle.send(getOf("/health")));
    ASSERT_EQ(idle.read().value().status, 200);

    std::future<void> stopped = std::async(std::launch::async, [&] { service.stop(); });
    // Not listening any more, but not ended either. A question may be looked at just before the stop and answered just
    // after it.
    HttpAnswer health;
    do {
        ASSERT_TRUE(idle.send(getOf("/health")));
        health = idle.read().value();
    } while (!health.has("Connection: close"));
    if (health.status != 200) {
        EXPECT_EQ(health.status, 503);
        EXPECT_EQ(health.body, "stopping\n");
    }
    mayAnswer.count_down();
    for (RawClient* connection : {&working, &waiting}) {
        const HttpAnswer answer = connection->read().value();
        EXPECT_EQ(answer.status, 200);
        EXPECT_TRUE(answer.has("Connection: close"));
        EXPECT_EQ(typesOf(recordsOf(client.get(), answer.body)), "TA");
    }
    stopped.get();
    EXPECT_FALSE(RawClient(service.port()).connected());
}
