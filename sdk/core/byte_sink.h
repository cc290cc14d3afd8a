// SPDX-License-Identifier: Apache-2.0
// Where packet pieces put their bytes. Without a buffer a sink only counts, so that a piece is measured and written
// by the same description.
#pragma once

#include "kvx.h"

#include <cstdint>
#include <string_view>

namespace kvx {

class ByteSink {
  public:
    // Counts.
    ByteSink() = default;
    // Writes at buffer + position; the buffer holds what was counted before.
    ByteSink(uint8_t* buffer, uint64_t position) : buffer_(buffer), position_(position) {}

    uint64_t position() const { return position_; }
    // Where the next byte goes; null when counting.
    uint8_t* here() const { return buffer_ == nullptr ? nullptr : buffer_ + position_; }

    void bytes(const void* data, uint64_t count) {
        if (buffer_ != nullptr && data != nullptr && count != 0) KVXMemCopy(here(), data, count);
        position_ += count;
    }
    void text(std::string_view text) { bytes(text.data(), text.size()); }
    void u8(uint8_t value) { bytes(&value, sizeof value); }
    void u16(uint16_t value) { integer(&value, sizeof value); }
    void i16(int16_t value) { integer(&value, sizeof value); }
    void u32(uint32_t value) { integer(&value, sizeof value); }
    // Leaves bytes as the buffer holds them.
    void skip(uint64_t count) { position_ += count; }

  private:
    void integer(const void* value, size_t width) {
        if (buffer_ != nullptr) KVXMemCopy2(here(), value, width);
        position_ += width;
    }

    uint8_t* buffer_ = nullptr;
    uint64_t position_ = 0;
};

} // namespace kvx
