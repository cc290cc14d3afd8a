// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/commands.h"

namespace tarn::server::redis {

void appendCommand(std::string& text, std::span<const std::string_view> words) {
    const auto head = [&text](char kind, size_t number) {
        text.push_back(kind);
        text += std::to_string(number);
        text += "\r\n";
    };
    head('*', words.size());
    for (const std::string_view word : words) {
        head('$', word.size());
        text += word;
        text += "\r\n";
    }
}

void Commands::append(std::span<const std::string_view> words, size_t slot, size_t node) {
    entries_.push_back({text_.size(), slot, node});
    appendCommand(text_, words);
}

std::string_view Commands::text(size_t command) const {
    const size_t end = command + 1 == entries_.size() ? text_.size() : entries_[command + 1].begin;
    return std::string_view(text_).substr(entries_[command].begin, end - entries_[command].begin);
}

void Commands::clear() {
    text_.clear();
    entries_.clear();
}

} // namespace tarn::server::redis
