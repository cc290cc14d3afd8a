// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/text_forms.h"

#include "base/text.h"

#include <algorithm>

namespace tarn::recognise {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// XML 1.0 has no place for most control characters, nor for U+FFFE and U+FFFF.
bool isXmlCharacter(std::string_view character) {
    const auto first = static_cast<unsigned char>(character.front());
    if (first < ' ') return first == '\t' || first == '\n' || first == '\r';
    return character != "\xEF\xBF\xBE" && character != "\xEF\xBF\xBF";
}

std::string_view xmlForm(std::string_view character) {
    switch (character.front()) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\t': // an attribute would keep it as a space
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    default:
        return isXmlCharacter(character) ? character : kReplacement;
    }
}

size_t columnsOf(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

} // namespace

std::string csvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string field = "\"";
    for (const char c : text) {
        if (c == '"') field += '"';
        field += c;
    }
    return field + '"';
}

std::string xmlText(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const size_t bytes = server::utf8Bytes(text);
        escaped += bytes == 0 ? kReplacement : xmlForm(text.substr(0, bytes));
        text.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return escaped;
}

std::string clockText(uint64_t milliseconds) { return server::durationText((milliseconds + 500) / 1000); }

std::string padded(const std::string& text, size_t columns) {
    const size_t taken = columnsOf(text);
    return taken >= columns ? text : text + std::string(columns - taken, ' ');
}

std::string nameText(const std::string& artist, const std::string& title) {
    if (artist.empty()) return title;
    return title.empty() ? artist : artist + " - " + title;
}

} // namespace tarn::recognise
