// SPDX-License-Identifier: Apache-2.0
// A text in pieces that stay where they are: it goes out whole without being put together in memory first.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace tarn {

// Refers to its pieces: they must outlive it.
class TextPieces {
  public:
    static constexpr size_t kMax = 16;

    TextPieces(std::initializer_list<std::string_view> pieces) {
        for (const std::string_view piece : pieces) add(piece);
    }
    // Of one piece.
    template <std::convertible_to<std::string_view> Text>
    TextPieces(const Text& text) : TextPieces({std::string_view(text)}) {}

    void add(std::string_view piece) {
        if (!piece.empty()) pieces_.at(count_++) = piece;
    }
    void addAll(const TextPieces& others) {
        for (const std::string_view piece : others) add(piece);
    }

    size_t count() const { return count_; }
    const std::string_view* begin() const { return pieces_.data(); }
    const std::string_view* end() const { return begin() + count_; }
    bool endsWith(char last) const { return count_ != 0 && pieces_[count_ - 1].ends_with(last); }

  private:
    std::array<std::string_view, kMax> pieces_;
    size_t count_ = 0;
};

} // namespace tarn
