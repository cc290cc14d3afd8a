// SPDX-License-Identifier: Apache-2.0
// Lists of recording numbers as bytes: one part after another, so that a list grows by what is written at its end.
//
//   part of one id    4 bytes, highest first; the first of them is below 0x80
//   packed part       a byte, 0x80 and the number of ids (0 to 126), or 0xff and the number of ids as a varint; size of
//                     what follows (varint); the first id, then the differences from one id to the next (varints)
//
// Ids are below 2^31 and rise in a list. One that does not rise was written twice, and counts once.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarn::server {

inline constexpr uint32_t kMaxId = 0x7fffffff;

// A part of one id.
void appendId(std::string& list, uint32_t id);
// A packed part.
void appendPacked(std::string& list, std::span<const uint32_t> ids);

// How many ids a list of `size` bytes holds of which `start` are the first. Exact where start is the whole list, or
// where what follows the part in which it breaks off are parts of one id.
uint64_t countOf(std::string_view start, uint64_t size);

namespace detail {
// Moves past the varint; the bytes that are left are 0 when there is none.
inline uint32_t takeDifference(const uint8_t*& at, const uint8_t* end) {
    uint32_t value = 0;
    for (uint32_t shift = 0; at != end && shift < 35; shift += 7) {
        const uint8_t byte = *at++;
        value |= uint32_t{byte & 0x7fU} << shift;
        if (byte < 0x80) return value;
    }
    at = end;
    return 0;
}
struct Part {
    const uint8_t* at = nullptr;
    const uint8_t* end = nullptr;
    uint64_t count = 0;
    bool packed = false;
};
// Moves past the first part of the list, of which there is a byte at least; a count of 0: the list is damaged.
Part takePart(const uint8_t*& at, const uint8_t* end);
} // namespace detail

// Visits the ids of a list that lies in pieces, rising. False: it is damaged, and was visited as far as it can be read.
template <class Visit>
bool forEachId(std::span<const std::string_view> pieces, Visit visit) {
    uint32_t last = 0;
    const auto take = [&](uint32_t id) {
        if (id <= last) return;
        last = id;
        visit(id);
    };
    for (const std::string_view piece : pieces) {
        const auto* at = reinterpret_cast<const uint8_t*>(piece.data());
        const uint8_t* const end = at + piece.size();
        while (at != end) {
            detail::Part part = detail::takePart(at, end);
            if (part.count == 0) return false;
            if (!part.packed) {
                take(uint32_t{part.at[0]} << 24 | uint32_t{part.at[1]} << 16 | uint32_t{part.at[2]} << 8 | part.at[3]);
                continue;
            }
            uint64_t id = 0;
            for (; part.count > 0; --part.count) {
                const uint32_t difference = detail::takeDifference(part.at, part.end);
                id += difference;
                if (difference == 0 || id > kMaxId) return false;
                take(static_cast<uint32_t>(id));
            }
            if (part.at != part.end) return false;
        }
    }
    return true;
}

} // namespace tarn::server
