// SPDX-License-Identifier: Apache-2.0
// The score of two letters that an alignment pairs, in hundredths of a bit: how much likelier the pair is in copies of
// one recording than between random letters.
#pragma once

#include "model/alphabet.h"
#include "model/recording_codes.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn::server {

struct LetterScores {
    std::array<std::array<int16_t, kLetters>, kLetters> pair; // [the query's][the recording's]
    std::array<int16_t, kLetters> queryAlone;                 // the recording has no letter there
    std::array<int16_t, kLetters> recordingAlone;
    std::array<int16_t, kLetters> rarity; // -log2 of a letter's share, repeats counted
};

// One for each codebook. Counted in pairs of degraded and undegraded real music; bench/accuracy/scores makes the file.
extern const std::array<LetterScores, kCodebooks> kLetterScores;

} // namespace tarn::server
