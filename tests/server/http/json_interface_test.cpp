// SPDX-License-Identifier: Apache-2.0
// The JSON interface over a connection: bounds, hostile requests, the log and the metrics. What it answers is in
// openapi_test.cpp.
#include "server/http/test_service.h"
#include "support/server/json_requests.h"

#include <gtest/gtest.h>
#include <latch>
#include <random>

using namespace kvxtest;
using namespace tarn::server;

namespace {

const std::string& code() {
    static const std::string made = bearer(kvxtest::accessCode(3, 3));
    return made;
}

} // namespace

TEST(JsonInterface, BoundsABodyAndAllBodiesTogether) {
    const std::string wav = wavText(); // about 400 kB
    {
        TestService service({.audioBytes = wav.size()});
        EXPECT_EQ(service.ask(recogniseRequest(wav, code())).status, 200);
        const HttpAnswer answer = service.ask(recogniseRequest(wav + "x", code()));
        EXPECT_EQ(answer.status, 413);
        EXPECT_NE(answer.body.find("larger than " + std::to_string(wav.size()) + " bytes"), std::string::npos);
    }
    TestService service({.audioBytesAtOnce = wav.size()}); // one account has half of it
    const HttpAnswer answer = service.ask(recogniseRequest(wav, code()));
    EXPECT_EQ(answer.status, 503);
    EXPECT_TRUE(answer.has("Retry-After: 1"));
    EXPECT_NE(answer.body.find("too much audio waits"), std::string::npos);
}

TEST(JsonInterface, GivesBackTheRoomOfBodiesWhateverBecomesOfThem) {
    const std::string wav = wavText();
    TestService service({.audioBytesAtOnce = 4 * wav.size()});
    for (int i = 0; i < 20; ++i) {
        RawClient gone(service.port());
        gone.send(recogniseRequest(wav, code()).substr(0, wav.size() / 2));
        gone.reset();
        service.waitForMetric("tarn_connections", "1");
        EXPECT_EQ(service.ask(recogniseRequest(wav.substr(0, 30'000), code())).status, 422);
        EXPECT_EQ(service.ask(recogniseRequest(wav, code())).status, 200);
    }
}

// The access code is looked at before the body, which is thrown away: 8 MiB and a whole body of audio at most.
TEST(JsonInterface, TellsAClientWithoutCodeSoWhateverItSends) {
    TestService service({.audioBytes = 1000, .audioBytesAtOnce = 1000});
    const HttpAnswer answer = service.ask(recogniseRequest(std::string(8 * 1024 * 1024, 'x'), ""));
    EXPECT_EQ(answer.status, 401);
    EXPECT_TRUE(answer.has("WWW-Authenticate: Bearer realm=\"tarn-server\""));
    const HttpAnswer tooMuch = service.ask(recogniseRequest(std::string(9 * 1024 * 1024, 'x'), ""));
    EXPECT_EQ(tooMuch.status, 0) << "cut off";
    EXPECT_EQ(service.ask(jsonRequest("GET", "/v1/version")).status, 200);
}

TEST(JsonInterface, TakesTheBodyInAnyPieces) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    const std::string request = recogniseRequest(wavText(), code());
    RawClient connection(service.port());
    for (int i = 0; i < 2; ++i) { // two on one connection
        for (size_t at = 0; at < request.size(); at += 7001) ASSERT_TRUE(connection.send(request.substr(at, 7001)));
        EXPECT_EQ(connection.read().value_or(HttpAnswer{}).status, 200);
    }
}

TEST(JsonInterface, TakesHostileTargetsAndHeaders) {
    TestService service;
    Match known = match("a", 100);
    service.catalogue.byId = {{"T-a", {known}}, {"a/b", {known}}};
    const struct {
        const char* target;
        int status;
    } cases[] = {
        {"/v1/tracks/T-a", 200},
        {"/v1/tracks/%54-%61", 200},
        {"/v1/tracks/T-a%00", 404},
        {"/v1/tracks/a%2Fb", 404}, // found, but of another track id
        {"/v1/tracks/a/b", 404},
        {"/v1/tracks/%", 404},
        {"/v1/tracks/%zz", 404},
        {"/v1/tracks/..%2F..%2Fhealth", 404},
        {"/v1/tracks/T-a?", 200},
        {"/v1/tracks/T-a?x", 400},
        {"/v1/tracks/%ff%fe", 404},
        {"/v1/tracks/T-a%0d%0aSet-Cookie:%20x", 404},
        {"/v1/recordings?limit=-1", 400},
        {"/v1/recordings?limit=1&limit=1", 400},
        {"/v1/recordings?limit=18446744073709551617", 400},
        {"/v1/recordings?query=%ff", 400},
        {"/v1/recordings?query=%4", 400},
        {"/v1/recordings?%zz=1", 400},
        {"/v1/recordings?query=%00", 200},
        {"/v1/recordings?query=a+b%20c", 200},
        {"/v1/recordings?query=%0d%0aSet-Cookie:%20x", 200},
        {"/v1/../health", 404},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        const HttpAnswer answer = service.ask(jsonRequest("GET", c.target, code()));
        EXPECT_EQ(answer.status, c.status) << answer.body;
        EXPECT_EQ(answer.header.find("Set-Cookie"), std::string::npos);
        EXPECT_EQ(answer.body.find("Set-Cookie"), std::string::npos);
    }
}

TEST(JsonInterface, OutlivesRubbish) {
    TestService service;
    const std::string requests[] = {recogniseRequest(wavText().substr(0, 3000), code()),
                                    jsonRequest("GET", "/v1/recordings?query=a%20b&limit=3&after=1", code()),
                                    jsonRequest("GET", "/v1/tracks/T-0123", code())};
    std::mt19937 random(4711);
    for (int i = 0; i < 400; ++i) {
        std::string bytes = requests[random() % 3];
        const size_t changes = 1 + random() % 8;
        const size_t header = std::min<size_t>(bytes.size(), 400);
        for (size_t k = 0; k < changes; ++k) bytes[random() % header] = static_cast<char>(random());
        if (i % 3 == 0) bytes.resize(random() % bytes.size());
        RawClient client(service.port());
        client.send(bytes);
        if (i % 2 == 0) client.endSending();
    }
    EXPECT_EQ(service.ask(recogniseRequest(wavText(), code())).status, 200);
}

TEST(JsonInterface, WaitsForAWorkerAsPacketsDo) {
    TestService service({.workers = 1, .waiting = 1});
    std::latch mayAnswer(1);
    std::atomic<int> begun = 0;
    service.catalogue.beforeAnswer = [&] {
        ++begun;
        mayAnswer.wait();
    };
    const std::string request = jsonRequest("GET", "/v1/recordings", code());
    RawClient first(service.port());
    RawClient second(service.port());
    first.send(request);
    while (begun == 0) std::this_thread::yield();
    second.send(request);
    service.waitForMetric("tarn_requests_waiting", "1");
    const HttpAnswer refused = service.ask(request);
    EXPECT_EQ(refused.status, 503);
    EXPECT_TRUE(refused.has("Retry-After: 1"));
    EXPECT_TRUE(refused.has("Content-Type: application/problem+json"));
    mayAnswer.count_down();
    EXPECT_EQ(first.read().value_or(HttpAnswer{}).status, 200);
    EXPECT_EQ(second.read().value_or(HttpAnswer{}).status, 200);
}

TEST(JsonInterface, IsLoggedAndCountedWithoutSecrets) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    service.ask(recogniseRequest(wavText(), code()));
    service.ask(jsonRequest("GET", "/v1/tracks/T-secret", code()));
    service.ask(jsonRequest("GET", "/v1/recordings?query=words+of+mine"));
    service.waitForMetric("tarn_requests_total{kind=\"json_recognise\",outcome=\"matched\"}", "1");
    service.waitForMetric("tarn_requests_total{kind=\"json_browse\",outcome=\"not_found\"}", "1");
    service.waitForMetric("tarn_requests_total{kind=\"json_browse\",outcome=\"refused\"}", "1");
    EXPECT_EQ(service.metric("tarn_http_responses_total{code=\"401\"}"), "1");
    service.stop();
    const std::string log = service.log.str();
    for (const char* field : {"kind=json_recognise status=200 outcome=matched account=67305985",
                              "kind=json_browse status=404 outcome=not_found", "kind=json_browse status=401"}) {
        EXPECT_NE(log.find(field), std::string::npos) << field << " in " << log;
    }
    for (const std::string& secret : {kvxtest::accessCode(3, 3), std::string("T-secret"), std::string("mine")}) {
        EXPECT_EQ(log.find(secret), std::string::npos) << secret;
    }
}
