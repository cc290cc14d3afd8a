// SPDX-License-Identifier: Apache-2.0
// Wire bytes, written and read: every integer of a packet, an answer or a blob goes through one of these two, and with
// it through the hook for integers.
#pragma once

#include "kvx.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace kvx {

// Writes forward. Without a buffer a sink only counts, so that one description measures and writes a piece.
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
    // The lower two bytes of a number of four: the third hook tells them from a number of two.
    void lowHalf(int32_t value) {
        if (buffer_ != nullptr) KVXMemCopy3(here(), &value, sizeof(uint16_t), sizeof value);
        position_ += sizeof(uint16_t);
    }
    // An integer of width bytes at any address.
    void integer(const void* value, size_t width) {
        if (buffer_ != nullptr) KVXMemCopy2(here(), value, width);
        position_ += width;
    }
    // Leaves bytes as the buffer holds them.
    void skip(uint64_t count) { position_ += count; }

  private:
    uint8_t* buffer_ = nullptr;
    uint64_t position_ = 0;
};

// Reads forward, from position on. It never leaves its bytes: what does not lie within them reads as 0.
class ByteSource {
  public:
    explicit ByteSource(std::span<const uint8_t> bytes, uint64_t position = 0) : bytes_(bytes), position_(position) {}

    uint64_t position() const { return position_; }

    void bytes(void* destination, size_t count) {
        const uint8_t* from = take(count);
        if (from != nullptr)
            KVXMemCopy(destination, from, count);
        else
            KVXMemSet(destination, 0, count);
    }
    uint16_t u16() { return number<uint16_t>(); }
    int16_t i16() { return number<int16_t>(); }
    uint32_t u32() { return number<uint32_t>(); }
    // An integer of width bytes to any address.
    void integer(void* destination, size_t width) {
        const uint8_t* from = take(width);
        if (from != nullptr)
            KVXMemCopy2(destination, from, width);
        else
            KVXMemSet(destination, 0, width);
    }

  private:
    template <class Number>
    Number number() {
        Number value = 0;
        integer(&value, sizeof value);
        return value;
    }
    // The next count bytes; null where they are not all there, and nothing is there from then on.
    const uint8_t* take(size_t count) {
        if (position_ > bytes_.size() || count > bytes_.size() - position_) {
            position_ = bytes_.size() + 1;
            return nullptr;
        }
        const uint8_t* from = bytes_.data() + position_;
        position_ += count;
        return from;
    }

    std::span<const uint8_t> bytes_;
    uint64_t position_;
};

} // namespace kvx
