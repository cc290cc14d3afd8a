// SPDX-License-Identifier: Apache-2.0
// Which list of a store holds the recordings of a gram. Each length of grams has a table of its own, so that a
// catalogue can go from one length to another.
#pragma once

#include "catalogue/store.h"
#include "coding/grams.h"
#include "model/recording_codes.h"

#include <algorithm>
#include <bit>

namespace tarn::server {

// Longer grams are rarer, so that lists stay short in a large catalogue; shorter ones survive more noise.
inline constexpr unsigned kMinGramLetters = 5;
inline constexpr unsigned kMaxGramLetters = 7;

inline unsigned listNumberBits(unsigned gramLetters) {
    return static_cast<unsigned>(std::bit_width(kCodebooks * gramCount(gramLetters) - 1));
}

// Adds the lists of a string's grams.
inline void addLists(std::vector<ListNumber>& lists, unsigned gramLetters, size_t codebook, std::string_view letters) {
    const ListNumber first = codebook * gramCount(gramLetters);
    forEachGram(letters, gramLetters, [&](uint64_t value, uint32_t /*index*/) { lists.push_back(first + value); });
}

// Rising, each once.
inline void sortOnce(std::vector<ListNumber>& lists) {
    std::sort(lists.begin(), lists.end());
    lists.erase(std::unique(lists.begin(), lists.end()), lists.end());
}

inline std::vector<ListNumber> listsOf(const RecordingCodes& codes, unsigned gramLetters) {
    std::vector<ListNumber> lists;
    for (const auto& coding : codes) {
        for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
            addLists(lists, gramLetters, codebook, coding[codebook].letters);
        }
    }
    sortOnce(lists);
    return lists;
}

} // namespace tarn::server
