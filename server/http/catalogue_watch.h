// SPDX-License-Identifier: Apache-2.0
// The size of the catalogue, looked at every second on a thread of its own: a catalogue that hangs delays nothing else.
#pragma once

#include "model/recogniser.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace tarn::server {

class CatalogueWatch {
  public:
    explicit CatalogueWatch(Recogniser& recogniser) : recogniser_(recogniser) {}

    // Returns after the first look, or when that takes longer than the patience.
    void start(std::chrono::milliseconds patience);
    void stop(); // after a look that is under way
    // At the last look; nothing when the catalogue could not be asked.
    std::optional<uint64_t> recordings() const;

  private:
    void look();

    Recogniser& recogniser_;
    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    bool looked_ = false;
    std::optional<uint64_t> recordings_;
    std::jthread thread_; // last: it uses what is above
};

} // namespace tarn::server
