// From how well the best candidate fits to a confidence, and where the line is drawn. Fitted on real music; see
// docs/accuracy.md.
#pragma once

#include <cstddef>

namespace tarn::server {

// How the best candidate stands.
struct Evidence {
    double distance = 1.0;      // edits per letter
    double rivalDistance = 1.0; // of the best candidate that is another recording
    size_t letters = 0;         // compared: the fewer, the closer chance comes
    bool firstByWeight = false; // its grams weigh most among all recordings
};

// The chance, 0 to 1, that the candidate is the recording that was asked for.
double chanceOf(const Evidence& evidence);

// chance as the 0 to 100 that answers carry.
int confidenceOf(double chance);

// Below this chance there is no answer.
constexpr double kLeastChance = 0.7;

} // namespace tarn::server
