// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/keys.h"

#include <array>

namespace tarn::server::redis {

namespace {

constexpr char kBlockKind = ';';
constexpr uint8_t kListKind = 0x80; // no letter of a name, and no other kind of key
constexpr size_t kNumberBytes = sizeof(ListNumber);
constexpr size_t kSlotsOfGroup = kSlots / kGroups;

constexpr std::array<uint16_t, 256> crcOfBytes() {
    std::array<uint16_t, 256> table{};
    for (uint32_t byte = 0; byte < table.size(); ++byte) {
        uint32_t crc = byte << 8;
        for (int bit = 0; bit < 8; ++bit) crc = (crc << 1) ^ ((crc & 0x8000) != 0 ? 0x1021U : 0U);
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}
constexpr std::array<uint16_t, 256> kCrcOfByte = crcOfBytes();

// Of each range, the least number whose slot lies in it.
std::array<uint32_t, kGroups> tagsOfRanges() {
    std::array<uint32_t, kGroups> tags{};
    size_t missing = kGroups;
    for (uint32_t tag = 1; missing > 0; ++tag) {
        uint32_t& place = tags[slotOf(std::to_string(tag)) / kSlotsOfGroup];
        if (place != 0) continue;
        place = tag;
        --missing;
    }
    return tags;
}

std::string tagInKey(size_t range) {
    static const std::array<uint32_t, kGroups> tags = tagsOfRanges();
    return "{" + std::to_string(tags[range]) + "}";
}

void expectTable(ListTable table) {
    if (table >= kListKind) throw CatalogueError("a catalogue in Redis has no table above 127");
}

void appendNumber(std::string& key, uint64_t number) {
    bool begun = false;
    for (size_t shift = kNumberBytes * 8; shift > 0;) {
        shift -= 8;
        const auto byte = static_cast<uint8_t>(number >> shift);
        begun = begun || byte != 0;
        if (begun) key.push_back(static_cast<char>(byte));
    }
}

} // namespace

uint16_t slotOf(std::string_view key) {
    if (const size_t open = key.find('{'); open != std::string_view::npos) {
        const size_t close = key.find('}', open);
        if (close != std::string_view::npos && close > open + 1) key = key.substr(open + 1, close - open - 1);
    }
    uint32_t crc = 0;
    for (const char letter : key)
        crc = (crc << 8 & 0xff00) ^ kCrcOfByte[(crc >> 8 ^ static_cast<uint8_t>(letter)) & 0xff];
    return static_cast<uint16_t>(crc % kSlots);
}

std::string Keys::block(ListTable table, BlockNumber block) const {
    expectTable(table);
    std::string key = name_ + kBlockKind + tagInKey(groupOf(block));
    key.push_back(static_cast<char>(table));
    appendNumber(key, block / kGroups);
    return key;
}

std::string Keys::longList(ListTable table, ListNumber number) const {
    expectTable(table);
    std::string key = name_;
    key.push_back(static_cast<char>(kListKind | table));
    appendNumber(key, number);
    return key;
}

std::optional<ListKey> Keys::listIn(std::string_view key) const {
    if (!key.starts_with(name_)) return std::nullopt;
    key.remove_prefix(name_.size());
    ListKey found;
    size_t group = 0;
    found.isBlock = key.starts_with(kBlockKind);
    if (found.isBlock) {
        group = slotOf(key) / kSlotsOfGroup;
        const std::string tag = tagInKey(group);
        if (!key.substr(1).starts_with(tag)) return std::nullopt;
        key.remove_prefix(1 + tag.size());
    }
    if (key.empty() || (static_cast<uint8_t>(key.front()) < kListKind) != found.isBlock) return std::nullopt;
    // cppcheck-suppress containerOutOfBounds
    found.table = static_cast<uint8_t>(key.front()) & (kListKind - 1); // an empty key was refused
    key.remove_prefix(1);
    if (key.size() > kNumberBytes || (!key.empty() && key.front() == 0)) return std::nullopt;
    for (const char byte : key) found.number = found.number << 8 | static_cast<uint8_t>(byte);
    if (found.isBlock) found.number = found.number * kGroups + group;
    return found;
}

std::string Keys::marker(size_t range) const { return name_ + "!n" + tagInKey(range); }

} // namespace tarn::server::redis
