// The terms under which the search engine finds a recording.
//
//   gram        3 bytes, none of them 0: codebook and value of a gram as a number in base 255, highest digit first,
//               each digit raised by 1
//   track id    "T::" and the id     album id  "A::" and the id     content hash  "H::" and the hash
//
// All but grams have another length than 3, so that no two kinds meet (an id of no letters is never stored). One byte
// alone marks documents of the recent database: 'O' replaces a document of the main one, 'X' is a grave, which says
// that the recording was removed.
#pragma once

#include "coding/grams.h"
#include "coding/recording_codes.h"

#include <string>

namespace tarn::server {

inline constexpr char kOverrides[] = "O";
inline constexpr char kGrave[] = "X";

// value is below kGramCount, codebook below kCodebooks.
inline std::string gramTerm(size_t codebook, uint32_t value) {
    constexpr uint32_t kBase = 255;
    static_assert(uint64_t{kCodebooks} * kGramCount <= uint64_t{kBase} * kBase * kBase);
    const uint32_t number = static_cast<uint32_t>(codebook) * kGramCount + value;
    const auto digit = [](uint32_t d) { return static_cast<char>(static_cast<unsigned char>(d + 1)); };
    return {digit(number / (kBase * kBase)), digit(number / kBase % kBase), digit(number % kBase)};
}

// Longer texts than the engine takes as a term are cut; ids and hashes never are that long.
inline std::string textTerm(char kind, const std::string& text) { return kind + ("::" + text).substr(0, 200); }
inline std::string trackTerm(const std::string& trackId) { return textTerm('T', trackId); }
inline std::string albumTerm(const std::string& albumId) { return textTerm('A', albumId); }
inline std::string hashTerm(const std::string& contentHash) { return textTerm('H', contentHash); }

} // namespace tarn::server
