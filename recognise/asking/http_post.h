// SPDX-License-Identifier: Apache-2.0
// One connection to a recognition server, kept from request to request. TLS, proxies and names are libcurl's.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

namespace tarn::recognise {

struct HttpOptions {
    std::chrono::milliseconds timeout{30'000}; // of a whole request
    std::string proxy;                         // empty: as the environment has it
    std::string authorities;                   // file of certificates to trust; empty: the system's
};

struct HttpReply {
    int status = 0;
    std::string body;
    std::string match;                              // the header Tarn-Match
    std::optional<std::chrono::seconds> retryAfter; // only as a number of seconds
};

// No whole answer came.
class TransportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class HttpPost {
  public:
    static constexpr size_t kMaxAnswerBytes = size_t{8} << 20;

    // url: as serverUrl() gives it. Throws std::bad_alloc.
    HttpPost(const std::string& url, const HttpOptions& options);
    ~HttpPost();
    HttpPost(const HttpPost&) = delete;
    HttpPost& operator=(const HttpPost&) = delete;

    // Sends the packet as the part "data" of a form. Throws TransportError.
    HttpReply send(std::span<const uint8_t> packet);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The address of recognition on the server that a user names: http or https, a host, perhaps a port and a path.
// Throws std::invalid_argument that says what is wrong.
std::string serverUrl(const std::string& named);

} // namespace tarn::recognise
