// SPDX-License-Identifier: Apache-2.0
// An answer as HTTP has it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tarn::server {

struct HttpResponse {
    int status = 200;
    std::string body;
    const char* type = "text/plain";
    std::vector<std::pair<const char*, std::string>> headers = {}; // further ones
    bool closeConnection = false;
    const char* caching = "no-store"; // the header Cache-Control
};

// With a time after which to ask again.
inline HttpResponse tryAgainLater(std::string body) {
    return {503, std::move(body), "text/plain", {{"Retry-After", "1"}}};
}

} // namespace tarn::server
