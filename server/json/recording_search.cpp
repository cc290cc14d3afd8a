// SPDX-License-Identifier: Apache-2.0
#include "json/recording_search.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tarn::server {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

void addLower(std::string& out, std::string_view text) {
    std::transform(text.begin(), text.end(), std::back_inserter(out), lower);
    out += '\n'; // no word goes on from one name to the next
}

} // namespace

RecordingSearch::RecordingSearch(std::string_view words) {
    std::string word;
    for (const char c : words) {
        if (c != ' ') {
            word += lower(c);
        } else if (!word.empty()) {
            words_.push_back(std::exchange(word, {}));
        }
    }
    if (!word.empty()) words_.push_back(word);
}

bool RecordingSearch::means(const Match& recording) const {
    if (words_.empty()) return true;
    std::string names;
    const Tags& tags = recording.tags;
    for (const std::string* name : {&tags.title, &tags.artist, &tags.album, &tags.albumArtist}) addLower(names, *name);
    return std::all_of(words_.begin(), words_.end(),
                       [&](const std::string& word) { return names.find(word) != std::string::npos; });
}

} // namespace tarn::server
