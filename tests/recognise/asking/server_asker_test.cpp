// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/server_asker.h"

#include "model/access_code.h"
#include "protocol/match_answer.h"
#include "protocol/packet_reader.h"
#include "protocol/payload_reader.h"
#include "protocol/signature.h"
#include "support/loopback_server.h"
#include "support/melody.h"
#include "support/server/fake_catalogue.h"

#include <gmock/gmock.h>

namespace {

using namespace tarn::recognise;
using kvxtest::LoopbackServer;
using kvxtest::receiveRequest;
using kvxtest::Script;
using testing::ElementsAre;
using testing::HasSubstr;
using Milliseconds = std::chrono::milliseconds;

const std::string kCode = tarn::server::makeAccessCode(7, 3, 3, std::string(32, 'k'));

std::string answerText(const std::string& head, const std::string& body) {
    return head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

Script matched() {
    const std::vector<tarn::server::Match> matches = {kvxtest::match("one", 97)};
    return {receiveRequest(),
            kvxtest::send(answerText("HTTP/1.1 200 OK\r\nTarn-Match: offset-ms=61000; duration-ms=90000\r\n"
                                     "Connection: close\r\n",
                                     tarn::server::matchAnswer(matches, tarn::server::Permissions())))};
}

Script refusedWith(const std::string& statusLine, const std::string& body = "") {
    return {receiveRequest(), kvxtest::send(answerText("HTTP/1.1 " + statusLine + "\r\nConnection: close\r\n", body))};
}

class AskingAServer : public testing::Test {
  protected:
    // Asks once; keeps the pauses between tries.
    Answer ask(const LoopbackServer& server, unsigned retries = 4) {
        ServerOptions options;
        options.url = "http://" + server.host() + "/sdkrequest";
        options.accessCode = kCode;
        options.retries = retries;
        options.http.timeout = std::chrono::seconds(20);
        ServerAsker asker(options, [&](Milliseconds pause) { pauses.push_back(pause); });
        return asker.ask(kvxtest::melody(1, 10));
    }

    std::string failureOf(const LoopbackServer& server, unsigned retries = 4) {
        try {
            ask(server, retries);
        } catch (const NoAnswer& error) {
            return error.what();
        }
        return "";
    }

    std::vector<Milliseconds> pauses;
};

TEST_F(AskingAServer, GivesItsAnswer) {
    const LoopbackServer server({matched()});
    const Answer answer = ask(server);
    ASSERT_EQ(answer.matches.size(), 1U);
    EXPECT_EQ(answer.matches[0].title, "title one");
    EXPECT_EQ(answer.matches[0].offsetMs, 61000U);
    EXPECT_EQ(answer.matches[0].durationMs, 90000U);
    EXPECT_THAT(pauses, testing::IsEmpty());
}

TEST_F(AskingAServer, SendsASignedPacketOfTheSamples) {
    LoopbackServer server({matched()});
    ask(server);
    const kvxtest::Bytes sent = server.requests().at(0);
    const std::string text(sent.begin(), sent.end());
    const size_t form = text.find("\r\n\r\n") + 4;
    const size_t begin = text.find("\r\n\r\n", form) + 4; // after the part's head
    const size_t end = text.rfind("\r\n--", text.size() - 5);
    const std::string bytes = text.substr(begin, end - begin);
    const tarn::server::Packet packet =
        tarn::server::readPacket({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    EXPECT_EQ(packet.accountId, 7U);
    EXPECT_TRUE(isSignedWith(packet, kCode));
    const auto payload = tarn::server::readPayload(packet.payload);
    const auto* request = std::get_if<tarn::server::FingerprintRequest>(&payload);
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->query.durationMs, 10'000U);
    for (const std::string& letters : request->query.codes) EXPECT_GT(letters.size(), 20U);
}

TEST_F(AskingAServer, AsksAgainAfterWhatMayPass) {
    const LoopbackServer server({refusedWith("503 Busy"),
                                 {receiveRequest()},
                                 {receiveRequest(), kvxtest::reset()},
                                 refusedWith("502 Bad Gateway"),
                                 matched()});
    EXPECT_EQ(ask(server).matches.size(), 1U);
    EXPECT_THAT(pauses, ElementsAre(Milliseconds(500), Milliseconds(1000), Milliseconds(2000), Milliseconds(4000)));
}

TEST_F(AskingAServer, WaitsAsLongAsTheServerWants) {
    const auto busy = [](const std::string& after) {
        return Script{
            receiveRequest(),
            kvxtest::send(answerText("HTTP/1.1 503 Busy\r\nConnection: close\r\nRetry-After: " + after + "\r\n", ""))};
    };
    const LoopbackServer server({busy("7"), busy("0"), busy("86400"), matched()});
    EXPECT_EQ(ask(server).matches.size(), 1U);
    EXPECT_THAT(pauses, ElementsAre(Milliseconds(7000), Milliseconds(1000), Milliseconds(60'000)));
}

TEST_F(AskingAServer, GivesUpAfterItsRetries) {
    LoopbackServer server({refusedWith("503 Busy", "too many requests wait\n"), refusedWith("503 Busy", "still\n")});
    EXPECT_EQ(failureOf(server, 1), "the server answers with status 503: still");
    EXPECT_EQ(server.requests().size(), 2U);
    LoopbackServer silent({{receiveRequest()}, {receiveRequest()}});
    EXPECT_THAT(failureOf(silent, 1), HasSubstr("the server does not answer: "));
}

TEST_F(AskingAServer, TakesARefusalAtItsWord) {
    LoopbackServer server({refusedWith("403 Forbidden", "unknown account\n"), matched()});
    EXPECT_THROW(ask(server), Refused);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(AskingAServer, TakesNothingElseForAnAnswer) {
    for (const char* status : {"400 Bad Request", "404 Not Found", "302 Found", "413 Too Large"}) {
        LoopbackServer server({refusedWith(status, "words\n"), matched()});
        EXPECT_THAT(failureOf(server), HasSubstr(std::string(status, 3) + ": words"));
    }
    LoopbackServer other({refusedWith("200 OK", "<html>a page</html>"), matched()});
    EXPECT_THAT(failureOf(other), HasSubstr("damaged"));
}

TEST_F(AskingAServer, AsksNothingAboutTooLittleSound) {
    const LoopbackServer server({matched()});
    ServerOptions options;
    options.url = "http://" + server.host() + "/sdkrequest";
    options.accessCode = kCode;
    EXPECT_TRUE(ServerAsker(options).ask(kvxtest::melody(1, 5)).matches.empty());
    EXPECT_EQ(server.answered(), 0U);
}

TEST(ServerAsker, RefusesACodeThatNamesNoMethod) {
    ServerOptions options;
    options.url = "http://127.0.0.1:1/sdkrequest";
    options.accessCode = tarn::server::makeAccessCode(7, 9, 3, std::string(32, 'k'));
    EXPECT_THROW(ServerAsker{options}, std::invalid_argument);
}

} // namespace
