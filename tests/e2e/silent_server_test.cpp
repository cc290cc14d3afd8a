// SPDX-License-Identifier: Apache-2.0
// A server that falls silent at any byte of an answer: the run gives it up, says so, and the report is whole or absent.
#include "e2e/faulty_exchange.h"
#include "e2e/tool.h"
#include "platform/linux/http_client.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/fault_proxy.h"

#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>

namespace kvxtest {

using namespace faulty_exchange;

namespace {

const std::string kTimedOut = "-1001 - The request timed out.";

// The server says nothing more after that many bytes of the exchange's answer, and keeps the connection open.
Outcome runAtSilentServer(Exchange exchange, size_t position, std::chrono::milliseconds idleLimit) {
    const std::string answer = answerOf(exchange, Framing::kLength);
    std::vector<Script> scripts;
    if (exchange == Exchange::kAlbum) scripts.push_back(answering(answerOf(Exchange::kFingerprint, Framing::kLength)));
    scripts.push_back({receiveRequest(), send(answer.substr(0, position)), awaitClose()});
    LoopbackServer server(scripts);
    Outcome outcome = runInProcess(server.host(), idleLimit);
    outcome.connections = server.requests().size();
    return outcome;
}

TEST(NetworkFault, AServerThatFallsSilentIsGivenUp) {
    // The other exchange must not run into the limit on a busy machine.
    const std::map<Exchange, std::chrono::milliseconds> limits = {
        {Exchange::kFingerprint, std::chrono::milliseconds(100)}, {Exchange::kAlbum, std::chrono::milliseconds(2000)}};
    for (const auto& [exchange, limit] : limits) {
        for (const size_t position : {size_t{0}, size_t{20}, size_t{100}}) {
            EXPECT_EQ(runAtSilentServer(exchange, position, limit), failed(exchange, kTimedOut))
                << "after byte " << position;
        }
    }
}

TEST(NetworkFault, TheToolGivesUpASilentServerWithinItsOwnLimit) {
    if (std::getenv("TARN_TEST_IDLE_LIMIT") == nullptr) {
        GTEST_SKIP() << "set TARN_TEST_IDLE_LIMIT to wait as long as the tool does: "
                     << tarn::HttpClient::kIdleLimit.count() / 1000 << " s";
    }
    LoopbackServer server({{receiveRequest(), pauseMs(600'000)}});
    Outcome outcome = runOfTool(server.host());
    outcome.connections = server.requests().size();
    EXPECT_EQ(outcome, failed(Exchange::kFingerprint, kTimedOut));
}

} // namespace
} // namespace kvxtest
