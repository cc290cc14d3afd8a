// SPDX-License-Identifier: Apache-2.0
#include "json/media_type.h"

#include <algorithm>

namespace tarn::server {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string lower(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lowered;
}

std::string_view unquoted(std::string_view text) {
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

} // namespace

MediaType readMediaType(std::string_view header) {
    MediaType type;
    size_t end = header.find(';');
    type.name = lower(trimmed(header.substr(0, end)));
    while (end != std::string_view::npos) {
        header.remove_prefix(end + 1);
        end = header.find(';');
        const std::string_view part = trimmed(header.substr(0, end));
        if (part.empty()) continue;
        const size_t equals = part.find('=');
        const std::string_view value = equals == std::string_view::npos ? "" : part.substr(equals + 1);
        type.parameters.emplace_back(lower(trimmed(part.substr(0, equals))), std::string(unquoted(trimmed(value))));
    }
    return type;
}

} // namespace tarn::server
