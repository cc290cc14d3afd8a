// SPDX-License-Identifier: Apache-2.0
// What a server sends for an answer, head and body.
//
// Holds: there is a response, an error or neither, and a body only with a response; the codes are the transport's own;
// the outcome does not depend on the pieces in which the bytes come; a connection that is lost instead of closed makes
// either no difference, or an error of its own.
#include "platform/linux/http_answer.h"
#include "fuzz_target.h"
#include "support/guarded_bytes.h"

#include <algorithm>
#include <cstring>

namespace {

using tarn::HttpAnswer;
using tarn::Received;

HttpAnswer answerFrom(std::span<const uint8_t> bytes, size_t pieceBytes, Received end) {
    return tarn::readHttpAnswer([&](std::span<uint8_t> room, size_t& count) {
        count = std::min({bytes.size(), room.size(), pieceBytes});
        if (count == 0) return end;
        std::memcpy(room.data(), bytes.data(), count);
        bytes = bytes.subspan(count);
        return Received::kSome;
    });
}

int codeOf(const HttpAnswer& answer) { return answer.error ? answer.error->code : 0; }
int statusOf(const HttpAnswer& answer) { return answer.response ? answer.response->statusCode : 0; }

bool isSame(const HttpAnswer& one, const HttpAnswer& other) {
    return one.body == other.body && statusOf(one) == statusOf(other) && codeOf(one) == codeOf(other);
}

void check(const HttpAnswer& answer) {
    REQUIRE(!answer.error || (!answer.response && !answer.body));
    REQUIRE(answer.response || !answer.body);
    if (answer.error) {
        const int code = answer.error->code;
        REQUIRE(code == tarn::kUrlErrorTimedOut || code == tarn::kUrlErrorConnectionLost ||
                code == tarn::kUrlErrorCannotParseBody);
        REQUIRE(answer.error->domain == tarn::kUrlErrorDomain && !answer.error->description.empty());
    }
    if (answer.response) {
        const int status = answer.response->statusCode;
        REQUIRE(status >= 0 && status <= 999);
        REQUIRE(status / 100 != 1 || status == 101); // interim answers are skipped
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const kvxtest::GuardedBytes guarded(std::span(data, size));
    const std::span<const uint8_t> bytes(guarded.data(), guarded.size());
    const HttpAnswer whole = answerFrom(bytes, size, Received::kEnd);
    check(whole);
    REQUIRE(isSame(answerFrom(bytes, 1 + size % 11, Received::kEnd), whole));
    const bool timesOut = size % 2 == 0;
    const HttpAnswer cut = answerFrom(bytes, size, timesOut ? Received::kTimedOut : Received::kLost);
    check(cut);
    REQUIRE(isSame(cut, whole) || codeOf(cut) == (timesOut ? tarn::kUrlErrorTimedOut : tarn::kUrlErrorConnectionLost));
    return 0;
}
