// SPDX-License-Identifier: Apache-2.0
// How the HTTP client reaches a server, and how long it waits for it.
#include "app/platform/linux/http_exchange.h"
#include "platform/linux/http_client.h"
#include "support/answers.h"
#include "support/loopback_server.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace kvxtest {

using namespace http_exchange;

namespace {

constexpr std::chrono::milliseconds kShort(300);

TEST(HttpClient, GivesUpAConnectionThatDeliversNothing) {
    const Script silent = answering({awaitClose()});
    const Script stalled = answering({send(kOk + "Content-Length: 10\r\n\r\nbody"), awaitClose()});
    const Script interim = answering({send("HTTP/1.1 100 Continue\r\n\r\n"), awaitClose()});
    const LoopbackServer server({silent, stalled, interim});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(show(sendRequest(requestTo(server.host()), kShort)), "NSURLErrorDomain -1001");
    }
}

TEST(HttpClient, WaitsAsLongAsSomethingComes) {
    // Together longer than the limit, each pause well below it.
    std::vector<Step> steps = {send(kOk + "Content-Length: 8\r\n\r\n")};
    for (int i = 0; i < 8; ++i) {
        steps.push_back(pauseMs(250));
        steps.push_back(send("x"));
    }
    const LoopbackServer server({answering(steps)});
    EXPECT_EQ(show(sendRequest(requestTo(server.host()), std::chrono::milliseconds(1500))), "200 'xxxxxxxx'");
}

TEST(HttpClient, TakesAnAnswerThatComesBeforeTheRequestIsRead) {
    const LoopbackServer server({{send(httpAnswer(413, "enough"))}});
    EXPECT_EQ(show(sendRequest(requestTo(server.host(), Bytes(2'000'000)))), "413 'enough'");
}

TEST(HttpClient, ASlowReaderIsNoFailure) {
    LoopbackServer server({{pauseMs(100), receiveRequest(), send(httpAnswer(200, "x"))}});
    EXPECT_EQ(show(sendRequest(requestTo(server.host(), Bytes(5'000'000, 7)))), "200 'x'");
    EXPECT_GT(server.requests().at(0).size(), 5'000'000U);
}

TEST(HttpClient, OpensAConnectionPerRequest) {
    LoopbackServer server({answering({send(httpAnswer(200, "one"))}), answering({send(httpAnswer(200, "two"))})});
    tarn::HttpClient client(kPatience);
    std::optional<tarn::HTTPURLResponse> response;
    tarn::ErrorSlot error;
    EXPECT_EQ(client.sendSynchronousRequest(requestTo(server.host()), response, error), bytesOf("one"));
    EXPECT_EQ(client.sendSynchronousRequest(requestTo(server.host()), response, error), bytesOf("two"));
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST(HttpClient, ReachesAnIPv6Host) {
    const LoopbackServer server({answering({send(httpAnswer(200, "six"))})}, LoopbackServer::Family::kIPv6);
    EXPECT_EQ(show(sendRequest(requestTo(server.host()))), "200 'six'");
}

TEST(HttpClient, ReachesANamedHostWithAPort) {
    if (!localhostResolves()) GTEST_SKIP() << kLocalhostIsMissing;
    const LoopbackServer server({answering({send(httpAnswer(200, "name"))})});
    EXPECT_EQ(show(sendRequest(requestTo("localhost:" + std::to_string(server.port())))), "200 'name'");
}

// A port that nothing listens on: bound, and so nobody else's, but closed to connections.
class ClosedPort {
  public:
    ClosedPort() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (bind(socket_, any, length) != 0 || getsockname(socket_, any, &length) != 0) {
            throw std::runtime_error("no port to leave closed");
        }
        port_ = ntohs(address.sin_port);
    }
    ~ClosedPort() { close(socket_); }
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;
    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }

  private:
    int socket_;
    int port_ = 0;
};

TEST(HttpClient, CannotConnectWhereNobodyListens) {
    const ClosedPort port;
    EXPECT_EQ(show(sendRequest(requestTo(port.host()))), "NSURLErrorDomain -1004");
}

TEST(HttpClient, CannotFindANameThatDoesNotExist) {
    EXPECT_EQ(show(sendRequest(requestTo("no-such-host.invalid"))), "NSURLErrorDomain -1003");
}

TEST(HttpClient, HasNowhereToSendWithoutAUrl) {
    EXPECT_EQ(show(sendRequest(requestTo("no host"))), "NSURLErrorDomain -1000");
}

} // namespace
} // namespace kvxtest
