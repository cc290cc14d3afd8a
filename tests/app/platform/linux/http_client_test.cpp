// SPDX-License-Identifier: Apache-2.0
// The HTTP client against a scripted server: what it sends, and what it makes of every kind of answer.
#include "app/platform/linux/http_exchange.h"
#include "platform/linux/http_client.h"
#include "support/answers.h"
#include "support/loopback_server.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace kvxtest {

using namespace http_exchange;

namespace {

std::vector<Step> inSingleBytes(std::string_view text) {
    std::vector<Step> steps;
    for (const char c : text) steps.push_back(send({&c, 1}));
    return steps;
}

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

} // namespace
} // namespace kvxtest
