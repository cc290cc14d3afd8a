// SPDX-License-Identifier: Apache-2.0
#include "catalogue/posting_list.h"

#include "base/bytes.h"

#include <algorithm>

namespace tarn::server {

namespace {

constexpr uint8_t kPacked = 0x80;
constexpr uint64_t kManyIds = 0x7f; // the number of them follows
constexpr size_t kIdBytes = 4;

} // namespace

void appendId(std::string& list, uint32_t id) { appendBigEndian(list, id); }

void appendPacked(std::string& list, std::span<const uint32_t> ids) {
    if (ids.empty()) return;
    std::string differences;
    differences.reserve(ids.size() * 2);
    uint32_t last = 0;
    for (const uint32_t id : ids) {
        appendVarint(differences, id - last);
        last = id;
    }
    if (ids.size() < kManyIds) {
        list.push_back(static_cast<char>(kPacked | ids.size()));
    } else {
        list.push_back(static_cast<char>(kPacked | kManyIds));
        appendVarint(list, ids.size());
    }
    appendVarint(list, differences.size());
    list += differences;
}

namespace {

struct PackedHead {
    uint64_t count = 0;
    uint64_t bytes = 0; // that follow the head
    size_t headBytes = 0;
};

// Of a packed part; a count of 0: it is none.
PackedHead packedHead(std::string_view bytes) {
    PackedHead head;
    const size_t all = bytes.size();
    head.count = static_cast<uint8_t>(bytes.front()) & kManyIds;
    bytes.remove_prefix(1);
    if (head.count == kManyIds) head.count = takeVarint(bytes).value_or(0);
    const auto size = takeVarint(bytes);
    if (!size || *size < head.count) return {};
    head.bytes = *size;
    head.headBytes = all - bytes.size();
    return head;
}

} // namespace

detail::Part detail::takePart(const uint8_t*& at, const uint8_t* end) {
    const auto left = static_cast<size_t>(end - at);
    Part part;
    part.packed = *at >= kPacked;
    if (!part.packed) {
        if (left < kIdBytes) return {};
        part.count = 1;
        part.at = at;
        part.end = at += kIdBytes;
        return part;
    }
    const PackedHead head = packedHead({reinterpret_cast<const char*>(at), left});
    if (head.count == 0 || head.bytes > left - head.headBytes) return {};
    part.count = head.count;
    part.at = at + head.headBytes;
    part.end = at = part.at + head.bytes;
    return part;
}

uint64_t countOf(std::string_view start, uint64_t size) {
    uint64_t count = 0;
    while (size > 0) {
        const bool packed = !start.empty() && static_cast<uint8_t>(start.front()) >= kPacked;
        if (!packed && start.size() < kIdBytes) return count + size / kIdBytes;
        if (!packed) {
            ++count;
            start.remove_prefix(kIdBytes);
            size -= std::min<uint64_t>(size, kIdBytes);
            continue;
        }
        const PackedHead head = packedHead(start);
        const uint64_t bytes = head.headBytes + head.bytes;
        if (head.count == 0 || bytes > size) break; // damaged: reading the list says so
        count += head.count;
        size -= bytes;
        start.remove_prefix(std::min<uint64_t>(bytes, start.size()));
    }
    return count;
}

} // namespace tarn::server
