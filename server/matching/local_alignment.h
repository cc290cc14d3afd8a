// SPDX-License-Identifier: Apache-2.0
// The evidence that two strings of letters are copies of one stretch of music: the best sum of letter scores over a
// stretch of each, in order, with gaps. Unrelated strings reach a few dozen bits, copies several hundred.
#pragma once

#include "matching/letter_scores.h"
#include "matching/score_lanes.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tarn::server {

// A recording's letters, numbered for ScoredString: a letter, or a letter that repeats the one before it.
using ScoreColumns = std::vector<uint8_t>;
void toColumns(std::string_view letters, ScoreColumns& columns);

// A query's string with what each of its letters may score.
//
// A letter says little if the query is full of it or if the letter before it predicts it: silence and drones write the
// same few letters in every recording. So a letter's score is capped by how surprising it is within the query. Repeats
// of a letter show how long a sound lasted, and score little too.
class ScoredString {
  public:
    static constexpr int32_t kUnitsPerBit = 8;

    ScoredString() = default;
    // Letters other than 'a' to 'x' are left out, and those after kMaxScored.
    ScoredString(size_t codebook, std::string_view letters);

    // The best local score in units; 0: nothing fits. A gap spans at most 7 letters of the query in a row.
    int32_t against(std::span<const uint8_t> columns, const ScoreLanes& lanes = *availableScoreLanes().back()) const;

    // The score against the letters that it was made of.
    int32_t againstItself(std::string_view letters) const;

  private:
    static constexpr size_t kColumns = 2 * kLetters + 1; // with kNoColumn

    size_t stride_ = 0; // letters of the query, padded to a multiple of kScoreStep
    // As in ScoreTable.
    std::vector<uint8_t> score_;
    std::vector<uint8_t> alone_;
    std::vector<uint16_t> wideAlone_;
    std::array<uint8_t, kColumns> columnAlone_ = {};
    // If no letter has a higher score than with itself, the alignment of each letter with itself is the best.
    std::optional<int32_t> againstItself_;
};

} // namespace tarn::server
