// SPDX-License-Identifier: Apache-2.0
// Integers as bytes. A string is the cursor that writes: append...() adds to its end. A string_view is the cursor that
// reads: take...() moves it past what was read, and returns nothing, moving nothing, where too few bytes are left.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

namespace detail {
// Where in a number of `bytes` bytes the byte written at `place` belongs.
constexpr size_t littleShift(size_t place, size_t /*bytes*/) { return 8 * place; }
constexpr size_t bigShift(size_t place, size_t bytes) { return 8 * (bytes - 1 - place); }

template <std::unsigned_integral Number, class Shift>
void appendFixed(std::string& out, Number number, Shift shift) {
    for (size_t place = 0; place < sizeof(Number); ++place) {
        out.push_back(static_cast<char>(uint64_t{number} >> shift(place, sizeof(Number)) & 0xff));
    }
}

template <std::unsigned_integral Number, class Shift>
std::optional<Number> takeFixed(std::string_view& bytes, Shift shift) {
    if (bytes.size() < sizeof(Number)) return std::nullopt;
    uint64_t number = 0;
    for (size_t place = 0; place < sizeof(Number); ++place) {
        number |= uint64_t{static_cast<uint8_t>(bytes[place])} << shift(place, sizeof(Number));
    }
    bytes.remove_prefix(sizeof(Number));
    return static_cast<Number>(number);
}
} // namespace detail

// The lowest byte first.
template <std::unsigned_integral Number>
void appendLittleEndian(std::string& out, Number number) {
    detail::appendFixed(out, number, detail::littleShift);
}
template <std::unsigned_integral Number>
std::optional<Number> takeLittleEndian(std::string_view& bytes) {
    return detail::takeFixed<Number>(bytes, detail::littleShift);
}

// The highest byte first: numbers that sort as their bytes do.
template <std::unsigned_integral Number>
void appendBigEndian(std::string& out, Number number) {
    detail::appendFixed(out, number, detail::bigShift);
}
template <std::unsigned_integral Number>
std::optional<Number> takeBigEndian(std::string_view& bytes) {
    return detail::takeFixed<Number>(bytes, detail::bigShift);
}

// A varint holds seven bits a byte, the lowest first; the top bit is set in every byte but the last.
void appendVarint(std::string& out, uint64_t number);
// Nothing, too, where the number has more than 64 bits.
std::optional<uint64_t> takeVarint(std::string_view& bytes);

} // namespace tarn::server
