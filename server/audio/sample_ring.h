// SPDX-License-Identifier: Apache-2.0
// Memory that a program shares with the processes that read files for it: samples are not copied between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn::server {

// Slots that are filled in turn. The reader hands each back when it is done with it, some at a time; the writer fills
// none that it has not got back. The contents are whatever the other process writes, at any time.
class SampleRing {
  public:
    static constexpr size_t kSlots = 8;
    static constexpr size_t kSlotSamples = 65536;
    static constexpr size_t kReturnedTogether = kSlots / 2;

    // Shared with all processes that are forked afterwards. Throws std::system_error.
    SampleRing();
    ~SampleRing();
    SampleRing(const SampleRing&) = delete;
    SampleRing& operator=(const SampleRing&) = delete;

    std::span<int16_t> slot(uint64_t turn) const { return {samples_ + (turn % kSlots) * kSlotSamples, kSlotSamples}; }

  private:
    int16_t* samples_ = nullptr;
};

} // namespace tarn::server
