// SPDX-License-Identifier: Apache-2.0
// A whole service in the test's own process: a fake catalogue, one account, a log that can be read.
#pragma once

#include "http/http_server.h"
#include "support/protocol_client.h"
#include "support/raw_client.h"
#include "support/server/fake_catalogue.h"

#include <functional>
#include <memory>
#include <spdlog/sinks/ostream_sink.h>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace kvxtest {

class TestService {
  public:
    FakeCatalogue catalogue;
    std::ostringstream log; // read it after stop()

    std::function<void()> beforeAccount = [] {}; // before an account is looked up

    explicit TestService(
        const tarn::server::HttpLimits& limits = {},
        const std::function<void(FakeCatalogue&)>& prepare = [](FakeCatalogue&) {},
        const std::vector<std::string>& trustedProxies = {}, const std::string& listen = "127.0.0.1:0",
        bool page = false)
        : catalogue(prepare), handler_(
                                  [this](uint32_t id) -> std::optional<std::string> {
                                      beforeAccount();
                                      if (id != kAccountId) return std::nullopt;
                                      return kvxtest::accessCode(3, 3);
                                  },
                                  [](uint32_t, const std::string&) -> std::optional<tarn::server::DeviceIdentity> {
                                      return tarn::server::DeviceIdentity{'i', 'd'};
                                  },
                                  catalogue),
          server_(listen, limits,
                  {handler_, catalogue, "in memory", [] { return size_t{1}; },
                   std::make_shared<spdlog::logger>("test", std::make_shared<spdlog::sinks::ostream_sink_mt>(log)),
                   tarn::server::TrustedProxies(trustedProxies), page}) {}

    uint16_t port() const { return server_.port(); }
    std::string address() const { return server_.address(); }
    void stop() { server_.stop(); }
    HttpAnswer ask(const std::string& request) const { return exchange(port(), request); }
    // A line of the metrics, its value.
    std::string metric(const std::string& name) const {
        const std::string text = ask(getOf("/metrics")).body;
        const size_t at = text.find("\n" + name + " ");
        if (at == std::string::npos) return "none";
        const size_t value = at + name.size() + 2;
        return text.substr(value, text.find('\n', value) - value);
    }
    // Waits for what is bound to happen; a test that waits in vain runs into its time-out.
    void waitForMetric(const std::string& name, const std::string& value) const {
        while (metric(name) != value) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

  private:
    tarn::server::RequestHandler handler_;
    tarn::server::HttpServer server_;
};

} // namespace kvxtest
