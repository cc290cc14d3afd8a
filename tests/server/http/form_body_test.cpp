// SPDX-License-Identifier: Apache-2.0
// The form around a packet, in any pieces.
#include "http/form_body.h"

#include "support/server/form_connection.h"

#include <gtest/gtest.h>
#include <string>

namespace kvxtest {
namespace {

using tarn::server::FormBody;

constexpr size_t kMaxBytes = 100;

std::string part(const std::string& name, const std::string& content) {
    return std::string("--") + kFormBoundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" +
           content + "\r\n";
}

std::string formOf(const std::string& parts) { return parts + "--" + kFormBoundary + "--\r\n"; }

// "complete: " and the packet, or what is wrong.
std::string outcomeOf(const std::string& body, size_t pieceBytes) {
    FormBody form(formConnection(), kMaxBytes);
    for (size_t at = 0; at < body.size(); at += pieceBytes) {
        const std::string piece = body.substr(at, pieceBytes);
        form.add(piece.data(), piece.size());
    }
    switch (form.finish()) {
    case FormBody::State::kComplete:
        return "complete: " + form.packet();
    case FormBody::State::kNoForm:
        return "no form";
    case FormBody::State::kNoPacket:
        return "no packet";
    case FormBody::State::kTooLarge:
        return "too large";
    }
    return "?";
}

TEST(FormBody, IsTheSameInAnyPieces) {
    const struct {
        const char* name;
        std::string body;
        std::string expected;
    } cases[] = {
        {"a packet", formOf(part("data", "packet")), "complete: packet"},
        {"line ends and dashes", formOf(part("data", "\r\n--\r\n-\r\n--boundar")),
         "complete: \r\n--\r\n-\r\n--boundar"},
        {"another part before and after", formOf(part("a", "1") + part("data", "packet") + part("b", "2")),
         "complete: packet"},
        {"no part of the name", formOf(part("a", "packet")), "no packet"},
        {"the most", formOf(part("data", std::string(kMaxBytes, 'x'))), "complete: " + std::string(kMaxBytes, 'x')},
        {"one byte more", formOf(part("data", std::string(kMaxBytes + 1, 'x'))), "too large"},
        {"two packets", formOf(part("data", "one") + part("data", "two")), "no form"},
        {"two packets, the second too large",
         formOf(part("data", "one") + part("data", std::string(3 * kMaxBytes, 'x'))), "no form"},
        {"no end", part("data", "packet"), "no form"},
    };
    for (const auto& c : cases) {
        for (const size_t pieceBytes : {size_t{1}, size_t{2}, size_t{7}, size_t{64}, c.body.size()}) {
            SCOPED_TRACE(std::string(c.name) + " in pieces of " + std::to_string(pieceBytes));
            EXPECT_EQ(outcomeOf(c.body, pieceBytes), c.expected);
        }
    }
}

} // namespace
} // namespace kvxtest
