// SPDX-License-Identifier: Apache-2.0
// One HTTP/1.1 answer, taken from wherever bytes come from: a connection, or a test.
#pragma once

#include "platform/url_loading.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace tarn {

constexpr size_t kHttpHeadLimitBytes = size_t{64} << 10;
constexpr size_t kHttpBodyLimitBytes = size_t{64} << 20;

struct HttpAnswer {
    std::optional<Bytes> body;
    std::optional<HTTPURLResponse> response; // neither response nor error: what came was no HTTP answer
    ErrorSlot error;
};

enum class Received { kSome, kEnd, kTimedOut, kLost };
// Waits for bytes and puts them at the beginning of the room, setting how many they are: one at least with kSome, none
// with anything else.
using ReceiveSome = std::function<Received(std::span<uint8_t> room, size_t& count)>;

// Receives until the answer is complete or cannot become so; interim answers are passed over.
HttpAnswer readHttpAnswer(const ReceiveSome& receive);

// Errors of the transport's domain.
Error transportError(int code, const char* description);
Error timedOut();

} // namespace tarn
