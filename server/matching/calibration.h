// SPDX-License-Identifier: Apache-2.0
// Turns the evidence for the best candidate into a confidence, and sets the threshold below which there is no answer.
// Fitted on real music; see docs/measurements/accuracy.md.
#pragma once

#include <cstdint>

namespace tarn::server {

// What the best candidate is judged by.
struct Evidence {
    double bits = 0;         // of the candidate
    double rivalBits = 0;    // of the best candidate that is another recording; 0: there is none
    double queryBits = 0;    // that an exact copy of the query would reach: few if the query says little
    uint64_t recordings = 0; // in the catalogue: the more there are, the better the best wrong one fits
};

// The chance, 0 to 1, that the candidate is the recording that was asked for.
double chanceOf(const Evidence& evidence);

// A chance as the number from 0 to 100 that answers carry.
int confidenceOf(double chance);

// Below this chance there is no answer. In docs/measurements/accuracy.md ("Confidence and threshold") it is the lowest
// threshold at which fewer than one wrong candidate in 3,000 passes.
constexpr double kMinChance = 0.85;

} // namespace tarn::server
