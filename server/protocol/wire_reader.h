// SPDX-License-Identifier: Apache-2.0
// A cursor on bytes from outside. It cannot leave them: where a piece is not whole, it throws a BadPacket with its
// name.
#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarn::server {

// The packet cannot be read; the text names the piece, and quotes nothing of it.
class BadPacket : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class WireReader {
  public:
    explicit WireReader(std::span<const uint8_t> bytes) : rest_(bytes) {}

    std::span<const uint8_t> bytes(size_t count, const char* what) {
        if (count > rest_.size()) throw BadPacket(std::string("it ends within the ") + what);
        const auto piece = rest_.first(count);
        rest_ = rest_.subspan(count);
        return piece;
    }
    uint8_t u8(const char* what) { return bytes(1, what)[0]; }
    uint16_t u16(const char* what) { return number<uint16_t>(what); }
    uint32_t u32(const char* what) { return number<uint32_t>(what); }
    // A length of four bytes, then as many bytes.
    std::string_view text(const char* what) { return asText(bytes(u32(what), what)); }
    size_t left() const { return rest_.size(); }
    void expectEnd(const char* what) const {
        if (!rest_.empty()) throw BadPacket(what);
    }

  private:
    template <class Number>
    Number number(const char* what) {
        std::string_view piece = asText(bytes(sizeof(Number), what));
        return takeLittleEndian<Number>(piece).value();
    }
    static std::string_view asText(std::span<const uint8_t> piece) {
        return {reinterpret_cast<const char*>(piece.data()), piece.size()};
    }

    std::span<const uint8_t> rest_;
};

} // namespace tarn::server
