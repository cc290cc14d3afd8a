// SPDX-License-Identifier: Apache-2.0
// How many recordings are stored with each gram: of a common one no more than make it common (kCommonGram).
#pragma once

#include "catalog/catalog.h"
#include "catalog/terms.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tarn::server {

class GramCounts {
  public:
    using Stored = std::function<uint64_t(const std::string& term)>;
    // stored: how many hold a gram now; asked once a gram, before it is first counted here.
    explicit GramCounts(Stored stored) : stored_(std::move(stored)), counts_(kGramNumbers, kUnknown) {}

    // Whether one more recording is to be stored with the gram, which then counts.
    bool take(uint32_t gram) {
        uint16_t& count = counts_[gram];
        if (count == kUnknown) {
            const uint64_t stored = stored_(gramTerm(gram));
            count = static_cast<uint16_t>(kNone + (stored < kCommonGram ? stored : kCommonGram));
        }
        if (count >= kNone + kCommonGram) return false;
        ++count;
        return true;
    }

    // A recording that was stored with it is no more.
    void giveBack(uint32_t gram) {
        if (counts_[gram] > kNone) --counts_[gram];
    }

  private:
    static constexpr uint16_t kUnknown = 0;
    static constexpr uint16_t kNone = 1;
    static_assert(kNone + kCommonGram < 0xffff);

    Stored stored_;
    std::vector<uint16_t> counts_; // by number, raised by kNone
};

} // namespace tarn::server
