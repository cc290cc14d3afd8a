// SPDX-License-Identifier: Apache-2.0
#include "http/catalogue_watch.h"

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
    try {
        count = recogniser_.recordingCount();
    } catch (const std::exception&) {
        // Nothing known is what the health check and the metrics then tell.
    }
    const std::lock_guard lock(mutex_);
    recordings_ = count;
    looked_ = true;
    changed_.notify_all();
}

std::optional<uint64_t> CatalogueWatch::recordings() const {
    const std::lock_guard lock(mutex_);
    return recordings_;
}

} // namespace tarn::server
