// SPDX-License-Identifier: Apache-2.0
// How long a part of a request takes.
#pragma once

#include <chrono>

namespace tarn::server {

// Adds the time of its life to a total.
class Stopwatch {
  public:
    explicit Stopwatch(std::chrono::nanoseconds& total) : total_(total) {}
    ~Stopwatch() { total_ += std::chrono::steady_clock::now() - start_; }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;

  private:
    std::chrono::nanoseconds& total_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace tarn::server
