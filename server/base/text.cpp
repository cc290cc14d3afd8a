// SPDX-License-Identifier: Apache-2.0
#include "base/text.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>

namespace tarn::server {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Space, the control characters of both ranges (U+0000 to U+001F and U+007F to U+009F), and the separators of lines and
// paragraphs.
bool isSpace(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) return first <= ' ' || first == 0x7F;
    if (character.size() == 2) return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
    return character == "\u2028" || character == "\u2029";
}

// What turns the writing direction of all that follows, beyond the text's own end (U+202A to U+202E, U+2066 to U+2069).
bool turnsDirection(std::string_view character) {
    return (character >= "\u202A" && character <= "\u202E") || (character >= "\u2066" && character <= "\u2069");
}

// A byte that is no UTF-8, taken by a terminal that does not speak UTF-8 as a control character.
bool isControlByte(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x80 && value <= 0x9F;
}

} // namespace

size_t utf8Bytes(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(text[i])); };
    const uint32_t first = byte(0);
    if (first < 0x80) return 1;
    size_t count = 0;
    if (first >= 0xC2 && first <= 0xDF) count = 2;
    if (first >= 0xE0 && first <= 0xEF) count = 3;
    if (first >= 0xF0 && first <= 0xF4) count = 4;
    if (count == 0 || text.size() < count) return 0;
    uint32_t code = first & (0xFFU >> (count + 1));
    for (size_t i = 1; i < count; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3F);
    }
    if (count == 3 && (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF))) return 0;
    if (count == 4 && (code < 0x10000 || code > 0x10FFFF)) return 0;
    return count;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t bytes = utf8Bytes(text);
        if (bytes == 0) return false;
        text.remove_prefix(bytes);
    }
    return true;
}

std::string cleanText(std::string_view text) {
    std::string clean;
    bool spaceWaits = false;
    while (!text.empty()) {
        const size_t bytes = utf8Bytes(text);
        const std::string_view character = bytes == 0 ? kReplacement : text.substr(0, bytes);
        text.remove_prefix(bytes == 0 ? 1 : bytes);
        if (turnsDirection(character)) continue;
        if (isSpace(character)) {
            spaceWaits = !clean.empty();
            continue;
        }
        if (clean.size() + character.size() + (spaceWaits ? 1 : 0) > kMaxTextBytes) break;
        if (spaceWaits) clean += ' ';
        spaceWaits = false;
        clean += character;
    }
    return clean;
}

std::string inOneLine(std::string_view path) {
    std::string line;
    while (!path.empty()) {
        const size_t bytes = utf8Bytes(path);
        const std::string_view character = path.substr(0, std::max<size_t>(bytes, 1));
        const bool stays = bytes == 0 ? !isControlByte(character[0])
                                      : character == " " || !(isSpace(character) || turnsDirection(character));
        if (stays) {
            line += character;
        } else {
            line += '?';
        }
        path.remove_prefix(character.size());
    }
    return line;
}

bool isPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != 127; });
}

std::string counted(uint64_t count, std::string_view thing) {
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

std::string durationText(uint64_t seconds) {
    const uint64_t hours = seconds / 3600;
    const uint64_t minutes = seconds / 60 % 60;
    if (hours > 0) return fmt::format("{}:{:02}:{:02}", hours, minutes, seconds % 60);
    return fmt::format("{}:{:02}", minutes, seconds % 60);
}

} // namespace tarn::server
