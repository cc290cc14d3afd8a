// SPDX-License-Identifier: Apache-2.0
// Counters of the service, written as Prometheus text.
#pragma once

#include "protocol/request_report.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarn::server {

class Histogram {
  public:
    // bounds: upper ends of the buckets, rising; what lies above the last is counted too.
    explicit Histogram(std::vector<double> bounds);
    void add(double value);
    // labels: without braces, may be empty.
    void write(std::string& out, const std::string& name, const std::string& labels) const;

  private:
    std::vector<double> bounds_;
    std::vector<uint64_t> counts_; // one more than bounds
    double sum_ = 0;
};

// Values that are asked for when the text is written.
struct Gauges {
    std::optional<uint64_t> recordings; // nothing: the catalogue cannot be asked
    size_t accounts = 0;
    size_t connections = 0;
    size_t waiting = 0; // requests that no worker has taken yet
};

class Metrics {
  public:
    Metrics();

    // A request that was answered. waiting: from admission to a worker; total: from its header to its last byte sent.
    void request(const RequestReport& report, std::chrono::nanoseconds waiting, std::chrono::nanoseconds total);
    void response(int status);
    void dropped(); // the client went before it was answered
    std::string text(const Gauges& gauges) const;

  private:
    enum Stage : size_t { kVerify, kWait, kRecognise, kWrite, kTotal, kStages };

    mutable std::mutex mutex_;
    std::array<std::array<uint64_t, kRequestOutcomes>, kRequestKinds> requests_{};
    std::vector<Histogram> stages_;
    Histogram candidates_;
    std::map<int, uint64_t> responses_;
    uint64_t dropped_ = 0;
};

} // namespace tarn::server
