// SPDX-License-Identifier: Apache-2.0
// How much speaks for two strings of letters being copies of one stretch of music: the best sum of letter scores over a
// stretch of each, in order, with gaps. Strings that met by chance reach a few dozen bits, copies several hundred.
#pragma once

#include "matching/letter_scores.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::server {

// A recording's letters, numbered for ScoredString: a letter, or a letter that repeats the one before it.
using ScoreColumns = std::vector<uint8_t>;
void toColumns(std::string_view letters, ScoreColumns& columns);

// A query's string with what each of its letters may score.
//
// A letter that the query is full of, or that its neighbour foretells, says little: silence and drones write the same
// few letters in every recording. So a letter scores no more than its surprise in the query itself. Repeats of a letter
// tell how long a sound lasted and score little too.
class ScoredString {
  public:
    static constexpr int32_t kUnitsPerBit = 8;

    ScoredString() = default;
    // Letters other than 'a' to 'x' are left out, and those behind kMostScored.
    ScoredString(size_t codebook, std::string_view letters);

    // The best local score in units; 0: nothing fits. At most 7 letters of the query in a row stand against nothing.
    int32_t against(const ScoreColumns& columns) const;

  private:
    static constexpr size_t kColumns = 2 * kLetters;
    static constexpr size_t kMostScored = 680; // whose sum of the highest scores still is a 16-bit number

    size_t stride_ = 0;          // letters of the query, and some more that never fit
    std::vector<int16_t> score_; // [column][letter of the query]
    std::vector<int16_t> alone_; // of one, two and four letters of the query that end at a letter
    std::array<int16_t, kColumns> columnAlone_ = {};
};

} // namespace tarn::server
