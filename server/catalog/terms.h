// SPDX-License-Identifier: Apache-2.0
// The terms under which the search engine finds a recording.
//
//   gram        3 bytes, none of them 0: codebook and value of a gram as a number in base 255, highest digit first,
//               each digit raised by 1
//   track id    "T::" and the id     album id  "A::" and the id     content hash  "H::" and the hash
//
// All but grams have another length than 3, so that no two kinds meet (an id of no letters is never stored).
#pragma once

#include "coding/grams.h"
#include "coding/recording_codes.h"

#include <string>

namespace tarn::server {

// Grams of both codebooks as one row of numbers.
inline constexpr uint32_t kGramNumbers = static_cast<uint32_t>(kCodebooks) * kGramCount;
inline constexpr uint32_t kGramBase = 255;
static_assert(kGramNumbers <= uint64_t{kGramBase} * kGramBase * kGramBase);

// value is below kGramCount, codebook below kCodebooks.
inline uint32_t gramNumber(size_t codebook, uint32_t value) {
    return static_cast<uint32_t>(codebook) * kGramCount + value;
}

inline std::string gramTerm(uint32_t number) {
    const auto digit = [](uint32_t d) { return static_cast<char>(static_cast<unsigned char>(d + 1)); };
    return {digit(number / (kGramBase * kGramBase)), digit(number / kGramBase % kGramBase), digit(number % kGramBase)};
}
inline std::string gramTerm(size_t codebook, uint32_t value) { return gramTerm(gramNumber(codebook, value)); }

inline constexpr size_t kGramTermBytes = 3;
inline bool isGramTerm(const std::string& term) { return term.size() == kGramTermBytes; }

// Of a gram's term.
inline uint32_t gramNumber(const std::string& term) {
    uint32_t number = 0;
    for (const char c : term) number = number * kGramBase + (static_cast<unsigned char>(c) - 1U);
    return number;
}

// Longer texts than the engine takes as a term are cut; ids and hashes never are that long.
inline std::string textTerm(char kind, const std::string& text) { return kind + ("::" + text).substr(0, 200); }
inline std::string trackTerm(const std::string& trackId) { return textTerm('T', trackId); }
inline std::string albumTerm(const std::string& albumId) { return textTerm('A', albumId); }
inline std::string hashTerm(const std::string& contentHash) { return textTerm('H', contentHash); }

} // namespace tarn::server
