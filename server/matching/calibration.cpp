#include "matching/calibration.h"

#include <algorithm>
#include <cmath>

namespace tarn::server {

namespace {

// Logistic regression; bench/accuracy/fit makes these numbers from measurements on real music.
constexpr double kIntercept = 12.012;
constexpr double kPerDistance = -23.31;
constexpr double kPerLead = 25.894;
constexpr double kFirstByWeight = 0.083;
constexpr double kPerSize = 3.704;
constexpr double kPerLeadAndSize = 2.49;

constexpr double kMostLead = 0.2;       // a longer one says no more
constexpr double kUsualLetters = 350.0; // of a client's 30 s, both strings without their ends
constexpr double kMostLetters = 500.0;  // beyond what was measured, more letters say no more

} // namespace

double chanceOf(const Evidence& evidence) {
    const double lead = std::clamp(evidence.rivalDistance - evidence.distance, 0.0, kMostLead);
    const double letters = std::clamp(static_cast<double>(evidence.letters), 1.0, kMostLetters);
    const double size = std::log(letters / kUsualLetters);
    const double logit = kIntercept + kPerDistance * evidence.distance + kPerLead * lead +
                         (evidence.firstByWeight ? kFirstByWeight : 0.0) + kPerSize * size +
                         kPerLeadAndSize * lead * size;
    return 1.0 / (1.0 + std::exp(-logit));
}

int confidenceOf(double chance) { return static_cast<int>(std::lround(100.0 * std::clamp(chance, 0.0, 1.0))); }

} // namespace tarn::server
