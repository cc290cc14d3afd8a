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
    // requestUrl: nothing if it could not be parsed; sending the request is then a transport error.
    explicit MutableURLRequest(std::optional<Url> requestUrl) : url(std::move(requestUrl)) {}

    // Replaces the value if the field has one already.
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

constexpr int kHttpOk = 200;

struct HTTPURLResponse {
    int statusCode = 0;
};

class URLLoading {
  public:
    virtual ~URLLoading() = default;
    // The answer's body; nothing if it has no body bytes. A chunked body without chunks is present but empty. response
    // stays empty if what came back was not an HTTP answer. If the exchange failed, error is filled, with
    // kUrlErrorDomain, and there is neither body nor response.
    virtual std::optional<Bytes> sendSynchronousRequest(const MutableURLRequest& request,
                                                        std::optional<HTTPURLResponse>& response, ErrorSlot& error) = 0;
};

} // namespace tarn
