// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/clock.h"

namespace tarn {

class SystemClock : public Clock {
  public:
    Time now() const override { return std::chrono::system_clock::now(); }
};

} // namespace tarn
