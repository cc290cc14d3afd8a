// SPDX-License-Identifier: Apache-2.0
// The service on the network: POST /sdkrequest, GET /health, GET /metrics.
//
// One thread does all input and output and checks signatures; workers ask the catalogue. A connection whose request
// waits for a worker is suspended meanwhile. Two more threads end connections that are too slow and look after the size
// of the catalogue.
#pragma once

#include "http/metrics.h"
#include "protocol/request_handler.h"

#include <chrono>
#include <functional>
#include <memory>
#include <spdlog/logger.h>
#include <string>

namespace tarn::server {

struct HttpLimits {
    size_t connections = 4000;                      // at once; more wait in the system's queue
    size_t connectionsPerAddress = 256;             // 0: no limit
    size_t packetBytes = 64 * 1024;                 // a request of 30 s of audio has less than 10 kB
    size_t workers = 0;                             // that one account may keep busy; 0: one for each processor
    size_t waiting = 1000;                          // admitted requests that no worker has taken
    std::chrono::milliseconds requestTime{15'000};  // to send a request, and to take its answer
    std::chrono::milliseconds waitingTime{5'000};   // for a worker; then the catalogue is not asked any more
    std::chrono::milliseconds stoppingTime{30'000}; // for what is in flight when the service ends
};

class HttpServer {
  public:
    struct Services {
        const RequestHandler& handler;
        Recogniser& recogniser; // for the size of the catalogue
        std::function<size_t()> accountCount;
        std::shared_ptr<spdlog::logger> log;
    };

    // Looks at the catalogue, then listens. Throws ListenError.
    HttpServer(const std::string& address, const HttpLimits& limits, Services services);
    ~HttpServer(); // stop()
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::string address() const; // as ADDRESS:PORT, the port that was picked
    uint16_t port() const;
    // No new connection is taken; what is in flight is finished within its time; then everything ends.
    void stop();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
