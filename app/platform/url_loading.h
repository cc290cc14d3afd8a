// SPDX-License-Identifier: Apache-2.0
// HTTP requests, sent synchronously.
#pragma once

#include "platform/bytes.h"
#include "platform/error.h"
#include "platform/url.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn {

// Domain and codes of transport errors.
constexpr const char* kUrlErrorDomain = "NSURLErrorDomain";
constexpr int kUrlErrorBadUrl = -1000;
constexpr int kUrlErrorTimedOut = -1001;
constexpr int kUrlErrorCannotFindHost = -1003;
constexpr int kUrlErrorCannotConnect = -1004;
constexpr int kUrlErrorConnectionLost = -1005;
constexpr int kUrlErrorCannotParseBody = -1017;

struct MutableURLRequest {
    // No URL: one that could not be parsed; sending such a request is a transport error.
    explicit MutableURLRequest(std::optional<Url> requestUrl) : url(std::move(requestUrl)) {}

    // Replaces a value that the field already has.
    void setHeader(std::string_view name, std::string_view value) {
        for (auto& header : headers) {
            if (header.first == name) {
                header.second = value;
                return;
            }
        }
        headers.emplace_back(name, value);
    }

    std::optional<Url> url;
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers; // in the order in which they were first set
    Bytes body;
};

struct HTTPURLResponse {
    int statusCode = 0;
};

class URLLoading {
  public:
    virtual ~URLLoading() = default;
    // The answer's body; nothing when it brought no body bytes. A chunked body without chunks is present but empty.
    // response stays empty when what came back was no HTTP answer. error is filled, with kUrlErrorDomain, when the
    // exchange failed; there is neither body nor response then.
    virtual std::optional<Bytes> sendSynchronousRequest(const MutableURLRequest& request,
                                                        std::optional<HTTPURLResponse>& response, ErrorSlot& error) = 0;
};

} // namespace tarn
