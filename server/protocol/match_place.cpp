// SPDX-License-Identifier: Apache-2.0
#include "protocol/match_place.h"

#include <algorithm>
#include <charconv>

namespace tarn::server {

namespace {

constexpr std::string_view kOffset = "offset-ms";
constexpr std::string_view kDuration = "duration-ms";
constexpr std::string_view kCompanions = "companions";
constexpr size_t kMaxIdBytes = 64;

bool isPlainId(std::string_view id) {
    return !id.empty() && id.size() <= kMaxIdBytes && std::all_of(id.begin(), id.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-';
    });
}

// Takes what comes before the separator, and the separator, off the text.
std::string_view takeUpTo(std::string_view& text, char separator) {
    const size_t end = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

std::string_view withoutSpaces(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

std::optional<uint32_t> numberIn(std::string_view text) {
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

} // namespace

std::string matchHeader(const Match& match) {
    std::string text = std::string(kOffset) + "=" + std::to_string(match.offsetMs) + "; " + std::string(kDuration) +
                       "=" + std::to_string(match.durationMs);
    char separator = '=';
    for (const std::string& id : match.companions) {
        if (!isPlainId(id)) continue;
        if (separator == '=') text += "; " + std::string(kCompanions);
        text += separator + id;
        separator = ',';
    }
    return text;
}

MatchPlace readMatchHeader(std::string_view text) {
    MatchPlace place;
    while (!text.empty()) {
        std::string_view value = takeUpTo(text, ';');
        const std::string_view name = withoutSpaces(takeUpTo(value, '='));
        value = withoutSpaces(value);
        if (name == kOffset) place.offsetMs = numberIn(value);
        if (name == kDuration) place.durationMs = numberIn(value);
        while (name == kCompanions && !value.empty()) {
            const std::string_view id = takeUpTo(value, ',');
            if (isPlainId(id)) place.companions.emplace_back(id);
        }
    }
    return place;
}

} // namespace tarn::server
