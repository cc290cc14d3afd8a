// SPDX-License-Identifier: Apache-2.0
#include "http/bounded_body.h"

#include <algorithm>

namespace tarn::server {

bool BodyBudget::take(uint32_t account, size_t bytes) {
    const std::lock_guard lock(mutex_);
    const auto found = ofAccounts_.find(account);
    const size_t ofAccount = found == ofAccounts_.end() ? 0 : found->second;
    if (bytes > mostBytes_ - taken_ || bytes > mostBytes_ / 2 - ofAccount) return false;
    taken_ += bytes;
    ofAccounts_[account] += bytes;
    return true;
}

void BodyBudget::giveBack(uint32_t account, size_t bytes) {
    const std::lock_guard lock(mutex_);
    taken_ -= bytes;
    const auto found = ofAccounts_.find(account);
    found->second -= bytes;
    if (found->second == 0) ofAccounts_.erase(found);
}

size_t BodyBudget::taken() const {
    const std::lock_guard lock(mutex_);
    return taken_;
}

void BoundedBody::add(const char* bytes, size_t count) {
    if (state_ != State::kGood) return;
    if (count > mostBytes_ - bytes_.size()) {
        state_ = State::kTooLarge;
    } else if (!makeRoomFor(bytes_.size() + count)) {
        state_ = State::kNoRoom;
    } else {
        bytes_.append(bytes, count);
        return;
    }
    drop();
}

// Grows by half, so that a body that is still arriving takes little more than it has.
bool BoundedBody::makeRoomFor(size_t size) {
    constexpr size_t kMinRoom = 64 * 1024;
    if (!account_ || size <= counted_) return true;
    const size_t room = std::min(mostBytes_, std::max({size, counted_ + counted_ / 2, kMinRoom}));
    if (!budget_.take(*account_, room - counted_)) return false;
    counted_ = room;
    bytes_.reserve(room);
    return true;
}

void BoundedBody::drop() {
    bytes_ = std::string();
    if (account_ && counted_ > 0) budget_.giveBack(*account_, counted_);
    counted_ = 0;
}

} // namespace tarn::server
