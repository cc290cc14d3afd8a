// SPDX-License-Identifier: Apache-2.0
// Commands as the servers read them, each with the slot or the node that it goes to.
#pragma once

#include "catalogue/redis/keys.h"

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::redis {

void appendCommand(std::string& text, std::span<const std::string_view> words);
inline void appendCommand(std::string& text, std::initializer_list<std::string_view> words) {
    appendCommand(text, std::span(words.begin(), words.size()));
}

class Commands {
  public:
    using Words = std::initializer_list<std::string_view>;
    // To the node that has the key.
    void add(std::string_view key, Words words) { add(key, std::span(words.begin(), words.size())); }
    void add(std::string_view key, std::span<const std::string_view> words) { append(words, redis::slotOf(key), 0); }
    void addFor(size_t node, Words words) { append({words.begin(), words.size()}, kSlots, node); }
    size_t size() const { return entries_.size(); }
    size_t bytes() const { return text_.size(); }
    void clear();

    // As the servers read it.
    std::string_view text(size_t command) const;
    size_t slotOf(size_t command) const { return entries_[command].slot; } // kSlots: it is for a node
    size_t nodeOf(size_t command) const { return entries_[command].node; }

  private:
    struct Entry {
        size_t begin = 0; // in text_, up to the next one's
        size_t slot = 0;
        size_t node = 0;
    };
    void append(std::span<const std::string_view> words, size_t slot, size_t node);

    std::string text_; // as the servers read it
    std::vector<Entry> entries_;
};

} // namespace tarn::server::redis
