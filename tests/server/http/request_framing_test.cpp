// SPDX-License-Identifier: Apache-2.0
// Requests whose end another reader of the connection may see elsewhere, or that have none.
#include "http/request_framing.h"

#include "server/http/test_service.h"

#include <gtest/gtest.h>

using namespace kvxtest;

// A proxy in front may see the end of such a request elsewhere. What follows is a second request in one of the
// readings; it must not be answered.
TEST(RequestFraming, RefusesARequestWhoseEndIsInDoubt) {
    TestService service;
    const std::string smuggled = "GET /metrics HTTP/1.1\r\nHost: h\r\n\r\n";
    const std::string chunks = "3\r\nabc\r\n0\r\n\r\n";
    const struct {
        const char* name;
        std::string headers;
        std::string body;
        std::string text;
    } cases[] = {
        {"two lengths", "Content-Length: 3\r\nContent-Length: 0\r\n", "abc", "more than one Content-Length"},
        {"a length twice", "Content-Length: 3\r\ncontent-length: 3\r\n", "abc", "more than one Content-Length"},
        {"a length and an encoding", "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n", chunks,
         "both Content-Length and Transfer-Encoding"},
        {"an encoding and a length", "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n", chunks,
         "both Content-Length and Transfer-Encoding"},
        {"another encoding", "Transfer-Encoding: xchunked\r\n", chunks, "Transfer-Encoding is not chunked"},
        {"none by name", "Transfer-Encoding: identity\r\n", "", "Transfer-Encoding is not chunked"},
        {"two encodings in a line", "Transfer-Encoding: gzip, chunked\r\n", chunks, "Transfer-Encoding is not chunked"},
        {"two encodings", "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", chunks,
         "more than one Transfer-Encoding"},
        {"an odd blank",
         "Transfer-Encoding: \x0b"
         "chunked\r\n",
         chunks, "a header holds a control character"},
        {"a blank before the colon", "Content-Length : 3\r\n", "abc", "a header name is malformed"},
        {"a blank before the colon of an encoding", "Transfer-Encoding : chunked\r\n", chunks,
         "a header name is malformed"},
        {"an encoding on a folded line", "Transfer-Encoding:\r\n chunked\r\n", chunks, "a header name is malformed"},
        {"a length on a folded line", "X: y\r\n Content-Length: 3\r\n", "abc", "a header name is malformed"},
        {"a carriage return alone", "X: y\rContent-Length: 3\r\n", "abc", "a header holds a control character"},
        {"two hosts", "Host: g\r\nContent-Length: 3\r\n", "abc", "more than one Host"},
    };
    for (const char* path : {"/sdkrequest", "/nothing"}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            RawClient client(service.port());
            ASSERT_TRUE(client.send(std::string("POST ") + path + " HTTP/1.1\r\nHost: h\r\n" + c.headers + "\r\n" +
                                    c.body + smuggled));
            const std::string everything = client.readToEnd(); // the connection ends
            EXPECT_EQ(everything.substr(0, 12), "HTTP/1.1 400") << everything;
            EXPECT_TRUE(everything.ends_with("\r\n\r\nbad request: " + c.text + "\n")) << everything;
        }
    }
    RawClient old(service.port());
    ASSERT_TRUE(old.send("POST /nothing HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks + smuggled));
    EXPECT_TRUE(old.readToEnd().ends_with("bad request: Transfer-Encoding in HTTP/1.0\n"));
}

// These the HTTP library refuses by itself.
TEST(RequestFraming, RefusesLengthsAndChunksThatAreNoNumbers) {
    TestService service;
    const std::string chunked = "Transfer-Encoding: chunked\r\n\r\n";
    for (const std::string& rest :
         {std::string("Content-Length: +3\r\n\r\nabc"), std::string("Content-Length: -3\r\n\r\nabc"),
          std::string("Content-Length: 3, 3\r\n\r\nabc"), std::string("Content-Length: 0x3\r\n\r\nabc"),
          std::string("Content-Length:\r\n\r\nabc"), chunked + "zz\r\nabc\r\n0\r\n\r\n",
          chunked + "-3\r\nabc\r\n0\r\n\r\n", chunked + "3\r\nabcd\r\n0\r\n\r\n"}) {
        SCOPED_TRACE(rest);
        RawClient client(service.port());
        ASSERT_TRUE(client.send("POST /nothing HTTP/1.1\r\nHost: h\r\n" + rest));
        EXPECT_EQ(client.readToEnd().substr(0, 12), "HTTP/1.1 400");
    }
}

TEST(RequestFraming, CutsOffABodyWithoutEnd) {
    TestService service;
    RawClient connection(service.port());
    connection.send("POST /sdkrequest HTTP/1.1\r\nHost: h\r\nContent-Type: multipart/form-data; boundary=" + kBoundary +
                    "\r\nContent-Length: 9000000000\r\n\r\n--" + kBoundary +
                    "\r\nContent-Disposition: form-data; name=\"data\"\r\n\r\n");
    const std::string piece(1 << 20, 'x');
    int pieces = 0;
    while (connection.send(piece) && pieces < 1000) ++pieces; // a gigabyte would be a server that takes everything
    EXPECT_LT(pieces, 1000);
    EXPECT_EQ(service.ask(getOf("/health")).status, 200);
}
