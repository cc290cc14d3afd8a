// SPDX-License-Identifier: Apache-2.0
#include "http/catalogue_watch.h"

#include "base/reason.h"
#include "base/text.h"

#include <utility>

namespace tarn::server {

namespace {
constexpr auto kEvery = std::chrono::seconds(1);
}

void CatalogueWatch::start(std::chrono::milliseconds patience) {
    thread_ = std::jthread([this](const std::stop_token& token) {
        while (!token.stop_requested()) {
            look();
            std::unique_lock lock(mutex_);
            changed_.wait_for(lock, token, kEvery, [] { return false; });
        }
    });
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [this] { return looked_; });
}

void CatalogueWatch::stop() { thread_ = {}; }

void CatalogueWatch::look() {
    std::optional<uint64_t> count;
    std::string reason;
    try {
        count = recogniser_.recordingCount();
    } catch (const std::exception& error) {
        reason = reasonOf(error);
    }
    if (!count) noteFailure(reason);
    const std::lock_guard lock(mutex_);
    if (count && becomes(State::kUp)) log_.info("catalogue: open, {} in {}", counted(*count, "recording"), location_);
    recordings_ = count;
    looked_ = true;
    changed_.notify_all();
}

void CatalogueWatch::noteFailure(const std::string& reason) {
    const std::lock_guard lock(mutex_);
    if (!becomes(State::kDown)) return;
    log_.error("catalogue: {}; until {} can be read, requests that need it are answered with 503", reason, location_);
}

bool CatalogueWatch::becomes(State state) { return std::exchange(state_, state) != state; }

std::optional<uint64_t> CatalogueWatch::recordings() const {
    const std::lock_guard lock(mutex_);
    return recordings_;
}

} // namespace tarn::server
