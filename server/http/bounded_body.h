// SPDX-License-Identifier: Apache-2.0
// The body of a request of the JSON interface, which may be audio. The bytes of all bodies together are bounded, and
// one account has at most half of them, so that neither many connections nor one account can take all memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tarn::server {

class BodyBudget {
  public:
    explicit BodyBudget(size_t mostBytes) : mostBytes_(mostBytes) {}

    bool take(uint32_t account, size_t bytes); // false: nothing taken
    void giveBack(uint32_t account, size_t bytes);
    size_t taken() const;

  private:
    const size_t mostBytes_;
    mutable std::mutex mutex_;
    size_t taken_ = 0;
    std::unordered_map<uint32_t, size_t> ofAccounts_; // of those that have some
};

class BoundedBody {
  public:
    enum class State { kGood, kTooLarge, kNoRoom };

    // account: nothing for a body so small that it is not counted.
    BoundedBody(size_t mostBytes, BodyBudget& budget, std::optional<uint32_t> account)
        : mostBytes_(mostBytes), budget_(budget), account_(account) {}
    ~BoundedBody() { drop(); }
    BoundedBody(const BoundedBody&) = delete;
    BoundedBody& operator=(const BoundedBody&) = delete;

    // Of a body that is not good, nothing is kept.
    void add(const char* bytes, size_t count);
    State state() const { return state_; }
    std::string_view bytes() const { return bytes_; }
    void drop();

  private:
    bool makeRoomFor(size_t size);

    const size_t mostBytes_;
    BodyBudget& budget_;
    const std::optional<uint32_t> account_;
    State state_ = State::kGood;
    std::string bytes_;
    size_t counted_ = 0; // of the budget
};

} // namespace tarn::server
