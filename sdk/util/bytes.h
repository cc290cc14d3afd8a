// SPDX-License-Identifier: Apache-2.0
// Wire bytes, written and read: every integer of a packet, an answer or a blob goes through one of these two, and with
// it through the hook for integers.
#pragma once

#include "kvx.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace kvx {

// An integer of width bytes from or to the wire, at any addresses: the caller has made sure that the bytes are there.
inline void copyInteger(void* destination, const void* source, size_t width) {
    KVXMemCopy2(destination, source, width);
}
inline uint32_t u32At(const uint8_t* place) {
    uint32_t value = 0;
    copyInteger(&value, place, sizeof value);
    return value;
}

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
        if (buffer_ != nullptr) copyInteger(here(), value, width);
        position_ += width;
    }
    // Leaves bytes as the buffer holds them.
    void skip(uint64_t count) { position_ += count; }

  private:
    uint8_t* buffer_ = nullptr;
    uint64_t position_ = 0;
};

// Reads forward, from position on. It never leaves its bytes: what does not lie within them reads as 0, and the source
// is then at its end.
class ByteSource {
  public:
    explicit ByteSource(std::span<const uint8_t> bytes, uint64_t position = 0)
        : bytes_(bytes.subspan(std::min<uint64_t>(position, bytes.size()))) {}

    size_t left() const { return bytes_.size(); }

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

  private:
    template <class Number>
    Number number() {
        Number value = 0;
        const uint8_t* from = take(sizeof value);
        if (from != nullptr) copyInteger(&value, from, sizeof value);
        return value;
    }
    // The next count bytes; null where they are not all there.
    const uint8_t* take(size_t count) {
        const uint8_t* from = bytes_.data();
        if (count > bytes_.size()) {
            bytes_ = {};
            return nullptr;
        }
        bytes_ = bytes_.subspan(count);
        return from;
    }

    std::span<const uint8_t> bytes_; // what has not been read
};

} // namespace kvx
