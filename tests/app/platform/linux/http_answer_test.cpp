// SPDX-License-Identifier: Apache-2.0
// An answer as bytes from anywhere: what it is does not depend on the pieces in which it comes.
#include "platform/linux/http_answer.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

using tarn::Received;

std::string outcomeOf(std::string_view bytes, size_t pieceBytes, Received end) {
    const tarn::HttpAnswer answer = tarn::readHttpAnswer([&](std::span<uint8_t> room, size_t& count) {
        count = std::min({bytes.size(), room.size(), pieceBytes});
        if (count == 0) return end;
        std::memcpy(room.data(), bytes.data(), count);
        bytes.remove_prefix(count);
        return Received::kSome;
    });
    if (answer.error) return "error " + std::to_string(answer.error->code);
    if (!answer.response) return "no answer";
    return std::to_string(answer.response->statusCode) +
           (answer.body ? " " + std::string(answer.body->begin(), answer.body->end()) : "");
}

TEST(HttpAnswer, IsTheSameInAnyPieces) {
    using namespace std::string_literals;
    const struct {
        const char* name;
        std::string bytes;
        std::string expected;
    } cases[] = {
        {"with a length", "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc", "200 abc"},
        {"up to the end", "HTTP/1.0 200 OK\r\n\r\nabc", "200 abc"},
        {"after an interim one", "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 404 Not Found\r\n\r\n", "404"},
        {"in chunks", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n2;x\r\nbc\r\n0\r\n\r\n",
         "200 abc"},
        {"nothing", "", "error -1005"},
        {"another protocol", "SSH-2.0-x\r\n", "no answer"},
        {"a whole head that breaks the rules", "HTTP/1.1 2\xff\xff OK\r\n\r\n", "no answer"},
        // A part of a head is lost with its connection, whatever is wrong in it so far.
        {"a part of a head", "HTTP/1.1 200 OK\r\nConte", "error -1005"},
        {"a part of a head that breaks the rules", "HTTP/1.0 2\xff\0\0\0@\0"s, "error -1005"},
        {"a part of a head with a bad name", "HTTP/1.0 200 OK\r\n\xff\xff\r\nbody"s, "error -1005"},
        {"a short body", "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nabc", "error -1005"},
        {"a length above the bound", "HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\n", "error -1017"},
        {"a body with it", "HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\nabc", "error -1017"},
        {"a body of no believable length", "HTTP/1.1 200 OK\r\nContent-Length: 20000000000007\r\n\r\nabc",
         "error -1017"},
        {"a bad chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n", "error -1017"},
        {"a chunk above the bound", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n4000000\r\nb",
         "error -1017"},
        {"an extension in quotes without end",
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n1e00000;x=\"y \r\nzzzzzzzzzz", "error -1005"},
        {"a head too long", "HTTP/1.1 200 OK\r\nX: " + std::string(tarn::kHttpHeadLimitBytes, 'x'), "no answer"},
    };
    for (const auto& c : cases) {
        for (const size_t pieceBytes : {size_t{1}, size_t{2}, size_t{7}, std::max<size_t>(c.bytes.size(), 1)}) {
            SCOPED_TRACE(std::string(c.name) + " in pieces of " + std::to_string(pieceBytes));
            EXPECT_EQ(outcomeOf(c.bytes, pieceBytes, Received::kEnd), c.expected);
        }
    }
}

TEST(HttpAnswer, MayComeAfterOneHundredInterimOnesAndNotMore) {
    std::string interim;
    for (int i = 0; i < 100; ++i) interim += "HTTP/1.1 100 Continue\r\n\r\n";
    const std::string final = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";
    EXPECT_EQ(outcomeOf(interim + final, 1000, Received::kEnd), "200 abc");
    EXPECT_EQ(outcomeOf("HTTP/1.1 102 Processing\r\n\r\n" + interim + final, 1000, Received::kEnd), "error -1017");
}

TEST(HttpAnswer, MayHaveABodyOfTheWholeBound) {
    const std::string announced = std::to_string(tarn::kHttpBodyLimitBytes);
    std::string whole = "HTTP/1.1 200 OK\r\nContent-Length: " + announced + "\r\n\r\n";
    whole.append(tarn::kHttpBodyLimitBytes, 'x');
    EXPECT_EQ(outcomeOf(whole, whole.size(), Received::kEnd).size(), 4 + tarn::kHttpBodyLimitBytes);
    const std::string open = "HTTP/1.1 200 OK\r\n\r\n" + std::string(tarn::kHttpBodyLimitBytes + 1, 'x');
    EXPECT_EQ(outcomeOf(open, open.size(), Received::kEnd), "error -1017");
}

TEST(HttpAnswer, ThatIsNotCompleteEndsAsItsConnectionDoes) {
    const std::string part = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nab";
    EXPECT_EQ(outcomeOf(part, part.size(), Received::kTimedOut), "error -1001");
    EXPECT_EQ(outcomeOf(part, part.size(), Received::kLost), "error -1005");
    EXPECT_EQ(outcomeOf(part, part.size(), Received::kEnd), "error -1005");
    EXPECT_EQ(outcomeOf(part + "c", part.size(), Received::kLost), "200 abc");
}

} // namespace
