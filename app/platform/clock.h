// SPDX-License-Identifier: Apache-2.0
// The time of day.
#pragma once

#include <chrono>

namespace tarn {

class Clock {
  public:
    using Time = std::chrono::system_clock::time_point;

    virtual ~Clock() = default;
    virtual Time now() const = 0;
};

} // namespace tarn
