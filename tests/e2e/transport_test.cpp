// SPDX-License-Identifier: Apache-2.0
// Every way in which an answer can arrive, or not, on a real connection. Whatever happens, a report is whole or absent.
#include "e2e/tool.h"
#include "support/answers.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using Texts = std::vector<std::string>;

const std::string kBody = textOf(record('T', trackBlob({}, "Title", {"Artist"})));
const std::string kReport = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n"
                            "<name>Artist</name>\n<title>Title</title>\n</match>\n";
const std::string kOk = "HTTP/1.1 200 OK\r\n";

std::vector<Step> inSingleBytes(std::string_view text) {
    std::vector<Step> steps = {receiveRequest()};
    for (const char c : text) steps.push_back(send({&c, 1}));
    return steps;
}

TEST(Transport, BringsTheSameReportByEveryWay) {
    struct Case {
        const char* name;
        Script script;
    };
    const std::string half = kBody.substr(0, kBody.size() / 2);
    const std::string rest = kBody.substr(half.size());
    const Case cases[] = {
        {"a length", answering(httpAnswer(200, kBody))},
        {"a length, the connection left open", {receiveRequest(), send(httpAnswer(200, kBody)), awaitClose()}},
        {"the end of the connection", answering(kOk + "\r\n" + kBody)},
        {"HTTP/1.0", answering("HTTP/1.0 200 OK\r\n\r\n" + kBody)},
        {"one chunk", answering(std::string(kChunkedHead) + inChunks(kBody, 4096))},
        {"chunks of one byte", answering(std::string(kChunkedHead) + inChunks(kBody, 1))},
        {"chunks of one byte, sent byte by byte", inSingleBytes(std::string(kChunkedHead) + inChunks(kBody, 1))},
        {"an interim answer first", answering("HTTP/1.1 100 Continue\r\n\r\n" + httpAnswer(200, kBody))},
        {"slowly",
         {receiveRequest(), pauseMs(50), send(kOk), pauseMs(50),
          send("Content-Length: " + std::to_string(kBody.size()) + "\r\n\r\n" + half), pauseMs(50), send(rest)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Recognition run = recognise({c.script});
        EXPECT_EQ(run.result.status, 0);
        EXPECT_EQ(run.result.out, kReport);
    }
}

TEST(Transport, EndsWith252WhenTheExchangeFails) {
    const std::string lost = "-1005 - The network connection was lost.";
    const std::string unparsed = "-1017 - The server's answer could not be parsed.";
    const std::string announced = kOk + "Content-Length: " + std::to_string(kBody.size() + 1) + "\r\n\r\n" + kBody;
    struct Case {
        const char* name;
        Script script;
        std::string text;
    };
    const Case cases[] = {
        {"reset", {receiveRequest(), reset()}, lost},
        {"closed without an answer", answering(""), lost},
        {"closed inside the head", answering("HTTP/1.1 200 OK\r\nConte"), lost},
        {"a body one byte short", answering(announced), lost},
        {"reset after half a body", {receiveRequest(), send(announced), pauseMs(50), reset()}, lost},
        {"closed between chunks", answering(std::string(kChunkedHead) + "1\r\nT\r\n"), lost},
        {"a chunk of another size", answering(std::string(kChunkedHead) + "1\r\n" + kBody + "\r\n0\r\n\r\n"), unparsed},
        {"no chunks", answering(std::string(kChunkedHead) + kBody + "\r\n"), unparsed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Recognition run = recognise({c.script});
        EXPECT_EQ(run.result.status, 252);
        EXPECT_EQ(run.result.out, "");
        EXPECT_EQ(run.log, Texts{"Error sending fingerprint request " + c.text});
    }
}

TEST(Transport, EndsWith252WhenThereIsNoServer) {
    std::string closedHost;
    {
        const LoopbackServer server({});
        closedHost = server.host();
    }
    struct Case {
        const char* name;
        std::string host;
        const char* text;
    };
    const Case cases[] = {
        {"nobody listens", closedHost, "-1004 - Could not connect to the server."},
        {"no such name", "no-such-host.invalid", "-1003 - A server with the given host name could not be found."},
        {"no host", "", "-1000 - The URL is not valid."},
        {"a space", "127.0.0.1 x", "-1000 - The URL is not valid."},
        {"a line end", "127.0.0.1\r\nX: y", "-1000 - The URL is not valid."},
        {"a port that is none", "127.0.0.1:http", "-1000 - The URL is not valid."},
        {"not ASCII",
         "b\xc3\xbc"
         "cher.invalid",
         "-1000 - The URL is not valid."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Ended result = runTool({freshKey(), c.host, soundFile()});
        EXPECT_EQ(result.status, 252);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(logTexts(result.err), Texts{std::string("Error sending fingerprint request ") + c.text});
    }
}

TEST(Transport, EndsWith251ForAnyOtherAnswer) {
    struct Case {
        const char* name;
        std::string answer;
        const char* text;
    };
    const Case cases[] = {
        {"404", httpAnswer(404, "no such page"), "Invalid HTTP Status Code 404"},
        {"500", httpAnswer(500, ""), "Invalid HTTP Status Code 500"},
        {"201 with records", httpAnswer(201, kBody), "Invalid HTTP Status Code 201"},
        {"204", "HTTP/1.1 204 No Content\r\n\r\n", "Invalid HTTP Status Code 204"},
        {"a redirect", "HTTP/1.1 302 Found\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n",
         "Invalid HTTP Status Code 302"},
        {"garbage", "\x01\x02\x03 garbage\r\n\r\n", "No HTTP Response"},
        {"records without HTTP", kBody, "No HTTP Response"},
        {"a broken head", kOk + "no colon\r\n\r\n" + kBody, "No HTTP Response"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Recognition run = recognise({answering(c.answer)});
        EXPECT_EQ(run.result.status, 251);
        EXPECT_EQ(run.result.out, "");
        EXPECT_EQ(run.log, Texts{c.text});
    }
}

TEST(Transport, ReachesANamedHost) {
    if (!localhostResolves()) GTEST_SKIP() << kLocalhostIsMissing;
    const LoopbackServer server({answering(httpAnswer(200, kBody))});
    const Ended result = runTool({freshKey(), "localhost:" + std::to_string(server.port()), soundFile()});
    EXPECT_EQ(result.out, kReport) << result.err;
}

TEST(Transport, ReachesAnIPv6Address) {
    const LoopbackServer server({answering(httpAnswer(200, kBody))}, LoopbackServer::Family::kIPv6);
    const Ended result = runTool({freshKey(), server.host(), soundFile()});
    EXPECT_EQ(result.out, kReport) << result.err;
}

} // namespace
} // namespace kvxtest
