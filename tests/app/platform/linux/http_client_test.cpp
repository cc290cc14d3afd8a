// SPDX-License-Identifier: Apache-2.0
// The HTTP client against a scripted server: what it sends, and what it makes of every kind of answer.
#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "platform/linux/http_client.h"
#include "support/answers.h"
#include "support/loopback_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace kvxtest {
namespace {

constexpr std::chrono::milliseconds kPatience(20'000); // far more than any step takes
constexpr std::chrono::milliseconds kShort(300);

struct Outcome {
    std::optional<Bytes> body;
    std::optional<int> status;
    std::optional<tarn::Error> error;
};

tarn::NSMutableURLRequest_MultipartFormRequest requestTo(const std::string& host, const Bytes& data = bytesOf("D")) {
    tarn::NSMutableURLRequest_MultipartFormRequest request(tarn::Url::parse("http://" + host + "/sdkrequest"));
    request.addFormData(data, "B", "data");
    return request;
}

Outcome sendRequest(const tarn::MutableURLRequest& request, std::chrono::milliseconds limit = kPatience) {
    tarn::HttpClient client(limit);
    std::optional<tarn::HTTPURLResponse> response;
    tarn::ErrorSlot error;
    Outcome outcome;
    outcome.body = client.sendSynchronousRequest(request, response, error);
    if (response) outcome.status = response->statusCode;
    outcome.error = error;
    return outcome;
}

std::string show(const Outcome& outcome) {
    if (outcome.error) {
        return outcome.error->domain + " " + std::to_string(outcome.error->code) +
               (outcome.body || outcome.status ? " and more" : "");
    }
    const std::string body = outcome.body ? "'" + textOf(*outcome.body) + "'" : "no body";
    return (outcome.status ? std::to_string(*outcome.status) : "no response") + " " + body;
}

Script answering(const std::vector<Step>& steps) {
    Script script = {receiveRequest()};
    script.insert(script.end(), steps.begin(), steps.end());
    return script;
}

std::vector<Step> inSingleBytes(std::string_view text) {
    std::vector<Step> steps;
    for (const char c : text) steps.push_back(send({&c, 1}));
    return steps;
}

const std::string kOk = "HTTP/1.1 200 OK\r\n";

TEST(HttpClient, SendsExactlyThis) {
    LoopbackServer server({answering({send(httpAnswer(200, "x"))})});
    const Bytes data = fromHex("00 ff 0d 0a 42");
    EXPECT_EQ(show(sendRequest(requestTo(server.host(), data))), "200 'x'");
    const std::string body = "--B\r\nContent-Disposition: form-data; name=\"data\"\r\n"
                             "Content-Type: application/octet-stream\r\n\r\n" +
                             textOf(data) + "\r\n--B--\r\n";
    const std::string expected =
        "POST /sdkrequest HTTP/1.1\r\nHost: " + server.host() +
        "\r\nContent-Type: multipart/form-data; boundary=B\r\nContent-Length: " + std::to_string(body.size()) +
        "\r\nConnection: close\r\n\r\n" + body;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(hexDump(server.requests()[0]), hexDump(bytesOf(expected)));
}

TEST(HttpClient, TakesEveryKindOfAnswer) {
    const std::string records = textOf(notFound());
    struct Case {
        const char* name;
        std::vector<Step> steps;
        std::string outcome;
    };
    const Case cases[] = {
        {"a length", {send(httpAnswer(200, "body"))}, "200 'body'"},
        {"a length, and the connection left open", {send(httpAnswer(200, "body")), awaitClose()}, "200 'body'"},
        {"a length, and more after it", {send(httpAnswer(200, "body") + "more")}, "200 'body'"},
        {"the end of the connection", {send(kOk + "\r\nbody")}, "200 'body'"},
        {"HTTP/1.0", {send("HTTP/1.0 200 OK\r\n\r\nbody")}, "200 'body'"},
        {"one chunk", {send(std::string(kChunkedHead) + inChunks("body", 9))}, "200 'body'"},
        {"chunks of one byte", {send(std::string(kChunkedHead) + inChunks("body", 1))}, "200 'body'"},
        {"chunks with extensions and trailers",
         {send(std::string(kChunkedHead) + "4;a=b\r\nbody\r\n0\r\nTrailer: x\r\n\r\n"), awaitClose()},
         "200 'body'"},
        {"chunk sizes in upper-case digits",
         {send(std::string(kChunkedHead) + "A\r\n0123456789\r\n0\r\n\r\n")},
         "200 '0123456789'"},
        {"a length, in single bytes", inSingleBytes(httpAnswer(200, "body")), "200 'body'"},
        {"chunks, in single bytes", inSingleBytes(std::string(kChunkedHead) + inChunks("body", 3)), "200 'body'"},
        {"pauses",
         {send("HTT"), pauseMs(20), send("P/1.1 200 OK\r\nContent-Le"), pauseMs(20), send("ngth: 4\r\n\r\nbo"),
          pauseMs(20), send("dy")},
         "200 'body'"},
        {"an interim answer first", {send("HTTP/1.1 100 Continue\r\n\r\n" + httpAnswer(200, "body"))}, "200 'body'"},
        {"interim answers in pieces",
         inSingleBytes("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" +
                       httpAnswer(200, "body")),
         "200 'body'"},
        {"another protocol", {send("HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n")}, "101 no body"},
        {"404 with a body", {send(httpAnswer(404, "none"))}, "404 'none'"},
        {"500", {send(httpAnswer(500, ""))}, "500 no body"},
        {"a redirect, not followed",
         {send("HTTP/1.1 302 Found\r\nLocation: /other\r\nContent-Length: 0\r\n\r\n")},
         "302 no body"},
        {"a status without words", {send("HTTP/1.1 200 \r\nContent-Length: 1\r\n\r\nx")}, "200 'x'"},
        {"length 0", {send(httpAnswer(200, ""))}, "200 no body"},
        {"closed without a body", {send(kOk + "\r\n")}, "200 no body"},
        {"204", {send("HTTP/1.1 204 No Content\r\n\r\n"), awaitClose()}, "204 no body"},
        {"304", {send("HTTP/1.1 304 Not Modified\r\nContent-Length: 9\r\n\r\n"), awaitClose()}, "304 no body"},
        {"chunked and over at once", {send(std::string(kChunkedHead) + "0\r\n\r\n")}, "200 ''"},
        {"a length with bytes of all values", {send(httpAnswer(200, records))}, "200 '" + records + "'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const LoopbackServer server({answering(c.steps)});
        EXPECT_EQ(show(sendRequest(requestTo(server.host()))), c.outcome);
    }
}

TEST(HttpClient, FailsWhenTheExchangeFails) {
    struct Case {
        const char* name;
        std::vector<Step> steps;
        const char* outcome;
    };
    const std::string chunked(kChunkedHead);
    const Case cases[] = {
        {"closed without an answer", {}, "NSURLErrorDomain -1005"},
        {"reset", {reset()}, "NSURLErrorDomain -1005"},
        {"closed inside the head", {send("HTTP/1.1 200 OK\r\nContent-")}, "NSURLErrorDomain -1005"},
        {"closed after an interim answer", {send("HTTP/1.1 100 Continue\r\n\r\n")}, "NSURLErrorDomain -1005"},
        {"body shorter than its length", {send(kOk + "Content-Length: 10\r\n\r\nbody")}, "NSURLErrorDomain -1005"},
        {"no byte of the body", {send(kOk + "Content-Length: 10\r\n\r\n")}, "NSURLErrorDomain -1005"},
        {"closed inside a chunk", {send(chunked + "a\r\nbody")}, "NSURLErrorDomain -1005"},
        {"closed without a last chunk", {send(chunked + "4\r\nbody\r\n")}, "NSURLErrorDomain -1005"},
        {"closed inside the trailers", {send(chunked + "4\r\nbody\r\n0\r\nTrail")}, "NSURLErrorDomain -1005"},
        {"reset inside the body",
         {send(kOk + "Content-Length: 10\r\n\r\nbody"), pauseMs(50), reset()},
         "NSURLErrorDomain -1005"},
        {"reset in a body without length", {send(kOk + "\r\nbody"), pauseMs(50), reset()}, "NSURLErrorDomain -1005"},
        {"no chunk size", {send(chunked + "body\r\n\r\n"), awaitClose()}, "NSURLErrorDomain -1017"},
        {"a chunk longer than its size",
         {send(chunked + "2\r\nbody\r\n0\r\n\r\n"), awaitClose()},
         "NSURLErrorDomain -1017"},
        {"a chunk size beyond 64 bits",
         {send(chunked + "11111111111111111\r\nx"), awaitClose()},
         "NSURLErrorDomain -1017"},
        {"a length over the bound",
         {send(kOk + "Content-Length: 67108865\r\n\r\n"), awaitClose()},
         "NSURLErrorDomain -1017"},
        {"a chunk over the bound", {send(chunked + "4000001\r\n"), awaitClose()}, "NSURLErrorDomain -1017"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const LoopbackServer server({answering(c.steps)});
        EXPECT_EQ(show(sendRequest(requestTo(server.host()))), c.outcome);
    }
}

TEST(HttpClient, GivesUpAnAnswerThatNeverEnds) {
    const std::string much(500'000, 'x');
    std::string interim;
    for (int i = 0; i < 1000; ++i) interim += "HTTP/1.1 100 Continue\r\n\r\n";
    struct Case {
        const char* name;
        std::string answer;
    };
    const Case cases[] = {
        {"interim answers", interim},
        {"a chunk's size line", std::string(kChunkedHead) + "1;" + much},
        {"trailers", std::string(kChunkedHead) + "0\r\nTrailer: " + much},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const LoopbackServer server({answering({send(c.answer), awaitClose()})});
        EXPECT_EQ(show(sendRequest(requestTo(server.host()))), "NSURLErrorDomain -1017");
    }
}

TEST(HttpClient, GivesNoResponseForWhatIsNoHttpAnswer) {
    struct Case {
        const char* name;
        std::string bytes;
    };
    const Case cases[] = {
        {"another protocol", "220 mail.example ready\r\n"},
        {"one wrong byte", "X"},
        {"records without HTTP", textOf(notFound())},
        {"another version", "HTTP/2 200 OK\r\n\r\n"},
        {"an empty line first", "\r\nHTTP/1.1 200 OK\r\n\r\n"},
        {"no status", "HTTP/1.1 OK\r\n\r\n"},
        {"a status of two digits", "HTTP/1.1 20 OK\r\n\r\n"},
        {"a field without a colon", kOk + "Field\r\n\r\n"},
        {"a length that is no number", kOk + "Content-Length: four\r\n\r\nbody"},
        {"a negative length", kOk + "Content-Length: -4\r\n\r\nbody"},
        {"two lengths", kOk + "Content-Length: 4\r\nContent-Length: 5\r\n\r\nbody"},
        {"a head without end", kOk + "Field: " + std::string(70'000, 'x')},
        {"a head over the bound", kOk + "Field: " + std::string(65'536, 'x') + "\r\n\r\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // The connection stays open: the bytes alone are enough to tell.
        const LoopbackServer server({answering({send(c.bytes), awaitClose()})});
        EXPECT_EQ(show(sendRequest(requestTo(server.host()))), "no response no body");
    }
}

TEST(HttpClient, TakesAHeadThatFillsTheBound) {
    const std::string start = kOk + "Content-Length: 4\r\nField: ";
    const std::string head = start + std::string(65'000 - start.size(), 'x') + "\r\n\r\n";
    const LoopbackServer server({answering({send(head + "body")})});
    EXPECT_EQ(show(sendRequest(requestTo(server.host()))), "200 'body'");
}

TEST(HttpClient, TakesALargeBody) {
    const std::string body(3'000'000, 'b');
    const LoopbackServer server({answering({send(httpAnswer(200, body))}),
                                 answering({send(std::string(kChunkedHead) + inChunks(body, 70'000))})});
    for (int i = 0; i < 2; ++i) {
        const Outcome outcome = sendRequest(requestTo(server.host()));
        EXPECT_EQ(outcome.status, 200);
        EXPECT_TRUE(outcome.body == bytesOf(body));
    }
}

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
