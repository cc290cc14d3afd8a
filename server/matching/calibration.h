// SPDX-License-Identifier: Apache-2.0
// From how well the best candidate fits to a confidence, and where the line is drawn. Fitted on real music; see
// docs/measurements/accuracy.md.
#pragma once

#include <cstdint>

namespace tarn::server {

// What the best candidate is judged by.
struct Evidence {
    double bits = 0;         // that speak for it
    double rivalBits = 0;    // for the best candidate that is another recording; 0: there is none
    double queryBits = 0;    // that would speak for an exact copy of the query: few when it says little
    uint64_t recordings = 0; // in the catalogue: the more there are, the better the best of the wrong ones fits
};

// The chance, 0 to 1, that the candidate is the recording that was asked for.
double chanceOf(const Evidence& evidence);

// chance as the 0 to 100 that answers carry.
int confidenceOf(double chance);

// Below this chance there is no answer.
constexpr double kMinChance = 0.85;

} // namespace tarn::server
