#include "matching/calibration.h"

#include <algorithm>
#include <cmath>

namespace tarn::server {

namespace {

// Logistic regression; bench/accuracy/fit makes these numbers from measurements on real music.
constexpr double kIntercept = -7.921;
constexpr double kPerBit = 0.0387;
constexpr double kPerBitOfLead = 0.1997;
constexpr double kPerShareOfLead = 22.47; // of the query's own bits

constexpr double kMostLead = 100.0; // a longer one says no more,
constexpr double kMostShare = 0.4;  // nor does a larger share
constexpr double kLeastQueryBits = 20.0;
// What the best of the wrong recordings gains when there are twice as many: measured, as the slope of the tail of their
// bits. The constants above were fitted among kFittedRecordings.
constexpr double kBitsPerDoubling = 3.0;
constexpr double kFittedRecordings = 87.0;

} // namespace

double chanceOf(const Evidence& evidence) {
    const double doublings =
        std::log2(static_cast<double>(std::max<uint64_t>(evidence.recordings, 1)) / kFittedRecordings);
    const double lead = std::min(evidence.bits - evidence.rivalBits, kMostLead);
    const double share = std::min(lead / std::max(evidence.queryBits, kLeastQueryBits), kMostShare);
    const double bits = evidence.bits - kBitsPerDoubling * std::max(doublings, 0.0);
    const double odds = kIntercept + kPerBit * bits + kPerBitOfLead * lead + kPerShareOfLead * share;
    return 1.0 / (1.0 + std::exp(-odds));
}

int confidenceOf(double chance) { return static_cast<int>(std::lround(100.0 * std::clamp(chance, 0.0, 1.0))); }

} // namespace tarn::server
