// SPDX-License-Identifier: Apache-2.0
// Whether the catalogue can be asked, and its size: looked at every second on a thread of its own, so that a catalogue
// that hangs delays nothing else. The log gets a line for each change, with its reason.
#pragma once

#include "model/recogniser.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <spdlog/logger.h>
#include <string>
#include <thread>

namespace tarn::server {

class CatalogueWatch {
  public:
    // location: of the catalogue, for the log.
    CatalogueWatch(Recogniser& recogniser, std::string location, spdlog::logger& log)
        : recogniser_(recogniser), location_(std::move(location)), log_(log) {}

    // Returns after the first look, or when that takes longer than the patience.
    void start(std::chrono::milliseconds patience);
    void stop(); // after a look that is under way
    // A request could not be answered: the log says why at once. Whether it still is so, the next look finds out.
    void noteFailure(const std::string& reason);
    // At the last look; nothing when the catalogue could not be asked.
    std::optional<uint64_t> recordings() const;

  private:
    enum class State { kUnknown, kUp, kDown };

    void look();
    bool becomes(State state); // under the mutex; false: it was so before

    Recogniser& recogniser_;
    const std::string location_;
    spdlog::logger& log_;
    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    bool looked_ = false;
    State state_ = State::kUnknown;
    std::optional<uint64_t> recordings_;
    std::jthread thread_; // last: it uses what is above
};

} // namespace tarn::server
