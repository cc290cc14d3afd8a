// SPDX-License-Identifier: Apache-2.0
// The service on the network: POST /sdkrequest, the JSON interface below /v1/, GET /health, GET /metrics, and the files
// of the page.
//
// One thread does all input and output and checks signatures; workers ask the catalogue. A connection whose request
// waits for a worker is suspended meanwhile. Two more threads end connections that are too slow and look after the size
// of the catalogue.
#pragma once

#include "http/http_limits.h"
#include "http/trusted_proxies.h"
#include "protocol/request_handler.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <spdlog/logger.h>
#include <string>

namespace tarn::server {

class HttpServer {
  public:
    // What the service answers from, and where it says what it did.
    struct Backend {
        const RequestHandler& handler;
        Recogniser& recogniser; // for the state of the catalogue
        std::string catalogue;  // where it is, as the log may show it
        std::function<size_t()> accountCount;
        std::shared_ptr<spdlog::logger> log;
        TrustedProxies trustedProxies = TrustedProxies({});
        bool page = false; // whether to serve the page; on loopback it always is
    };

    // Looks at the catalogue, then listens. Throws ListenError.
    HttpServer(const std::string& address, const HttpLimits& limits, Backend backend);
    ~HttpServer(); // stop()
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::string address() const; // as ADDRESS:PORT, the port that was picked
    uint16_t port() const;
    // No new connection is taken; what is in flight is finished within its time; then everything ends.
    void stop();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
