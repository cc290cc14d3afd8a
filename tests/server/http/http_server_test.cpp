// SPDX-License-Identifier: Apache-2.0
#include "http/http_server.h"

#include "server/http/test_service.h"
#include "support/audio.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <latch>

using namespace kvxtest;
using namespace tarn::server;

namespace {

// A packet that the library made from audio, as an application does.
Bytes packetFromAudio(KVXHandle* client) {
    const std::vector<int16_t> samples = kvxtest::audioSamples(kvxtest::Audio::kMusic, 1, 22050, 0, 12000);
    EXPECT_EQ(KVXNewFingerprint3(client, 1, 22050, 12000), 0);
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; at + 512 <= samples.size() && status == KVX_MORE_AUDIO_WANTED; at += 512) {
        status = KVXGenerateFingerprint3_Real(client, samples.data() + at, 512);
    }
    EXPECT_EQ(status, 0);
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(KVXGenerateFingerprintRequest3(client, nullptr, 0, nullptr, 10, kEnglish, &buffer, &length), 0);
    return taken(buffer, length);
}

} // namespace

TEST(HttpServer, AnswersAFingerprintOfAudio) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    const auto client = kvxtest::makeHandle();
    const HttpAnswer answer = service.ask(postOf(packetFromAudio(client.get())));
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.has("Content-Type: application/octet-stream"));
    EXPECT_EQ(typesOf(recordsOf(client.get(), answer.body)), "TA");
    const Codes codes = service.catalogue.lastQuery().codes;
    for (size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(codes[2 * k], client->featureMaps[k]->coder1.text);
        EXPECT_EQ(codes[2 * k + 1], client->featureMaps[k]->coder2.text);
        EXPECT_NE(codes[2 * k], "");
    }
}

TEST(HttpServer, AnswersManyRequestsOnOneConnection) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    service.catalogue.byId = {{"T-a", {match("a", 100)}}};
    const auto client = kvxtest::makeHandle();
    RawClient connection(service.port());
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(connection.send(postOf(fingerprintPacket(client.get()))));
        EXPECT_EQ(typesOf(recordsOf(client.get(), connection.read().value().body)), "TA");
        ASSERT_TRUE(connection.send(postOf(itemsPacket(client.get(), {"T-a"}))));
        EXPECT_EQ(typesOf(recordsOf(client.get(), connection.read().value().body)), "A");
    }
}

// The library's own HTTP framing names the host in its request line, and takes everything on the connection for the
// answer, header included.
TEST(HttpServer, AnswersAClientThatFramesHttpItself) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    const auto client = kvxtest::makeHandle({.requestFraming = 'H', .responseFraming = 'H', .host = service.address()});
    RawClient connection(service.port());
    ASSERT_TRUE(connection.send(textOf(fingerprintPacket(client.get()))));
    const std::string everything = connection.readToEnd();
    EXPECT_EQ(everything.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_EQ(typesOf(recordsOf(client.get(), everything)), "TA");
}

TEST(HttpServer, TakesTheFormInAnyPieces) {
    TestService service;
    const auto client = kvxtest::makeHandle();
    const std::string request = postOf(identityPacket(client.get()));
    for (const size_t piece : {1U, 7U, 100U}) {
        SCOPED_TRACE(piece);
        RawClient connection(service.port());
        for (size_t at = 0; at < request.size(); at += piece) ASSERT_TRUE(connection.send(request.substr(at, piece)));
        EXPECT_EQ(connection.read().value().status, 200);
    }
    // And without knowing its length beforehand.
    const std::string form = formOf(part("data", textOf(identityPacket(client.get()))));
    char length[16];
    std::snprintf(length, sizeof length, "%zx", form.size());
    EXPECT_EQ(service
                  .ask("POST /sdkrequest HTTP/1.1\r\nHost: h\r\nContent-Type: multipart/form-data; boundary=" +
                       kBoundary + "\r\nTransfer-Encoding: chunked\r\n\r\n" + length + "\r\n" + form + "\r\n0\r\n\r\n")
                  .status,
              200);
}

TEST(HttpServer, TellsWhatIsWrongWithARequest) {
    TestService service({.packetBytes = 1000});
    const auto client = kvxtest::makeHandle();
    const std::string packet = textOf(identityPacket(client.get()));
    std::string badSignature = packet;
    badSignature.back() = static_cast<char>(badSignature.back() ^ 1);
    const std::string data = part("data", packet);
    const struct {
        const char* name;
        std::string request;
        int status;
        std::string body;
    } cases[] = {
        {"good", postOf(formOf(data)), 200, ""},
        {"another part beside the packet", postOf(formOf(part("other", std::string(5000, 'x')) + data)), 200, ""},
        {"no form", postOf(packet, "", "application/octet-stream"), 400,
         "bad packet: the body is not one whole multipart form with one packet\n"},
        {"a form without boundary", postOf(formOf(data), "", "multipart/form-data"), 400,
         "bad packet: the body is not one whole multipart form with one packet\n"},
        {"a form that does not end", postOf(data.substr(0, data.size() - 10)), 400,
         "bad packet: the body is not one whole multipart form with one packet\n"},
        {"an empty body", postOf(std::string()), 400, "bad packet: the form has no part named data\n"},
        {"no packet", postOf(formOf(part("other", packet))), 400, "bad packet: the form has no part named data\n"},
        {"two packets", postOf(formOf(data + data)), 400,
         "bad packet: the body is not one whole multipart form with one packet\n"},
        {"an empty packet", postOf(formOf(part("data", ""))), 400, "bad packet: it ends within the header\n"},
        {"rubbish", postOf(formOf(part("data", std::string(200, 'x')))), 400,
         "bad packet: it does not begin as a request packet does\n"},
        {"a bad signature", postOf(formOf(part("data", badSignature))), 403, "unknown account or bad signature\n"},
        {"1000 bytes", postOf(formOf(part("data", std::string(1000, 'x')))), 400,
         "bad packet: it does not begin as a request packet does\n"},
        {"1001 bytes", postOf(formOf(part("data", std::string(1001, 'x')))), 413,
         "the packet is larger than 1000 bytes\n"},
        {"a megabyte", postOf(formOf(part("data", std::string(1'000'000, 'x')))), 413,
         "the packet is larger than 1000 bytes\n"},
        {"another path", getOf("/other"), 404, "not found\n"},
        {"another method", getOf("/sdkrequest"), 405, "405: use POST\n"},
        {"posting to the health check", "POST /health HTTP/1.1\r\nHost: h\r\nContent-Length: 0\r\n\r\n", 405,
         "405: use GET or HEAD\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const HttpAnswer answer = service.ask(c.request);
        EXPECT_EQ(answer.status, c.status);
        EXPECT_EQ(answer.status == 200 ? "" : answer.body, c.body);
    }
    EXPECT_TRUE(service.ask(getOf("/sdkrequest")).has("Allow: POST"));
}

TEST(HttpServer, SaysTryAgainWhenTooManyWait) {
    TestService service({.workers = 1, .waiting = 2});
    std::latch mayAnswer(1);
    std::atomic<int> begun = 0;
    service.catalogue.beforeAnswer = [&] {
        ++begun;
        mayAnswer.wait();
    };
    const auto client = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(client.get()));

    std::vector<RawClient> patient;
    const auto send = [&] {
        patient.emplace_back(service.port());
        ASSERT_TRUE(patient.back().send(request));
    };
    // One with the worker, then two that wait.
    send();
    while (begun == 0) std::this_thread::yield();
    send();
    service.waitForMetric("tarn_requests_waiting", "1");
    send();
    service.waitForMetric("tarn_requests_waiting", "2");
    const HttpAnswer answer = service.ask(request);
    EXPECT_EQ(answer.status, 503);
    EXPECT_TRUE(answer.has("Retry-After: 1"));
    EXPECT_EQ(answer.body, "too many requests wait; try again later\n");

    mayAnswer.count_down();
    for (RawClient& connection : patient) EXPECT_EQ(connection.read().value().status, 200);
    EXPECT_EQ(service.ask(request).status, 200);
}

TEST(HttpServer, DoesNotAskTheCatalogueForARequestThatWaitedTooLong) {
    TestService service({.waitingTime = std::chrono::milliseconds(-1)});
    const auto client = kvxtest::makeHandle();
    const HttpAnswer answer = service.ask(postOf(fingerprintPacket(client.get())));
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.body, "too many requests wait; try again later\n");
    EXPECT_EQ(service.catalogue.asked, 0U);
}

TEST(HttpServer, SaysTryAgainWhileTheCatalogueIsGone) {
    TestService service;
    std::atomic<bool> gone = true;
    service.catalogue.beforeAnswer = [&] {
        if (gone) throw Unavailable("shard gone");
    };
    const auto client = kvxtest::makeHandle();
    const std::string request = postOf(fingerprintPacket(client.get()));
    const HttpAnswer answer = service.ask(request);
    EXPECT_EQ(answer.status, 503);
    EXPECT_TRUE(answer.has("Retry-After: 1"));
    gone = false;
    EXPECT_EQ(service.ask(request).status, 200);
}

TEST(HttpServer, DoesNotBlameTheCatalogueForALackOfMemory) {
    TestService service;
    service.catalogue.beforeAnswer = [] { throw std::bad_alloc(); };
    const auto client = kvxtest::makeHandle();
    const HttpAnswer answer = service.ask(postOf(fingerprintPacket(client.get())));
    EXPECT_EQ(answer.status, 503);
    EXPECT_TRUE(answer.has("Retry-After: 1"));
    service.stop();
    EXPECT_NE(service.log.str().find("outcome=overload"), std::string::npos) << service.log.str();
    EXPECT_EQ(service.log.str().find("error"), std::string::npos) << service.log.str();
}

TEST(HttpServer, KeepsALogLineInOneLine) {
    TestService service;
    service.catalogue.beforeAnswer = [] { throw Unavailable("two\nlines \"quoted\""); };
    const auto client = kvxtest::makeHandle();
    EXPECT_EQ(service.ask(postOf(fingerprintPacket(client.get()))).status, 503);
    service.stop();
    EXPECT_NE(service.log.str().find("reason=\"two'lines 'quoted'\"\n"), std::string::npos) << service.log.str();
}

TEST(HttpServer, KnowsItsCatalogueBeforeAnyoneCanConnect) {
    TestService service({}, [](FakeCatalogue& catalogue) {
        catalogue.beforeCount = [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); };
    });
    EXPECT_EQ(service.ask(getOf("/health")).status, 200);
    EXPECT_EQ(service.metric("tarn_catalogue_recordings"), "42");
}

TEST(HttpServer, IsHealthyAndCounts) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    const auto client = kvxtest::makeHandle();
    EXPECT_EQ(service.ask(getOf("/health")).body, "ok\n");
    EXPECT_EQ(service.ask(postOf(fingerprintPacket(client.get()))).status, 200);
    service.ask(postOf(formOf(part("data", "x"))));
    service.waitForMetric("tarn_requests_total{kind=\"fingerprint\",outcome=\"matched\"}", "1");
    service.waitForMetric("tarn_requests_total{kind=\"unknown\",outcome=\"bad_packet\"}", "1");
    EXPECT_EQ(service.metric("tarn_catalogue_recordings"), "42");
    EXPECT_EQ(service.metric("tarn_catalogue_up"), "1");
    EXPECT_EQ(service.metric("tarn_accounts"), "1");
    EXPECT_EQ(service.metric("tarn_candidates_bucket{le=\"5\"}"), "1");
    EXPECT_EQ(service.metric("tarn_request_seconds_count{stage=\"recognise\"}"), "1");
    EXPECT_EQ(service.metric("tarn_request_seconds_count{stage=\"total\"}"), "2");
    EXPECT_EQ(service.metric("tarn_http_responses_total{code=\"400\"}"), "1");
}

TEST(HttpServer, LogsALineForARequestWithoutSecrets) {
    TestService service;
    service.catalogue.matches = {match("a", 93)};
    const HandleOptions options{.userId = "a user identity"};
    const auto client = kvxtest::makeHandle(options);
    EXPECT_EQ(service.ask(postOf(fingerprintPacket(client.get()))).status, 200);
    { RawClient(service.port()).send("POST /sdkrequest HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\nabc"); }
    service.waitForMetric("tarn_requests_dropped_total", "1");
    service.stop();
    const std::string log = service.log.str();
    size_t lines = 0;
    for (size_t at = log.find(" request peer="); at != std::string::npos; at = log.find(" request peer=", at + 1))
        ++lines;
    EXPECT_EQ(lines, 2U) << log;
    for (const char* field :
         {"peer=127.0.0.1", "kind=fingerprint", "status=200", "outcome=matched", "account=67305985", "language=en",
          "client=S", "option=10", "answers=1", "confidence=93", "recording=12", "placeMs=61000", "outcome=dropped"}) {
        EXPECT_NE(log.find(field), std::string::npos) << field << " in " << log;
    }
    for (const std::string& secret : {options.deviceId, options.userId, kvxtest::accessCode(3, 3), kCodes[0]}) {
        EXPECT_EQ(log.find(secret), std::string::npos) << secret;
    }
}
